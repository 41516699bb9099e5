// The platform ad client in C.
#include <memory>
#include <utility>

#include "c/Handles.h"
#include "util/DateText.h"

using namespace quarnel::c;  // NOLINT(google-build-using-namespace)
using quarnel::AdClient;

namespace {

AdClient& clientOf(quarnel_ad_client* handle) { return required(handle, "client").client; }

// One operation of a client: asks the application, which owns the question from then on.
template <typename Callback>
std::function<void(Callback)> asking(quarnel_ad_operation operation, void* user) {
  if (operation == nullptr) return {};
  return [=](Callback answer) { operation(new quarnel_ad_question{std::move(answer)}, user); };
}

template <typename Callback>
const Callback& answerOf(quarnel_ad_question* question) {
  const auto* answer = std::get_if<Callback>(&required(question, "question").answer);
  if (answer != nullptr) return *answer;
  throw Refusal(QUARNEL_INVALID_ARGUMENT, "The question is of another operation.");
}

std::optional<quarnel::Date> optionalDate(const double* seconds, const char* name) {
  if (seconds == nullptr) return std::nullopt;
  if (const auto date = quarnel::dateSince1970(*seconds)) return date;
  throw Refusal(QUARNEL_INVALID_ARGUMENT, std::string(name) + " is no date.");
}

}  // namespace

quarnel_ad_client* quarnel_ad_client_create() {
  return guardedResult<quarnel_ad_client*>(nullptr, [] { return new quarnel_ad_client; });
}

void quarnel_ad_client_free(quarnel_ad_client* client) { delete client; }

quarnel_status quarnel_ad_client_set_request_attribution_details(quarnel_ad_client* client,
                                                                 quarnel_ad_operation operation,
                                                                 void* user) {
  return guarded([&] {
    clientOf(client).requestAttributionDetailsWithBlock =
        asking<AdClient::DetailsCallback>(operation, user);
  });
}

quarnel_status quarnel_ad_client_set_lookup_ad_conversion_details(quarnel_ad_client* client,
                                                                  quarnel_ad_operation operation,
                                                                  void* user) {
  return guarded([&] {
    clientOf(client).lookupAdConversionDetails = asking<AdClient::DatesCallback>(operation, user);
  });
}

quarnel_status quarnel_ad_client_set_determine_app_installation_attribution(
    quarnel_ad_client* client, quarnel_ad_operation operation, void* user) {
  return guarded([&] {
    clientOf(client).determineAppInstallationAttributionWithCompletionHandler =
        asking<AdClient::AttributedCallback>(operation, user);
  });
}

quarnel_status quarnel_ad_question_answer_details(quarnel_ad_question* question,
                                                  const char* details, const char* error) {
  return guarded([&] {
    const auto& answer = answerOf<AdClient::DetailsCallback>(question);
    std::optional<quarnel::Error> failure;
    if (error != nullptr) failure = {{}, 0, error};
    answer(optionalDictionary(details, "details"), std::move(failure));
  });
}

quarnel_status quarnel_ad_question_answer_dates(quarnel_ad_question* question,
                                                const double* purchase_date,
                                                const double* impression_date) {
  return guarded([&] {
    answerOf<AdClient::DatesCallback>(question)(optionalDate(purchase_date, "purchase_date"),
                                                optionalDate(impression_date, "impression_date"));
  });
}

quarnel_status quarnel_ad_question_answer_attributed(quarnel_ad_question* question,
                                                     bool attributed) {
  return guarded([&] { answerOf<AdClient::AttributedCallback>(question)(attributed); });
}

void quarnel_ad_question_free(quarnel_ad_question* question) { delete question; }

quarnel_status quarnel_environment_set_ad_client_provider(quarnel_environment* environment,
                                                          quarnel_ad_client_provider provider,
                                                          void* user) {
  return guarded([&] {
    auto& changed = required(environment, "environment").environment;
    if (provider == nullptr) return changed.setAdClientProvider(nullptr);
    changed.setAdClientProvider([=]() -> std::shared_ptr<AdClient> {
      const quarnel_ad_client* provided = provider(user);
      return provided != nullptr ? std::make_shared<AdClient>(provided->client) : nullptr;
    });
  });
}
