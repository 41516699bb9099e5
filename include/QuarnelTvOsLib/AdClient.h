// The platform ad client, for hosts whose platform has one.
#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Value.h>

#include <functional>
#include <optional>

namespace quarnel {

// Answers whether this installation came from an ad. An empty function is an operation that the
// client does not respond to. The client may answer on any thread, at once or late; an answer given
// twice is processed twice.
struct AdClient {
  // What each operation answers; absent values are allowed.
  using DetailsCallback =
      std::function<void(std::optional<Dictionary> details, std::optional<Error> error)>;
  using DatesCallback =
      std::function<void(std::optional<Date> purchaseDate, std::optional<Date> impressionDate)>;
  using AttributedCallback = std::function<void(bool attributed)>;

  // The details are asked for beside one of the other two, of which the dates are preferred.
  std::function<void(DetailsCallback)> requestAttributionDetailsWithBlock;
  std::function<void(DatesCallback)> lookupAdConversionDetails;
  std::function<void(AttributedCallback)> determineAppInstallationAttributionWithCompletionHandler;
};

}  // namespace quarnel
