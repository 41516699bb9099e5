#pragma once

#include <QuarnelTvOsLib/TrackerTypes.h>
#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "installation/DeviceIdentity.h"
#include "installation/TrackerState.h"
#include "platform/DeviceFacts.h"
#include "platform/Dispatcher.h"
#include "platform/HttpSession.h"
#include "platform/ServiceConfiguration.h"
#include "util/Admission.h"
#include "util/DebugLog.h"
#include "util/Limits.h"
#include "util/QuarnelUtils.h"

namespace quarnel {

// A purchase on its way through validation.
struct Purchase {
  std::string productIdentifier;
  Value price;
  std::optional<std::string> currency;
  std::string transactionId;
  std::optional<Dictionary> additionalParameters;
  ValidationSuccess success;
  ValidationFailure failure;
  std::shared_ptr<const Settings> settings;  // Of the call.
  Admission::SharedTicket ticket;
};

// Has the store receipt validated by the service, tells the application, and reports the purchase
// as an event, whatever came out. Calls are independent of each other; nothing is kept or retried.
class PurchaseValidation {
 public:
  using TrackEvent = std::function<void(std::string eventName, Dictionary values)>;

  PurchaseValidation(HttpSession& session, Dispatcher& dispatcher, const Device& device,
                     const ServiceConfiguration& services, const TrackerState& state,
                     DeviceIdentity& identity, const QuarnelUtils& utils, const DebugLog& log,
                     TrackEvent trackEvent);

  // Purchases that wait for the service's answer.
  std::size_t waiting() const { return waiting_.pieces(); }

  // Returns at once. Callbacks come from a thread of the library; only when too many purchases wait
  // for their validation, the failure comes from the caller's.
  void validateAndTrackInAppPurchase(std::optional<std::string> productIdentifier, Value price,
                                     std::optional<std::string> currency,
                                     std::optional<std::string> transactionId,
                                     std::optional<Dictionary> additionalParameters,
                                     ValidationSuccess success, ValidationFailure failure);

 private:
  using SharedPurchase = std::shared_ptr<const Purchase>;

  void start(const SharedPurchase& purchase);
  Dictionary parameters(Dictionary receipt, const Settings& settings);
  bool examine(const Purchase& purchase, const std::optional<Error>& error,
               const std::optional<std::string>& body);
  bool examineAnswer(const Purchase& purchase, const Value& answer);
  bool fail(const Purchase& purchase, const std::optional<Error>& error,
            const std::optional<Value>& answer);
  void trackPurchase(const Purchase& purchase, bool isValidated);

  HttpSession& session_;
  const Device& device_;
  const ServiceConfiguration& services_;
  const TrackerState& state_;
  DeviceIdentity& identity_;
  const QuarnelUtils& utils_;
  const DebugLog& log_;
  const TrackEvent trackEvent_;
  Admission waiting_{{limits::kMostPurchases, limits::kMostPurchaseBytes}};
  const std::shared_ptr<SerialQueue> queue_;  // Reads receipts off the caller's thread.
};

}  // namespace quarnel
