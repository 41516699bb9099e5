#include "platform/apple/FoundationValue.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "util/Text.h"

namespace quarnel {
namespace {

constexpr std::size_t kMaximumDepth = 512;
// A container that holds another one twice, and so on, is a small graph and an immense tree.
constexpr std::size_t kMaximumCount = 1'000'000;

constexpr double kNoCounterpart = std::numeric_limits<double>::quiet_NaN();

bool isTrailing(unichar unit) { return unit >= 0xdc00 && unit <= 0xdfff; }
bool isLeading(unichar unit) { return unit >= 0xd800 && unit <= 0xdbff; }

void appendUtf8(std::string& text, char32_t point) {
  if (point < 0x80) {
    text += static_cast<char>(point);
  } else if (point < 0x800) {
    text += {static_cast<char>(0xc0 | point >> 6), static_cast<char>(0x80 | (point & 0x3f))};
  } else if (point < 0x10000) {
    text += {static_cast<char>(0xe0 | point >> 12), static_cast<char>(0x80 | (point >> 6 & 0x3f)),
             static_cast<char>(0x80 | (point & 0x3f))};
  } else {
    text +=
        {static_cast<char>(0xf0 | point >> 18), static_cast<char>(0x80 | (point >> 12 & 0x3f)),
         static_cast<char>(0x80 | (point >> 6 & 0x3f)), static_cast<char>(0x80 | (point & 0x3f))};
  }
}

// Foundation's own conversion gives nothing at all for a string with a lone surrogate.
std::string utf8From(NSString* string) {
  // A copy: a mutable string may be changed meanwhile.
  NSString* const copy = [[string copy] autorelease];
  const NSUInteger length = [copy length];
  std::vector<unichar> units(length);
  if (length > 0) [copy getCharacters:units.data() range:NSMakeRange(0, length)];
  std::string text;
  text.reserve(length);
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t point = units[i];
    if (isLeading(units[i]) && i + 1 < units.size() && isTrailing(units[i + 1])) {
      point = 0x10000 + ((point - 0xd800) << 10) + (units[++i] - 0xdc00u);
    } else if (isLeading(units[i]) || isTrailing(units[i])) {
      point = 0xfffd;
    }
    appendUtf8(text, point);
  }
  return text;
}

Value numberFrom(NSNumber* number) {
  // Only a boolean is of the class of booleans.
  if ([number isKindOfClass:[@YES class]]) return static_cast<bool>([number boolValue]);
  const char type = *[number objCType];
  if (type == 'd' || type == 'f') return [number doubleValue];
  if (type == 'Q' || type == 'L') return [number unsignedLongLongValue];
  return static_cast<std::int64_t>([number longLongValue]);
}

class Converter {
 public:
  Value convert(id object) {
    if (++count_ > kMaximumCount) return kNoCounterpart;
    if (object == nil || [object isKindOfClass:[NSNull class]]) return nullptr;
    if ([object isKindOfClass:[NSString class]]) return utf8From(object);
    if ([object isKindOfClass:[NSNumber class]]) return numberFrom(object);
    if ([object isKindOfClass:[NSDictionary class]]) return convertDictionary(object);
    if ([object isKindOfClass:[NSArray class]]) return convertArray(object);
    if ([object isKindOfClass:[NSData class]]) return bytesFrom(object);
    if ([object isKindOfClass:[NSDate class]]) {
      const auto date = dateFrom(object);
      return date ? Value(*date) : Value(kNoCounterpart);
    }
    return kNoCounterpart;
  }

 private:
  bool enter(id container) {
    if (open_.size() >= kMaximumDepth) return false;
    if (std::find(open_.begin(), open_.end(), container) != open_.end()) return false;
    open_.push_back(container);
    return true;
  }

  Value convertArray(NSArray* array) {
    if (!enter(array)) return kNoCounterpart;
    Value::Array values;
    for (id element in [[array copy] autorelease]) values.push_back(convert(element));
    open_.pop_back();
    return values;
  }

  Value convertDictionary(NSDictionary* dictionary) {
    if (!enter(dictionary)) return kNoCounterpart;
    Dictionary values;
    NSDictionary* const copy = [[dictionary copy] autorelease];
    for (id key in copy) {
      if ([key isKindOfClass:[NSString class]]) {
        values.set(utf8From(key), convert([copy objectForKey:key]));
      } else {
        values.set(utf8From([key description]), kNoCounterpart);
      }
    }
    open_.pop_back();
    return values;
  }

  std::vector<id> open_;
  std::size_t count_ = 0;
};

}  // namespace

Value valueFrom(id object) { return Converter().convert(object); }

std::optional<std::string> textFrom(id string) {
  if (![string isKindOfClass:[NSString class]]) return std::nullopt;
  return utf8From(string);
}

std::optional<Dictionary> dictionaryFrom(id dictionary) {
  if (![dictionary isKindOfClass:[NSDictionary class]]) return std::nullopt;
  return *valueFrom(dictionary).dictionary();
}

std::optional<Date> dateFrom(id date) {
  if (![date isKindOfClass:[NSDate class]]) return std::nullopt;
  const double seconds = [date timeIntervalSince1970];
  constexpr double kMost = 9e12;  // What a date of microseconds can hold.
  if (!(std::abs(seconds) < kMost)) return std::nullopt;
  return Date(Date::duration(std::llround(seconds * 1e6)));
}

Bytes bytesFrom(NSData* data) {
  const auto* const bytes = static_cast<const std::uint8_t*>([data bytes]);
  return Bytes(bytes, bytes + [data length]);
}

NSString* stringFrom(std::string_view text) {
  const std::string valid = validUtf8(std::string(text));
  return [[[NSString alloc] initWithBytes:valid.data()
                                   length:valid.size()
                                 encoding:NSUTF8StringEncoding] autorelease];
}

NSString* stringFrom(const std::optional<std::string>& text) {
  return text ? stringFrom(std::string_view(*text)) : nil;
}

NSData* dataFrom(const Bytes& bytes) {
  return [NSData dataWithBytes:bytes.data() length:bytes.size()];
}

NSDictionary* objectFrom(const Dictionary& dictionary, NullAs nullAs) {
  NSMutableDictionary* const object =
      [NSMutableDictionary dictionaryWithCapacity:dictionary.size()];
  for (const auto& [key, value] : dictionary) {
    if (value.isNull() && nullAs == NullAs::kNothing) continue;
    [object setObject:objectFrom(value, nullAs) forKey:stringFrom(std::string_view(key))];
  }
  return object;
}

id objectFrom(const Value& value, NullAs nullAs) {
  switch (value.type()) {
    case Value::Type::kNull:
      return nullAs == NullAs::kNothing ? nil : [NSNull null];
    case Value::Type::kBoolean:
      return *value.boolean() ? @YES : @NO;
    case Value::Type::kInteger:
      return [NSNumber numberWithLongLong:*value.integer()];
    case Value::Type::kDouble:
      return [NSNumber numberWithDouble:*value.number()];
    case Value::Type::kText:
      return stringFrom(std::string_view(*value.text()));
    case Value::Type::kDate:
      return [NSDate dateWithTimeIntervalSince1970:std::chrono::duration<double>(
                                                       value.date()->time_since_epoch())
                                                       .count()];
    case Value::Type::kBytes:
      return dataFrom(*value.bytes());
    case Value::Type::kDictionary:
      return objectFrom(*value.dictionary(), nullAs);
    case Value::Type::kArray:
      break;
  }
  NSMutableArray* const array = [NSMutableArray arrayWithCapacity:value.array()->size()];
  for (const Value& element : *value.array()) {
    if (element.isNull() && nullAs == NullAs::kNothing) continue;
    [array addObject:objectFrom(element, nullAs)];
  }
  return array;
}

Error errorFrom(NSError* error) {
  return {textFrom([error domain]).value_or(""), static_cast<int>([error code]),
          textFrom([error localizedDescription]).value_or("")};
}

NSError* objectFrom(const Error& error) {
  return
      [NSError errorWithDomain:stringFrom(std::string_view(error.domain))
                          code:error.code
                      userInfo:@{
                        NSLocalizedDescriptionKey : stringFrom(std::string_view(error.description))
                      }];
}

}  // namespace quarnel
