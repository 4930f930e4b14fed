#include "tidewell/platform/PendingChanges.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <random>
#include <utility>

namespace tidewell::platform {
namespace {

constexpr std::string_view kInfix = ".change-";

/// Sixteen hexadecimal digits, so that names sort as numbers do.
std::string digits(std::uint64_t number) {
  std::string text(16, '0');
  char shortest[16];
  const auto end = std::to_chars(std::begin(shortest), std::end(shortest), number, 16).ptr;
  std::copy(shortest, end, text.end() - (end - shortest));
  return text;
}

/// Microseconds since 1970, and later than every earlier answer in this process.
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

/// Tells the changes of two processes apart that were kept in the same microsecond.
std::uint64_t randomNumber() {
  std::random_device device;
  return std::uint64_t{device()} << 32 | device();
}

std::pair<std::string, std::string> folderAndName(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return {"", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

}  // namespace

PendingChanges::PendingChanges(FileManager& files, std::string path)
    : files_(files), path_(std::move(path)) {}

std::error_code PendingChanges::keep(std::string_view contents) {
  if (contents.size() > kMaximumBytes) return std::make_error_code(std::errc::file_too_large);
  const std::string name = path_ + std::string(kInfix) + digits(nextTime()) + "-" + digits(randomNumber());
  return files_.replaceFile(name, contents);
}

std::vector<PendingChanges::Change> PendingChanges::read() const {
  const auto [folder, name] = folderAndName(path_);
  std::vector<std::string> names = files_.contentsOfDirectory(folder).names;
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
