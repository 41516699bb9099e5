// What stands for the platform on GNUstep, and how tests steer it.
#pragma once

#import <Foundation/Foundation.h>

#include <functional>
#include <string>

namespace doubles {

// Runs what is on the main queue until the condition, which is looked at again and again, is met;
// false after ten seconds. Only for the main thread.
bool runMainQueueUntil(const std::function<bool()>& condition);

// The label of the queue that the calling code runs on; empty on other threads.
std::string currentQueueLabel();

// Where keychain items are kept: outside of what removal of the application removes.
void setKeychainFile(const std::string& path);
// What every keychain function answers instead of working; 0 lets it work.
void setKeychainStatus(int status);

// A PEM file of the authorities that the session trusts. Without a network each task fails.
void setCertificateAuthority(const std::string& path);
void setNetworkAvailable(bool isAvailable);

// A device fact by the name of its property; nil for a device that does not tell.
void setDeviceFact(NSString* name, id value);
void setReceiptFile(const std::string& path);
void setCloudIdentity(bool isPresent);

}  // namespace doubles
