// Which of the rows that a report's search finds are delivered.
#pragma once

#include <cstdint>

#include "call/native_handler.h"
#include "directory/paged_search.h"

namespace zorvan::reports {

// Rows whose userAccountControl has a bit of the mask.
directory::RowSelection AccountFlagSelection(call::NativeHandler& handler, std::uint32_t mask);

template <std::uint32_t mask>
directory::RowSelection KeepAccountFlags(call::NativeHandler& handler) {
  return AccountFlagSelection(handler, mask);
}

// Deleted objects that were users, or computers.
directory::RowSelection KeepDeletedUsers(call::NativeHandler& handler);
directory::RowSelection KeepDeletedComputers(call::NativeHandler& handler);

}  // namespace zorvan::reports
