// The port: everything the library asks of the operating system. One Platform is made per native
// call, so an adapter can keep what one call shares (an apartment, connections) in it; destroying
// it closes all of that.
#pragma once

#include <memory>

#include "platform/accounts.h"
#include "platform/call_terms.h"
#include "platform/directory.h"
#include "platform/result.h"
#include "platform/system.h"

namespace zorvan::platform {

enum class Apartment { kNone, kSingleThreaded, kMultithreaded };

class Platform {
 public:
  virtual ~Platform() = default;

  // CoInitialize and its like, for the calling thread. A failure can be passed over: a thread that
  // is already in another apartment works on in that one, and where there is none opening fails.
  // Uninitializing gives up what was opened before; without a successful initialization it leaves
  // no apartment.
  virtual HResult InitializeApartment(Apartment apartment) = 0;
  virtual void UninitializeApartment() = 0;

  // Sets the terms of the call, before anything is opened. The observer outlives the platform.
  virtual void BeginCall(const CallTerms& terms, CallObserver& observer) = 0;

  virtual Directory& directory() = 0;
  virtual Accounts& accounts() = 0;
  virtual System& system() = 0;
};

// The adapter of the operating system that the library was built for.
std::unique_ptr<Platform> CreatePlatform();

}  // namespace zorvan::platform
