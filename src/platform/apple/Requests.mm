#include "platform/apple/Requests.h"

#include "platform/apple/FoundationValue.h"

namespace quarnel {
namespace {

constexpr NSUInteger kMaximumBody = 8 * 1024 * 1024;

Error transportError(NSInteger code, const char* description) {
  return {textFrom(NSURLErrorDomain).value_or(""), static_cast<int>(code), description};
}

}  // namespace

NSURLRequest* urlRequestFrom(const HttpRequest& request) {
  NSURL* const url = [NSURL URLWithString:stringFrom(std::string_view(request.url))];
  if (url == nil || [[url host] length] == 0) return nil;
  if ([[url scheme] caseInsensitiveCompare:@"https"] != NSOrderedSame) return nil;
  NSMutableURLRequest* const urlRequest = [NSMutableURLRequest requestWithURL:url];
  [urlRequest setHTTPMethod:stringFrom(std::string_view(request.method))];
  for (const auto& [name, value] : request.headers) {
    [urlRequest setValue:stringFrom(std::string_view(value))
        forHTTPHeaderField:stringFrom(std::string_view(name))];
  }
  if (!request.body.empty()) {
    [urlRequest setHTTPBody:[NSData dataWithBytes:request.body.data() length:request.body.size()]];
  }
  return urlRequest;
}

Error badUrl() { return transportError(NSURLErrorBadURL, "The URL cannot be used."); }

HttpResult resultFrom(NSData* body, NSURLResponse* response, NSError* error) {
  if (error != nil) return {.response = {}, .error = errorFrom(error)};
  if (![response isKindOfClass:[NSHTTPURLResponse class]]) {
    return {.response = {},
            .error = transportError(NSURLErrorBadServerResponse, "No HTTP response.")};
  }
  if ([body length] > kMaximumBody) {
    return {.response = {},
            .error = transportError(NSURLErrorDataLengthExceedsMaximum, "The answer is too long.")};
  }
  const auto status = static_cast<int>([static_cast<NSHTTPURLResponse*>(response) statusCode]);
  std::string content;
  if ([body length] > 0) content.assign(static_cast<const char*>([body bytes]), [body length]);
  return {.response = HttpResponse{status, std::move(content)}, .error = {}};
}

}  // namespace quarnel
