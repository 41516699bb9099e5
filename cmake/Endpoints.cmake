# Where the services live, unless the host application says otherwise, and the names under which the
# library keeps its things.
set(QUARNEL_LAUNCH_HOST "launches.quarnel.example" CACHE STRING "Host of launch reports")
set(QUARNEL_EVENTS_HOST "events.quarnel.example" CACHE STRING "Host of in-app event reports")
set(QUARNEL_STATS_HOST "stats.quarnel.example" CACHE STRING "Host of session statistics")
set(QUARNEL_CONVERSION_HOST "conversions.quarnel.example" CACHE STRING "Host of conversion data")
set(QUARNEL_SERVICES_HOST "services.quarnel.example" CACHE STRING "Host of receipt validation")
set(QUARNEL_REGISTER_HOST "register.quarnel.example" CACHE STRING "Host of push registrations")
set(QUARNEL_VENDOR_PREFIX "example.quarnel" CACHE STRING "Reverse-DNS prefix, lower case")
set(QUARNEL_KEYCHAIN_PREFIX "example.Quarnel" CACHE STRING "Reverse-DNS prefix of keychain items")
set(QUARNEL_SHORT_VENDOR_PREFIX "example.qn" CACHE STRING "Short reverse-DNS prefix")
