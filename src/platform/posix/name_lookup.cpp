#include "platform/posix/name_lookup.h"

#include <dlfcn.h>
#include <resolv.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace zorvan::platform::posix {
namespace {

constexpr char kSilent[] = "the name server does not answer";

// Shared by the thread that asks and the one that waits; whoever is last frees it.
struct Question {
  std::string host;
  std::string port;
  Resolver resolver;
  FileDescriptor answered{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
  int result = EAI_AGAIN;
  int systemError = 0;
  AddressList addresses;
};

int Ask(const Resolver& resolver, const std::string& host, const std::string& port, int flags,
        AddressList& addresses) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_NUMERICSERV | flags;
  return resolver(host.c_str(), port.c_str(), &hints, addresses.Put());
}

// The resolver's settings belong to the thread. Without these a silent name server takes half a
// minute, and one that answers in part, so as to be asked by TCP, takes as long as it likes.
void MakeResolverBrief() {
  if (res_init() != 0) return;
  _res.retrans = 1;
  _res.retry = _res.nscount > 1 ? 1 : 2;
  _res.options |= RES_IGNTC;
}

void Answer(const std::shared_ptr<Question>& question) {
  MakeResolverBrief();
  question->result =
      Ask(question->resolver, question->host, question->port, 0, question->addresses);
  question->systemError = errno;
  eventfd_write(question->answered.get(), 1);
}

// A thread that is left behind needs the code that it returns to.
void KeepThisLibraryLoaded() {
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&KeepThisLibraryLoaded), &library) == 0) return;
  static_cast<void>(dlopen(library.dli_fname, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE));
}

// Signals of the process are for the threads of the program. Not joinable: no thread is left.
std::thread StartWithoutSignals(std::function<void()> function) {
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  std::thread thread;
  try {
    thread = std::thread(std::move(function));
  } catch (const std::system_error&) {
    thread = {};
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

std::string ReasonOf(int result, int systemError) {
  if (result == EAI_SYSTEM) return std::generic_category().message(systemError);
  if (result != EAI_AGAIN) return gai_strerror(result);
  return std::string(kSilent) + " (" + gai_strerror(result) + ")";
}

}  // namespace

// The system's look-up knows no time limit and cannot be called off, and asking the name servers
// ourselves would pass over the other places where a system keeps names. So a thread asks, and is
// left to itself when it takes too long: its resolver gives up within seconds.
AddressList LookUp(const std::string& host, std::uint16_t port, Patience patience,
                   std::string& reason, const Resolver& resolver) {
  const std::string portText = std::to_string(port);
  AddressList addresses;
  if (Ask(getaddrinfo, host, portText, AI_NUMERICHOST, addresses) == 0) return addresses;

  const auto question = std::make_shared<Question>();
  question->host = host;
  question->port = portText;
  question->resolver = resolver;
  std::thread thread = StartWithoutSignals([question] { Answer(question); });
  if (!question->answered || !thread.joinable()) {
    if (thread.joinable()) thread.join();
    reason = "no thread or descriptor is left to look up the name";
    return {};
  }
  pollfd waiting{question->answered.get(), POLLIN, 0};
  const HResult ended = patience.Await(std::span(&waiting, 1));
  if (Failed(ended)) {
    KeepThisLibraryLoaded();
    thread.detach();
    reason = ended == kCancelled ? "the caller gave up" : kSilent;
    return {};
  }
  thread.join();
  if (question->result != 0) reason = ReasonOf(question->result, question->systemError);
  return std::move(question->addresses);
}

void RunWithoutNameServers(const std::function<void()>& function) {
  std::thread thread = StartWithoutSignals([&] {
    if (res_init() == 0) _res.nscount = 0;
    function();
  });
  if (thread.joinable()) {
    thread.join();
  } else {
    function();
  }
}

}  // namespace zorvan::platform::posix
