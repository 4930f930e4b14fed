// SPDX-License-Identifier: Apache-2.0
#include "tidewell/platform/internal/PendingChanges.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <exception>
#include <random>
#include <utility>

namespace tidewell::platform {
namespace {

constexpr std::string_view kInfix = ".change-";

/// Sixteen hexadecimal digits, so that names sort numerically.
std::string digits(std::uint64_t number) {
  std::string text(16, '0');
  char shortest[16];
  const auto end = std::to_chars(std::begin(shortest), std::end(shortest), number, 16).ptr;
  std::copy(shortest, end, text.end() - (end - shortest));
  return text;
}

/// Microseconds since 1970, strictly increasing within this process.
std::uint64_t nextTime() {
  constinit static std::atomic<std::uint64_t> last{0};
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto time =
      static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
  std::uint64_t previous = last.load(std::memory_order_relaxed);
  while (!last.compare_exchange_weak(previous, std::max(previous + 1, time), std::memory_order_relaxed)) {
  }
  return std::max(previous + 1, time);
}

/// Distinguishes changes that two processes store in the same microsecond.
std::uint64_t randomNumber() {
  try {
    std::random_device device;
    return std::uint64_t{device()} << 32 | device();
  } catch (const std::exception&) {  // no source of random numbers
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  }
}

std::pair<std::string, std::string> folderAndName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return {"", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

}  // namespace

PendingChanges::PendingChanges(FileManager& files, std::string path)
    : files_(files), path_(std::move(path)) {}

std::error_code PendingChanges::keep(std::string_view contents, std::string* keptAs) {
  if (contents.size() > kMaximumBytes) return std::make_error_code(std::errc::file_too_large);
  std::string name = path_ + std::string(kInfix) + digits(nextTime()) + "-" + digits(randomNumber());
  const std::error_code error = files_.replaceFile(name, contents);
  if (!error && keptAs != nullptr) *keptAs = std::move(name);
  return error;
}

std::vector<PendingChanges::Change> PendingChanges::read(std::error_code* failure) const {
  const auto [folder, name] = folderAndName(path_);
  DirectoryContents listed = files_.contentsOfDirectory(folder);
  if (failure && listed.error != std::errc::no_such_file_or_directory) *failure = listed.error;
  std::vector<std::string>& names = listed.names;
  const std::string prefix = name + std::string(kInfix);
  std::erase_if(names, [&](const std::string& each) { return !each.starts_with(prefix); });
  std::sort(names.begin(), names.end());
  if (names.size() > kMaximumRead) names.resize(kMaximumRead);
  std::vector<Change> changes;
  for (const std::string& each : names) {
    std::string path = stringByAppendingPathComponent(folder, each);
    FileContents file = files_.contentsOfFile(path);
    if (file.error || file.contents.size() > kMaximumBytes) continue;
    changes.push_back({std::move(path), std::move(file.contents)});
  }
  return changes;
}

void PendingChanges::remove(const std::vector<Change>& changes) {
  for (const Change& each : changes) static_cast<void>(files_.removeItem(each.path));
}

}  // namespace tidewell::platform
