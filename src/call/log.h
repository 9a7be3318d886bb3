// Log lines of a call. The library has no log of its own: lines are formatted here and handed to
// whoever made the call.
//
// Formats are those of the C runtime that the messages were written for: %s narrow text, %ws and %S
// wide text, %wc a wide character, %d %i %ld %u %x %0x %08X, %I64i and %%. Arguments are typed, so
// a conversion that does not fit its argument prints the argument in its own way instead of reading
// wild memory; a conversion without an argument prints nothing.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace zorvan::call {

enum class LogChannel { kGeneral, kManagement, kDelegation };

// Levels are passed on unchanged.
inline constexpr int kMilestone = 1;
inline constexpr int kWarning = 2;
inline constexpr int kDetail = 3;

class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void Write(LogChannel channel, int level, std::u16string_view text) = 0;
};

// One argument of a format. Borrows its text.
class LogArgument {
 public:
  enum class Kind { kSigned, kUnsigned, kNarrow, kWide };

  template <typename T>
  requires(std::is_integral_v<T>&& std::is_signed_v<T>) LogArgument(
      T value)  // NOLINT(google-explicit-constructor): arguments are written as they are
      : kind_(Kind::kSigned),
        number_(static_cast<std::uint64_t>(static_cast<std::int64_t>(value))),
        size_(sizeof(T)) {}
  template <typename T>
  requires(std::is_integral_v<T>&& std::is_unsigned_v<T>)
      LogArgument(T value)  // NOLINT(google-explicit-constructor)
      : kind_(Kind::kUnsigned), number_(value), size_(sizeof(T)) {}
  LogArgument(std::string_view text) : kind_(Kind::kNarrow), narrow_(text) {}   // NOLINT
  LogArgument(const char* text) : LogArgument(std::string_view(text)) {}        // NOLINT
  LogArgument(std::u16string_view text) : kind_(Kind::kWide), wide_(text) {}    // NOLINT
  LogArgument(const std::u16string& text) : kind_(Kind::kWide), wide_(text) {}  // NOLINT

  Kind kind() const { return kind_; }
  std::uint64_t bits() const { return number_; }  // sign-extended
  std::size_t size() const { return size_; }      // of the integer, in bytes
  std::string_view narrow() const { return narrow_; }
  std::u16string_view wide() const { return wide_; }

 private:
  Kind kind_;
  std::uint64_t number_ = 0;
  std::size_t size_ = 0;
  std::string_view narrow_;
  std::u16string_view wide_;
};

// Appends the formatted text. Narrow text is taken as ASCII; bytes above 127 become "?".
void FormatLogText(std::u16string& out, std::string_view format,
                   std::span<const LogArgument> arguments);

// What a call writes its lines through; reuses one buffer.
class Log {
 public:
  explicit Log(LogSink& sink) : sink_(sink) {}

  void Write(LogChannel channel, int level, std::string_view format,
             std::span<const LogArgument> arguments);

 private:
  LogSink& sink_;
  std::u16string buffer_;
};

struct NativeHandler;
Log& LogOf(NativeHandler& handler);

// The wide twins write the same; they stand for lines that carry directory text.
template <typename... Arguments>
void LogMessage(NativeHandler& handler, int level, std::string_view format,
                const Arguments&... arguments) {
  const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
  LogOf(handler).Write(LogChannel::kGeneral, level, format, {list.begin(), list.size()});
}

template <typename... Arguments>
void LogMessageW(NativeHandler& handler, int level, std::string_view format,
                 const Arguments&... arguments) {
  LogMessage(handler, level, format, arguments...);
}

template <typename... Arguments>
void MgmtLog(NativeHandler& handler, int level, std::string_view format,
             const Arguments&... arguments) {
  const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
  LogOf(handler).Write(LogChannel::kManagement, level, format, {list.begin(), list.size()});
}

template <typename... Arguments>
void DelegLog(NativeHandler& handler, int level, std::string_view format,
              const Arguments&... arguments) {
  const std::initializer_list<LogArgument> list = {LogArgument(arguments)...};
  LogOf(handler).Write(LogChannel::kDelegation, level, format, {list.begin(), list.size()});
}

}  // namespace zorvan::call
