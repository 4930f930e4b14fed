#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Value.h"
#include "tidewell/base/formats/RegularExpression.h"
#include "tidewell/core/TWConfigManager/TWConfig.h"

namespace tidewell {

/// A field of the record: the number with which it is written, its key in replies and in the archive, its
/// getter, and its default.
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

/// A plain model of the configuration, to compare `TWConfigManager` with: a map from keys to values. Every
/// answer is found when it is asked for; none is computed ahead.
///
/// The operations have the names of `TWConfigManager`, so that one template calls both. A line that would be
/// logged with coordinates is kept as "LINE METHOD".
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
      if (reply && reply.dictionary() == nullptr) throw Raised();
      for (const char* key :
           {"a_s", "i_s", "in_s", "g_s", "le_s", "d_t", "p_f_s", "p_f_t", "i_d_e", "dt_s_t", "u_a_c_t",
            "s_i_d", "b_e", "f_e", "d_t_w_e", "src_ext", "b_uid_r", "le_tkn", "e_b_c"}) {
        base::Value value = reply ? reply.dictionary()->objectForKey(key) : base::Value();
        if (value.isNil() || value.isNull()) value = defaults().at(key);
        fields[key] = defaults().at(key).kind() == base::ValueKind::integer ? integerOf(value) : value;
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

  bool isAccountActive() const {
    return guarded(238, "isAccountActive", true, [&] { return !is("a_s", "blocked"); });
  }
  bool isInAppServiceActive() const {
    return guarded(259, "isInAppServiceActive", true,
                   [&] { return isAccountActive() && !is("i_s", "blocked") && !flag("user_inapp_opt_out"); });
  }
  bool isGeofenceServiceActive() const {
    return guarded(285, "isGeofenceServiceActive", true, [&] {
      return isAccountActive() && !is("g_s", "blocked") && !flag("user_push_opt_out") && !flag("d_t_opt_out");
    });
  }
  bool isInboxServiceActive() const {
    return guarded(306, "isInboxServiceActive", true,
                   [&] { return isAccountActive() && !is("in_s", "blocked") && !flag("user_push_opt_out"); });
  }
  bool isLogentriesEnabled() const {
    return guarded(328, "isLogentriesEnabled", false,
                   [&] { return isAccountActive() && has("le_s") && !is("le_s", "blocked"); });
  }
  bool isPeriodicSyncEnabled() const {
    return guarded(348, "isPeriodicSyncEnabled", false,
                   [&] { return isAccountActive() && !is("p_f_s", "blocked"); });
  }
  bool isDeviceTriggerEnabled() const {
    return guarded(368, "isDeviceTriggerEnabled", false, [&] {
      return isAccountActive() && has("d_t") && !is("d_t", "blocked") && !flag("user_push_opt_out");
    });
  }
  bool isDataTrackingEnabled() const { return isAccountActive() && !flag("d_t_opt_out"); }
  bool isUserPushEnabled() const { return isAccountActive() && !flag("user_push_opt_out"); }
  bool isUserInAppEnabled() const { return isAccountActive() && !flag("user_inapp_opt_out"); }

  bool isEventBlackListed(const std::string& name) const {
    return listed("b_e", name, 400, "isEventBlackListed:");
  }
  bool isEventInstantFlushEvent(const std::string& name) const {
    return listed("f_e", name, 423, "isEventInstantFlushEvent:");
  }
  bool isEventWhitelistedEvent(const std::string& name) const {
    return listed("d_t_w_e", name, 564, "isEventWhitelistedEvent:");
  }

  base::Value getBlackListedEvents() const { return fields.at("b_e"); }
  base::Value getInstantFlushEvents() const { return fields.at("f_e"); }
  base::Value getWhitelistedEvents() const { return fields.at("d_t_w_e"); }
  base::Value getSourceExtraKeys() const { return has("src_ext") ? fields.at("src_ext") : base::Array(); }
  base::Value getRestrictedUniqueIDRegex() const {
    return has("b_uid_r") ? fields.at("b_uid_r") : base::Array();
  }
  base::Value getLogEntriesToken() const { return fields.at("le_tkn"); }
  std::int64_t getInboxDefaultExpiry() const { return orDefault("i_d_e"); }
  std::int64_t getPeriodicSyncDuration() const { return orDefault("p_f_t"); }
  std::int64_t getRealTimeTriggerSyncInterval() const { return orDefault("dt_s_t"); }
  std::int64_t getUserAttributeCachingDuration() const { return orDefault("u_a_c_t"); }
  std::int64_t getSessionInActiveDuration() const { return orDefault("s_i_d"); }
  std::int64_t getEventBatchCount() const { return fields.at("e_b_c").integerValue(); }

  bool isUniqueIDRestricted(const std::string& id) const {
    if (!has("b_uid_r")) return false;
    base::MatchBudget budget;
    try {
      for (const base::Value& entry : entriesOf("b_uid_r")) {
        if (!entry.isString()) throw Raised();
        if (base::RegularExpression(*entry.string()).matches(id, budget) == base::MatchResult::matches)
          return true;
      }
    } catch (const Raised&) {
      throw base::Exception(base::kInvalidArgumentException, "");
    }
    return false;
  }

 private:
  struct Raised {};

  template <class Fallback, class Body>
  Fallback guarded(int line, const char* method, Fallback fallback, Body body) const {
    try {
      return body();
    } catch (const Raised&) {
      logged.push_back(std::to_string(line) + " " + method);
      return fallback;
    }
  }
  static base::Value integerOf(const base::Value& value) {
    try {
      return value.integerValue();
    } catch (const base::Exception&) {
      throw Raised();
    }
  }
  void set(const char* key, const base::Value& value) {
    fields[key] = value;
    file = fields;
  }
  bool has(const char* key) const { return static_cast<bool>(fields.at(key)); }
  bool flag(const char* key) const { return fields.at(key).boolValue(); }
  bool is(const char* key, std::string_view text) const { return has(key) && equals(fields.at(key), text); }
  static bool equals(const base::Value& value, std::string_view text) {
    if (!value.isString()) throw Raised();
    return *value.string() == text;
  }
  std::int64_t orDefault(const char* key) const {
    const std::int64_t stored = fields.at(key).integerValue();
    return stored != 0 ? stored : defaults().at(key).integerValue();
  }
  std::vector<base::Value> entriesOf(const char* key) const {
    if (!has(key)) return {};
    const base::Array* const array = fields.at(key).array();
    if (array == nullptr) throw Raised();
    return {array->begin(), array->end()};
  }
  bool listed(const char* key, const std::string& name, int line, const char* method) const {
    return guarded(line, method, false, [&] {
      if (name.empty()) return false;
      for (const base::Value& entry : entriesOf(key)) {
        if (equals(entry, name)) return true;
      }
      return false;
    });
  }
};

/// Every answer of a manager or a model as text: one entry per question, with the lines it logged.
/// `takeLogged` empties the log and returns it as "LINE METHOD" entries.
template <class Subject>
std::vector<std::string> answersOf(const Subject& subject, const std::vector<std::string>& names,
                                   const std::function<std::vector<std::string>()>& takeLogged) {
  std::vector<std::string> answers;
  const auto add = [&](std::string question, const base::Value& answer) {
    question += " = " + answer.description();
    for (const std::string& line : takeLogged()) question += "; logged " + line;
    answers.push_back(std::move(question));
  };
  add("(before)", {});
  add("isAccountActive", subject.isAccountActive());
  add("isInAppServiceActive", subject.isInAppServiceActive());
  add("isGeofenceServiceActive", subject.isGeofenceServiceActive());
  add("isInboxServiceActive", subject.isInboxServiceActive());
  add("isLogentriesEnabled", subject.isLogentriesEnabled());
  add("isPeriodicSyncEnabled", subject.isPeriodicSyncEnabled());
  add("isDeviceTriggerEnabled", subject.isDeviceTriggerEnabled());
  add("isDataTrackingEnabled", subject.isDataTrackingEnabled());
  add("isUserPushEnabled", subject.isUserPushEnabled());
  add("isUserInAppEnabled", subject.isUserInAppEnabled());
  add("getDataRedirectionRegion", static_cast<int>(subject.getDataRedirectionRegion()));
  add("getBlackListedEvents", subject.getBlackListedEvents());
  add("getInstantFlushEvents", subject.getInstantFlushEvents());
  add("getWhitelistedEvents", subject.getWhitelistedEvents());
  add("getSourceExtraKeys", subject.getSourceExtraKeys());
  add("getRestrictedUniqueIDRegex", subject.getRestrictedUniqueIDRegex());
  add("getLogEntriesToken", subject.getLogEntriesToken());
  add("getInboxDefaultExpiry", subject.getInboxDefaultExpiry());
  add("getPeriodicSyncDuration", subject.getPeriodicSyncDuration());
  add("getRealTimeTriggerSyncInterval", subject.getRealTimeTriggerSyncInterval());
  add("getUserAttributeCachingDuration", subject.getUserAttributeCachingDuration());
  add("getSessionInActiveDuration", subject.getSessionInActiveDuration());
  add("getEventBatchCount", subject.getEventBatchCount());
  for (const std::string& name : names) {
    add("isEventBlackListed " + name, subject.isEventBlackListed(name));
    add("isEventInstantFlushEvent " + name, subject.isEventInstantFlushEvent(name));
    add("isEventWhitelistedEvent " + name, subject.isEventWhitelistedEvent(name));
    try {
      add("isUniqueIDRestricted " + name, subject.isUniqueIDRestricted(name));
    } catch (const base::Exception&) {
      add("isUniqueIDRestricted " + name, "raises");
    }
  }
  return answers;
}

/// "LINE METHOD" of each line of a caught exception.
inline std::vector<std::string> coordinatesOf(const std::vector<std::string>& lines) {
  constexpr std::string_view kStart = "Tidewell - <file - TWConfigManager, line number - ";
  constexpr std::string_view kMiddle = " , method - '";
  std::vector<std::string> coordinates;
  for (const std::string& line : lines) {
    if (line.compare(0, kStart.size(), kStart) != 0) continue;
    const std::size_t middle = line.find(kMiddle);
    const std::size_t method = middle + kMiddle.size();
    coordinates.push_back(line.substr(kStart.size(), middle - kStart.size()) + " " +
                          line.substr(method, line.find('\'', method) - method));
  }
  return coordinates;
}

}  // namespace tidewell
