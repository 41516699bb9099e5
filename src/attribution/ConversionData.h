#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>

#include "compose/TrackerContext.h"
#include "installation/DeviceIdentity.h"
#include "platform/HttpSession.h"

namespace quarnel {

// Fetches the installation's conversion data, keeps the last answer, and hands it to the delegate.
//
// One fetch cycle: without a delegate that listens, nothing. With a stored answer, that one is
// handed over on the main queue; it lasts for ever, or for 60 days from an answer that the service
// marked as fresh. Otherwise a request, unless five were refused with a status of 400 to 499.
// Cycles may overlap; each answer is stored and delivered by itself.
class ConversionData {
 public:
  ConversionData(const TrackerContext& context, DeviceIdentity& identity)
      : context_(context), identity_(identity) {}

  // Makes the delegate the tracker's and runs a fetch cycle on this thread.
  void loadConversionDataWithDelegate(QuarnelTrackerDelegate* delegate);

  // Runs a fetch cycle if the delegate listens; called after a launch report has got through.
  void launchDelivered();

 private:
  bool delegateListens() const;
  void getConversionData();
  std::optional<Dictionary> storedData();
  void fetch();
  void receive(const HttpResult& result, Date start);
  void receiveAnswer(const HttpResponse& response, Date start);
  void receiveRefusal(int status);
  void store(Dictionary& data);
  void fail(const Error& error);
  Error makeError(int code, const char* description) const;

  const TrackerContext& context_;
  DeviceIdentity& identity_;
};

}  // namespace quarnel
