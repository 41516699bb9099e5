// Validates store receipts, as far as it was told which ones are good.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Recorder.h"
#include "inspector/Controls.h"

namespace collector {

class ValidationEndpoint {
 public:
  static constexpr const char* kPath = "/validate-ios-receipt";

  // `file` is a JSON object from receipts in Base64 ("*" for any) to arrays of the transactions
  // that they hold, read afresh for each request. Without it every receipt in Base64 holds
  // "demo-transaction". The controls may say otherwise.
  ValidationEndpoint(std::optional<std::filesystem::path> file, const Controls& controls,
                     Recorder& recorder);

  Answer handle(ReceivedRequest request);

 private:
  // Unless the receipt is accepted, `error` says why.
  Answer answer(const std::string& receipt, std::string& error) const;

  const std::optional<std::filesystem::path> file_;
  const Controls& controls_;
  Recorder& recorder_;
};

}  // namespace collector
