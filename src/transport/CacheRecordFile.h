// The text of a cached request's file.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>
#include <string_view>

#include "transport/QuarnelRequestCacheData.h"

namespace quarnel {

inline constexpr std::string_view kCacheFileExtension = ".qn";

// "<seconds since 2001-01-01 UTC, six decimals>.qn".
std::string cacheFileName(Date writtenAt);

// Three lines, "version=", "url=" and "data=". A URL that holds a line break is percent-escaped,
// and a line before it says so: no URL can pass for another line.
std::string cacheFileContent(const QuarnelRequestCacheData& record);

// Reads a record back; the time that it spent in the cache, by its file's name, is put behind its
// URL. Absent when the text holds no URL or no data.
std::optional<QuarnelRequestCacheData> parseCacheFile(const std::string& name,
                                                      std::string_view content, Date now);

}  // namespace quarnel
