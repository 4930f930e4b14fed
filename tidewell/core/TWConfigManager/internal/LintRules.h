// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "tidewell/core/TWConfigManager/ConfigurationLint.h"

namespace tidewell {

enum class LintRuleID : std::uint8_t {
  replyTooLarge,
  notJson,
  notContainer,
  notObject,
  duplicateKey,
  misspelledKey,
  unknownKey,
  deviceKey,
  absentKeys,
  mergeStops,
  valueTooLarge,
  statusNotText,
  statusUnknown,
  tokenNotText,
  tokenMissing,
  durationZero,
  countZero,
  numberNegative,
  numberFractional,
  numberTooLarge,
  numberAsText,
  numberFromPartOfText,
  numberNotNumeric,
  numberFromBoolean,
  listNotArray,
  entryNotText,
  entryTwice,
  eventEmpty,
  eventBlocked,
  eventInTwoLists,
  expressionInvalid,
  expressionUnreachable,
  expressionTooCostly,
  expressionBeyondLimit,
  expressionSlow,
  expressionMatchesNothing,
  expressionMatchesEverything,
  expressionsUntried,
};

/// The name of a severity in JSON and on the page.
constexpr std::string_view nameOf(LintSeverity severity) {
  constexpr std::string_view kNames[] = {"note", "warning", "error"};
  return kNames[static_cast<std::size_t>(severity)];
}

/// A rule of the linter: a row of `kLintRules`. Each %@ of the sentence is filled in by the finding.
struct LintRule {
  LintRuleID id;
  std::string_view name;
  LintSeverity severity;
  std::string_view sentence;
  std::string_view advice;
};

/// The rules in the order of `LintRuleID`. docs/configuration-linter.md is generated from these rows
/// (tools/linter-page, scripts/check-docs --fix).
inline constexpr std::array kLintRules = {
    LintRule{LintRuleID::replyTooLarge, "reply-too-large", LintSeverity::error,
             "The reply has %@ bytes; devices read at most %@, and the sync fails.",
             "Shorten the lists until the reply fits."},
    LintRule{LintRuleID::notJson, "not-json", LintSeverity::error,
             "The reply is not JSON: %@ Devices merge an empty reply instead, which resets every setting.",
             "Correct the text at this place."},
    LintRule{LintRuleID::notContainer, "not-container", LintSeverity::error,
             "The top level is %@; devices merge an empty reply instead, which resets every setting.",
             "Send an object with the keys of the configuration."},
    LintRule{LintRuleID::notObject, "not-object", LintSeverity::error,
             "The top level is a list; no device can merge it, and nothing changes.",
             "Send an object with the keys of the configuration."},
    LintRule{LintRuleID::duplicateKey, "duplicate-key", LintSeverity::warning,
             "The key occurs again; devices take its first value.", "Remove one of the two."},
    LintRule{LintRuleID::misspelledKey, "misspelled-key", LintSeverity::warning,
             "No device reads this key; the nearest known key is %@.", "Correct the key."},
    LintRule{LintRuleID::unknownKey, "unknown-key", LintSeverity::warning, "No device reads this key.",
             "Remove it."},
    LintRule{LintRuleID::deviceKey, "device-key", LintSeverity::warning,
             "The value is set on the device and never taken from a reply.", "Remove the key."},
    LintRule{LintRuleID::absentKeys, "absent-keys", LintSeverity::note,
             "Absent or null, and therefore reset to the default: %@.",
             "Send every setting that differs from its default; a reply is not a patch."},
    LintRule{
        LintRuleID::mergeStops, "merge-stops", LintSeverity::error,
        "The value is %@, which has no number: the merge stops here, the archive is not written, and these "
        "keys keep their values: %@.",
        "Send a whole number."},
    LintRule{LintRuleID::valueTooLarge, "value-too-large", LintSeverity::error,
             "The value exceeds %@ elements, %@ KiB of text or the depth of an archive; devices keep the one "
             "that they have.",
             "Shorten the value."},
    LintRule{
        LintRuleID::statusNotText, "status-not-text", LintSeverity::error,
        "The status is %@: it is stored, and each question that reads it raises; the answers are then: %@.",
        "Send \"blocked\" or \"allowed\"."},
    LintRule{LintRuleID::statusUnknown, "status-unknown", LintSeverity::warning,
             "The status \"%@\" is neither \"blocked\" nor \"allowed\", and counts as allowed.",
             "Send \"blocked\" or \"allowed\", in lower case."},
    LintRule{LintRuleID::tokenNotText, "token-not-text", LintSeverity::error,
             "The token is %@: it is stored, and no log line can be sent with it.", "Send text."},
    LintRule{LintRuleID::tokenMissing, "token-missing", LintSeverity::error,
             "Remote logs are on, and there is no token: devices send log lines without one.",
             "Send a token (le_tkn), or block the logs (le_s)."},
    LintRule{LintRuleID::durationZero, "duration-zero", LintSeverity::warning,
             "0 is stored, and questions are answered with the default, %@ seconds.",
             "Send the seconds, or leave the key out to get the default."},
    LintRule{LintRuleID::countZero, "count-zero", LintSeverity::warning,
             "0 is stored and answered; there is no default for it.", "Send at least 1."},
    LintRule{LintRuleID::numberNegative, "number-negative", LintSeverity::error,
             "%@ is stored and answered; no reader expects a negative number.", "Send a positive number."},
    LintRule{LintRuleID::numberFractional, "number-fractional", LintSeverity::warning,
             "The fraction is cut off: %@ is stored.", "Send a whole number."},
    LintRule{LintRuleID::numberTooLarge, "number-too-large", LintSeverity::error,
             "The number does not fit into 64 bits with a sign: the answer is %@.", "Send a smaller number."},
    LintRule{LintRuleID::numberAsText, "number-as-text", LintSeverity::note,
             "The number is written as text: %@ is stored.", "Send it without quotation marks."},
    LintRule{LintRuleID::numberFromPartOfText, "number-from-part-of-text", LintSeverity::error,
             "Only the start of the text is a whole number: %@ is stored.", "Send a whole number."},
    LintRule{LintRuleID::numberNotNumeric, "number-not-numeric", LintSeverity::error,
             "The text does not begin with a number: 0 is stored.", "Send a whole number."},
    LintRule{LintRuleID::numberFromBoolean, "number-from-boolean", LintSeverity::warning,
             "The value is true or false: %@ is stored.", "Send a whole number."},
    LintRule{LintRuleID::listNotArray, "list-not-array", LintSeverity::error,
             "The value is %@, not a list: it is stored, and every question about the list raises.",
             "Send a list, also for a single entry."},
    LintRule{
        LintRuleID::entryNotText, "entry-not-text", LintSeverity::error,
        "The entry is %@: a question that finds no match before this entry raises, and no later entry is "
        "reached.",
        "Send text, or remove the entry."},
    LintRule{LintRuleID::entryTwice, "entry-twice", LintSeverity::warning,
             "The list contains this entry already, at index %@.", "Remove one of the two."},
    LintRule{LintRuleID::eventEmpty, "event-empty", LintSeverity::warning, "The empty name is never found.",
             "Remove the entry."},
    LintRule{LintRuleID::eventBlocked, "event-blocked", LintSeverity::warning,
             "The event is also in b_e, so it is not tracked at all.",
             "Remove it from one of the two lists."},
    LintRule{LintRuleID::eventInTwoLists, "event-in-two-lists", LintSeverity::note,
             "The event is also in %@.", "Nothing, if both are meant."},
    LintRule{LintRuleID::expressionInvalid, "expression-invalid", LintSeverity::error,
             "The expression is not valid (%@): the question raises for every unique ID that no earlier "
             "expression matches.",
             "Correct the expression (ICU syntax), or remove it."},
    LintRule{LintRuleID::expressionUnreachable, "expression-unreachable", LintSeverity::warning,
             "Neither this expression nor a later one is reached, because the question raises before.",
             "Correct the entry at index %@ first."},
    LintRule{LintRuleID::expressionTooCostly, "expression-too-costly", LintSeverity::error,
             "The expression costs too much to compile: it is never evaluated, and counts as no match.",
             "Use a shorter expression, with fewer repeats and character properties."},
    LintRule{
        LintRuleID::expressionBeyondLimit, "expression-beyond-limit", LintSeverity::error,
        "The expressions before this one use up what a list may cost: it is never evaluated, and counts as "
        "no match.",
        "Shorten the list, or use texts without metacharacters, which cost nothing."},
    LintRule{
        LintRuleID::expressionSlow, "expression-slow", LintSeverity::warning,
        "Some unique IDs, such as \"%@\", take longer than a question may; for them the expression counts "
        "as no match.",
        "Avoid repeats inside repeats, and several .* in a row."},
    LintRule{LintRuleID::expressionMatchesNothing, "expression-matches-nothing", LintSeverity::warning,
             "No unique ID matches the expression.", "Correct the expression, or remove it."},
    LintRule{LintRuleID::expressionMatchesEverything, "expression-matches-everything", LintSeverity::error,
             "The expression matches every unique ID that was tried: devices refuse all of them.",
             "Narrow the expression, or remove it."},
    LintRule{LintRuleID::expressionsUntried, "expressions-untried", LintSeverity::note,
             "This expression and the later ones were compiled, but not tried on unique IDs: there are too "
             "many.",
             "Check the rest of the list on its own."},
};
static_assert(std::all_of(kLintRules.begin(), kLintRules.end(),
                          [](const LintRule& rule) {
                            return &rule == &kLintRules[static_cast<std::size_t>(rule.id)];
                          }),
              "a row of kLintRules is not at the place of its rule");

constexpr const LintRule& ruleOf(LintRuleID id) { return kLintRules[static_cast<std::size_t>(id)]; }

}  // namespace tidewell
