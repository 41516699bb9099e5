#pragma once

#include <QuarnelTvOsLib/Value.h>
#include <sqlite3.h>

#include <optional>
#include <string>

namespace quarnel {

// Binds a value and the name of its type to two neighbouring parameters. False, with the reason,
// for a value that cannot be stored.
bool bindSqliteValue(sqlite3_stmt* statement, int typeParameter, const Value& value,
                     std::string* why);

// Reads a value from two neighbouring columns; absent when it is not what its type says, or of an
// unknown type.
std::optional<Value> readSqliteValue(sqlite3_stmt* statement, int typeColumn);

}  // namespace quarnel
