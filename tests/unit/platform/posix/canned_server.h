// A directory server in a thread of the test: it accepts one connection after the other, lets
// everybody in and answers each search with what the test says. Nothing of it knows LDAP beyond the
// shapes of its messages.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace zorvan::platform::posix {

struct ReceivedSearch {
  int id = 0;
  std::string base;
  bool paged = false;
  std::string cookie;
};

class CannedServer {
 public:
  // What is to be sent for a search; an empty answer closes the connection after what was sent
  // before. Called in the server's thread, with all searches that were received before this one and
  // this one as the last.
  using Answer = std::function<std::string(const std::vector<ReceivedSearch>&)>;

  explicit CannedServer(Answer answer);
  ~CannedServer();
  CannedServer(const CannedServer&) = delete;
  CannedServer& operator=(const CannedServer&) = delete;

  // "LDAP://127.0.0.1:port/"
  std::u16string path() const;

  // Waits until that many searches (or requests to abandon one) have arrived; false when they do
  // not in five seconds.
  bool AwaitSearches(std::size_t count);
  bool AwaitAbandoned(std::size_t count);
  int connections();

  // Messages.
  static std::string Entry(int id, const std::string& dn, const std::string& attributes);
  static std::string Reference(int id);
  static std::string Done(int id, int code = 0);
  static std::string DonePage(int id, const std::string& cookie);

  // An answer may end with this: the connection is closed there.
  static constexpr char kClose[] = "close the connection";

 private:
  void Run();
  void Serve(int connection);
  bool Handle(int connection, const std::string& message);
  bool Await(const std::function<bool()>& reached);

  Answer answer_;
  int listener_ = -1;
  std::uint16_t port_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<ReceivedSearch> searches_;
  std::size_t abandoned_ = 0;
  int connections_ = 0;
  bool stopping_ = false;
  int current_ = -1;
  std::thread thread_;
};

}  // namespace zorvan::platform::posix
