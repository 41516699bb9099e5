#include "util/QuarnelDictionary.h"

#include <stdexcept>
#include <utility>

namespace quarnel {

void QuarnelDictionary::setParameter(std::optional<Value> value,
                                     const std::optional<std::string>& forKey) {
  if (!forKey) throw std::invalid_argument("setObject:forKey: key cannot be nil");
  dict_.set(*forKey, value ? *std::move(value) : Value(""));
}

}  // namespace quarnel
