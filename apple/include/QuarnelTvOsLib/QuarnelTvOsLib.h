// Install attribution and analytics for applications on Apple's television platform.
#import <Foundation/Foundation.h>

// The version of the framework, as Xcode numbers it.
FOUNDATION_EXPORT const double QuarnelTvOsLibVersionNumber;
FOUNDATION_EXPORT const unsigned char QuarnelTvOsLibVersionString[];

#import <QuarnelTvOsLib/QuarnelTracker.h>
#import <QuarnelTvOsLib/QuarnelTrackerControl.h>
#import <QuarnelTvOsLib/QuarnelTrackerDelegate.h>
