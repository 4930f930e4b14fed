#pragma once

#include <gtest/gtest.h>
#include <plist/plist.h>

#include <string>

/// The list as another implementation reads and writes it again.
inline std::string rewrittenByPeer(const std::string& bytes, bool toXml) {
  plist_t list = nullptr;
  plist_from_memory(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &list);
  EXPECT_NE(list, nullptr);
  char* out = nullptr;
  std::uint32_t length = 0;
  (toXml ? plist_to_xml : plist_to_bin)(list, &out, &length);
  plist_free(list);
  std::string result(out, length);
  plist_to_bin_free(out);
  return result;
}
