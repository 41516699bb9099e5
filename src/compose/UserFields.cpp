#include "compose/UserFields.h"

#include <QuarnelTvOsLib/TrackerTypes.h>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

// Counted in UTF-16 code units, of which any four bytes of text make at least two.
bool hasSeveralCharacters(const std::string& text) {
  return text.size() >= 4 || utf16CodeUnits(text).size() > 1;
}

}  // namespace

void UserFields::addPurchase(Report& report) const {
  if (report.isNewAPI) report.set("qn_events_api", "1");
  if (!report.dictionary) return;
  for (const char* key : {"productId", "price", "validated"}) {
    const Value* value = report.dictionary->find(key);
    report.set(key, value != nullptr ? std::optional(*value) : std::nullopt);
  }
}

void UserFields::addEvent(Report& report) const {
  report.set("event", report.eventName);
  report.set("eventvalue", report.value);
  const TrackerFields fields = context_.state.snapshot();
  if (fields.customerUserID) report.set("appUID", fields.customerUserID);
  if (!fields.customData) return;
  if (auto json = writeJson(*fields.customData)) {
    report.set("customData", *std::move(json));
  } else {
    context_.log(kBuildOperation, "customData is not valid json data");
  }
}

void UserFields::addEmails(Report& report) const {
  const TrackerFields fields = context_.state.snapshot();
  if (!fields.userEmails || fields.userEmails->array()->empty()) return;
  std::string text;
  std::optional<std::string> key;
  for (const Value& email : *fields.userEmails->array()) {
    // The comma depends on the text, not on whether an address was added before.
    if (hasSeveralCharacters(text)) text += ',';
    if (email.text() == nullptr) {
      context_.log(kBuildOperation, "Warning:: Emails provided are not in the right format.");
      continue;
    }
    // The keys are sent as they stand, their "=%@" included.
    switch (static_cast<EmailCryptType>(fields.emailCryptType)) {
      case EmailCryptType::kNone:
        key = "plain_el_arr=%@";
        text = *email.text();  // Of plain addresses only the last one is sent.
        break;
      case EmailCryptType::kMd5:
        key = "md5_el_arr=%@";
        text += QuarnelUtils::md5(*email.text());
        break;
      default:
        key = "sha1_el_arr=%@";
        text += QuarnelUtils::sha1(*email.text());
    }
  }
  report.body.setParameter(text, key);
}

}  // namespace quarnel
