#include "platform/DeviceFacts.h"

#include <utility>

namespace quarnel {
namespace {

struct TextFact {
  std::string_view field;
  std::optional<std::string> DeviceFacts::*member;
};

constexpr TextFact kTextFacts[] = {
    {"name", &DeviceFacts::name},
    {"systemname", &DeviceFacts::systemName},
    {"systemversion", &DeviceFacts::systemVersion},
    {"model", &DeviceFacts::model},
    {"localizedmodel", &DeviceFacts::localizedModel},
    {"platform", &DeviceFacts::hardwareMachine},
    {"vendorId", &DeviceFacts::identifierForVendor},
    {"currentCountrycode", &DeviceFacts::countryCode},
};

}  // namespace

bool overrideDeviceFact(DeviceFacts& facts, std::string_view field,
                        std::optional<std::string> value) {
  for (const TextFact& fact : kTextFacts) {
    if (fact.field == field) {
      facts.*fact.member = std::move(value);
      return true;
    }
  }
  if (field == "currentLanguage") {
    facts.preferredLanguages.clear();
    if (value) facts.preferredLanguages.push_back(*std::move(value));
    return true;
  }
  if (field == "multitasking") {
    if (value && value != "true" && value != "false") return false;
    facts.isMultitaskingSupported = value == "true";
    return true;
  }
  return false;
}

}  // namespace quarnel
