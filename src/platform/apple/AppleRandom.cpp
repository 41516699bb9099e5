#include "platform/apple/AppleRandom.h"

#include <stdlib.h>

namespace quarnel {

std::uint32_t AppleRandom::uniform(std::uint32_t bound) { return arc4random_uniform(bound); }

}  // namespace quarnel
