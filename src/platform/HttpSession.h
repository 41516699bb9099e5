#pragma once

#include <QuarnelTvOsLib/Error.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quarnel {

// A request is on the wire once: a session never sends it again, not even when its connection ends
// before the answer. So one that meets the end of an idle connection fails. That cannot happen to a
// fresh connection, which costs a handshake.
enum class ConnectionUse { kReuse, kFresh };

struct HttpRequest {
  std::string method;
  std::string url;  // Percent-escaped; a session refuses what it cannot parse or what is not HTTPS.
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;
  ConnectionUse connection = ConnectionUse::kReuse;
};

struct HttpResponse {
  int status = 0;
  std::string body;
};

// Exactly one of the two is set. A response of any status is no error. A redirect is followed; one
// that cannot be (not to HTTPS, malformed, one too many) is itself the response.
struct HttpResult {
  std::optional<HttpResponse> response;
  std::optional<Error> error;
};

using HttpCompletion = std::function<void(const HttpResult&)>;

// Sends requests without blocking. Every task completes exactly once, on the session's own serial
// callback queue, never on the caller's thread.
class HttpSession {
 public:
  virtual ~HttpSession() = default;
  virtual void startDataTask(HttpRequest request, HttpCompletion completion) = 0;
};

struct BackgroundSessionConfiguration {
  std::string identifier;
  bool allowsCellularAccess = true;
  bool sessionSendsLaunchEvents = true;
};

// What a background session tells of each transfer: a response of any status is
// `didFinishDownloading` and then `didComplete` without an error, anything else `didComplete` with
// one.
struct DownloadDelegate {
  std::function<void()> didFinishDownloading;
  std::function<void(const std::string& task, const std::optional<Error>& error)> didComplete;
};

// A session for requests whose answers are not of interest, each on a fresh connection. Where the
// platform can, it completes them after the application's end.
class BackgroundSession {
 public:
  virtual ~BackgroundSession() = default;
  virtual void startDownloadTask(HttpRequest request) = 0;
};

class Network {
 public:
  virtual ~Network() = default;
  virtual HttpSession& sharedSession() = 0;
  virtual std::shared_ptr<BackgroundSession> makeBackgroundSession(
      BackgroundSessionConfiguration configuration, DownloadDelegate delegate) = 0;
};

}  // namespace quarnel
