#include "platform/linux/http/CurlExchange.h"

#include <sys/socket.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace quarnel {
namespace {

bool isTokenCharacter(char c) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         kOthers.find(c) != std::string_view::npos;
}

bool isHeaderName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), isTokenCharacter);
}

// What would end the header, or the text as libcurl sees it, and let the rest be something else.
bool isHeaderValue(std::string_view value) {
  return value.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

}  // namespace

CurlExchange::CurlExchange(HttpRequest request, OutcomeReceiver receiver)
    : request_(std::move(request)), receiver_(std::move(receiver)) {}

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

void CurlExchange::attach(CurlHandle handle, const HttpLimits& limits) {
  handle_ = std::move(handle);
  limits_ = limits;
  start_ = Clock::now();
  CURL* const curl = handle_.get();
  ::curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorText_);
  ::curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  ::curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, this);
  ::curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, &permitRequest);
  ::curl_easy_setopt(curl, CURLOPT_PREREQDATA, this);
  ::curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &receiveHeader);
  ::curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
  ::curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &receive);
  ::curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
  setUpRequest(curl);
}

void CurlExchange::setUpRequest(CURL* curl) {
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
  const bool isFresh = request_.connection == ConnectionUse::kFresh;
  ::curl_easy_setopt(curl, CURLOPT_FRESH_CONNECT, isFresh ? 1L : 0L);
}

// The programs that the application starts would inherit sockets that libcurl opens. For a second
// sending there is no need to connect.
curl_socket_t CurlExchange::openSocket(void* exchange, curlsocktype /*purpose*/,
                                       curl_sockaddr* address) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  self.isSecondSending_ = self.awaitsHead_;
  if (self.isSecondSending_) return CURL_SOCKET_BAD;
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

// Asked before each request that libcurl sends. After a redirect the head is there; without one it
// is the same request again.
int CurlExchange::permitRequest(void* exchange, char* /*remoteAddress*/, char* /*localAddress*/,
                                int /*remotePort*/, int /*localPort*/) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  self.isSecondSending_ = self.awaitsHead_;
  self.awaitsHead_ = true;
  return self.isSecondSending_ ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

// libcurl takes a connection that ends within the head for a response without a body. Trailers come
// this way, too.
std::size_t CurlExchange::receiveHeader(char* line, std::size_t size, std::size_t count,
                                        void* exchange) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  const std::string_view text(line, size * count);
  self.headBytes_ += text.size();
  self.isTooLarge_ = self.headBytes_ > self.limits_.responseHeads;
  if (self.isTooLarge_) return 0;
  if (text.substr(0, 5) == "HTTP/") self.readStatusLine(text);
  const bool isEnd = text == "\r\n" || text == "\n";
  if (isEnd && !self.isInterimHead_) {
    if (self.awaitsHead_) self.sentBeforeRedirect_ += self.sentBytes();
    self.awaitsHead_ = false;
  }
  return text.size();
}

void CurlExchange::readStatusLine(std::string_view line) {
  const std::size_t status = line.find(' ');
  isInterimHead_ = status != std::string_view::npos && line.substr(status, 2) == " 1";
}

std::size_t CurlExchange::receive(char* data, std::size_t size, std::size_t count, void* exchange) {
  auto& self = *static_cast<CurlExchange*>(exchange);
  const std::size_t length = size * count;
  // The announced length was checked by libcurl, but there may be none.
  self.isTooLarge_ = length > self.limits_.responseBody - self.response_.body.size();
  if (self.isTooLarge_) return 0;
  try {
    self.response_.body.append(data, length);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return length;
}

// libcurl counts anew with each request.
std::size_t CurlExchange::sentBytes() const {
  curl_off_t sent = 0;
  ::curl_easy_getinfo(handle_.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
  return static_cast<std::size_t>(sent);
}

CurlExchange::Clock::time_point CurlExchange::deadline() const {
  const std::size_t sent = sentBeforeRedirect_ + (awaitsHead_ ? sentBytes() : 0);
  const std::size_t moved = sent + headBytes_ + response_.body.size();
  return start_ + limits_.exchangeTime + std::chrono::seconds(moved / limits::kBytesPerSecond);
}

bool CurlExchange::isRedirectNotFollowed(CURLcode code) const {
  long status = 0;
  ::curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  return !awaitsHead_ && status / 100 == 3 &&
         (code == CURLE_UNSUPPORTED_PROTOCOL || code == CURLE_URL_MALFORMAT ||
          code == CURLE_TOO_MANY_REDIRECTS);
}

void CurlExchange::finish(CURLcode code, Outcomes& outcomes) {
  if (isSecondSending_) {
    fail(transportError(CURLE_GOT_NOTHING, "The connection ended before the response"), outcomes);
  } else if (isTooLarge_) {
    fail(transportError(CURLE_FILESIZE_EXCEEDED), outcomes);
  } else if (code != CURLE_OK && !isRedirectNotFollowed(code)) {
    fail(transportError(code, errorText_), outcomes);
  } else if (awaitsHead_) {
    fail(transportError(CURLE_RECV_ERROR, "The connection ended within the response head"),
         outcomes);
  } else {
    long status = 0;
    ::curl_easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
    response_.status = static_cast<int>(status);
    outcomes.add(std::move(receiver_), {.response = std::move(response_), .error = std::nullopt});
  }
}

void CurlExchange::fail(Error error, Outcomes& outcomes) {
  outcomes.add(std::move(receiver_), {.response = std::nullopt, .error = std::move(error)});
}

}  // namespace quarnel
