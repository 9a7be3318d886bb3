// Errors that the user must learn of. They carry message keys, never display text; the Java side
// looks the keys up.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "call/native_handler.h"

namespace zorvan::call {

inline constexpr std::string_view kSevere = "SEVERE";
inline constexpr std::string_view kWarningSeverity = "WARNING";
// A code that stands for "none": its text in the entry is empty.
inline constexpr std::uint32_t kNoCode = 0xFFFFFFFFU;

// One entry, in the order in which setErrorList takes its arguments.
struct ErrorEntry {
  std::u16string_view objectName;  // a distinguished name, account, path or domain name
  std::string_view severity;
  std::string code;                    // lower-case hexadecimal without prefix
  std::string_view key;                // empty when there is none
  std::optional<std::u16string> text;  // the system's words for the code; absent is passed as null
};

class ErrorList {
 public:
  virtual ~ErrorList() = default;
  virtual void SetErrorList(const ErrorEntry& entry) = 0;
};

// Adds an entry without system text. kNoCode gives an empty code text.
void AddNativeError(ErrorList& errors, std::u16string_view objectName, std::string_view severity,
                    std::uint32_t code, std::string_view key);

// Adds an entry with the system's message text for the code ("Unknown Error" when it has none,
// empty for code 0).
void AddSystemError(NativeHandler& handler, ErrorList& errors, std::u16string_view objectName,
                    std::string_view severity, std::uint32_t code, std::string_view key = {});

}  // namespace zorvan::call
