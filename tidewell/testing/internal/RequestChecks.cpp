// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/internal/RequestChecks.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <iterator>
#include <utility>
#include <vector>

#include "tidewell/base/internal/Ascii.h"
#include "tidewell/base/internal/PercentEncoding.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

namespace tidewell::testing {
namespace {

namespace rj = RAPIDJSON_NAMESPACE;

// Iterative, so that nesting cannot overflow the stack.
constexpr unsigned kStrictJson = rj::kParseIterativeFlag | rj::kParseValidateEncodingFlag;

constexpr std::string_view kSuccess = R"({"status":"success"})";

/// Services that reply with more than `kSuccess`.
constexpr std::pair<TWService, std::string_view> kReplies[] = {
    {TWServiceGetConfig, "{}"},
    {TWServiceGetInAppMetaV3, R"({"campaigns":[]})"},
    {TWServiceGetInAppPayloadV3, R"({"payload":{}})"},
    {TWServiceGetTestInAppPayloadV3, R"({"payload":{}})"},
    {TWServiceInbox, R"({"messages":[]})"},
    {TWServiceOfflineTriggersSync, R"({"triggers":[]})"},
    {TWServiceUserInSegment, R"({"in_segment":false})"},
    {TWServiceGetGeofences, R"({"geofences":[]})"},
};

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// Checks one request.
class Check {
 public:
  Check(StandInRequest& request, const ServiceEntry& entry) : request_(request), entry_(entry) {}

  void host(std::uint16_t ownPort) {
    const auto name = hostName(request_.host);
    const auto port = std::string_view(request_.host).substr(name.size());
    if (request_.host.empty()) return object("there is no Host header");
    if (name == "localhost" || name == "127.0.0.1") {
      if (port != ":" + std::to_string(ownPort)) object("Host names the port " + inQuotes(port));
      return;
    }
    const bool logs = name == HOST_LOGENTRIES;
    const bool api = name == HOST_TDW_PROD_US || name == HOST_TDW_PROD_SERV3 || name == HOST_TDW_PROD_EU;
    if (!logs && !api) return object("no host of the backend is called " + inQuotes(name));
    if (logs != (entry_.host == ServiceDestination::ofLogs)) {
      object("the host " + std::string(name) + " does not offer " + std::string(entry_.path));
    }
    if (!port.empty() && port != ":443") object("Host names the port " + inQuotes(port));
    if (request_.serverName != name) object("TLS asked for the host " + inQuotes(request_.serverName));
  }

  void method() {
    if (request_.method != entry_.method) {
      object("the method is " + request_.method + ", not " + std::string(entry_.method));
    }
  }

  void headers() {
    const auto appIDs = values(kAPIHeadersAppID);
    if (appIDs.size() != 1) {
      object("there are " + std::to_string(appIDs.size()) + " headers " + std::string(kAPIHeadersAppID));
    }
    const auto types = values("content-type");
    if (entry_.method == kGET) {
      if (!types.empty()) object("a GET has the content type " + inQuotes(types.front()));
      if (!request_.body.empty()) object("a GET has a body");
    } else if (types.size() != 1 || types.front() != "application/json") {
      object(types.empty() ? "there is no content type" : "the content type is " + inQuotes(types.front()));
    }
  }

  void body() {
    const bool needed = entry_.service == TWServiceGetConfig || entry_.service == TWServiceSendLogs;
    if (entry_.method == kGET) return;
    if (request_.body.empty()) {
      if (needed) object("there is no body");
      return;
    }
    if (const auto reason = whyNotJson(request_.body)) return object("the body is not JSON: " + *reason);
    rj::Document document;
    document.Parse<kStrictJson>(request_.body.data(), request_.body.size());
    if (!document.IsObject()) return object("the body is not a JSON object");
    if (entry_.service == TWServiceGetConfig) configBody(document);
    if (entry_.service == TWServiceSendLogs) logBody(document);
  }

 private:
  using Object = rj::Value;

  void object(std::string problem) { request_.problems.push_back(std::move(problem)); }

  [[nodiscard]] std::vector<std::string> values(std::string_view name) const {
    std::vector<std::string> found;
    for (const auto& [key, value] : request_.headers) {
      if (base::detail::equalsIgnoringCase(key, name)) found.push_back(value);
    }
    return found;
  }

  [[nodiscard]] std::string lastPathComponent() const {
    return base::percentDecode(std::string_view(request_.path).substr(entry_.path.size()));
  }

  /// The text for a key; objects if there is none.
  std::string text(const Object& object_, std::string_view where, std::string_view key) {
    const auto member = object_.FindMember(
        Object(key.data(), static_cast<rj::SizeType>(key.size())));  // refers to the key without a copy
    if (member == object_.MemberEnd() || !member->value.IsString()) {
      object(std::string(where) + " has no text under " + inQuotes(key));
      return {};
    }
    return std::string(member->value.GetString(), member->value.GetStringLength());
  }

  void configBody(const Object& body) {
    const auto appID = request_.header(kAPIHeadersAppID).value_or("");
    if (lastPathComponent() != appID) {
      object("the path asks for the application " + inQuotes(lastPathComponent()) + ", the header for " +
             inQuotes(appID));
    }
    if (body.MemberCount() != 1) object("the body has more, or less, than \"query_params\"");
    const auto params = body.FindMember("query_params");
    if (params == body.MemberEnd() || !params->value.IsObject()) {
      return object("there is no object under \"query_params\"");
    }
    for (const std::string_view key :
         {"app_ver", "sdk_ver", "unique_id", "device_tz_offset", "device_ts", "device_tz"}) {
      text(params->value, "query_params", key);
    }
    if (text(params->value, "query_params", "os") != "iOS") object("\"os\" is not \"iOS\"");
    if (text(params->value, "query_params", "app_id") != appID) {
      object("\"app_id\" is not that of the header");
    }
  }

  void logBody(const Object& body) {
    if (lastPathComponent().empty()) object("the path ends without a token");
    constexpr std::array<std::string_view, 7> keys{"appid", "uid", "lvl", "tb", "sdk_ver", "msg", "tm_s"};
    if (!std::equal(body.MemberBegin(), body.MemberEnd(), keys.begin(), keys.end(),
                    [](const auto& member, std::string_view key) {
                      return std::string_view(member.name.GetString(), member.name.GetStringLength()) == key;
                    })) {
      object("the keys are not appid, uid, lvl, tb, sdk_ver, msg, tm_s in this order");
    }
    for (const auto key : keys) text(body, "the body", key);
    const auto time = text(body, "the body", "tm_s");
    if (time.find_first_not_of("0123456789") != std::string::npos) object("\"tm_s\" is not whole seconds");
  }

  StandInRequest& request_;
  const ServiceEntry& entry_;
};

}  // namespace

const ServiceEntry* serviceForPath(std::string_view path) {
  const ServiceEntry* best = nullptr;
  for (const ServiceEntry& entry : kServiceCatalogue) {
    if (path.substr(0, entry.path.size()) == entry.path && (!best || entry.path.size() > best->path.size())) {
      best = &entry;
    }
  }
  return best;
}

std::string_view usualReply(const ServiceEntry& entry) {
  if (entry.successStatus == kServiceStatusNoContent) return "";
  const auto* const known = std::find_if(std::begin(kReplies), std::end(kReplies),
                                         [&](const auto& reply) { return reply.first == entry.service; });
  return known == std::end(kReplies) ? kSuccess : known->second;
}

void checkRequest(StandInRequest& request, const ServiceEntry* entry, std::uint16_t ownPort) {
  if (entry == nullptr) {
    request.problems.push_back("no service has the path " + inQuotes(request.path));
    return;
  }
  Check check(request, *entry);
  check.host(ownPort);
  check.method();
  check.headers();
  check.body();
}

std::string_view hostName(std::string_view hostHeader) {
  return hostHeader.substr(0, std::min(hostHeader.rfind(':'), hostHeader.size()));
}

std::optional<std::string> whyNotJson(std::string_view text) {
  rj::Document document;
  document.Parse<kStrictJson>(text.data(), text.size());
  if (!document.HasParseError()) return std::nullopt;
  const auto offset = std::min(document.GetErrorOffset(), text.size());
  const auto line = std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(offset), '\n') + 1;
  return std::string(rj::GetParseError_En(document.GetParseError())) + " (line " + std::to_string(line) +
         ", byte " + std::to_string(offset) + ")";
}

}  // namespace tidewell::testing
