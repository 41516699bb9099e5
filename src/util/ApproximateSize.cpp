#include "util/ApproximateSize.h"

#include <string>
#include <vector>

namespace quarnel {
namespace {

// Containers found on the way are left for later, so that deep values need no stack.
struct Sum {
  std::size_t bytes = 0;
  std::vector<const Value*> containers;

  void add(const Value& value) {
    bytes += sizeof value;
    if (const std::string* text = value.text()) {
      bytes += text->size();
    } else if (const Bytes* data = value.bytes()) {
      bytes += data->size();
    } else if (value.array() != nullptr || value.dictionary() != nullptr) {
      containers.push_back(&value);
    }
  }

  void add(const Dictionary& values) {
    for (const auto& [key, value] : values) {
      bytes += sizeof(std::string) + key.size();
      add(value);
    }
  }
};

}  // namespace

std::size_t approximateSize(const Dictionary& values) {
  Sum sum;
  sum.add(values);
  while (!sum.containers.empty()) {
    const Value* const container = sum.containers.back();
    sum.containers.pop_back();
    if (const Dictionary* dictionary = container->dictionary()) {
      sum.add(*dictionary);
    } else {
      for (const Value& value : *container->array()) sum.add(value);
    }
  }
  return sum.bytes;
}

}  // namespace quarnel
