// The port on Windows: ADSI and Win32.
#include "platform/platform.h"
#include "platform/windows/adsi_directory.h"
#include "platform/windows/handles.h"
#include "platform/windows/win32_accounts.h"
#include "platform/windows/win32_system.h"

namespace zorvan::platform {
namespace windows {
namespace {

class WindowsPlatform : public Platform {
 public:
  HResult InitializeApartment(Apartment apartment) override {
    if (apartment == Apartment::kNone) return kOk;
    const HRESULT result = apartment == Apartment::kSingleThreaded
                               ? CoInitialize(nullptr)
                               : CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (SUCCEEDED(result)) ++initializations_;
    return result;
  }

  void UninitializeApartment() override {
    directory_.Disconnect();
    if (initializations_ == 0) return;
    --initializations_;
    CoUninitialize();
  }

  // The system chooses mechanism, trust and the limits of its connections itself; what is left is
  // to end between two of its calls.
  void BeginCall(const CallTerms& terms, CallObserver& observer) override {
    directory_.SetLimits(CallLimits(terms, observer));
  }

  Directory& directory() override { return directory_; }
  Accounts& accounts() override { return accounts_; }
  System& system() override { return system_; }

 private:
  int initializations_ = 0;
  AdsiDirectory directory_;
  Win32Accounts accounts_;
  Win32System system_;
};

}  // namespace
}  // namespace windows

std::unique_ptr<Platform> CreatePlatform() { return std::make_unique<windows::WindowsPlatform>(); }

}  // namespace zorvan::platform
