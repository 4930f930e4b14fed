// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/SyncFile.h"

#include <cmath>
#include <limits>
#include <utility>

#include "tidewell/base/Value.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/base/internal/Unicode.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/platform/FileManager.h"

namespace tidewell::sync_file {
namespace {

constexpr std::pair<SyncOutcome, std::string_view> kOutcomes[] = {
    {SyncOutcome::neverTried, "never tried"},
    {SyncOutcome::synced, "synced"},
    {SyncOutcome::unusableReply, "unusable reply"},
    {SyncOutcome::mergeStopped, "merge stopped"},
    {SyncOutcome::failed, "failed"},
};

/// The longest text that is kept, in bytes. Texts of failures are sentences.
constexpr std::size_t kMaximumTextBytes = 512;

std::string_view shortened(std::string_view text) {
  return base::prefixOfCharacters(text, kMaximumTextBytes);
}

/// Reads entries of a dictionary and notes any of another class than expected.
class Entries {
 public:
  explicit Entries(const base::Dictionary& entries) : entries_(entries) {}

  std::string text(std::string_view key) {
    const base::Value* const found = entries_.find(key);
    if (found == nullptr) return {};
    if (const std::string* text = found->string(); text && text->size() <= kMaximumTextBytes) return *text;
    isValid_ = false;
    return {};
  }
  std::int64_t number(std::string_view key) {
    const base::Value* const found = entries_.find(key);
    if (found == nullptr) return 0;
    if (found->kind() == base::ValueKind::integer) return found->integerValue();
    isValid_ = false;
    return 0;
  }
  std::optional<base::Date> date(std::string_view key) {
    const base::Value* const found = entries_.find(key);
    if (found == nullptr) return std::nullopt;
    if (const base::Date* date = found->date(); date && std::isfinite(date->secondsSince1970)) return *date;
    isValid_ = false;
    return std::nullopt;
  }
  [[nodiscard]] bool has(std::string_view key) const { return entries_.find(key) != nullptr; }
  [[nodiscard]] bool isValid() const { return isValid_; }

 private:
  const base::Dictionary& entries_;
  bool isValid_ = true;
};

std::optional<SyncOutcome> outcomeNamed(std::string_view name) {
  for (const auto& [outcome, text] : kOutcomes) {
    if (text == name) return outcome;
  }
  return std::nullopt;
}

std::string_view nameOf(SyncOutcome outcome) {
  for (const auto& [each, text] : kOutcomes) {
    if (each == outcome) return text;
  }
  return kOutcomes[0].second;
}

}  // namespace

std::optional<std::string> path() {
  const std::optional<std::string> directory = TWCoreUtils::getSDKLibraryDirectoryPath();
  if (!directory) return std::nullopt;
  return platform::stringByAppendingPathComponent(*directory, kFileName);
}

std::string encode(const SyncRecord& record, Attempt attempt) {
  base::Dictionary last{{"outcome", nameOf(record.result.outcome)}};
  const auto setDate = [&last](const std::optional<base::Date>& date, std::string_view key) {
    if (date) last.setObject(*date, key);
  };
  const SyncResult& result = record.result;
  if (attempt == Attempt::inFlight) last.setObject(true, "inFlight");
  setDate(record.lastAttempt, "attempt");
  setDate(record.lastSuccess, "success");
  if (!result.detail.empty()) last.setObject(shortened(result.detail), "detail");
  if (result.httpStatus != 0) last.setObject(result.httpStatus, "httpStatus");
  if (result.error) {
    last.setObject(shortened(result.error->domain), "errorDomain");
    last.setObject(result.error->code, "errorCode");
    last.setObject(shortened(result.error->localizedDescription), "errorText");
  }
  return base::dataWithPropertyList(base::Dictionary{{"version", kVersion}, {"last", std::move(last)}},
                                    base::PropertyListFormat::binary);
}

std::optional<SyncRecord> decode(std::string_view bytes) {
  if (bytes.size() > kMaximumBytes) return std::nullopt;
  const base::Value content = base::propertyListWithData(bytes);
  const base::Dictionary* const file = content.dictionary();
  if (file == nullptr || file->objectForKey("version") != base::Value(kVersion)) return std::nullopt;
  const base::Value lastValue = file->objectForKey("last");
  if (lastValue.dictionary() == nullptr) return std::nullopt;
  Entries last(*lastValue.dictionary());

  SyncRecord record;
  const std::optional<SyncOutcome> outcome = outcomeNamed(last.text("outcome"));
  record.lastAttempt = last.date("attempt");
  record.lastSuccess = last.date("success");
  record.result.detail = last.text("detail");
  const std::int64_t status = last.number("httpStatus");
  if (last.has("errorDomain")) {
    record.result.error =
        base::Error{last.text("errorDomain"), last.number("errorCode"), last.text("errorText")};
  }
  if (!outcome || !last.isValid() || status != static_cast<int>(status)) return std::nullopt;
  record.result.outcome = *outcome;
  record.result.httpStatus = static_cast<int>(status);
  if (last.has("inFlight")) {
    record.result = {SyncOutcome::failed,
                     "no result was stored: the process that sent the request ended first, or still waits"};
  }
  record.occasion = record.result.outcome;
  return record;
}

}  // namespace tidewell::sync_file
