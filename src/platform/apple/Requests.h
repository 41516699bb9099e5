// Requests and answers in Foundation's form.
#pragma once

#import <Foundation/Foundation.h>

#include "platform/HttpSession.h"

namespace quarnel {

// Autoreleased; nil for a URL that is none, or not HTTPS.
NSURLRequest* urlRequestFrom(const HttpRequest& request);

// What urlRequestFrom() refuses is answered with this.
Error badUrl();

// An answer that is not HTTP's, or a body beyond 8 MiB, is an error.
HttpResult resultFrom(NSData* body, NSURLResponse* response, NSError* error);

}  // namespace quarnel
