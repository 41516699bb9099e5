// GNUstep's Foundation, and what the platform's has beyond it as far as the library uses it.
#pragma once

#include_next <Foundation/Foundation.h>
#include <Foundation/NSUserActivity.h>

#undef YES
#undef NO
#define YES __objc_yes
#define NO __objc_no

#ifndef NS_ASSUME_NONNULL_BEGIN
#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#endif
#ifndef NS_SWIFT_NAME
#define NS_SWIFT_NAME(name) __attribute__((swift_name(#name)))
#endif
#ifndef NS_REFINED_FOR_SWIFT
#define NS_REFINED_FOR_SWIFT __attribute__((swift_private))
#endif
#ifndef NS_UNAVAILABLE
#define NS_UNAVAILABLE __attribute__((unavailable))
#endif

@class NSURLSession;

@interface NSURLSessionTask : NSObject
- (NSUInteger)taskIdentifier;
- (void)resume;
@end

@interface NSURLSessionDataTask : NSURLSessionTask
@end

@interface NSURLSessionDownloadTask : NSURLSessionTask
@end

@protocol NSURLSessionDelegate <NSObject>
@end

@protocol NSURLSessionTaskDelegate <NSURLSessionDelegate>
@optional
- (void)URLSession:(NSURLSession *)session
                    task:(NSURLSessionTask *)task
    didCompleteWithError:(NSError *)error;
@end

@protocol NSURLSessionDownloadDelegate <NSURLSessionTaskDelegate>
@required
- (void)URLSession:(NSURLSession *)session
                 downloadTask:(NSURLSessionDownloadTask *)downloadTask
    didFinishDownloadingToURL:(NSURL *)location;
@end

@interface NSURLSessionConfiguration : NSObject {
 @private
  NSString *_identifier;
}
+ (NSURLSessionConfiguration *)backgroundSessionConfigurationWithIdentifier:(NSString *)identifier;
- (NSString *)identifier;
- (void)setAllowsCellularAccess:(BOOL)allows;
- (void)setSessionSendsLaunchEvents:(BOOL)sends;
@end

@interface NSURLSession : NSObject {
 @private
  id _delegate;
}
+ (NSURLSession *)sharedSession;
+ (NSURLSession *)sessionWithConfiguration:(NSURLSessionConfiguration *)configuration
                                  delegate:(id<NSURLSessionDelegate>)delegate
                             delegateQueue:(NSOperationQueue *)queue;
- (NSURLSessionDataTask *)dataTaskWithRequest:(NSURLRequest *)request
                            completionHandler:(void (^)(NSData *data, NSURLResponse *response,
                                                        NSError *error))completionHandler;
- (NSURLSessionDownloadTask *)downloadTaskWithRequest:(NSURLRequest *)request;
@end

@interface NSUserActivity (Platform)
- (instancetype)initWithActivityType:(NSString *)activityType;
- (NSString *)activityType;
- (NSURL *)webpageURL;
- (void)setWebpageURL:(NSURL *)url;
@end

FOUNDATION_EXPORT NSString *const NSUserActivityTypeBrowsingWeb;

@interface NSBundle (Platform)
- (NSURL *)appStoreReceiptURL;
@end

@interface NSFileManager (Platform)
- (id)ubiquityIdentityToken;
@end
