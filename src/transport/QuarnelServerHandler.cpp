#include "transport/QuarnelServerHandler.h"

#include <string_view>
#include <utility>

#include "util/Json.h"
#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::string_view kOperation =
    "+[QuarnelServerHandler "
    "sendRequestEventToServer:isRequestFromCache:appID:isDebug:onSuccess:]";
constexpr std::string_view kCompletion =
    "+[QuarnelServerHandler "
    "sendRequestEventToServer:isRequestFromCache:appID:isDebug:onSuccess:]_block_invoke";

constexpr std::string_view kPostOperation =
    "+[QuarnelServerHandler sendPOSTRequest:complitionBlock:]";
constexpr std::string_view kPostCompletion =
    "+[QuarnelServerHandler sendPOSTRequest:complitionBlock:]_block_invoke";

std::string textEntry(const Dictionary& parameters, std::string_view key) {
  const Value* value = parameters.find(key);
  return value != nullptr ? describe(*value) : "(null)";
}

}  // namespace

void QuarnelServerHandler::sendRequestEventToServer(RequestRecord request, bool isRequestFromCache,
                                                    const std::optional<std::string>& /*appID*/,
                                                    bool isDebug, std::function<void()> onSuccess) {
  std::string url = request->requestURL.value_or("");
  if (isRequestFromCache) url += "&isCachedRequest=true";
  if (isDebug) log_(kOperation, "quarnel URL: ", url, "\ndata: ", request->postData);

  HttpRequest post;
  post.method = "POST";
  post.url = escapeForUrl(url);
  post.headers = {{"Accept", "application/json"}, {"Content-Type", "application/json"}};
  post.body = request->postData.value_or("");
  if (isDebug) log_(kOperation, "Quarnel: sending request to server ");
  session_.startDataTask(std::move(post),
                         [this, request = std::move(request), isRequestFromCache, isDebug,
                          onSuccess = std::move(onSuccess)](const HttpResult& result) {
                           complete(request, isRequestFromCache, isDebug, result);
                           if (!result.error && onSuccess) onSuccess();
                         });
}

void QuarnelServerHandler::complete(const RequestRecord& request, bool isRequestFromCache,
                                    bool isDebug, const HttpResult& result) const {
  if (result.error) {
    if (isDebug) {
      log_(kCompletion, "Quarnel Connection failed! Error - ", result.error->description, " ");
    }
    if (!isRequestFromCache) replay_->cacheRequest(request);
  } else {
    if (isDebug) log_(kCompletion, "Quarnel: sent information to server");
    isRequestFromCache ? replay_->deleteRequest(request) : replay_->processCache();
  }
  isRequestFromCache ? replay_->sendNextCachedEvents() : freshReportEnded_(!result.error);
}

void QuarnelServerHandler::sendPOSTRequest(const Dictionary& parameters,
                                           PostCompletion complitionBlock) {
  HttpRequest post;
  post.method = "POST";
  post.url = textEntry(parameters, "url") + "?app_id=" + textEntry(parameters, "appId") +
             "&quarnel_id=" + textEntry(parameters, "quarnelId") +
             "&dev_key=" + textEntry(parameters, "appDevKey") +
             "&sandbox=" + textEntry(parameters, "sandbox");
  log_(kPostOperation, "url = ", post.url);
  post.headers = {{"Accept", "application/json"}, {"Content-Type", "application/json"}};
  post.connection = ConnectionUse::kFresh;
  if (const Value* data = parameters.find("data")) post.body = writeJson(*data).value_or("");
  log_(kPostOperation, "Quarnel: sending request to server ");
  session_.startDataTask(std::move(post), [this, complitionBlock = std::move(complitionBlock)](
                                              const HttpResult& result) {
    if (result.error) {
      log_(kPostCompletion, "Quarnel Connection failed! Error - ", result.error->description);
    }
    complitionBlock(result.error,
                    result.response ? std::optional(result.response->body) : std::nullopt);
  });
}

}  // namespace quarnel
