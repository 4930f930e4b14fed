// SPDX-License-Identifier: Apache-2.0
#include "Conversion.h"

#include <cstring>
#include <utility>
#include <vector>

namespace facade {
namespace {

namespace base = tidewell::base;

base::Value numberOf(NSNumber* number) {
  // Both booleans are single objects; their Objective-C type is that of a small integer.
  if (number == [NSNumber numberWithBool:YES]) return true;
  if (number == [NSNumber numberWithBool:NO]) return false;
  switch (*[number objCType]) {
    case 'f':
    case 'd':
      return [number doubleValue];
    case 'Q':
    case 'L':
      return static_cast<std::uint64_t>([number unsignedLongLongValue]);
    default:
      return static_cast<std::int64_t>([number longLongValue]);
  }
}

}  // namespace

base::Value valueOf(id object, int depth) {
  if (depth > kMaximumDepth) base::raise(base::kInvalidArgumentException, "The value is nested too deeply");
  if (object == nil) return {};
  if ([object isKindOfClass:[NSString class]]) return textOf(object);
  if ([object isKindOfClass:[NSNumber class]]) return numberOf(object);
  if ([object isKindOfClass:[NSNull class]]) return base::Value::null();
  if ([object isKindOfClass:[NSDate class]]) return base::Date{[object timeIntervalSince1970]};
  if ([object isKindOfClass:[NSData class]]) return base::Data([object bytes], [object length]);
  if ([object isKindOfClass:[NSURL class]]) {
    const auto url = base::Url::URLWithString(textOf([object absoluteString]).value_or(""));
    return url ? base::Value(*url) : base::Value();
  }
  if ([object isKindOfClass:[NSArray class]]) {
    std::vector<base::Value> entries;
    NSEnumerator* const all = [object objectEnumerator];  // gcc has no fast enumeration in Objective-C++
    while (id const entry = [all nextObject]) entries.push_back(valueOf(entry, depth + 1));
    return base::Array(std::move(entries));
  }
  if ([object isKindOfClass:[NSDictionary class]]) {
    base::Dictionary entries;
    NSEnumerator* const keys = [object keyEnumerator];
    while (id const key = [keys nextObject])
      entries.setObject(valueOf([object objectForKey:key], depth + 1),
                        textOf([key description]).value_or(""));
    return entries;
  }
  return textOf([object description]);
}

std::optional<std::string> textOf(NSString* text) {
  if (text == nil) return std::nullopt;
  NSData* const bytes = [text dataUsingEncoding:NSUTF8StringEncoding allowLossyConversion:YES];
  return std::string(static_cast<const char*>([bytes bytes]), [bytes length]);
}

id objectOf(const base::Value& value) {
  switch (value.kind()) {
    case base::ValueKind::none:
      return nil;
    case base::ValueKind::null:
      return [NSNull null];
    case base::ValueKind::boolean:
      return [NSNumber numberWithBool:value.boolValue()];
    case base::ValueKind::integer:
      return [NSNumber numberWithLongLong:value.integerValue()];
    case base::ValueKind::unsignedInteger:
      return [NSNumber numberWithUnsignedLongLong:static_cast<std::uint64_t>(value.integerValue())];
    case base::ValueKind::real:
      return [NSNumber numberWithDouble:value.doubleValue()];
    case base::ValueKind::date:
      return [NSDate dateWithTimeIntervalSince1970:value.date()->secondsSince1970];
    case base::ValueKind::string:
      return stringOf(*value.string());
    case base::ValueKind::data:
      return [NSData dataWithBytes:value.data()->bytes() length:value.data()->length()];
    case base::ValueKind::url:
      return [NSURL URLWithString:stringOf(value.url()->absoluteString())];
    case base::ValueKind::array: {
      NSMutableArray* const entries = [NSMutableArray array];
      for (const base::Value& entry : *value.array()) [entries addObject:objectOf(entry) ?: [NSNull null]];
      return entries;
    }
    case base::ValueKind::dictionary: {
      NSMutableDictionary* const entries = [NSMutableDictionary dictionary];
      for (const auto& [key, entry] : *value.dictionary())
        [entries setObject:objectOf(entry) ?: [NSNull null] forKey:stringOf(key)];
      return entries;
    }
    case base::ValueKind::pointer:
    case base::ValueKind::object:
      break;
  }
  return stringOf(value.description());
}

NSString* stringOf(std::string_view text) {
  NSString* const made = [[NSString alloc] initWithBytes:text.data()
                                                  length:text.size()
                                                encoding:NSUTF8StringEncoding];
  if (made != nil) return [made autorelease];
  return [[[NSString alloc] initWithBytes:text.data() length:text.size()
                                 encoding:NSISOLatin1StringEncoding] autorelease];
}

NSString* stringOrNil(const std::optional<std::string>& text) {
  return text ? stringOf(std::string_view(*text)) : nil;
}

NSException* exceptionOf(const base::Exception& exception) {
  return [NSException exceptionWithName:stringOf(exception.name())
                                 reason:stringOf(exception.reason())
                               userInfo:nil];
}

}  // namespace facade
