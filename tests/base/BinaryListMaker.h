#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Makes binary property lists byte by byte, wrong ones too.
namespace binary {

inline std::string bigEndian(std::uint64_t number, int size) {
  std::string bytes;
  for (int i = size - 1; i >= 0; --i) bytes += static_cast<char>(number >> (8 * i));
  return bytes;
}

inline std::string array(const std::vector<int>& entries, int referenceSize) {
  std::string bytes = "\xaf\x12" + bigEndian(entries.size(), 4);
  for (const int entry : entries) bytes += bigEndian(static_cast<std::uint64_t>(entry), referenceSize);
  return bytes;
}

/// The list of these objects; the empty ones stand at `offsetOfEmpty`.
inline std::string list(const std::vector<std::string>& objects, std::uint64_t root, int referenceSize,
                        std::size_t offsetOfEmpty = 0) {
  std::string bytes = "bplist00";
  std::string table;
  for (const std::string& object : objects) {
    table += bigEndian(object.empty() ? offsetOfEmpty : bytes.size(), 4);
    bytes += object;
  }
  const std::size_t tableOffset = bytes.size();
  return bytes + table + std::string(6, '\0') + '\x04' + static_cast<char>(referenceSize) +
         bigEndian(objects.size(), 8) + bigEndian(root, 8) + bigEndian(tableOffset, 8);
}

}  // namespace binary
