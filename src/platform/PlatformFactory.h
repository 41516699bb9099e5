// The link-time seam to the platform adapter that the library is built for.
#pragma once

#include <memory>

#include "platform/HostOptions.h"
#include "platform/Platform.h"

namespace quarnel {

// Makes the platform of this process. Never fails: what cannot be opened is logged and kept in
// memory instead.
std::unique_ptr<Platform> makePlatform(const HostOptions& options);

// Whether this process was forked from one that had made a platform. Nothing of that may be used
// here: its threads are not there, its locks may be held for ever, its files are the parent's.
bool isForkedChild();

// The notification centre of this process, shared by every platform made in it.
NotificationCenter& defaultNotificationCenter();

}  // namespace quarnel
