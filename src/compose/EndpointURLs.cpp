#include "compose/EndpointURLs.h"

#include "util/Text.h"
#include "util/Version.h"

namespace quarnel {

std::string createURLFor(const ServiceConfiguration& services, std::string_view suffix,
                         const std::optional<std::string>& appID, bool isInAppEvent) {
  std::string url = "https://";
  url += isInAppEvent ? services.eventsHost : services.launchHost;
  url += "/api/v";
  url += kServerApiVersion;
  url += "/ios";
  url += suffix;
  url += "?app_id=";
  url += textOrNull(appID);
  url += "&buildnumber=";
  url += kLibraryVersion;
  return url;
}

}  // namespace quarnel
