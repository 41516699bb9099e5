// Foundation's objects as values, and back.
#pragma once

#include <QuarnelTvOsLib/Error.h>
#include <QuarnelTvOsLib/Value.h>

#import <Foundation/Foundation.h>

#include <optional>
#include <string>
#include <string_view>

namespace quarnel {

// An object's content, copied. An object without a counterpart (of another class, a key that is no
// string, a container within itself or more than 512 levels deep) becomes a number that is not
// finite, which has no JSON form either.
Value valueFrom(id object);

// Absent for nil and for objects of other classes. A lone surrogate becomes U+FFFD.
std::optional<std::string> textFrom(id string);
std::optional<Dictionary> dictionaryFrom(id dictionary);
std::optional<Date> dateFrom(id date);
Bytes bytesFrom(NSData* data);

// Autoreleased objects. Property lists have no null: there its entry is left out.
enum class NullAs { kNSNull, kNothing };
id objectFrom(const Value& value, NullAs nullAs = NullAs::kNSNull);
NSDictionary* objectFrom(const Dictionary& dictionary, NullAs nullAs = NullAs::kNSNull);
NSString* stringFrom(std::string_view text);
NSString* stringFrom(const std::optional<std::string>& text);
NSData* dataFrom(const Bytes& bytes);

Error errorFrom(NSError* error);
NSError* objectFrom(const Error& error);

}  // namespace quarnel
