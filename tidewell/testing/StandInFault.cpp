// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/StandInFault.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/testing/internal/RequestChecks.h"

namespace tidewell::testing {
namespace {

namespace rj = RAPIDJSON_NAMESPACE;

/// A kind's name, and the parameter set by a value after the colon ("" for none).
struct KindEntry {
  StandInFaultKind kind;
  std::string_view name;
  std::string_view particular;
  bool needed;  // whether the fault is meaningless without it
};

constexpr std::array kKinds{
    KindEntry{StandInFaultKind::status, "status", "status", true},
    KindEntry{StandInFaultKind::delay, "delay", "delay", true},
    KindEntry{StandInFaultKind::silence, "silence", "", false},
    KindEntry{StandInFaultKind::close, "close", "", false},
    KindEntry{StandInFaultKind::reset, "reset", "", false},
    KindEntry{StandInFaultKind::truncation, "truncation", "bytes", false},
    KindEntry{StandInFaultKind::drip, "drip", "interval", false},
    KindEntry{StandInFaultKind::redirect, "redirect", "location", false},
    KindEntry{StandInFaultKind::oversized, "oversized", "bytes", true},
    KindEntry{StandInFaultKind::gzipBomb, "gzip-bomb", "bytes", true},
    KindEntry{StandInFaultKind::encoding, "encoding", "encoding", false},
    KindEntry{StandInFaultKind::notJson, "not-json", "", false},
    KindEntry{StandInFaultKind::empty, "empty", "", false},
    KindEntry{StandInFaultKind::nesting, "nesting", "bytes", true},
    KindEntry{StandInFaultKind::reply, "reply", "", false},
    KindEntry{StandInFaultKind::surplus, "surplus", "bytes", true},
    KindEntry{StandInFaultKind::strayBytes, "stray-bytes", "interval", false},
    KindEntry{StandInFaultKind::lateReply, "late-reply", "interval", false},
    KindEntry{StandInFaultKind::endlessExtension, "endless-extension", "", false},
    KindEntry{StandInFaultKind::wrongAuthority, "wrong-authority", "", false},
    KindEntry{StandInFaultKind::wrongHostName, "wrong-host-name", "", false},
    KindEntry{StandInFaultKind::expired, "expired", "", false},
    KindEntry{StandInFaultKind::commonNameOnly, "common-name-only", "", false},
    KindEntry{StandInFaultKind::garbage, "garbage", "", false},
    KindEntry{StandInFaultKind::silentHandshake, "silent-handshake", "", false},
};

struct FramingEntry {
  StandInFraming framing;
  std::string_view name;
};
constexpr std::array kFramings{
    FramingEntry{StandInFraming::contentLength, "content-length"},
    FramingEntry{StandInFraming::chunked, "chunked"},
    FramingEntry{StandInFraming::untilClose, "until-close"},
};

const KindEntry& entryOf(StandInFaultKind kind) {
  return *std::find_if(kKinds.begin(), kKinds.end(), [&](const auto& entry) { return entry.kind == kind; });
}

template <class Table>
std::string namesOf(const Table& table) {
  std::string names;
  for (const auto& entry : table) names += (names.empty() ? "" : ", ") + std::string(entry.name);
  return names;
}

/// Sets a fault's properties by key. Stops at the first problem.
class FaultReader {
 public:
  bool set(std::string_view key, std::string_view value) {
    seen_.emplace_back(key);
    if (key == "kind") return setKind(value);
    if (key == "service") {
      int service = 0;
      if (!number(key, value, 0, std::ssize(kServiceCatalogue) - 1, service)) return false;
      fault_.service = service;
      return true;
    }
    if (key == "path") return take(fault_.path, value);
    if (key == "host") return take(fault_.host, value);
    if (key == "times") return number(key, value, 0, 1'000'000'000, fault_.times);
    if (key == "status") return number(key, value, 100, 999, fault_.status);
    if (key == "delay") return milliseconds(key, value, fault_.delay);
    if (key == "interval") return milliseconds(key, value, fault_.interval);
    if (key == "bytes") return number(key, value, 0, 1'000'000'000'000, fault_.bytes);
    if (key == "location") return take(fault_.location, value);
    if (key == "body") {
      fault_.body = value;
      return true;
    }
    if (key == "encoding") {
      if (value != "gzip" && value != "deflate" && value != "br") {
        return fail("\"" + std::string(value) + "\" is no encoding: gzip, deflate, br");
      }
      return take(fault_.encoding, value);
    }
    if (key == "framing") {
      for (const auto& entry : kFramings) {
        if (entry.name != value) continue;
        fault_.framing = entry.framing;
        return true;
      }
      return fail("\"" + std::string(value) + "\" is no framing: " + namesOf(kFramings));
    }
    return fail("unknown key \"" + std::string(key) + "\"");
  }

  void addHeader(std::string name, std::string value) {
    fault_.headers.emplace_back(std::move(name), std::move(value));
  }

  bool finish() {
    if (!has("kind")) return fail("it has no kind: " + namesOf(kKinds));
    const auto& entry = entryOf(fault_.kind);
    if (entry.needed && !has(entry.particular)) {
      return fail("the kind " + std::string(entry.name) + " needs a value: " + std::string(entry.name) + ":" +
                  std::string(entry.particular));
    }
    if (fault_.meetsConnections() && (fault_.service || !fault_.path.empty())) {
      return fail("a connection meets the kind " + std::string(entry.name) +
                  " before its service and path are known");
    }
    const bool beforeName =
        fault_.kind == StandInFaultKind::garbage || fault_.kind == StandInFaultKind::silentHandshake;
    if (beforeName && !fault_.host.empty()) {
      return fail("a connection meets the kind " + std::string(entry.name) + " before its host is known");
    }
    return true;
  }

  bool fail(std::string problem) {
    problem_ = std::move(problem);
    return false;
  }

  [[nodiscard]] const StandInFault& fault() const { return fault_; }
  [[nodiscard]] const std::string& problem() const { return problem_; }

 private:
  bool setKind(std::string_view value) {
    const auto colon = std::min(value.find(':'), value.size());
    const auto name = value.substr(0, colon);
    const auto* entry =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const auto& known) { return known.name == name; });
    if (entry == kKinds.end()) {
      return fail("\"" + std::string(name) + "\" is no kind: " + namesOf(kKinds));
    }
    fault_.kind = entry->kind;
    if (colon == value.size()) return true;
    if (entry->particular.empty()) return fail("the kind " + std::string(name) + " takes no value");
    return set(entry->particular, value.substr(colon + 1));
  }

  static bool take(std::string& field, std::string_view value) {
    field = value;
    return true;
  }

  template <class T>
  bool number(std::string_view key, std::string_view value, std::int64_t least, std::int64_t most, T& field) {
    std::int64_t read = 0;
    const auto* end = value.data() + value.size();
    const auto result = std::from_chars(value.data(), end, read);
    if (result.ec != std::errc() || result.ptr != end || value.empty() || read < least || read > most) {
      return fail("\"" + std::string(value) + "\" is no " + std::string(key) + ": a number from " +
                  std::to_string(least) + " to " + std::to_string(most));
    }
    field = static_cast<T>(read);
    return true;
  }

  bool milliseconds(std::string_view key, std::string_view value, std::chrono::milliseconds& field) {
    std::int64_t count = 0;
    if (!number(key, value, 0, 86'400'000, count)) return false;
    field = std::chrono::milliseconds(count);
    return true;
  }

  [[nodiscard]] bool has(std::string_view key) const {
    return std::find(seen_.begin(), seen_.end(), key) != seen_.end();
  }

  StandInFault fault_;
  std::vector<std::string> seen_;
  std::string problem_;
};

std::string textOf(const rj::Value& value) { return std::string(value.GetString(), value.GetStringLength()); }

bool readHeaders(FaultReader& reader, const rj::Value& headers) {
  if (!headers.IsObject()) return reader.fail("\"headers\" is no object");
  for (const auto& header : headers.GetObject()) {
    if (!header.value.IsString()) return reader.fail("a header is no text");
    reader.addHeader(textOf(header.name), textOf(header.value));
  }
  return true;
}

bool readJson(FaultReader& reader, std::string_view text) {
  if (const auto reason = whyNotJson(text)) return reader.fail("it is not JSON: " + *reason);
  rj::Document document;
  document.Parse<rj::kParseIterativeFlag>(text.data(), text.size());
  for (const auto& member : std::as_const(document).GetObject()) {
    const auto key = textOf(member.name);
    bool read = false;
    if (key == "headers") {
      read = readHeaders(reader, member.value);
    } else if (member.value.IsString()) {
      read = reader.set(key, textOf(member.value));
    } else if (member.value.IsInt64()) {
      read = reader.set(key, std::to_string(member.value.GetInt64()));
    } else {
      read = reader.fail("\"" + key + "\" is neither text nor a whole number");
    }
    if (!read) return false;
  }
  return true;
}

bool readPairs(FaultReader& reader, std::string_view text) {
  while (!text.empty()) {
    const auto end = std::min(text.find(','), text.size());
    const auto pair = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const auto equals = pair.find('=');
    if (equals == std::string_view::npos) return reader.fail("\"" + std::string(pair) + "\" has no =");
    if (!reader.set(pair.substr(0, equals), pair.substr(equals + 1))) return false;
  }
  return true;
}

}  // namespace

std::string_view nameOfFaultKind(StandInFaultKind kind) noexcept { return entryOf(kind).name; }

std::optional<StandInFault> StandInFault::parse(std::string_view text, std::string& problem) {
  FaultReader reader;
  text = base::detail::trimmed(text);
  const bool json = !text.empty() && text.front() == '{';
  if (!(json ? readJson(reader, text) : readPairs(reader, text)) || !reader.finish()) {
    problem = reader.problem();
    return std::nullopt;
  }
  return reader.fault();
}

std::string StandInFault::json() const {
  const StandInFault usual;
  rj::StringBuffer buffer;
  rj::Writer<rj::StringBuffer> writer(buffer);
  const auto text = [&](const char* key, std::string_view value) {
    writer.Key(key);
    writer.String(value.data(), static_cast<rj::SizeType>(value.size()));
  };
  const auto number = [&](const char* key, std::int64_t value) {
    writer.Key(key);
    writer.Int64(value);
  };
  writer.StartObject();
  text("kind", nameOfFaultKind(kind));
  if (service) number("service", *service);
  if (!path.empty()) text("path", path);
  if (!host.empty()) text("host", host);
  if (times != 0) number("times", static_cast<std::int64_t>(times));
  if (status != 0) number("status", status);
  if (delay != usual.delay) number("delay", delay.count());
  if (interval != usual.interval) number("interval", interval.count());
  if (bytes != 0) number("bytes", static_cast<std::int64_t>(bytes));
  if (!location.empty()) text("location", location);
  if (encoding != usual.encoding) text("encoding", encoding);
  if (framing != usual.framing) {
    const auto* entry = std::find_if(kFramings.begin(), kFramings.end(),
                                     [&](const auto& known) { return known.framing == framing; });
    text("framing", entry->name);
  }
  if (!headers.empty()) {
    writer.Key("headers");
    writer.StartObject();
    for (const auto& [name, value] : headers) text(name.c_str(), value);
    writer.EndObject();
  }
  if (body) text("body", *body);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace tidewell::testing
