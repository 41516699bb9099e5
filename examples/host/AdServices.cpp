#include "AdServices.h"

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "Arguments.h"
#include "BadInput.h"

namespace host {
namespace {

using quarnel::AdClient;
using quarnel::Dictionary;

// Runs the answer at once, or later on a thread of its own.
void answer(std::chrono::microseconds after, std::function<void()> task) {
  if (after == std::chrono::microseconds::zero()) return task();
  std::thread([after, task = std::move(task)] {
    std::this_thread::sleep_for(after);
    task();
  }).detach();
}

std::shared_ptr<AdClient> makeClient(const Dictionary& script) {
  const auto operations = textList(entry(script, "operations"), "operations");
  const auto details = optionalDictionary(entry(script, "details"), "details");
  const auto purchase = optionalDate(entry(script, "purchaseDate"), "purchaseDate");
  const auto impression = optionalDate(entry(script, "impressionDate"), "impressionDate");
  const auto* late = script.find("after");
  const auto after = late ? requiredDuration(*late, "after") : std::chrono::microseconds::zero();
  const auto* flag = script.find("attributed");
  const bool attributed = flag && requiredBoolean(*flag, "attributed");

  auto client = std::make_shared<AdClient>();
  for (const std::string& operation : operations) {
    if (operation == "requestAttributionDetailsWithBlock:") {
      client->requestAttributionDetailsWithBlock = [=](AdClient::DetailsCallback callback) {
        answer(after, [=] { callback(details, std::nullopt); });
      };
    } else if (operation == "lookupAdConversionDetails:") {
      client->lookupAdConversionDetails = [=](AdClient::DatesCallback callback) {
        answer(after, [=] { callback(purchase, impression); });
      };
    } else if (operation == "determineAppInstallationAttributionWithCompletionHandler:") {
      client->determineAppInstallationAttributionWithCompletionHandler =
          [=](AdClient::AttributedCallback callback) {
            answer(after, [=] { callback(attributed); });
          };
    } else {
      throw BadInput("the ad client has no operation " + operation);
    }
  }
  return client;
}

}  // namespace

void AdServices::setIdentity(const std::optional<Dictionary>& script) {
  std::optional<quarnel::AdvertisingIdentity> identity;
  if (script) {
    identity = {.identifier = requiredText(entry(*script, "identifier"), "identifier"),
                .trackingEnabled = requiredBoolean(entry(*script, "enabled"), "enabled")};
  }
  const std::lock_guard lock(mutex_);
  identity_ = std::move(identity);
}

void AdServices::setClient(const std::optional<Dictionary>& script) {
  auto client = script ? makeClient(*script) : nullptr;
  const std::lock_guard lock(mutex_);
  client_ = std::move(client);
}

std::optional<quarnel::AdvertisingIdentity> AdServices::identity() const {
  const std::lock_guard lock(mutex_);
  return identity_;
}

std::shared_ptr<AdClient> AdServices::client() const {
  const std::lock_guard lock(mutex_);
  return client_;
}

}  // namespace host
