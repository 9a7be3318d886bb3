// Many calls at once: each thread runs reports of its own through the whole of the library below
// the bridge.
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
constexpr int kRounds = 3;
constexpr std::array<std::string_view, 8> kReports = {
    "GetDisabledAccounts", "GetAllGroups",     "GetAllOUs",      "GetAllComputers",
    "GetAllPrinters",      "GetManagedGroups", "GetAllContacts", "GetAllManagerUsers"};

// The number of rows of one report, run as one call; -1 when the call ended in errors.
int RowsOf(std::string_view method) {
  const live::TestDomain& domain = live::TestDomain::Get();
  const auto platform = platform::CreatePlatform();
  support::RecordingLog log;
  support::RecordingErrors errors;
  call::NativeHandler handler(*platform, log);
  support::RecordingListener listener(handler.keys);
  directory::DomainProperties properties;
  properties.domainName = domain.Wide("dnsDomain");
  properties.domainControllers.emplace({domain.Wide("host")});
  properties.defaultNamingContext = domain.Wide("baseDn");
  properties.isAuthenticationRequired = u"true";
  properties.userName = domain.Wide("readerUserName");
  properties.userDistinguishedName =
      domain.Wide("netbiosDomain") + u"\\" + domain.Wide("readerUserName");
  properties.password = domain.Secret("readerPasswordFile");
  if (!directory::InitializeHandler(handler, properties, errors)) return -1;

  const std::vector<std::u16string> attributes = {u"distinguishedName", u"memberOf", u"managedBy",
                                                  u"objectGUID"};
  reports::RunReport(handler, *reports::FindReport(method), {domain.Wide("baseDn"), attributes, {}},
                     listener, errors);
  return errors.entries.empty() ? static_cast<int>(listener.rows.size()) : -1;
}

TEST(ConcurrentReports, GiveEveryThreadTheRowsThatItGetsAlone) {
  std::vector<int> alone;
  for (std::string_view report : kReports) {
    alone.push_back(RowsOf(report));
    ASSERT_GT(alone.back(), 0) << report;
  }
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int round = 0; round < kRounds; ++round) {
        const auto which = static_cast<std::size_t>(thread + round) % kReports.size();
        if (RowsOf(kReports[which]) != alone[which]) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0) << "of " << kThreads * kRounds << " calls";
}

}  // namespace
}  // namespace zorvan
