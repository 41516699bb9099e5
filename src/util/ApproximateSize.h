#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <cstddef>

namespace quarnel {

// Roughly the memory that the values take, as if nothing of it were shared.
std::size_t approximateSize(const Dictionary& values);

}  // namespace quarnel
