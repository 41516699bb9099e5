// What the application prints on standard output: one JSON object a line.
#pragma once

#include <QuarnelTvOsLib/Value.h>

#include <string_view>

namespace host {

// Each prints one line and flushes it; callable from any thread.
void printResult(std::string_view operation, quarnel::Value value);
void printCallback(std::string_view operation, std::string_view queue,
                   quarnel::Value::Array arguments);
void printError(std::string_view message);

}  // namespace host
