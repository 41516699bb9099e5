#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace quarnel {

// The request record: one report, ready to be sent, on its way between builder, transport and
// cache.
struct QuarnelRequestCacheData {
  QuarnelRequestCacheData() = default;
  QuarnelRequestCacheData(std::string url, std::string post, std::string version)
      : sdkVersion(std::move(version)), requestURL(std::move(url)), postData(std::move(post)) {}

  std::optional<std::string> sdkVersion;
  // The complete URL; on a record read back from disk with the time in the cache behind it.
  std::optional<std::string> requestURL;
  std::optional<std::string> postData;
  // The name of the record's file; only on records read back from disk.
  std::optional<std::string> cacheKey;
};

using RequestRecord = std::shared_ptr<const QuarnelRequestCacheData>;

// The room that a record takes in the transport.
inline std::size_t sizeOf(const QuarnelRequestCacheData& record) {
  return (record.requestURL ? record.requestURL->size() : 0) +
         (record.postData ? record.postData->size() : 0);
}

}  // namespace quarnel
