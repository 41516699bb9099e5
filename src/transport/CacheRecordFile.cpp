#include "transport/CacheRecordFile.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "util/DateText.h"
#include "util/NumberText.h"
#include "util/Text.h"

namespace quarnel {
namespace {

// What ends a line: LF, VT, FF, CR, and in UTF-8 NEL, LINE SEPARATOR and PARAGRAPH SEPARATOR.
constexpr std::array<std::string_view, 7> kLineBreaks = {
    "\n", "\v", "\f", "\r", "\xc2\x85", "\xe2\x80\xa8", "\xe2\x80\xa9"};

// What they begin with.
constexpr std::string_view kFirstBytes = "\n\v\f\r\xc2\xe2";

// The line that says that the URL is escaped as a whole, so that it stays one line. It comes before
// the URL. Such a URL is rare: it holds an app ID with a line break.
constexpr std::string_view kEscapedUrl = "urlencoding=percent";

// The length of the line break that the text begins with, 0 for none.
std::size_t lineBreakLength(std::string_view text) {
  for (const std::string_view lineBreak : kLineBreaks) {
    if (text.substr(0, lineBreak.size()) == lineBreak) return lineBreak.size();
  }
  return 0;
}

bool hasLineBreak(std::string_view text) {
  for (std::size_t i = text.find_first_of(kFirstBytes); i < text.size();
       i = text.find_first_of(kFirstBytes, i + 1)) {
    if (lineBreakLength(text.substr(i)) > 0) return true;
  }
  return false;
}

std::string_view takeLine(std::string_view& text) {
  std::size_t end = text.find_first_of(kFirstBytes);
  while (end < text.size() && lineBreakLength(text.substr(end)) == 0) {
    end = text.find_first_of(kFirstBytes, end + 1);
  }
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(line.size());
  text.remove_prefix(lineBreakLength(text));
  return line;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

bool takePrefix(std::string_view& line, std::string_view prefix) {
  if (line.substr(0, prefix.size()) != prefix) return false;
  line.remove_prefix(prefix.size());
  return true;
}

std::string timeInCache(const std::string& name, Date now) {
  const double writtenAt = decimalValue(name.substr(0, name.find_last_of('.')));
  const double seconds = secondsSinceReferenceDate(now) - writtenAt;
  return "&timeincache=" + fixed(seconds, 6);
}

}  // namespace

std::string cacheFileName(Date writtenAt) {
  return fixed(secondsSinceReferenceDate(writtenAt), 6).append(kCacheFileExtension);
}

std::string cacheFileContent(const QuarnelRequestCacheData& record) {
  const std::string url = record.requestURL.value_or("(null)");
  std::string content = "version=" + record.sdkVersion.value_or("(null)");
  if (hasLineBreak(url)) {
    content += "\n" + std::string(kEscapedUrl) + "\nurl=" + escapeForUrl(url);
  } else {
    content += "\nurl=" + url;
  }
  return content + "\ndata=" + record.postData.value_or("(null)");
}

std::optional<QuarnelRequestCacheData> parseCacheFile(const std::string& name,
                                                      std::string_view content, Date now) {
  if (!isValidUtf8(content)) return std::nullopt;
  QuarnelRequestCacheData record;
  bool isEscaped = false;
  while (!content.empty()) {
    std::string_view line = takeLine(content);
    if (takePrefix(line, "url=")) {
      const std::string url = trimmed(line);
      record.requestURL =
          (isEscaped ? unescapeUrl(url).value_or(url) : url) + timeInCache(name, now);
    } else if (line == kEscapedUrl) {
      isEscaped = true;
    } else if (takePrefix(line, "version=")) {
      record.sdkVersion = trimmed(line);
    } else if (takePrefix(line, "data=")) {
      record.postData = trimmed(line);
    }
  }
  if (!record.requestURL || !record.postData) return std::nullopt;
  record.cacheKey = name;
  return record;
}

}  // namespace quarnel
