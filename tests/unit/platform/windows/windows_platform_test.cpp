// Apartments, unknown providers and the system's own answers; none of it needs a server.
#include <gtest/gtest.h>

#include <optional>
#include <thread>

#include "platform/platform.h"
#include "platform/windows/windows_headers.h"

namespace zorvan::platform {
namespace {

constexpr Credentials kNobody{std::nullopt, std::nullopt};

// Each apartment is that of a thread, so each test has a thread of its own.
template <typename Body>
void OnNewThread(Body body) {
  std::thread(body).join();
}

bool HasApartment() {
  APTTYPE type{};
  APTTYPEQUALIFIER qualifier{};
  return SUCCEEDED(CoGetApartmentType(&type, &qualifier)) &&
         qualifier != APTTYPEQUALIFIER_IMPLICIT_MTA;
}

TEST(WindowsPlatformTest, EntersAndLeavesTheApartmentAskedFor) {
  for (Apartment apartment : {Apartment::kSingleThreaded, Apartment::kMultithreaded}) {
    OnNewThread([&] {
      const auto platform = CreatePlatform();
      EXPECT_EQ(platform->InitializeApartment(apartment), kOk);
      EXPECT_TRUE(HasApartment());
      platform->UninitializeApartment();
      EXPECT_FALSE(HasApartment());
    });
  }
}

TEST(WindowsPlatformTest, WorksOnInTheApartmentThatTheThreadIsIn) {
  OnNewThread([] {
    ASSERT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    {
      const auto platform = CreatePlatform();
      EXPECT_EQ(platform->InitializeApartment(Apartment::kSingleThreaded), RPC_E_CHANGED_MODE);
      platform->UninitializeApartment();
      EXPECT_TRUE(HasApartment()) << "what was not entered is not left";
    }
    CoUninitialize();
    EXPECT_FALSE(HasApartment());
  });
}

TEST(WindowsPlatformTest, OpeningWithoutAnApartmentFailsWithACode) {
  OnNewThread([] {
    const auto platform = CreatePlatform();
    ASSERT_EQ(platform->InitializeApartment(Apartment::kNone), kOk);
    ASSERT_FALSE(HasApartment());
    std::unique_ptr<DirectorySearch> search;
    // CO_E_NOTINITIALIZED on Windows, E_FAIL under Wine.
    EXPECT_TRUE(Failed(platform->directory().OpenSearch(u"LDAP://dc/DC=x", kNobody,
                                                        kSecureAuthentication, search)));
    EXPECT_EQ(search, nullptr);
    platform->UninitializeApartment();
  });
}

TEST(WindowsPlatformTest, AnUnknownProviderFailsWithACode) {
  OnNewThread([] {
    const auto platform = CreatePlatform();
    ASSERT_EQ(platform->InitializeApartment(Apartment::kSingleThreaded), kOk);
    for (std::u16string_view path : {u"FOO://x", u"", u"no path at all"}) {
      std::unique_ptr<DirectorySearch> search;
      std::unique_ptr<DirectoryObject> object;
      std::unique_ptr<PropertyObject> properties;
      Directory& directory = platform->directory();
      EXPECT_TRUE(Failed(directory.OpenSearch(path, kNobody, kSecureAuthentication, search)));
      EXPECT_TRUE(Failed(directory.OpenObject(path, kNobody, kSecureAuthentication, object)));
      EXPECT_TRUE(
          Failed(directory.OpenPropertyObject(path, kNobody, kSecureAuthentication, properties)));
      EXPECT_TRUE(!search && !object && !properties);
    }
    platform->UninitializeApartment();
  });
}

TEST(WindowsPlatformTest, RefusesTextsThatTheSystemWouldReadInPart) {
  const auto platform = CreatePlatform();
  std::unique_ptr<DirectorySearch> search;
  constexpr std::u16string_view kCut(u"LDAP://dc/DC=x\0,DC=y", 20);
  EXPECT_EQ(platform->directory().OpenSearch(kCut, kNobody, kSecureAuthentication, search),
            kBadPathname);
  const Credentials cut{u"anna", std::u16string_view(u"pass\0word", 9)};
  EXPECT_EQ(platform->directory().OpenSearch(u"LDAP://dc/DC=x", cut, kSecureAuthentication, search),
            kLogonFailure);
}

TEST(WindowsPlatformTest, KnowsTheTimeAndTheSystemsTexts) {
  const auto platform = CreatePlatform();
  System& system = platform->system();
  FILETIME before{};
  GetSystemTimeAsFileTime(&before);
  const std::int64_t now = system.CurrentFileTime();
  EXPECT_GE(now >> 32, static_cast<std::int64_t>(before.dwHighDateTime));
  EXPECT_LE(now >> 32, static_cast<std::int64_t>(before.dwHighDateTime) + 1);
  std::u16string text;
  ASSERT_EQ(system.FormatMessageText(ERROR_ACCESS_DENIED, text), DWORD{ERROR_SUCCESS});
  EXPECT_FALSE(text.empty());
  EXPECT_EQ(text.find_first_of(u"\r\n"), text.npos);
  EXPECT_NE(text.back(), u' ');
  EXPECT_EQ(system.FormatMessageText(0xE0123456, text), DWORD{ERROR_MR_MID_NOT_FOUND});
}

}  // namespace
}  // namespace zorvan::platform
