#include "ValidationEndpoint.h"

#include <utility>

#include "JsonFile.h"
#include "JsonText.h"
#include "Parameters.h"

namespace collector {
namespace {

bool isBase64(std::string_view text) {
  const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0;
  const auto digits = text.substr(0, text.size() - padding);
  return !text.empty() && text.size() % 4 == 0 &&
         digits.find_first_not_of(
             "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
             "0123456789+/") == digits.npos;
}

constexpr const char* kInvalidReceipt = R"({"status":21002})";

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
                                       const Controls& controls, Recorder& recorder)
    : file_(std::move(file)), controls_(controls), recorder_(recorder) {}

Answer ValidationEndpoint::handle(ReceivedRequest request) {
  ReceivedReport report;
  report.request = std::move(request);
  const auto json = compactObject(report.request.body, report.error);
  if (!json) return recorder_.record(report, {200, kInvalidReceipt});
  report.kind = Kind::kValidation;
  report.json = *json;
  const Answer given = answer(JsonFields(*json).text("receipt-data"), report.error);
  return recorder_.record(report, given);
}

Answer ValidationEndpoint::answer(const std::string& receipt, std::string& error) const {
  if (!isBase64(receipt)) {
    error = "no receipt in Base64";
    return {200, kInvalidReceipt};
  }
  auto accepted = controls_.receipts();
  if (!accepted && !file_) return {200, confirmation({"demo-transaction"})};
  if (!accepted) accepted = readJsonFile(*file_, error);
  if (!accepted) return {500, jsonObject({{"error", error}})};
  const JsonFields fields(*accepted);
  auto transactions = fields.texts(receipt.c_str());
  if (!transactions) transactions = fields.texts("*");
  if (transactions) return {200, confirmation(*transactions)};
  error = "the receipt is not among the accepted ones";
  return {200, kInvalidReceipt};
}

}  // namespace collector
