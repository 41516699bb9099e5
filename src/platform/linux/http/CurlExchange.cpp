#include "platform/linux/http/CurlExchange.h"

#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace quarnel {
namespace {

constexpr char kErrorDomain[] = "QuarnelTransportError";
constexpr long kMostRedirects = 10;

bool isTokenCharacter(char c) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         kOthers.find(c) != std::string_view::npos;
}

bool isHeaderName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), isTokenCharacter);
}

// The programs that the application starts would inherit sockets that libcurl opens.
curl_socket_t openSocket(void* /*context*/, curlsocktype /*purpose*/, curl_sockaddr* address) {
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// The file of the system's authorities; null when there is none that can be read.
const char* systemAuthorityFile() {
  const char* const file = ::curl_version_info(CURLVERSION_NOW)->cainfo;
  return file != nullptr && ::access(file, R_OK) == 0 ? file : nullptr;
}

// libcurl would write the secrets of its connections to the file that SSLKEYLOGFILE names, a
// variable of the application's environment.
CURLcode keepSecrets(CURL* /*handle*/, void* context, void* /*data*/) {
  ::SSL_CTX_set_keylog_callback(static_cast<SSL_CTX*>(context), nullptr);
  return CURLE_OK;
}

// What would end the header, or the text as libcurl sees it, and let the rest be something else.
bool isHeaderValue(std::string_view value) {
  return value.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

}  // namespace

Error transportError(CURLcode code, std::string description) {
  if (description.empty()) description = ::curl_easy_strerror(code);
  return {kErrorDomain, code, std::move(description)};
}

CurlExchange::CurlExchange(HttpRequest request, ExchangeDone done, PendingWork::Token token,
                           Admission::SharedTicket ticket)
    : request_(std::move(request)),
      done_(std::move(done)),
      ticket_(std::move(ticket)),
      token_(std::move(token)) {}

std::optional<Error> CurlExchange::parse() {
  if (request_.method != "GET" && request_.method != "POST") {
    return transportError(CURLE_BAD_FUNCTION_ARGUMENT, "Unsupported HTTP method");
  }
  if (auto error = parseUrl()) return error;
  return parseHeaders();
}

std::string_view CurlExchange::origin() const {
  const std::string_view url = request_.url;
  const std::size_t host = url.find("://");
  return host == std::string_view::npos ? url : url.substr(0, url.find_first_of("/?#", host + 3));
}

std::optional<Error> CurlExchange::parseUrl() {
  if (request_.url.find('\0') != std::string::npos) return transportError(CURLE_URL_MALFORMAT);
  url_.reset(::curl_url());
  if (!url_) return transportError(CURLE_OUT_OF_MEMORY);
  const CURLUcode code =
      ::curl_url_set(url_.get(), CURLUPART_URL, request_.url.c_str(), CURLU_NON_SUPPORT_SCHEME);
  if (code != CURLUE_OK) return transportError(CURLE_URL_MALFORMAT, ::curl_url_strerror(code));
  const auto scheme = urlPart(CURLUPART_SCHEME);
  if (!scheme) return transportError(CURLE_URL_MALFORMAT);
  if (*scheme != "https") {
    return transportError(CURLE_UNSUPPORTED_PROTOCOL, "The URL is not an HTTPS URL");
  }
  host_ = urlPart(CURLUPART_HOST).value_or("") + ":" +
          urlPart(CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("");
  return std::nullopt;
}

std::optional<std::string> CurlExchange::urlPart(CURLUPart part, unsigned flags) const {
  char* text = nullptr;
  if (::curl_url_get(url_.get(), part, &text, flags) != CURLUE_OK) return std::nullopt;
  std::string copy(text);
  ::curl_free(text);
  return copy;
}

std::optional<Error> CurlExchange::parseHeaders() {
  // Without this libcurl waits up to a second for a server's leave to send a large body.
  bool appended = appendHeader("Expect:");
  for (const auto& [name, value] : request_.headers) {
    if (!isHeaderName(name) || !isHeaderValue(value)) {
      return transportError(CURLE_BAD_FUNCTION_ARGUMENT, "Malformed request header");
    }
    // libcurl takes "Name:" as the removal of a header and "Name;" as one without a value.
    appended = appended && appendHeader(value.empty() ? name + ";" : name + ": " + value);
  }
  if (!appended) return transportError(CURLE_OUT_OF_MEMORY);
  return std::nullopt;
}

bool CurlExchange::appendHeader(const std::string& line) {
  curl_slist* const extended = ::curl_slist_append(headers_.get(), line.c_str());
  if (extended == nullptr) return false;
  static_cast<void>(headers_.release());
  headers_.reset(extended);
  return true;
}

CurlHandle CurlExchange::makeHandle(const HttpRoute& route, const HttpLimits& limits) {
  CurlHandle handle(::curl_easy_init());
  CURL* const curl = handle.get();
  if (curl == nullptr) return handle;
  ::curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &CurlExchange::receiveHeader);
  ::curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &CurlExchange::receive);
  ::curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(limits.responseBody));
  ::curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  ::curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  ::curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
  ::curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
  ::curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https");
  ::curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  ::curl_easy_setopt(curl, CURLOPT_MAXREDIRS, kMostRedirects);
  ::curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
  ::curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  if (!route.usesProxyEnvironment) ::curl_easy_setopt(curl, CURLOPT_PROXY, "");
  ::curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &keepSecrets);
  if (const char* file =
          route.authorityFile ? route.authorityFile->c_str() : systemAuthorityFile()) {
    ::curl_easy_setopt(curl, CURLOPT_CAINFO, file);
    // Else the system's directory of authorities would be trusted beside a file of the
    // application. Beside the system's file it holds the same, and with a directory libcurl does
    // not keep what it has read: each connection would read all the authorities again, which is
    // most of its cost.
    ::curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
  }
  const auto stall = static_cast<long>(limits.stall.count());
  ::curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT, stall);
  ::curl_easy_setopt(curl, CURLOPT_LOW_SPEED_LIMIT, 1L);
  ::curl_easy_setopt(curl, CURLOPT_LOW_SPEED_TIME, stall);
  ::curl_easy_setopt(curl, CURLOPT_MAXAGE_CONN, static_cast<long>(limits.idleConnection.count()));
  ::curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, &CurlExchange::beginRequest);
  ::curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, &CurlExchange::watchTime);
  ::curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
  return handle;
}

void CurlExchange::attach(CurlHandle handle, const HttpLimits& limits) {
  handle_ = std::move(handle);
  limits_ = limits;
  begun_ = std::chrono::steady_clock::now();
  CURL* const curl = handle_.get();
  ::curl_easy_setopt(curl, CURLOPT_CURLU, url_.get());
  if (request_.method == "POST") {
    ::curl_easy_setopt(curl, CURLOPT_POST, 1L);
    ::curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE,
                       static_cast<curl_off_t>(request_.body.size()));
    ::curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request_.body.data());
  } else {
    ::curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  }
  ::curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers_.get());
  ::curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText_);
  const long isFresh = request_.connection == ConnectionUse::kFresh ? 1L : 0L;
  ::curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, isFresh);
  ::curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, isFresh);
  ::curl_easy_setopt(curl, CURLOPT_PREREQDATA, this);
  ::curl_easy_setopt(curl, CURLOPT_XFERINFODATA, this);
  ::curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
  ::curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
}

// libcurl calls this before each request, also before one that it would send again because a
// connection that it had used before has died, or because the server has refused the stream. The
// server may have got the first one, so there is no second one until a response head has come.
int CurlExchange::beginRequest(void* exchange, char* /*address*/, char* /*localAddress*/,
                               int /*port*/, int /*localPort*/) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  if (std::exchange(self.isRequestSent_, true)) {
    self.refusal_ = transportError(CURLE_GOT_NOTHING, "The connection ended before a response");
    return CURL_PREREQFUNC_ABORT;
  }
  return CURL_PREREQFUNC_OK;
}

// Called whenever bytes have moved, and every second.
int CurlExchange::watchTime(void* exchange, curl_off_t /*toReceive*/, curl_off_t received,
                            curl_off_t /*toSend*/, curl_off_t sent) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  const auto moved = static_cast<std::size_t>(received + sent) + self.headSize_;
  const auto allowed =
      self.limits_.exchange + std::chrono::seconds(moved / self.limits_.bytesPerSecond);
  if (std::chrono::steady_clock::now() - self.begun_ <= allowed) return 0;
  self.refusal_ = transportError(CURLE_OPERATION_TIMEDOUT, "The exchange took too long");
  return 1;
}

// Also called for trailers. libcurl takes a connection that ends within the head for a response
// without a body.
std::size_t CurlExchange::receiveHeader(char* line, std::size_t size, std::size_t count,
                                        void* exchange) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  const std::string_view text(line, size * count);
  self.headSize_ += text.size();
  if (self.headSize_ > self.limits_.responseHead) {
    self.refusal_ = transportError(CURLE_FILESIZE_EXCEEDED, "The response head is too large");
    return 0;
  }
  if (text.substr(0, 5) == "HTTP/") {
    self.headComplete_ = false;
    self.isRequestSent_ = false;
  }
  if (text == "\r\n" || text == "\n") self.headComplete_ = true;
  return text.size();
}

std::size_t CurlExchange::receive(char* data, std::size_t size, std::size_t count, void* exchange) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  const std::size_t length = size * count;
  // The announced length was checked by libcurl, but there may be none.
  if (length > self.limits_.responseBody - self.response_.body.size()) {
    self.refusal_ = transportError(CURLE_FILESIZE_EXCEEDED);
    return 0;
  }
  try {
    self.response_.body.append(data, length);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return length;
}

// A redirect that cannot be followed is an answer: the server has got the request.
bool CurlExchange::endedAtRedirect() const {
  constexpr int kFirstRedirect = 300;
  constexpr int kLastRedirect = 399;
  const int status = responseStatus();
  return headComplete_ && !isRequestSent_ && status >= kFirstRedirect && status <= kLastRedirect;
}

int CurlExchange::responseStatus() const {
  long status = 0;
  ::curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  return static_cast<int>(status);
}

void CurlExchange::finish(CURLcode code) {
  if (refusal_) {
    fail(*std::move(refusal_));
  } else if (code != CURLE_OK && !endedAtRedirect()) {
    fail(transportError(code, errorText_));
  } else if (!headComplete_) {
    fail(transportError(CURLE_RECV_ERROR, "The connection ended within the response head"));
  } else {
    response_.status = responseStatus();
    done_({.response = std::move(response_), .error = std::nullopt});
  }
}

void CurlExchange::fail(Error error) {
  done_({.response = std::nullopt, .error = std::move(error)});
}

}  // namespace quarnel
