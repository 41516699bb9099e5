// Answers what an installation's conversion data are.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Parameters.h"
#include "Recorder.h"
#include "inspector/Controls.h"

namespace collector {

class ConversionEndpoint {
 public:
  // A pattern; the application's identifier follows "id".
  static constexpr const char* kPath = R"(/install_data/v3/id[^/]*)";

  // `file` holds the JSON object to answer, read afresh for each request; without it the answer is
  // a built-in sample. The controls may say otherwise. Another developer key than the given one is
  // refused.
  ConversionEndpoint(std::string developerKey, std::optional<std::filesystem::path> file,
                     const Controls& controls, Recorder& recorder);

  Answer handle(ReceivedRequest request);

 private:
  // Without data, `error` says why.
  Answer answer(const Parameters& parameters, std::string& error) const;

  const std::string developerKey_;
  const std::optional<std::filesystem::path> file_;
  const Controls& controls_;
  Recorder& recorder_;
};

}  // namespace collector
