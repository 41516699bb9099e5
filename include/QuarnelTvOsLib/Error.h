// The error object that failure callbacks receive.
#pragma once

#include <string>

namespace quarnel {

// What went wrong: `domain` names the layer that failed, `code` is that layer's own number (an HTTP
// status, a transport error), `description` is an English sentence for logs.
struct Error {
  std::string domain;
  int code = 0;
  std::string description;
};

}  // namespace quarnel
