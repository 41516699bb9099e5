#include <QuarnelTvOsLib/Version.h>

const char* quarnel_library_version() { return QUARNEL_VERSION; }
