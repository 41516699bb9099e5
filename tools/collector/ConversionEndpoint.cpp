#include "ConversionEndpoint.h"

#include <iostream>
#include <utility>

#include "JsonText.h"
#include "Parameters.h"
#include "Text.h"
#include "TextFile.h"

namespace collector {
namespace {

constexpr const char* kSample =
    R"({"qn_status":"Non-organic","media_source":"sample_network","campaign":"sample",)"
    R"("iscache":false})";

}  // namespace

ConversionEndpoint::ConversionEndpoint(std::string developerKey,
                                       std::optional<std::filesystem::path> file,
                                       Recorder& recorder)
    : developerKey_(std::move(developerKey)), file_(std::move(file)), recorder_(recorder) {}

Answer ConversionEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  report.kind = Kind::kConversion;
  const Parameters parameters = parametersOf(report.request.query);
  report.json = jsonObject(parameters);
  const auto key = parameters.find("devkey");
  const bool isKnown = key != parameters.end() && key->second == validUtf8(developerKey_);
  return recorder_.record(report,
                          isKnown ? answer() : Answer{403, R"({"error":"wrong developer key"})"});
}

Answer ConversionEndpoint::answer() const {
  if (!file_) return {200, kSample};
  std::string error = "the file cannot be read";
  const auto text = readTextFile(*file_);
  const auto json = text ? compactObject(*text, error) : std::nullopt;
  if (json) return {200, *json};
  std::cerr << "quarnel-collector: no conversion data: " << file_->native() << ": " << error
            << std::endl;
  return {500, jsonObject({{"error", "no conversion data: " + error}})};
}

}  // namespace collector
