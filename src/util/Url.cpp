#include "util/Url.h"

#include <algorithm>

#include "util/Text.h"

namespace quarnel {
namespace {

bool isAsciiLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

bool isSchemeText(std::string_view text) {
  if (text.empty() || !isAsciiLetter(text.front())) return false;
  for (const char c : text) {
    const bool legal =
        isAsciiLetter(c) || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
    if (!legal) return false;
  }
  return true;
}

std::optional<std::string> decodePath(std::string_view path) {
  if (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  return unescapeUrl(path);
}

bool isHexadecimal(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

UrlParts parseUrl(std::string_view url) {
  UrlParts parts;
  url = url.substr(0, url.find('#'));
  if (const std::size_t mark = url.find('?'); mark != std::string_view::npos) {
    parts.query = url.substr(mark + 1);
    url = url.substr(0, mark);
  }
  if (const std::size_t colon = url.find(':');
      colon != std::string_view::npos && isSchemeText(url.substr(0, colon))) {
    parts.scheme = url.substr(0, colon);
    url.remove_prefix(colon + 1);
    // "app:x" is opaque: what follows the scheme is no path.
    if (url.empty() || url.front() != '/') return parts;
  }
  if (url.substr(0, 2) == "//") {
    url.remove_prefix(2);
    const std::size_t slash = url.find('/');
    url = slash == std::string_view::npos ? std::string_view() : url.substr(slash);
  }
  parts.path = decodePath(url);
  return parts;
}

bool isUrl(std::string_view text) {
  constexpr std::string_view kMarks = "!#$&'()*+,-./:;=?@[]_~";
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '%') {
      if (text.size() - i < 3 || !isHexadecimal(text[i + 1]) || !isHexadecimal(text[i + 2])) {
        return false;
      }
      continue;
    }
    const bool isDigit = c >= '0' && c <= '9';
    if (!isAsciiLetter(c) && !isDigit && kMarks.find(c) == std::string_view::npos) return false;
  }
  return !text.empty();
}

bool isHttpsUrl(std::string_view text) {
  constexpr std::string_view kScheme = "https://";
  if (!isUrl(text) || text.size() <= kScheme.size()) return false;
  for (std::size_t i = 0; i < kScheme.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != kScheme[i]) return false;
  }
  text.remove_prefix(kScheme.size());
  const std::string_view authority = text.substr(0, text.find_first_of("/?#"));
  const std::size_t colon = authority.find(':');
  const std::string_view host = authority.substr(0, colon);
  const std::string_view port = authority.substr(std::min(host.size() + 1, authority.size()));
  return !host.empty() && host.find_first_of("%@") == std::string_view::npos &&
         port.find_first_not_of("0123456789") == std::string_view::npos;
}

}  // namespace quarnel
