#pragma once

#include <QuarnelTvOsLib/TrackerTypes.h>
#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "compose/TrackerContext.h"
#include "installation/DeviceIdentity.h"
#include "transport/QuarnelServerHandler.h"
#include "util/Admission.h"

namespace quarnel {

class SerialQueue;

// A purchase on its way through validation.
struct Purchase {
  std::string productIdentifier;
  Value price;
  std::optional<std::string> currency;
  std::string transactionId;
  std::optional<Dictionary> additionalParameters;
  ValidationSuccess success;
  ValidationFailure failure;
  Admission::SharedTicket ticket;
};

// Has the store receipt validated by the service, tells the application, and reports the purchase
// as an event, whatever came out. Calls are independent of each other; nothing is kept or retried.
class PurchaseValidation {
 public:
  using TrackEvent = std::function<void(std::string eventName, Dictionary values)>;

  PurchaseValidation(const TrackerContext& context, DeviceIdentity& identity,
                     QuarnelServerHandler& serverHandler, TrackEvent trackEvent);

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
  Dictionary parameters(Dictionary receipt);
  bool examine(const Purchase& purchase, const std::optional<Error>& error,
               const std::optional<std::string>& body);
  bool examineAnswer(const Purchase& purchase, const Value& answer);
  bool fail(const Purchase& purchase, const std::optional<Error>& error,
            const std::optional<Value>& answer);
  void trackPurchase(const Purchase& purchase, bool isValidated);

  const TrackerContext& context_;
  DeviceIdentity& identity_;
  QuarnelServerHandler& serverHandler_;
  const TrackEvent trackEvent_;
  Admission waiting_{{256, std::size_t{16} << 20}};
  const std::shared_ptr<SerialQueue> queue_;  // Reads receipts off the caller's thread.
};

}  // namespace quarnel
