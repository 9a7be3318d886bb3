// The platform of one call on a POSIX system.

#include "platform/platform.h"
#include "platform/posix/posix_accounts.h"
#include "platform/posix/posix_directory.h"
#include "platform/posix/posix_system.h"

namespace zorvan::platform {
namespace {

class PosixPlatform final : public Platform {
 public:
  PosixPlatform() : accounts_(directory_) {}

  // There are no apartments here.
  HResult InitializeApartment(Apartment) override { return kOk; }
  void UninitializeApartment() override {}

  void BeginCall(const CallTerms& terms, CallObserver& observer) override {
    const posix::Deadline end = terms.call.count() == 0
                                    ? posix::Deadline::max()
                                    : std::chrono::steady_clock::now() + terms.call;
    directory_.SetConditions({terms, &observer, end});
  }

  Directory& directory() override { return directory_; }
  Accounts& accounts() override { return accounts_; }
  System& system() override { return system_; }

 private:
  posix::PosixDirectory directory_;
  posix::PosixAccounts accounts_;
  posix::PosixSystem system_;
};

}  // namespace

std::unique_ptr<Platform> CreatePlatform() { return std::make_unique<PosixPlatform>(); }

}  // namespace zorvan::platform
