// Records of the offline cache: the first line of the input is the file's name.
#include "Check.h"
#include "transport/CacheRecordFile.h"
#include "util/DateText.h"
#include "util/Text.h"

namespace quarnel::fuzz {
namespace {

constexpr Date kNow{std::chrono::seconds(1457186820)};

bool hasLineBreak(std::string_view text) {
  return text.find_first_of("\n\v\f\r") != std::string_view::npos;
}

// The URL as it was written, without the time in the cache.
std::string_view writtenUrl(const QuarnelRequestCacheData& record) {
  const std::string_view url = *record.requestURL;
  const std::size_t mark = url.rfind("&timeincache=");
  require(mark != std::string_view::npos, "the URL tells the time in the cache");
  const std::string_view time = url.substr(mark + 13);
  require(time.find_first_not_of("-0123456789.") == std::string_view::npos && time.size() >= 8,
          "the time in the cache is a number of six decimals");
  return url.substr(0, mark);
}

void checkRead(const std::string& name, std::string_view content) {
  const auto record = parseCacheFile(name, content, kNow);
  if (!record) return;
  require(record->cacheKey == name, "a record knows its file");
  require(isValidUtf8(*record->requestURL) && isValidUtf8(*record->postData), "records are UTF-8");
  require(!hasLineBreak(*record->requestURL) && !hasLineBreak(*record->postData),
          "a value is one line");
  const auto again = parseCacheFile(name, cacheFileContent(*record), kNow);
  require(again && again->postData == record->postData, "the body survives");
  require(writtenUrl(*again) == *record->requestURL, "the URL survives");
  writtenUrl(*record);
}

// Application identifiers may put anything into the URL.
void checkWritten(const std::string& url) {
  if (!isValidUtf8(url)) return;
  const QuarnelRequestCacheData record("u" + url + "u", "body", "1.0.0");
  const auto read = parseCacheFile(cacheFileName(kNow), cacheFileContent(record), kNow);
  require(read && read->postData == "body" && read->sdkVersion == "1.0.0",
          "no URL passes for another line");
  require(escapeForUrl(writtenUrl(*read)).size() >= record.requestURL->size(),
          "nothing of a URL is lost");
}

void check(std::string_view input) {
  const std::string name(takeLine(input));
  checkRead(name, input);
  checkWritten(std::string(input));
}

}  // namespace
}  // namespace quarnel::fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quarnel::fuzz::check(quarnel::fuzz::textOf(data, size));
  return 0;
}
