// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"
#include "tidewell/base/formats/RegularExpression.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"

namespace tidewell {

/// A field of the record: its property number, its key in replies and in the archive, its getter and its
/// default.
struct ConfigModelField {
  std::int64_t number;
  const char* key;
  const char* getter;
  base::Value (*get)(const TWConfig&);
  base::Value original;
};

/// All fields in the order of the archive.
inline const std::vector<ConfigModelField>& configModelFields() {
  using base::Array;
#define FIELD(number, key, getter, original)                                                            \
  {                                                                                                     \
    number, key, #getter, [](const TWConfig& record) { return base::Value(record.getter()); }, original \
  }
  static const std::vector<ConfigModelField> fields = {
      FIELD(0, "a_s", accountStatus, "allowed"),
      FIELD(1, "i_s", inAppServiceStatus, "allowed"),
      FIELD(3, "g_s", geofenceServiceStatus, "allowed"),
      FIELD(2, "in_s", inboxServiceStatus, "allowed"),
      FIELD(4, "le_s", logEntriesServiceStatus, "blocked"),
      FIELD(6, "p_f_s", periodicSyncStatus, "allowed"),
      FIELD(5, "d_t", deviceTriggerServiceStatus, "allowed"),
      FIELD(8, "i_d_e", inboxDefaultDuration, 2592000),
      FIELD(9, "p_f_t", periodicSyncInterval, 60),
      FIELD(10, "dt_s_t", deviceTriggerSyncDuration, 10800),
      FIELD(11, "u_a_c_t", userAttrCachingDuration, 1800),
      FIELD(12, "s_i_d", analyticsSessionInactiveDuration, 1800),
      FIELD(13, "b_e", blackListedEventsArray, Array()),
      FIELD(15, "f_e", instantFlushEventsArray, Array()),
      FIELD(14, "d_t_w_e", dataTrackingOptedOutWhitelistedEventsArray, Array()),
      FIELD(16, "src_ext", analyticsSourceExtraKeysArray, Array()),
      FIELD(17, "b_uid_r", restrictedUniqueIDRegexArray, Array()),
      FIELD(21, "d_t_opt_out", dataTrackingOptedOut, false),
      FIELD(22, "user_push_opt_out", userPushOptedOut, false),
      FIELD(23, "user_inapp_opt_out", userInAppOptedOut, false),
      FIELD(18, "e_b_c", eventsBatchCount, 30),
      FIELD(20, "d_r_r", dataRedirectionRegion, "Default"),
      FIELD(19, "le_tkn", logEntriesToken, ""),
  };
#undef FIELD
  return fields;
}

/// A gate of `TWConfigManager`.
struct ConfigModelGate {
  const char* name;
  bool (TWConfigManager::*ask)() const;
  bool fallback;  ///< the answer if a value has the wrong type, which logs `line`
  int line;
  const char* status;  ///< the key that must not be "blocked"; null if there is none
  bool needsStatus;    ///< false without a status
  std::vector<const char*> optOuts;
};

/// All gates. The first must be open for each of the others.
inline const std::vector<ConfigModelGate>& configModelGates() {
  using M = TWConfigManager;
  constexpr const char *tracking = "d_t_opt_out", *push = "user_push_opt_out", *inApp = "user_inapp_opt_out";
  static const std::vector<ConfigModelGate> gates = {
      {"isAccountActive", &M::isAccountActive, true, 238, "a_s", false, {}},
      {"isInAppServiceActive", &M::isInAppServiceActive, true, 259, "i_s", false, {inApp}},
      {"isGeofenceServiceActive", &M::isGeofenceServiceActive, true, 285, "g_s", false, {push, tracking}},
      {"isInboxServiceActive", &M::isInboxServiceActive, true, 306, "in_s", false, {push}},
      {"isLogentriesEnabled", &M::isLogentriesEnabled, false, 328, "le_s", true, {}},
      {"isPeriodicSyncEnabled", &M::isPeriodicSyncEnabled, false, 348, "p_f_s", false, {}},
      {"isDeviceTriggerEnabled", &M::isDeviceTriggerEnabled, false, 368, "d_t", true, {push}},
      {"isDataTrackingEnabled", &M::isDataTrackingEnabled, false, 0, nullptr, false, {tracking}},
      {"isUserPushEnabled", &M::isUserPushEnabled, false, 0, nullptr, false, {push}},
      {"isUserInAppEnabled", &M::isUserInAppEnabled, false, 0, nullptr, false, {inApp}},
  };
  return gates;
}

/// The getters of `TWConfigManager` and the keys of their fields.
inline const auto& configModelGetters() {
  using M = TWConfigManager;
  using Getter = std::function<base::Value(const TWConfigManager&)>;
  static const std::vector<std::tuple<const char*, const char*, Getter>> getters = {
      {"getBlackListedEvents", "b_e", &M::getBlackListedEvents},
      {"getInstantFlushEvents", "f_e", &M::getInstantFlushEvents},
      {"getWhitelistedEvents", "d_t_w_e", &M::getWhitelistedEvents},
      {"getSourceExtraKeys", "src_ext", &M::getSourceExtraKeys},
      {"getRestrictedUniqueIDRegex", "b_uid_r", &M::getRestrictedUniqueIDRegex},
      {"getLogEntriesToken", "le_tkn", &M::getLogEntriesToken},
      {"getInboxDefaultExpiry", "i_d_e", &M::getInboxDefaultExpiry},
      {"getPeriodicSyncDuration", "p_f_t", &M::getPeriodicSyncDuration},
      {"getRealTimeTriggerSyncInterval", "dt_s_t", &M::getRealTimeTriggerSyncInterval},
      {"getUserAttributeCachingDuration", "u_a_c_t", &M::getUserAttributeCachingDuration},
      {"getSessionInActiveDuration", "s_i_d", &M::getSessionInActiveDuration},
      {"getEventBatchCount", "e_b_c", &M::getEventBatchCount},
  };
  return getters;
}

/// A plain model of the configuration to compare with `TWConfigManager`: a map from keys to values. Computes
/// every answer on demand.
///
/// The operations have the names of `TWConfigManager`, so that one template calls both. Of lines logged with
/// coordinates, only these are kept.
class ConfigModel {
 public:
  using Fields = std::map<std::string, base::Value>;

  Fields fields = defaults();
  Fields file;  // empty if there is none
  mutable std::vector<std::string> logged;

  static const Fields& defaults() {
    static const Fields fields = [] {
      Fields all;
      for (const ConfigModelField& field : configModelFields()) all[field.key] = field.original;
      return all;
    }();
    return fields;
  }

  void restart() { fields = file.empty() ? defaults() : file; }

  void updateConfigFromResponse(const base::Value& reply) {
    guarded(118, "updateConfigFromResponse:", 0, [&] {
      if (reply && reply.dictionary() == nullptr) raise();
      for (const char* key :
           {"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s", "p_f_t", "i_d_e", "dt_s_t", "u_a_c_t",
            "s_i_d", "b_e", "f_e", "d_t_w_e", "src_ext", "b_uid_r", "le_tkn", "e_b_c"}) {
        base::Value value = reply ? reply.dictionary()->objectForKey(key) : base::Value();
        if (value.isNil() || value.isNull()) value = defaults().at(key);
        fields[key] = defaults().at(key).kind() == base::ValueKind::integer ? value.integerValue() : value;
      }
      file = fields;
      guarded(200, "printCurrentServicesStatus", 0, [&] {
        for (const char* key : {"b_e", "f_e", "d_t_w_e", "src_ext"}) entriesOf(key);
        return 0;
      });
      return 0;
    });
  }
  void setDataRedirectionRegion(std::int64_t region) {
    set("d_r_r", region == 0 ? "SERV3" : region == 1 ? "Europe" : "Default");
  }
  void setDataTrackingOptedOut(bool flag) { set("d_t_opt_out", flag); }
  void setUserPushNotificationOptedOut(bool flag) { set("user_push_opt_out", flag); }
  void setUserInAppNotificationOptedOut(bool flag) { set("user_inapp_opt_out", flag); }

  int getDataRedirectionRegion() const {
    return guarded(589, "getDataRedirectionRegion", 2, [&] {
      if (is("d_r_r", "SERV3")) return 0;
      return is("d_r_r", "Europe") ? 1 : 2;
    });
  }

  bool answer(const ConfigModelGate& gate) const {
    return guarded(gate.line, gate.name, gate.fallback, [&] {
      const ConfigModelGate& account = configModelGates().front();
      if (&gate != &account && !answer(account)) return false;
      if (gate.needsStatus && !has(gate.status)) return false;
      return !(gate.status && is(gate.status, "blocked")) &&
             std::none_of(gate.optOuts.begin(), gate.optOuts.end(), [&](auto* key) { return flag(key); });
    });
  }
  /// The answer of the field's getter: the default for a duration of 0, an empty list for some absent lists.
  base::Value answer(const std::string& key) const {
    const base::Value& stored = fields.at(key);
    if (!stored && (key == "src_ext" || key == "b_uid_r")) return base::Array();
    const base::Value& original = defaults().at(key);
    const bool isDuration = original.kind() == base::ValueKind::integer && key != "e_b_c";
    return isDuration && stored.integerValue() == 0 ? original : stored;
  }

  /// Whether the list at this key contains the event.
  bool isListed(const char* key, const std::string& name, int line, const std::string& method) const {
    return guarded(line, method.c_str(), false, [&] {
      const std::vector<base::Value> entries = name.empty() ? std::vector<base::Value>() : entriesOf(key);
      return std::any_of(entries.begin(), entries.end(), [&](auto& each) { return textOf(each) == name; });
    });
  }

  bool isUniqueIDRestricted(const std::string& id) const {
    if (!has("b_uid_r")) return false;
    base::MatchBudget budget;
    for (const base::Value& entry : entriesOf("b_uid_r")) {
      if (base::RegularExpression(textOf(entry)).matches(id, budget) == base::MatchResult::matches)
        return true;
    }
    return false;
  }

 private:
  [[noreturn]] static void raise() { throw base::Exception(base::kInvalidArgumentException, ""); }
  static const std::string& textOf(const base::Value& value) {
    if (!value.isString()) raise();
    return *value.string();
  }
  template <class Fallback, class Body>
  Fallback guarded(int line, const char* method, Fallback fallback, Body body) const {
    try {
      return body();
    } catch (const base::Exception&) {
      logged.push_back("Tidewell - <file - TWConfigManager, line number - " + std::to_string(line) +
                       " , method - '" + method);
      return fallback;
    }
  }
  void set(const char* key, const base::Value& value) {
    fields[key] = value;
    file = fields;
  }
  bool has(const char* key) const { return static_cast<bool>(fields.at(key)); }
  bool flag(const char* key) const { return fields.at(key).boolValue(); }
  bool is(const char* key, std::string_view text) const { return has(key) && textOf(fields.at(key)) == text; }
  std::vector<base::Value> entriesOf(const char* key) const {
    if (!has(key)) return {};
    const base::Array* const array = fields.at(key).array();
    if (array == nullptr) raise();
    return {array->begin(), array->end()};
  }
};

/// What the explanation says if it contradicts the answer; otherwise empty.
inline std::string contradiction(const TWConfigManager& manager, std::string_view question,
                                 Explanation::Answer answer,
                                 std::optional<std::string_view> argument = std::nullopt) {
  const auto explanation = manager.explanation(question, argument);
  if (!explanation) return " (no explanation)";
  const std::vector<ExplanationStep> steps = explanation->steps();
  const auto deciding = std::count_if(steps.begin(), steps.end(), [](auto& step) { return step.decides(); });
  const bool isLast = deciding == 0 || (deciding == 1 && steps.back().decides());
  return explanation->answer() == answer && isLast
             ? ""
             : " " + base::Value(explanation->dictionary()).description();
}
inline Explanation::Answer explained(bool answer) {
  return answer ? Explanation::Answer::yes : Explanation::Answer::no;
}

/// All answers of a manager or model as text: one entry per query, with the lines it logged.
/// `takeLogged` empties the log and returns the coordinates of its lines.
template <class Subject>
std::vector<std::string> answersOf(const Subject& subject, const std::vector<std::string>& names,
                                   const std::function<std::vector<std::string>()>& takeLogged) {
  std::vector<std::string> answers;
  const auto add = [&](std::string question, const base::Value& answer) {
    question += " = " + answer.description();
    for (const std::string& line : takeLogged()) question += "; logged " + line;
    answers.push_back(std::move(question));
  };
  constexpr bool isModel = std::is_same_v<Subject, ConfigModel>;
  add("(before)", {});
  for (const ConfigModelGate& gate : configModelGates()) {
    if constexpr (isModel) add(gate.name, subject.answer(gate));
    if constexpr (!isModel) {
      const bool answer = (subject.*gate.ask)();
      add(gate.name + contradiction(subject, gate.name, explained(answer)), answer);
    }
  }
  for (const auto& [name, key, ask] : configModelGetters()) {
    if constexpr (isModel) add(name, subject.answer(key));
    if constexpr (!isModel) add(name, ask(subject));
  }
  add("getDataRedirectionRegion", static_cast<int>(subject.getDataRedirectionRegion()));
  for (const std::string& name : names) {
    for (const auto& [key, line, method, ask] :
         {std::tuple("b_e", 400, "isEventBlackListed:", &TWConfigManager::isEventBlackListed),
          {"f_e", 423, "isEventInstantFlushEvent:", &TWConfigManager::isEventInstantFlushEvent},
          {"d_t_w_e", 564, "isEventWhitelistedEvent:", &TWConfigManager::isEventWhitelistedEvent}}) {
      if constexpr (isModel) add(method + name, subject.isListed(key, name, line, method));
      if constexpr (!isModel) {
        const std::string_view question(method, std::string_view(method).size() - 1);
        const bool answer = (subject.*ask)(name);
        add(method + name + contradiction(subject, question, explained(answer), name), answer);
      }
    }
    const std::string question = "isUniqueIDRestricted";
    base::Value answer = "raises";
    auto expected = Explanation::Answer::raises;
    try {
      const bool isRestricted = subject.isUniqueIDRestricted(name);
      answer = isRestricted;
      expected = explained(isRestricted);
    } catch (const base::Exception&) {
    }
    if constexpr (isModel) add(question + " " + name, answer);
    if constexpr (!isModel)
      add(question + " " + name + contradiction(subject, question, expected, name), answer);
  }
  return answers;
}

/// The coordinates of each line of a caught exception.
inline std::vector<std::string> coordinatesOf(std::vector<std::string> lines) {
  std::erase_if(lines, [](const std::string& line) { return !line.starts_with("Tidewell - <file"); });
  for (std::string& line : lines) line.resize(line.find("'>"));
  return lines;
}

}  // namespace tidewell
