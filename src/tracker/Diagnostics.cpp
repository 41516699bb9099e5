#include <QuarnelTvOsLib/Diagnostics.h>

namespace quarnel {
namespace {

using Lost = Diagnostics::Lost;

template <typename Numbers>
struct Name {
  const char* name;
  std::uint64_t Numbers::*number;
};

// The only place that knows the names.
constexpr Name<Diagnostics> kNames[] = {
    {"accepted", &Diagnostics::accepted},
    {"notDue", &Diagnostics::notDue},
    {"built", &Diagnostics::built},
    {"delivered", &Diagnostics::delivered},
    {"failed", &Diagnostics::failed},
    {"cached", &Diagnostics::cached},
    {"replayed", &Diagnostics::replayed},
    {"waiting", &Diagnostics::waiting},
    {"inFlight", &Diagnostics::inFlight},
    {"validating", &Diagnostics::validating},
    {"storesSetAside", &Diagnostics::storesSetAside},
};
constexpr Name<Lost> kLostNames[] = {
    {"tooManyWaiting", &Lost::tooManyWaiting},
    {"missingDeveloperKey", &Lost::missingDeveloperKey},
    {"abandoned", &Lost::abandoned},
    {"cacheFull", &Lost::cacheFull},
    {"cacheWriteFailed", &Lost::cacheWriteFailed},
    {"unreadableRecords", &Lost::unreadableRecords},
    {"deletedFromCache", &Lost::deletedFromCache},
    {"withProcess", &Lost::withProcess},
};

void append(std::string& text, const std::string& name, std::uint64_t number) {
  if (number == 0) return;
  if (!text.empty()) text += ", ";
  text += name + " " + std::to_string(number);
}

}  // namespace

Dictionary toDictionary(const Diagnostics& diagnostics) {
  Dictionary lost;
  for (const auto& [name, number] : kLostNames) lost.set(name, diagnostics.lost.*number);
  Dictionary numbers;
  for (const auto& [name, number] : kNames) numbers.set(name, diagnostics.*number);
  numbers.set("lost", std::move(lost));
  return numbers;
}

std::string toText(const Diagnostics& diagnostics) {
  std::string text;
  for (const auto& [name, number] : kNames) append(text, name, diagnostics.*number);
  for (const auto& [name, number] : kLostNames) {
    append(text, std::string("lost.") + name, diagnostics.lost.*number);
  }
  return text.empty() ? "nothing reported" : text;
}

}  // namespace quarnel
