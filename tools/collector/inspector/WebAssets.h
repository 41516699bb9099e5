// The files of the inspector's page, built into the program.
#pragma once

#include <span>
#include <string_view>

namespace collector {

struct WebAsset {
  std::string_view path;  // "/" is the page itself.
  std::string_view type;
  std::string_view content;
};

std::span<const WebAsset> webAssets();

}  // namespace collector
