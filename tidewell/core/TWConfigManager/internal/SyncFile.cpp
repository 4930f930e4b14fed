// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/internal/SyncFile.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

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
/// The same for each result in the history.
constexpr std::size_t kMaximumPastTextBytes = 128;

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
  /// 0 without an entry.
  int httpStatus() {
    const std::int64_t status = number("httpStatus");
    if (status != static_cast<int>(status)) isValid_ = false;
    return static_cast<int>(status);
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

base::Value encoded(const SyncPast& past) {
  base::Dictionary entry{{"time", past.time}, {"outcome", nameOf(past.outcome)}};
  if (!past.detail.empty()) {
    entry.setObject(base::prefixOfCharacters(past.detail, kMaximumPastTextBytes), "detail");
  }
  if (past.httpStatus != 0) entry.setObject(past.httpStatus, "httpStatus");
  return entry;
}

std::optional<SyncPast> pastIn(const base::Value& value) {
  if (value.dictionary() == nullptr) return std::nullopt;
  Entries entry(*value.dictionary());
  const std::optional<SyncOutcome> outcome = outcomeNamed(entry.text("outcome"));
  const std::optional<base::Date> time = entry.date("time");
  SyncPast past{time.value_or(base::Date{}), outcome.value_or(SyncOutcome::neverTried), entry.text("detail"),
                entry.httpStatus()};
  if (!outcome || !time || !entry.isValid()) return std::nullopt;
  return past;
}

/// Reads the history, which files of earlier builds lack. Returns false if it is invalid.
bool readHistory(const base::Dictionary& file, SyncRecord& record) {
  const base::Value* const found = file.find("history");
  if (found == nullptr) return true;
  if (found->array() == nullptr) return false;
  for (const base::Value& each : *found->array()) {
    std::optional<SyncPast> past = pastIn(each);
    if (!past) return false;
    record.addToHistory(std::move(*past));
  }
  return true;
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
  std::vector<base::Value> history;
  for (const SyncPast& past : record.history) history.push_back(encoded(past));
  return base::dataWithPropertyList(
      base::Dictionary{
          {"version", kVersion}, {"last", std::move(last)}, {"history", base::Array(std::move(history))}},
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
  record.result.httpStatus = last.httpStatus();
  if (last.has("errorDomain")) {
    record.result.error =
        base::Error{last.text("errorDomain"), last.number("errorCode"), last.text("errorText")};
  }
  if (!outcome || !last.isValid() || !readHistory(*file, record)) return std::nullopt;
  record.result.outcome = *outcome;
  if (last.has("inFlight")) {
    record.result = {SyncOutcome::failed,
                     "no result was stored: the process that sent the request ended first, or still waits"};
    if (record.lastAttempt) {
      record.addToHistory({*record.lastAttempt, SyncOutcome::failed, "no result was stored"});
    }
  }
  record.occasion = record.result.outcome;
  return record;
}

}  // namespace tidewell::sync_file
