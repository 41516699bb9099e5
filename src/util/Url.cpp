#include "util/Url.h"

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

}  // namespace quarnel
