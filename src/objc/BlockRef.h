#pragma once

#include <Block.h>

#include <memory>

namespace quarnel::objc {

// A copy of a block, released with the last copy of the pointer; a null one for no block. Blocks
// are never messaged: not every runtime that the sources are checked on has them as objects.
template <typename Block>
std::shared_ptr<void> copyOfBlock(Block block) {
  if (!block) return nullptr;
  return {reinterpret_cast<void*>(Block_copy(block)), [](void* copy) { _Block_release(copy); }};
}

template <typename Block>
Block blockIn(const std::shared_ptr<void>& copy) {
  return reinterpret_cast<Block>(copy.get());
}

}  // namespace quarnel::objc
