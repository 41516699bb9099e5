#include "inspector/FieldTable.h"

#include <algorithm>

namespace collector {
namespace {

constexpr auto kAlways = Presence::kAlways;
constexpr auto kSometimes = Presence::kSometimes;

constexpr Field kReport[] = {
    {"uid", kAlways, Form::kIdentifier, "identifier of this installation"},
    {"serverApiVersion", kAlways, Form::kConstant, "version of the interface", "4"},
    {"installReceiptData", kSometimes, Form::kJsonText, "the store receipt, on the first launch"},
    {"name", kSometimes, Form::kText, "name of the device"},
    {"systemname", kAlways, Form::kText, "operating system"},
    {"systemversion", kAlways, Form::kText, "version of the operating system"},
    {"model", kAlways, Form::kText, "model of the device"},
    {"localizedmodel", kAlways, Form::kText, "model of the device, in the user's language"},
    {"platform", kAlways, Form::kText, "hardware name"},
    {"platformextension", kAlways, Form::kText, "the engine that the application is built with"},
    {"counter", kAlways, Form::kCount, "launch reports so far"},
    {"sessioncounter", kAlways, Form::kCount, "number of this session"},
    {"iaecounter", kAlways, Form::kCount, "in-app event reports so far"},
    {"timepassedsincelastlaunch", kAlways, Form::kNumber,
     "seconds since the previous report, -1 on the first"},
    {"qn_events_api", kSometimes, Form::kConstant, "the event has several values", "1"},
    {"productId", kSometimes, Form::kText, "product that was bought"},
    {"price", kSometimes, Form::kText, "its price"},
    {"validated", kSometimes, Form::kText, "whether the purchase is confirmed"},
    {"qn_deeplink", kSometimes, Form::kText, "link or push that opened the application"},
    {"deeplink_sourceapplication", kSometimes, Form::kText, "application that opened the link"},
    {"deviceTrackingDisabled", kSometimes, Form::kTrue, "the application asks not to be tracked"},
    {"advertiserId", kAlways, Form::kText, "advertising identifier, empty when there is none"},
    {"advertiserIdEnabled", kAlways, Form::kBoolean, "whether the user allows its use"},
    {"bundleIdentifier", kAlways, Form::kText, "identifier of the application"},
    {"vendorId", kSometimes, Form::kText, "identifier of the device for the vendor"},
    {"currency", kSometimes, Form::kCurrency, "currency of the amounts"},
    {"bundleversion", kSometimes, Form::kText, "version of the application"},
    {"bundlename", kSometimes, Form::kText, "name of the application"},
    {"shortbundleversion", kSometimes, Form::kText, "short version of the application"},
    {"date1", kAlways, Form::kDate, "date of the installation"},
    {"date2", kAlways, Form::kDate, "modification date of the temporary directory"},
    {"date3", kAlways, Form::kDate, "the same when this version was first seen"},
    {"firstLaunchDate", kAlways, Form::kDate, "date of the first launch"},
    {"currentLanguage", kAlways, Form::kText, "language of the user"},
    {"currentCountrycode", kAlways, Form::kText, "country of the user"},
    {"timestamp", kAlways, Form::kTimestamp, "when the report was made, seconds since 1970"},
    {"event", kAlways, Form::kFilledText, "name of the event; Launched for a launch"},
    {"eventvalue", kAlways, Form::kText, "its value; several are URL-escaped JSON"},
    {"appUID", kSometimes, Form::kText, "the application's own identifier of the user"},
    {"customData", kSometimes, Form::kJsonText, "the application's additional data"},
    {"wifi", kAlways, Form::kBoolean, "whether there is a wireless network"},
    {"installAttribution", kSometimes, Form::kObject, "the stored conversion data"},
    {"qn_iadattribution", kSometimes, Form::kTrueOrFalse, "what the ad client answered"},
    {"qn_iad_purchase_date", kSometimes, Form::kDate, "when the ad was acted upon"},
    {"qn_iad_impression_date", kSometimes, Form::kDate, "when the ad was shown"},
    {"qn_iad_v3_data", kSometimes, Form::kJsonText, "attribution details of the ad client"},
    {"reinstallCounter", kSometimes, Form::kCount, "how often the application was installed again"},
    {"originalQuarnelId", kSometimes, Form::kIdentifier, "identifier of the first installation"},
    {"plain_el_arr=%@", kSometimes, Form::kText, "the user's e-mail address"},
    {"sha1_el_arr=%@", kSometimes, Form::kText, "SHA-1 digests of the user's e-mail addresses"},
    {"md5_el_arr=%@", kSometimes, Form::kText, "MD5 digests of the user's e-mail addresses"},
};

constexpr Field kStatistics[] = {
    {"app_id", kAlways, Form::kDigits, "store identifier of the application"},
    {"devkey", kAlways, Form::kText, "developer key"},
    {"uid", kAlways, Form::kIdentifier, "identifier of this installation"},
    {"time_in_app", kAlways, Form::kNumberText, "seconds since the launch report"},
    {"statType", kAlways, Form::kConstant, "what happened", "user_closed_app"},
    {"launch_counter", kAlways, Form::kDigits, "launch reports so far"},
    {"platform", kAlways, Form::kConstant, "the platform", "iOS"},
    {"gcd_conversion_data_timing", kAlways, Form::kNumberText,
     "seconds that the conversion data took to come"},
};

constexpr Field kConversion[] = {
    {"devkey", kAlways, Form::kText, "developer key"},
    {"device_id", kAlways, Form::kIdentifier, "identifier of the installation that asks"},
};

constexpr Field kValidation[] = {
    {"receipt-data", kAlways, Form::kBase64, "the store receipt"},
};

constexpr Field kRegistration[] = {
    {"devkey", kAlways, Form::kText, "developer key"},
    {"uid", kAlways, Form::kIdentifier, "identifier of this installation"},
    {"devicetoken", kAlways, Form::kHexadecimal, "push token of the device"},
    {"launch_counter", kAlways, Form::kDigits, "launch reports so far"},
    {"topic", kAlways, Form::kText, "identifier of the application"},
    {"install_date", kAlways, Form::kDate, "date of the installation"},
    {"advertiserId", kAlways, Form::kText, "advertising identifier, empty when there is none"},
    {"OriginalQuarnelId", kAlways, Form::kText, "identifier of the first installation, if another"},
    {"reInstallCounter", kAlways, Form::kCount, "how often the application was installed again"},
    {"sdk_version", kAlways, Form::kConstant, "version of the library", "1.0.0"},
};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool areDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

// In the pattern "9" stands for a digit and "+" for a sign.
bool matches(std::string_view text, std::string_view pattern) {
  return std::equal(text.begin(), text.end(), pattern.begin(), pattern.end(), [](char c, char p) {
    return p == '9' ? isDigit(c) : p == '+' ? c == '+' || c == '-' : c == p;
  });
}

bool isTimestamp(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const auto point = text.find('.');
  return point != text.npos && areDigits(text.substr(0, point)) &&
         areDigits(text.substr(point + 1)) && text.size() - point == 7;
}

// The milliseconds are local time, so they may lie before 1970.
bool isIdentifier(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const auto hyphen = text.find('-');
  return hyphen != text.npos && areDigits(text.substr(0, hyphen)) &&
         areDigits(text.substr(hyphen + 1));
}

bool isNumberText(std::string_view text) {
  if (text.starts_with('-')) text.remove_prefix(1);
  const auto point = std::min(text.find('.'), text.size());
  return areDigits(text.substr(0, point)) &&
         (point == text.size() || areDigits(text.substr(point + 1)));
}

bool isBase64(std::string_view text) {
  const auto digits = text.substr(0, text.find('='));
  return !text.empty() && text.size() % 4 == 0 && text.size() - digits.size() <= 2 &&
         std::all_of(digits.begin(), digits.end(), [](char c) {
           return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '+' ||
                  c == '/';
         });
}

bool isJsonObject(std::string_view text) {
  std::string error;
  return compactObject(text, error).has_value();
}

bool hasForm(const Field& field, std::string_view text) {
  switch (field.form) {
    case Form::kText:
      return true;
    case Form::kFilledText:
      return !text.empty();
    case Form::kConstant:
      return text == field.constant;
    case Form::kDigits:
      return areDigits(text);
    case Form::kIdentifier:
      return isIdentifier(text);
    case Form::kCurrency:
      return text.size() == 3;
    case Form::kNumberText:
      return isNumberText(text);
    case Form::kTrueOrFalse:
      return text == "true" || text == "false";
    case Form::kDate:
      return text.empty() || matches(text, "9999-99-99_9999+9999");
    case Form::kTimestamp:
      return isTimestamp(text);
    case Form::kJsonText:
      return isJsonObject(text);
    case Form::kHexadecimal:
      return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == text.npos;
    case Form::kBase64:
      return isBase64(text);
    default:
      return false;
  }
}

}  // namespace

std::span<const Field> fieldsOf(Kind kind) {
  switch (kind) {
    case Kind::kLaunch:
    case Kind::kEvent:
      return kReport;
    case Kind::kStatistics:
      return kStatistics;
    case Kind::kConversion:
      return kConversion;
    case Kind::kValidation:
      return kValidation;
    case Kind::kRegistration:
      return kRegistration;
    case Kind::kUndecodable:
      break;
  }
  return {};
}

const Field* findField(Kind kind, std::string_view name) {
  const auto fields = fieldsOf(kind);
  const auto field = std::find_if(fields.begin(), fields.end(),
                                  [&](const Field& known) { return known.name == name; });
  return field == fields.end() ? nullptr : &*field;
}

bool hasForm(const Field& field, const JsonMember& value) {
  using Type = JsonMember::Type;
  switch (field.form) {
    case Form::kCount:
      return value.type == Type::kNumber && areDigits(value.json);
    case Form::kNumber:
      return value.type == Type::kNumber;
    case Form::kTrue:
      return value.json == "true";
    case Form::kBoolean:
      return value.type == Type::kBoolean;
    case Form::kObject:
      return value.type == Type::kObject;
    default:
      return value.type == Type::kText && hasForm(field, value.text);
  }
}

std::string expectationOf(const Field& field) {
  switch (field.form) {
    case Form::kText:
      return "a text";
    case Form::kFilledText:
      return "a text that is not empty";
    case Form::kConstant:
      return '"' + std::string(field.constant) + '"';
    case Form::kDigits:
      return "digits, as text";
    case Form::kIdentifier:
      return "milliseconds, a hyphen and a number";
    case Form::kCurrency:
      return "a code of three letters";
    case Form::kCount:
      return "a whole number that is not negative";
    case Form::kNumber:
      return "a number";
    case Form::kNumberText:
      return "a number, as text";
    case Form::kTrue:
      return "true";
    case Form::kBoolean:
      return "true or false";
    case Form::kTrueOrFalse:
      return "\"true\" or \"false\"";
    case Form::kDate:
      return "a date like 2016-03-05_1607+0200";
    case Form::kTimestamp:
      return "seconds with six decimals, as text";
    case Form::kJsonText:
      return "a JSON object, as text";
    case Form::kObject:
      return "an object";
    case Form::kHexadecimal:
      return "hexadecimal digits";
    case Form::kBase64:
      return "Base64";
  }
  return {};
}

}  // namespace collector
