// SPDX-License-Identifier: Apache-2.0
// Encoders of values as text for the backend.

#include <algorithm>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Digest.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/internal/Guard.h"

namespace tidewell {
namespace {

constexpr std::size_t kTokenBytes = 32;

base::Dictionary transformedDictionary(const base::Dictionary& payload, int depth);

base::Value transformedValue(const base::Value& value, int depth) {
  if (const base::Data* data = value.data()) return TWCoreUtils::hexTokenForData(*data);
  if (const base::Url* url = value.url()) return url->absoluteString();
  if (value.isNull()) return "";
  if (const base::Dictionary* nested = value.dictionary()) return transformedDictionary(*nested, depth + 1);
  if (const base::Date* date = value.date()) return date->secondsSince1970 * 1000.0;
  return value;
}

/// If an entry raises, returns those before it.
base::Dictionary transformedDictionary(const base::Dictionary& payload, int depth) {
  static constexpr LogCoordinates kWhere{
      "TWCoreUtils", 529, "transformPayloadForIncompatibleTypes:", "error while transforming data is %@"};
  base::Dictionary transformed;
  guarded(kWhere, [&] {
    if (depth > base::kMaximumJsonDepth) {
      base::raise(base::kInvalidArgumentException, "the payload is nested too deeply");
    }
    transformed.reserve(payload.count());
    for (const auto& [key, value] : payload) {
      setObjectNilHandled(transformed, transformedValue(value, depth), key);
    }
  });
  return transformed;
}

/// One component of a colour, from the eight bits at `shift`.
double colorComponent(std::uint32_t rgb, int shift) { return ((rgb >> shift) & 0xFF) / 255.0; }

}  // namespace

std::string TWCoreUtils::hexTokenForData(const std::optional<base::Data>& data) {
  if (!data) return "";
  return base::hexString(data->bytes(), std::min(data->length(), kTokenBytes));
}

std::string TWCoreUtils::MD5hashForString(std::optional<std::string_view> string) {
  const std::string_view text = string.value_or("");
  const auto digest = base::md5(text.substr(0, text.find('\0')));
  return base::hexString(digest.data(), digest.size());
}

std::optional<std::string> TWCoreUtils::getJSONStringFromDictionary(
    const std::optional<base::Dictionary>& dictionary) {
  if (!dictionary) return std::nullopt;
  try {
    return base::dataWithJSONObject(*dictionary, base::JsonWriting::prettyPrinted);
  } catch (...) {
    logLine([] {
      return base::stringWithFormat("Error while constructing JSON String: %@",
                                    {base::currentExceptionDescription()});
    });
  }
  return std::nullopt;
}

TWColor TWCoreUtils::getColorFromHexValue(std::optional<std::string_view> hexValue) {
  if (!hexValue || hexValue->empty()) return {};
  const std::uint32_t rgb = base::scanHexInt(*hexValue, 1).value;
  return {colorComponent(rgb, 16), colorComponent(rgb, 8), colorComponent(rgb, 0), 1.0};
}

bool TWCoreUtils::checkIfString(std::optional<std::string_view> string,
                                std::optional<std::string_view> containsString) {
  if (!string) return true;
  if (!containsString || containsString->empty()) return false;
  return string->find(*containsString) != std::string_view::npos;
}

base::Dictionary TWCoreUtils::transformPayloadForIncompatibleTypes(const base::Dictionary& payload) {
  return transformedDictionary(payload, 1);
}

std::string TWCoreUtils::helveticaFont() { return "HelveticaNeue"; }

}  // namespace tidewell
