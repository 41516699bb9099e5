#include <string>

// Compiled as C++17 without optimisation, this takes from other objects what they, as C++20,
// contain.
std::string quoted(std::string title) {
  title.insert(0, "\"");
  title += {'"'};
  return title;
}
