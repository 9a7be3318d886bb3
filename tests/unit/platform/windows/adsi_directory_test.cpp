// Opening and reading over an object that follows a script and counts its references.
#include "platform/windows/adsi_directory.h"

#include <gtest/gtest.h>

#include <string>

#include "unit/platform/windows/ads_script.h"

namespace zorvan::platform::windows {
namespace {

// Lives on the test's stack.
class ScriptedObject : public IDirectoryObject {
 public:
  HRESULT result = S_OK;
  bool hasAttributes = true;
  long references = 0;

  STDMETHODIMP QueryInterface(REFIID id, void** object) override {
    if (!IsEqualIID(id, IID_IDirectoryObject)) return E_NOINTERFACE;
    *object = this;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(++references); }
  STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(--references); }

  STDMETHODIMP GetObjectAttributes(LPWSTR*, DWORD, PADS_ATTR_INFO* attributes,
                                   DWORD* count) override {
    *attributes = hasAttributes ? &attribute_ : nullptr;
    *count = hasAttributes ? 1 : 0;
    return result;
  }
  STDMETHODIMP GetObjectInformation(PADS_OBJECT_INFO*) override { return E_NOTIMPL; }
  STDMETHODIMP SetObjectAttributes(PADS_ATTR_INFO, DWORD, DWORD*) override { return E_NOTIMPL; }
  STDMETHODIMP CreateDSObject(LPWSTR, PADS_ATTR_INFO, DWORD, IDispatch**) override {
    return E_NOTIMPL;
  }
  STDMETHODIMP DeleteDSObject(LPWSTR) override { return E_NOTIMPL; }

 private:
  std::wstring name_ = L"cn";
  std::wstring text_ = L"anna";
  ADSVALUE value_{ADSTYPE_CASE_IGNORE_STRING, {{text_.data()}}};
  ADS_ATTR_INFO attribute_{name_.data(), 0, ADSTYPE_CASE_IGNORE_STRING, &value_, 1};
};

class AdsiDirectoryTest : public testing::Test {
 protected:
  void SetUp() override {
    Script() = {};
    Script().opened = &scripted_;
  }
  void TearDown() override {
    directory_.Disconnect();
    EXPECT_EQ(scripted_.references, 0) << "the object is kept";
    Script() = {};
  }

  HResult Open(std::u16string_view path = u"LDAP://dc/CN=anna") {
    object_.reset();
    return directory_.OpenObject(path, {}, kSecureAuthentication, object_);
  }

  HResult Read(AttributeSet& set) {
    constexpr std::u16string_view kName = u"cn";
    return object_->GetObjectAttributes({&kName, 1}, set);
  }

  ScriptedObject scripted_;
  AdsiDirectory directory_;
  std::unique_ptr<DirectoryObject> object_;
};

TEST_F(AdsiDirectoryTest, GivesTheSystemsMemoryBackHoweverReadingEnds) {
  ASSERT_EQ(Open(), kOk);
  AttributeSet set;
  ASSERT_EQ(Read(set), kOk);
  EXPECT_EQ(set.Find(u"cn")->values[0].text, u"anna");
  EXPECT_EQ(Script().blocksFreed, 1);
  scripted_.result = E_FAIL;
  EXPECT_EQ(Read(set), E_FAIL);
  EXPECT_EQ(set.Find(u"cn"), nullptr) << "what was read before";
  EXPECT_EQ(Script().blocksFreed, 2);
  object_.reset();
}

TEST_F(AdsiDirectoryTest, WhatAnObjectDoesNotHaveIsMissingAndNoFailure) {
  ASSERT_EQ(Open(), kOk);
  scripted_.result = E_ADS_PROPERTY_NOT_FOUND;
  AttributeSet set;
  EXPECT_EQ(Read(set), kOk);
  EXPECT_NE(set.Find(u"cn"), nullptr) << "another attribute is missing";
  scripted_.hasAttributes = false;
  EXPECT_EQ(Read(set), kOk);
  EXPECT_EQ(set.Find(u"cn"), nullptr);
  object_.reset();
}

TEST_F(AdsiDirectoryTest, KeepsTheLatestObjectForItsConnectionOnly) {
  ASSERT_EQ(Open(), kOk);
  object_.reset();
  EXPECT_EQ(scripted_.references, 1) << "the connection closes with the last object";
  ASSERT_EQ(Open(), kOk);
  EXPECT_EQ(scripted_.references, 2);
  Script().openResult = E_ADS_BAD_PATHNAME;
  EXPECT_EQ(Open(), kBadPathname);
  EXPECT_EQ(scripted_.references, 1) << "a failure costs no connection";
}

TEST_F(AdsiDirectoryTest, ManyObjectsAreReadWithoutAskingWhetherEachIsThere) {
  const std::u16string paths[] = {u"LDAP://dc/CN=a", u"LDAP://dc/CN=b"};
  constexpr std::u16string_view kName = u"cn";
  int visits = 0;
  directory_.ReadObjects(paths, {}, kSecureAuthentication, {&kName, 1},
                         [&](std::size_t, HResult result, AttributeSet& set, const ExtendedError&) {
                           EXPECT_EQ(result, kOk);
                           EXPECT_NE(set.Find(u"cn"), nullptr);
                           ++visits;
                         });
  EXPECT_EQ(visits, 2);
  EXPECT_EQ(Script().openedFlags, kSecureAuthentication | kFastBind);
}

TEST_F(AdsiDirectoryTest, TheLastErrorIsThatOfTheLastOpening) {
  Script().openResult = E_FAIL;
  Script().openError = 0x8009030C;
  EXPECT_EQ(Open(), E_FAIL);
  Script().lastError = 5;  // of another call that came between
  EXPECT_EQ(directory_.LastError().code, 0x8009030CU);
  EXPECT_EQ(directory_.LastError().text, u"what the server said");
  EXPECT_EQ(Open(std::u16string_view(u"LDAP://dc/CN=a\0b", 16)), kBadPathname);
  EXPECT_TRUE(directory_.LastError().text.empty()) << "an older failure";
  EXPECT_EQ(Script().opens, 1) << "a text was told up to its zero";
  Script().lastErrorResult = E_ADS_BAD_PARAMETER;
  EXPECT_EQ(Open(), E_FAIL);
  EXPECT_TRUE(directory_.LastError().text.empty());
}

}  // namespace
}  // namespace zorvan::platform::windows
