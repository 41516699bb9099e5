// The tracker's configuration properties by name.
#pragma once

#include <QuarnelTvOsLib/QuarnelTracker.h>
#include <QuarnelTvOsLib/Value.h>

#include <string>

namespace host {

// Sets a property; throws BadInput when there is none of that name or it takes another type.
void setProperty(quarnel::QuarnelTracker& tracker, const std::string& name,
                 const quarnel::Value& value);

}  // namespace host
