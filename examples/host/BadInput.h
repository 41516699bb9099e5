// What a line of input or a command-line option is refused with.
#pragma once

#include <stdexcept>

namespace host {

struct BadInput : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace host
