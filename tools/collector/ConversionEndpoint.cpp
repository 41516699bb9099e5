#include "ConversionEndpoint.h"

#include <utility>

#include "JsonFile.h"
#include "Text.h"

namespace collector {
namespace {

constexpr const char* kSample =
    R"({"qn_status":"Non-organic","media_source":"sample_network","campaign":"sample",)"
    R"("iscache":false})";

}  // namespace

ConversionEndpoint::ConversionEndpoint(std::string developerKey,
                                       std::optional<std::filesystem::path> file,
                                       const Controls& controls, Recorder& recorder)
    : developerKey_(std::move(developerKey)),
      file_(std::move(file)),
      controls_(controls),
      recorder_(recorder) {}

Answer ConversionEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  report.kind = Kind::kConversion;
  const Parameters parameters = parametersOf(report.request.query);
  report.json = jsonObject(parameters);
  const Answer given = answer(parameters, report.error);
  return recorder_.record(report, given);
}

Answer ConversionEndpoint::answer(const Parameters& parameters, std::string& error) const {
  const auto key = parameters.find("devkey");
  if (key == parameters.end() || key->second != validUtf8(developerKey_)) {
    error = "wrong developer key";
    return {403, jsonObject({{"error", error}})};
  }
  if (const auto edited = controls_.conversion()) return {200, *edited};
  if (!file_) return {200, kSample};
  if (const auto json = readJsonFile(*file_, error)) return {200, *json};
  return {500, jsonObject({{"error", error}})};
}

}  // namespace collector
