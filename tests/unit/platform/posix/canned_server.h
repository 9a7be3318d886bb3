// A directory server in a thread of the test: it accepts one connection after the other, lets
// everybody in and answers each search with what the test says. Nothing of it knows LDAP beyond the
// shapes of its messages.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/loopback.h"

namespace zorvan::platform::posix {

struct ReceivedSearch {
  int id = 0;
  std::string base;
  std::string bytes;  // the whole message
};

class CannedServer {
 public:
  // What is to be sent for a search, by its message's id and its number, which counts from 1; one
  // of the words below at its end says how. Called in the server's thread.
  using Answer = std::function<std::string(int id, std::size_t number)>;
  static constexpr char kClose[] = "close the connection after it";
  static constexpr char kReset[] = "reset the connection after it";
  static constexpr char kForever[] = "again and again until the client leaves";
  static constexpr char kSlowly[] = "byte after byte, and an endless one at the end";

  explicit CannedServer(Answer answer);
  ~CannedServer();
  CannedServer(const CannedServer&) = delete;
  CannedServer& operator=(const CannedServer&) = delete;

  std::uint16_t port() const { return listener_.port(); }
  // "LDAP://127.0.0.1:port/"
  std::u16string path() const;

  // Waits until that many searches, requests to abandon one, connections have arrived, or
  // connections were closed; false when they do not in five seconds.
  bool AwaitSearches(std::size_t count) { return Await(searches_, count); }
  bool AwaitAbandoned(std::size_t count) { return Await(abandoned_, count); }
  bool AwaitConnections(std::size_t count) { return Await(connections_, count); }
  bool AwaitClosed(std::size_t count) { return Await(closed_, count); }

  // All searches so far.
  std::vector<ReceivedSearch> received();

  // What the root of the directory says of itself from now on: attributes as in Entry.
  void TellOfItself(const std::string& attributes);

  // Messages.
  static std::string Entry(int id, const std::string& dn, const std::string& attributes);
  static std::string Reference(int id);
  static std::string Done(int id, int code = 0);
  static std::string Referral(int id, const std::vector<std::string>& urls);
  static std::string DonePage(int id, const std::string& cookie);
  // With whatever value in the paging control.
  static std::string DoneWithControl(int id, const std::string& value);

 private:
  void Run();
  bool Handle(const std::string& message);
  bool SendAsTold(std::string answer) const;
  bool Await(const std::size_t& counter, std::size_t count);

  Answer answer_;
  support::Listener listener_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ReceivedSearch> received_;
  std::string ofItself_;
  std::size_t searches_ = 0;
  std::size_t abandoned_ = 0;
  std::size_t connections_ = 0;
  std::size_t closed_ = 0;
  bool stopping_ = false;
  int current_ = -1;
  std::thread thread_;
};

}  // namespace zorvan::platform::posix
