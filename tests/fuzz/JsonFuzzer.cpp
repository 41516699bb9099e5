// JSON text from servers and stores.
#include <QuarnelTvOsLib/Value.h>

#include <vector>

#include "Check.h"
#include "util/Json.h"
#include "util/QuarnelUtils.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

bool holdsNull(const Value& root) {
  std::vector<const Value*> pending{&root};
  while (!pending.empty()) {
    const Value* const value = pending.back();
    pending.pop_back();
    if (value->isNull()) return true;
    if (const auto* array = value->array()) {
      for (const Value& element : *array) pending.push_back(&element);
    } else if (const auto* dictionary = value->dictionary()) {
      for (const auto& [key, element] : *dictionary) {
        require(dictionary->find(key) == &element, "a key leads to its value");
        pending.push_back(&element);
      }
    }
  }
  return false;
}

void checkWritten(const Value& value) {
  const auto text = writeJson(value);
  require(text.has_value(), "what was read can be written");
  require(isValidUtf8(*text), "written JSON is UTF-8");
  require(text->find_first_of("\n\r") == std::string::npos, "written JSON is one line");
  const auto again = readJson(*text);
  require(again.value.has_value(), "what was written can be read");
  // A negative zero reads back as the integer 0.
  require(writeJson(*again.value) == text || text->find("-0") != std::string::npos,
          "written JSON reads back the same");
}

// With objects that stand for dates, bytes and numbers that are not finite.
void checkTagged(std::string_view text) {
  const JsonReadResult read = readTaggedJson(text);
  require(read.value.has_value() == read.error.description.empty(), "an error says why");
  if (!read.value) return;
  const std::string written = writeTaggedJson(*read.value);
  require(isValidUtf8(written), "written JSON is UTF-8");
  require(readTaggedJson(written).value.has_value(), "what was written can be read");
}

void check(std::string_view text) {
  checkTagged(text);
  JsonReadResult read = readJson(text);
  require(read.value.has_value() == read.error.description.empty(), "an error says why");
  if (!read.value) return;
  checkWritten(*read.value);
  describe(*read.value);
  const Value original = *read.value;
  const auto before = writeJson(original);
  if (Dictionary* dictionary = read.value->mutableDictionary()) {
    QuarnelUtils::recursivelyRemoveNulls(*dictionary);
  } else if (Value::Array* array = read.value->mutableArray()) {
    QuarnelUtils::recursivelyRemoveNullsFromArray(*array);
  } else {
    return;
  }
  require(!holdsNull(*read.value), "no null is left");
  require(writeJson(original) == before, "shared content is left alone");
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
