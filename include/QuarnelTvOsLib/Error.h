// The error object that failure callbacks receive.
#pragma once

#include <string>

namespace quarnel {

// What went wrong.
struct Error {
  std::string domain;       // The layer that failed.
  int code = 0;             // That layer's own number: an HTTP status, a transport error.
  std::string description;  // An English sentence for logs.
};

}  // namespace quarnel
