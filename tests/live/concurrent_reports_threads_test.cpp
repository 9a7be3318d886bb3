// Many calls at once: each thread runs reports of its own through the whole of the library below
// the bridge, in every way of authentication.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "directory/handler_initialization.h"
#include "platform/platform.h"
#include "reports/report_engine.h"
#include "support/recording.h"
#include "test_domain.h"

namespace zorvan {
namespace {

constexpr int kThreads = 16;
constexpr int kRounds = 8;
constexpr std::array<std::string_view, 8> kReports = {
    "GetDisabledAccounts", "GetAllGroups",     "GetAllOUs",      "GetAllComputers",
    "GetAllPrinters",      "GetManagedGroups", "GetAllContacts", "GetAllManagerUsers"};

struct Way {
  std::u16string logonName;
  std::u16string port;
};

// By Kerberos, by NTLM (as an account of the server's own), inside TLS, and not at all.
std::array<Way, 4> Ways() {
  const std::u16string reader = live::Reader().user;
  const std::u16string domain = live::TestDomain::Get().Wide("netbiosDomain") + u"\\";
  return {Way{domain + reader, u""}, Way{u".\\" + reader, u""}, Way{domain + reader, u":636"},
          Way{domain + u"no.such.user", u""}};
}

// A caller that waits for all of it.
class Patient : public platform::CallObserver {
 public:
  bool IsCancelled() override { return false; }
  void Notify(const platform::Notice&) override {}
};

// The number of rows of one report, run as one call; -1 when the call ended in errors.
int RowsOf(std::string_view method, const Way& way) {
  const live::TestDomain& domain = live::TestDomain::Get();
  const auto platform = platform::CreatePlatform();
  support::RecordingLog log;
  support::RecordingErrors errors;
  Patient caller;
  call::NativeHandler handler(*platform, log);
  handler.observer = &caller;
  support::RecordingListener listener(handler.keys);
  directory::DomainProperties properties;
  properties.domainName = domain.Wide("dnsDomain");
  properties.domainControllers.emplace({domain.Wide("host") + way.port});
  properties.defaultNamingContext = domain.Wide("baseDn");
  properties.isAuthenticationRequired = u"true";
  properties.userDistinguishedName = way.logonName;
  properties.password = live::Reader().password;
  properties.trustedAuthorities = domain.Wide("caFile");
  properties.connectTimeLimit = 120'000;  // the sanitizer makes all of it slow
  if (!directory::InitializeHandler(handler, properties, errors)) return -1;

  const std::vector<std::u16string> attributes = {u"distinguishedName", u"memberOf", u"managedBy",
                                                  u"objectGUID"};
  reports::RunReport(handler, *reports::FindReport(method), {domain.Wide("baseDn"), attributes, {}},
                     listener, errors);
  return errors.entries.empty() ? static_cast<int>(listener.rows.size()) : -1;
}

TEST(ConcurrentReports, GiveEveryThreadTheRowsThatItGetsAlone) {
  const std::array<Way, 4> ways = Ways();
  std::vector<int> alone;
  for (std::string_view report : kReports) {
    alone.push_back(RowsOf(report, ways[0]));
    ASSERT_GT(alone.back(), 0) << report;
  }
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t round = 0; round < kRounds; ++round) {
        const std::size_t report = (thread + round) % kReports.size();
        const std::size_t way = (thread + round / 2) % ways.size();
        if (RowsOf(kReports[report], ways[way]) != (way == 3 ? -1 : alone[report])) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0) << "of " << kThreads * kRounds << " calls";
}

}  // namespace
}  // namespace zorvan
