// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/Boundary.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>

#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWCoreConstants.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::c {

tdw_status statusOfCaughtException() noexcept {
  try {
    throw;
  } catch (const Refusal& refusal) {
    return refusal.status;
  } catch (const std::bad_alloc&) {
    return TDW_NO_MEMORY;
  } catch (...) {
    try {
      platform::report("the C interface caught: " + base::currentExceptionDescription());
    } catch (...) {
      platform::report("the C interface caught an exception, and there is no memory to say which");
    }
    return TDW_FAILED;
  }
}

std::optional<std::string_view> optionalText(const char* text, std::size_t maximum) {
  if (text == nullptr) return std::nullopt;
  const std::string_view view(text, strnlen(text, maximum + 1));
  require(view.size() <= maximum && base::isValidUtf8(view));
  return view;
}

std::string_view requiredText(const char* text) {
  require(text != nullptr);
  return *optionalText(text);
}

std::optional<base::Url> optionalUrl(const char* text) {
  const auto view = optionalText(text);
  if (!view) return std::nullopt;
  auto url = base::Url::URLWithString(*view);
  require(url.has_value());
  return url;
}

base::Url requiredUrl(const char* text) {
  require(text != nullptr);
  return *optionalUrl(text);
}

base::Value valueOfJson(const char* json) {
  const auto text = optionalText(json, TDW_MAXIMUM_JSON);
  if (!text) return {};
  // The reader accepts containers only.
  const base::Value list = base::JSONObjectWithData('[' + std::string(*text) + ']');
  require(list.array() != nullptr && list.array()->count() == 1);
  return list.array()->objectAtIndex(0);
}

std::optional<base::Dictionary> optionalObject(const char* json) {
  const auto text = optionalText(json, TDW_MAXIMUM_JSON);
  if (!text) return std::nullopt;
  const base::Value value = base::JSONObjectWithData(*text);
  require(value.dictionary() != nullptr);
  return *value.dictionary();
}

char* handedOut(std::optional<std::string_view> text, std::size_t* length) {
  if (!text) return nullptr;
  auto* const copy = static_cast<char*>(std::malloc(text->size() + 1));
  if (copy == nullptr) throw std::bad_alloc();
  if (!text->empty()) std::memcpy(copy, text->data(), text->size());
  copy[text->size()] = '\0';
  if (length != nullptr) *length = text->size();
  return copy;
}

std::optional<std::string> jsonOf(const base::Value& value) {
  if (value.isNil()) return std::nullopt;
  std::string list;  // the writer accepts containers only
  try {
    if (value.array() != nullptr || value.dictionary() != nullptr) return base::dataWithJSONObject(value);
    list = base::dataWithJSONObject(base::Array{value});
  } catch (const base::Exception&) {
    list = base::dataWithJSONObject(base::Array{base::validUtf8(value.description())});
  }
  return list.substr(1, list.size() - 2);
}

std::optional<std::string> wellFormed(std::optional<std::string> text) {
  if (text && !base::isValidUtf8(*text)) text = base::validUtf8(*text);
  return text;
}

}  // namespace tidewell::c

using namespace tidewell;

extern "C" {

const char* tdw_status_name(tdw_status status) {
  static constexpr const char* kNames[] = {"TDW_OK",          "TDW_INVALID",       "TDW_NO_MEMORY",
                                           "TDW_FAILED",      "TDW_NOT_INSTALLED", "TDW_ALREADY_INSTALLED",
                                           "TDW_UNAVAILABLE", "TDW_TIMED_OUT",     "TDW_WOULD_DEADLOCK",
                                           "TDW_NOT_FOUND"};
  const bool isKnown = status >= 0 && static_cast<std::size_t>(status) < std::size(kNames);
  return kNames[isKnown ? status : TDW_FAILED];
}

const char* tdw_version() { return TidewellCoreVersionString.data(); }

void tdw_free(void* pointer) { std::free(pointer); }

}  // extern "C"
