// NSURLSession: each task is an exchange by libcurl, whose outcome arrives on the session's queue.
#import <Foundation/Foundation.h>

#include <Block.h>
#include <dispatch/dispatch.h>

#include <atomic>
#include <functional>
#include <thread>

#include "CurlExchange.h"

namespace {

using Completion = void (^)(NSData*, NSURLResponse*, NSError*);

dispatch_queue_t sessionQueue() {
  static const dispatch_queue_t queue =
      dispatch_queue_create("session callbacks", DISPATCH_QUEUE_SERIAL);
  return queue;
}

void onSessionQueue(std::function<void()> task) {
  dispatch_async_f(sessionQueue(), new std::function<void()>(std::move(task)), [](void* context) {
    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    auto* const owned = static_cast<std::function<void()>*>(context);
    (*owned)();
    delete owned;
    [pool release];
  });
}

doubles::Request requestFrom(NSURLRequest* request) {
  doubles::Request made;
  made.method = [[request HTTPMethod] UTF8String];
  made.url = [[[request URL] absoluteString] UTF8String];
  NSDictionary* const headers = [request allHTTPHeaderFields];
  for (NSString* name in headers) {
    made.headers.push_back(
        [[NSString stringWithFormat:@"%@: %@", name, [headers objectForKey:name]] UTF8String]);
  }
  NSData* const body = [request HTTPBody];
  made.body.assign(static_cast<const char*>([body bytes]), [body length]);
  return made;
}

NSError* errorFrom(const doubles::Answer& answer) {
  if (answer.error.empty()) return nil;
  return [NSError
      errorWithDomain:NSURLErrorDomain
                 code:-1009
             userInfo:@{
               NSLocalizedDescriptionKey : [NSString stringWithUTF8String:answer.error.c_str()]
             }];
}

std::atomic<NSUInteger> lastIdentifier = 0;

}  // namespace

@interface QuarnelTask : NSURLSessionDownloadTask {
 @public
  NSUInteger identifier;
  NSURLRequest* request;
  Completion completion;
  NSURLSession* session;
  id<NSURLSessionDownloadDelegate> delegate;
}
@end

@implementation NSURLSessionTask
- (NSUInteger)taskIdentifier {
  return 0;
}
- (void)resume {
}
@end

@implementation NSURLSessionDataTask
@end

@implementation NSURLSessionDownloadTask
@end

@implementation QuarnelTask

- (NSUInteger)taskIdentifier {
  return identifier;
}

- (void)dealloc {
  [request release];
  if (completion) _Block_release((const void*)completion);
  [super dealloc];
}

- (void)finishWith:(const doubles::Answer&)answer {
  NSError* const error = errorFrom(answer);
  if (completion) {
    NSHTTPURLResponse* const response = [[[NSHTTPURLResponse alloc] initWithURL:[request URL]
                                                                     statusCode:answer.status
                                                                    HTTPVersion:@"HTTP/1.1"
                                                                   headerFields:@{}] autorelease];
    NSData* const body = [NSData dataWithBytes:answer.body.data() length:answer.body.size()];
    completion(error == nil ? body : nil, error == nil ? response : nil, error);
    return;
  }
  if (error == nil) {
    [delegate URLSession:session downloadTask:self didFinishDownloadingToURL:[request URL]];
  }
  [delegate URLSession:session task:self didCompleteWithError:error];
}

- (void)resume {
  [self retain];
  std::thread([self] {
    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    const doubles::Answer answer = doubles::exchange(requestFrom(request));
    [pool release];
    onSessionQueue([self, answer] {
      [self finishWith:answer];
      [self release];
    });
  }).detach();
}

@end

@implementation NSURLSessionConfiguration
+ (NSURLSessionConfiguration*)backgroundSessionConfigurationWithIdentifier:(NSString*)identifier {
  NSURLSessionConfiguration* const configuration = [[[self alloc] init] autorelease];
  configuration->_identifier = [identifier copy];
  return configuration;
}
- (void)dealloc {
  [_identifier release];
  [super dealloc];
}
- (NSString*)identifier {
  return _identifier;
}
- (void)setAllowsCellularAccess:(BOOL)allows {
}
- (void)setSessionSendsLaunchEvents:(BOOL)sends {
}
@end

@implementation NSURLSession

+ (NSURLSession*)sharedSession {
  static NSURLSession* const session = [[NSURLSession alloc] init];
  return session;
}

+ (NSURLSession*)sessionWithConfiguration:(NSURLSessionConfiguration*)configuration
                                 delegate:(id<NSURLSessionDelegate>)delegate
                            delegateQueue:(NSOperationQueue*)queue {
  NSURLSession* const session = [[[self alloc] init] autorelease];
  session->_delegate = (id<NSURLSessionDownloadDelegate>)[delegate retain];
  return session;
}

- (void)dealloc {
  [_delegate release];
  [super dealloc];
}

- (QuarnelTask*)taskFor:(NSURLRequest*)request {
  QuarnelTask* const task = [[[QuarnelTask alloc] init] autorelease];
  task->identifier = ++lastIdentifier;
  task->request = [request copy];
  task->session = self;
  task->delegate = _delegate;
  return task;
}

- (NSURLSessionDataTask*)dataTaskWithRequest:(NSURLRequest*)request
                           completionHandler:(Completion)completionHandler {
  QuarnelTask* const task = [self taskFor:request];
  task->completion = (Completion)_Block_copy((const void*)completionHandler);
  return (NSURLSessionDataTask*)task;
}

- (NSURLSessionDownloadTask*)downloadTaskWithRequest:(NSURLRequest*)request {
  return [self taskFor:request];
}

@end
