#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <optional>
#include <string>

namespace quarnel {

// A dictionary for report bodies in which an absent value is stored as the empty text.
class QuarnelDictionary {
 public:
  const Dictionary& dict() const { return dict_; }
  void setDict(Dictionary dict) { dict_ = std::move(dict); }

  // Replaces an earlier value under the key. Throws std::invalid_argument when the key is absent.
  void setParameter(std::optional<Value> value, const std::optional<std::string>& forKey);

 private:
  Dictionary dict_;
};

}  // namespace quarnel
