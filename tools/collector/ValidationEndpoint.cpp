#include "ValidationEndpoint.h"

#include <iostream>
#include <utility>

#include "JsonText.h"
#include "TextFile.h"

namespace collector {
namespace {

constexpr const char* kUnknownReceipt = R"({"status":21002})";

std::string confirmation(const std::vector<std::string>& transactions) {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  writer.Key("status");
  writer.Int(0);
  writer.Key("receipt");
  writer.StartObject();
  writer.Key("in_app");
  writer.StartArray();
  for (const std::string& transaction : transactions) {
    writer.StartObject();
    writer.Key("transaction_id");
    writeText(writer, transaction);
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
  writer.EndObject();
  return std::string(view(buffer));
}

}  // namespace

ValidationEndpoint::ValidationEndpoint(std::optional<std::filesystem::path> file,
                                       Recorder& recorder)
    : file_(std::move(file)), recorder_(recorder) {}

Answer ValidationEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  const auto json = compactObject(report.request.body, report.error);
  if (!json) return recorder_.record(report, {200, kUnknownReceipt});
  report.kind = Kind::kValidation;
  report.json = *json;
  const std::string receipt = JsonFields(*json).text("receipt-data");
  return recorder_.record(report, receipt.empty() ? Answer{200, kUnknownReceipt} : answer(receipt));
}

Answer ValidationEndpoint::answer(const std::string& receipt) const {
  if (!file_) return {200, confirmation({"demo-transaction"})};
  std::string error = "the file cannot be read";
  const auto text = readTextFile(*file_);
  const auto known = text ? compactObject(*text, error) : std::nullopt;
  if (!known) {
    std::cerr << "quarnel-collector: no receipts: " << file_->native() << ": " << error
              << std::endl;
    return {500, R"({"error":"no receipts"})"};
  }
  const JsonFields fields(*known);
  auto transactions = fields.texts(receipt.c_str());
  if (!transactions) transactions = fields.texts("*");
  return {200, transactions ? confirmation(*transactions) : kUnknownReceipt};
}

}  // namespace collector
