// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/StandInRequest.h"

#include <rapidjson/encodings.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/Base64.h"

namespace tidewell::testing {
namespace {

namespace rj = RAPIDJSON_NAMESPACE;

using Writer = rj::Writer<rj::StringBuffer>;

bool isUtf8(std::string_view text) {
  rj::MemoryStream in(text.data(), text.size());
  rj::StringBuffer sink;
  while (in.Tell() < text.size()) {
    if (!rj::UTF8<>::Validate(in, sink)) return false;
  }
  return in.Tell() == text.size();
}

void writeText(Writer& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rj::SizeType>(text.size()));
}

/// Writes text whose encoding HTTP leaves open: text that is not UTF-8 is treated as Latin-1.
void writeForeignText(Writer& writer, std::string_view text) {
  if (isUtf8(text)) return writeText(writer, text);
  std::string converted;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      converted += c;
    } else {
      converted += static_cast<char>(0xC0 | (byte >> 6));
      converted += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  writeText(writer, converted);
}

}  // namespace

std::optional<std::string> StandInRequest::header(std::string_view name) const {
  for (const auto& [key, value] : headers) {
    if (base::detail::equalsIgnoringCase(key, name)) return value;
  }
  return std::nullopt;
}

std::string StandInRequest::json() const {
  rj::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  writer.Key("time");
  writer.SetMaxDecimalPlaces(3);
  writer.Double(time);
  writer.Key("connection");
  writer.Uint64(connection);
  writer.Key("server_name");
  writeForeignText(writer, serverName);
  writer.Key("host");
  writeForeignText(writer, host);
  writer.Key("method");
  writeForeignText(writer, method);
  writer.Key("path");
  writeForeignText(writer, path);
  writer.Key("query");
  writeForeignText(writer, query);
  writer.Key("service");
  if (service) {
    writer.Int(*service);
  } else {
    writer.Null();
  }
  writer.Key("headers");
  writer.StartArray();  // an object cannot hold duplicate headers
  for (const auto& [name, value] : headers) {
    writer.StartArray();
    writeForeignText(writer, name);
    writeForeignText(writer, value);
    writer.EndArray();
  }
  writer.EndArray();
  if (isUtf8(body)) {
    writer.Key("body");
    writeText(writer, body);
  } else {
    writer.Key("body_base64");
    writeText(writer, base::base64(body));
  }
  writer.Key("problems");
  writer.StartArray();
  for (const auto& problem : problems) writeForeignText(writer, problem);
  writer.EndArray();
  writer.Key("fault");
  writeText(writer, fault);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace tidewell::testing
