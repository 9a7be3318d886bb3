#include "call/notice.h"

#include <algorithm>
#include <array>

namespace zorvan::call {
namespace {

// Formats take subject, detail and count, in this order. A kind without a name is for the log only.
struct Words {
  NoticeKind kind;
  std::string_view name;
  std::string_view format;
};

constexpr std::array kWords{
    Words{NoticeKind::kNtlmUsed, "NtlmUsed", "Logged on to %ws by NTLM: %ws"},
    Words{NoticeKind::kServiceNameFromServer, "ServiceNameFromServer",
          "%ws is an address: the ticket was asked for the name that the server gave, %ws"},
    Words{NoticeKind::kListCut, "ListCut",
          "The list of %ws is not whole: %ws has more values than the %u in its row"},
    Words{NoticeKind::kTypesUnknown, "TypesUnknown",
          "The schema of %ws could not be read, so values of %ws are missing"},
    Words{NoticeKind::kSchemaNotRead, {}, "The schema of %ws could not be read: %ws"},
    // The lines of failures are written where they happen.
    Words{NoticeKind::kControllerFailed, "ControllerFailed", {}},
    Words{NoticeKind::kOpenFailed, "OpenFailed", {}},
    Words{NoticeKind::kSearchFailed, "SearchFailed", {}},
    Words{NoticeKind::kReferralFollowed, "ReferralFollowed", "%ws was asked for at %ws"},
    Words{NoticeKind::kLoggedOn, {}, "Logged on to %ws by %ws"},
};

}  // namespace

void Notify(NativeHandler& handler, const Notice& notice) {
  if (handler.observer != nullptr) {
    handler.observer->Notify(notice);
  } else {
    AddNotice(handler, nullptr, notice);
  }
}

void AddNotice(NativeHandler& handler, NoticeList* list, const Notice& notice) {
  const auto* words = std::ranges::find(kWords, notice.kind, &Words::kind);
  if (words == kWords.end()) return;
  if (!words->format.empty()) {
    LogMessage(handler, kMilestone, words->format, notice.subject, notice.detail, notice.count);
  }
  if (list != nullptr && !words->name.empty()) list->AddNotice(words->name, notice);
}

}  // namespace zorvan::call
