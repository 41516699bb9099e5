#include "Printer.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <map>
#include <mutex>
#include <string_view>

#include "JsonText.h"
#include "Parameters.h"
#include "Text.h"

namespace collector {
namespace {

// One write a line: lines of different threads never mix.
void writeLine(std::string line) {
  static std::mutex mutex;
  line.push_back('\n');
  const std::lock_guard lock(mutex);
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fflush(stdout);
}

std::string formatTime(std::chrono::system_clock::time_point time, const char* pattern, bool utc) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  const auto fraction = std::chrono::duration_cast<std::chrono::milliseconds>(time - whole);
  const std::time_t seconds = std::chrono::system_clock::to_time_t(whole);
  std::tm fields{};
  utc ? gmtime_r(&seconds, &fields) : localtime_r(&seconds, &fields);
  std::array<char, 64> text{};
  const std::size_t length = std::strftime(text.data(), text.size(), pattern, &fields);
  std::snprintf(text.data() + length, text.size() - length, ".%03d",
                static_cast<int>(fraction.count()));
  return text.data();
}

std::string countersOf(const JsonFields& fields) {
  return printable(fields.text("counter"), 12) + "/" +
         printable(fields.text("sessioncounter"), 12) + "/" +
         printable(fields.text("iaecounter"), 12);
}

bool isReport(Kind kind) { return kind == Kind::kLaunch || kind == Kind::kEvent; }

// What there is to see at a glance of a request that is no report.
std::string gist(Kind kind, const std::string& json) {
  const JsonFields fields(json);
  switch (kind) {
    case Kind::kStatistics:
      return fields.text("time_in_app") + " s in the application, launch " +
             fields.text("launch_counter");
    case Kind::kConversion:
      return "asked by " + fields.text("device_id");
    case Kind::kValidation:
      return "receipt " + fields.text("receipt-data");
    case Kind::kRegistration:
      return "token " + fields.text("devicetoken");
    default:
      return {};
  }
}

class TextPrinter : public Printer {
 public:
  void listening(const Addresses& addresses) override {
    writeLine("quarnel-collector listens on https://localhost:" + std::to_string(addresses.port));
    writeLine("inspector " + addresses.inspector());
    writeLine("authority to trust: " + printable(addresses.authority.native(), 4096));
  }

  void report(const ReceivedReport& report, const Problems& problems) override {
    const ReceivedRequest& request = report.request;
    std::string line = formatTime(request.time, "%H:%M:%S", false) + "  ";
    if (report.kind == Kind::kUndecodable) {
      line += std::string(nameOf(report.kind)) + ": " + printable(report.error, 200);
    } else if (isReport(report.kind)) {
      const JsonFields fields(report.json);
      line += padded(nameOf(report.kind), 6) + "  " +
              padded(printable(fields.text("event"), 60), 20) + "  uid " +
              printable(fields.text("uid"), 60) + "  counters " + countersOf(fields);
    } else {
      line +=
          padded(nameOf(report.kind), 12) + "  " + printable(gist(report.kind, report.json), 200);
      if (!report.error.empty()) line += "  denied: " + printable(report.error, 200);
    }
    line += replayNote(request) + "  " + std::to_string(request.body.size()) + " bytes";
    // The reason why a body could not be decoded stands there already.
    if (!problems.empty() && report.error.empty()) {
      line += "  " + std::to_string(problems.size()) +
              (problems.size() > 1 ? " problems: " : " problem: ") +
              printable(problems[0].field + " " + problems[0].text, 200);
    }
    writeLine(std::move(line));
  }

  void refused(const ReceivedRequest& request, int status) override {
    writeLine(formatTime(request.time, "%H:%M:%S", false) + "  refused with " +
              std::to_string(status) + ": " + printable(request.method, 20) + " " +
              printable(request.path, 200));
  }

 private:
  static std::string replayNote(const ReceivedRequest& request) {
    const auto parameters = parametersOf(request.query);
    const auto time = parameters.find("timeincache");
    if (time != parameters.end()) {
      return "  replayed, " + printable(time->second, 30) + " s in the cache";
    }
    return parameters.contains("isCachedRequest") ? "  replayed" : "";
  }
};

class JsonPrinter : public Printer {
 public:
  void listening(const Addresses& addresses) override {
    Line line;
    line.writer.Key("listening");
    line.writer.Int(addresses.port);
    line.text("inspector", addresses.inspector());
    line.text("token", addresses.token);
    line.text("ca", addresses.authority.native());
    line.print();
  }

  void report(const ReceivedReport& report, const Problems& problems) override {
    Line line;
    describe(line, report.request, nameOf(report.kind));
    line.object("parameters", parametersOf(report.request.query));
    std::map<std::string, std::string> headers;
    for (const auto& [name, value] : report.request.headers) {
      std::string& joined = headers[name];
      joined += (joined.empty() ? "" : ", ") + value;
    }
    line.object("headers", headers);
    const std::string list = problemsJson(problems);
    line.writer.Key("problems");
    line.writer.RawValue(list.data(), list.size(), rapidjson::kArrayType);
    if (report.kind == Kind::kUndecodable) {
      line.text("raw", report.request.body);
    } else {
      line.writer.Key("body");
      line.writer.RawValue(report.json.data(), report.json.size(), rapidjson::kObjectType);
    }
    if (!report.error.empty()) line.text("error", report.error);
    line.print();
  }

  void refused(const ReceivedRequest& request, int status) override {
    Line line;
    describe(line, request, "refused");
    line.text("method", request.method);
    line.writer.Key("status");
    line.writer.Int(status);
    line.print();
  }

 private:
  struct Line {
    rapidjson::StringBuffer buffer;
    JsonWriter writer{buffer};

    Line() { writer.StartObject(); }

    void text(std::string_view name, std::string_view value) {
      writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
      writeText(writer, validUtf8(value));
    }

    void object(const char* name, const std::map<std::string, std::string>& entries) {
      writer.Key(name);
      writer.StartObject();
      for (const auto& [key, value] : entries) text(validUtf8(key), value);
      writer.EndObject();
    }

    void print() {
      writer.EndObject();
      writeLine(std::string(view(buffer)));
    }
  };

  static void describe(Line& line, const ReceivedRequest& request, const char* kind) {
    line.text("time", formatTime(request.time, "%Y-%m-%dT%H:%M:%S", true) + "Z");
    line.text("kind", kind);
    line.text("host", request.host);
    line.text("path", request.path);
    line.text("query", request.query);
  }
};

std::string tableRow(std::string_view kind, std::string_view event, std::string_view counters,
                     std::string_view value, std::string_view device) {
  return padded(printable(kind, 12), 14) + padded(printable(event, 24), 26) +
         padded(printable(counters, 10), 12) + padded(printable(value, 38), 40) +
         printable(device, 60);
}

}  // namespace

std::unique_ptr<Printer> makeTextPrinter() { return std::make_unique<TextPrinter>(); }

std::unique_ptr<Printer> makeJsonPrinter() { return std::make_unique<JsonPrinter>(); }

void printSummary(RequestStore& store) {
  writeLine("");
  // The three counters are those of launches, sessions and in-app events.
  writeLine(tableRow("KIND", "EVENT", "COUNTERS", "VALUE", "DEVICE"));
  std::size_t count = 0;
  store.visitOwn([&](const RequestStore::Own& own) {
    const auto& [id, kind, json, error, query, isDropped] = own;
    ++count;
    if (kind == Kind::kUndecodable) {
      writeLine(tableRow(nameOf(kind), "", "", error, ""));
      return;
    }
    if (!isReport(kind)) {
      writeLine(tableRow(nameOf(kind), "", "", error.empty() ? gist(kind, json) : error, ""));
      return;
    }
    const JsonFields fields(json);
    // A launch has no value, but may have been brought about by a link.
    writeLine(tableRow(
        nameOf(kind), fields.text("event"), countersOf(fields),
        kind == Kind::kLaunch ? fields.text("qn_deeplink") : decodedText(fields.text("eventvalue")),
        fields.text("platform") + ", " + fields.text("systemname") + " " +
            fields.text("systemversion") + ", " + fields.text("currentLanguage")));
  });
  writeLine(std::to_string(count) + (count == 1 ? " report" : " reports"));
}

}  // namespace collector
