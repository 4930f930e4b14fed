// SPDX-License-Identifier: Apache-2.0
#include "tidewell/core/TWConfigManager/Explanation.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "tidewell/base/Exception.h"
#include "tidewell/core/TWConfigManager/internal/Explainer.h"
#include "tidewell/core/TWConfigManager/internal/GateSteps.h"
#include "tidewell/core/TWConfigManager/internal/RestrictedExpressions.h"
#include "tidewell/core/TWConfigManager/internal/ValueForJson.h"

namespace tidewell {
namespace {

constexpr std::string_view kOutcomes[] = {"passes",  "refuses", "raises",
                                          "matches", "differs", "not-evaluated"};
constexpr std::string_view kOrigins[] = {"unknown",           "nothing-downloaded", "left-out",
                                         "last-reply",        "before-last-reply",  "device",
                                         "not-set-on-device", "earlier-version"};
constexpr std::string_view kAnswers[] = {"no", "yes", "raises"};

constexpr std::string_view kUniqueIDQuestion = "isUniqueIDRestricted";
constexpr std::pair<std::string_view, TWConfigProperty> kEventQuestions[] = {
    {"isEventBlackListed", TWConfigPropertyBlackListedEvents},
    {"isEventInstantFlushEvent", TWConfigPropertyInstantFlushEvents},
    {"isEventWhitelistedEvent", TWConfigPropertyDataTrackingWhitelistedEvents}};

/// The origins in a file; all unknown without a readable one.
ConfigOrigins originsIn(std::optional<std::string_view> file) {
  std::optional<ConfigOrigins> read;
  if (file) read = ConfigOrigins::read(*file);
  return read ? *std::move(read) : ConfigOrigins(ConfigOrigins::Start::archive);
}

}  // namespace

struct ExplanationStep::State {
  const ConfigField* field;
  std::optional<std::size_t> entry;
  base::Value value;
  ConfigOrigins::Origin origin;
  StepOutcome outcome;
  bool decides;
};

ExplanationStep::ExplanationStep(std::shared_ptr<const State> state) : state_(std::move(state)) {}
std::string_view ExplanationStep::key() const noexcept {
  return state_->field != nullptr ? state_->field->key : std::string_view();
}
std::optional<std::size_t> ExplanationStep::entry() const noexcept { return state_->entry; }
base::Value ExplanationStep::value() const { return state_->value; }
ValueOrigin ExplanationStep::origin() const noexcept { return state_->origin.kind; }
std::optional<base::Date> ExplanationStep::originTime() const noexcept { return state_->origin.time; }
StepOutcome ExplanationStep::outcome() const noexcept { return state_->outcome; }
bool ExplanationStep::decides() const noexcept { return state_->decides; }

base::Dictionary dictionaryOf(const ConfigOrigins::Origin& origin) {
  base::Dictionary dictionary{{"origin", kOrigins[static_cast<std::size_t>(origin.kind)]}};
  if (origin.time) dictionary.setObject(origin.time->description(), "originTime");
  return dictionary;
}

base::Dictionary ExplanationStep::dictionary() const {
  base::Dictionary step{{"key", key()}};
  if (entry()) step.setObject(static_cast<std::int64_t>(*entry()), "entry");
  step.setObject(valueForJson(value()), "value");
  for (const auto& [key, value] : dictionaryOf(state_->origin)) step.setObject(value, key);
  step.setObject(kOutcomes[static_cast<std::size_t>(outcome())], "outcome");
  step.setObject(decides(), "decides");
  return step;
}

struct Explanation::State {
  std::string_view question;
  Answer answer = Answer::yes;
  std::vector<ExplanationStep> steps;
  std::size_t omittedSteps = 0;
};

Explanation::Explanation(std::shared_ptr<const State> state) : state_(std::move(state)) {}
std::string_view Explanation::question() const noexcept { return state_->question; }
Explanation::Answer Explanation::answer() const noexcept { return state_->answer; }
std::vector<ExplanationStep> Explanation::steps() const { return state_->steps; }
std::size_t Explanation::omittedSteps() const noexcept { return state_->omittedSteps; }

base::Dictionary Explanation::dictionary() const {
  base::Array steps;
  for (const ExplanationStep& step : state_->steps) steps.addObject(step.dictionary());
  return {{"question", question()},
          {"answer", kAnswers[static_cast<std::size_t>(answer())]},
          {"steps", steps},
          {"omittedSteps", static_cast<std::int64_t>(omittedSteps())}};
}

Explainer::Explainer(std::shared_ptr<const TWConfigFields> fields, const ConfigOrigins& origins)
    : fields_(std::move(fields)), origins_(origins.of(*fields_)) {}

std::optional<Explanation> Explainer::explain(std::string_view question,
                                              std::optional<std::string_view> argument) {
  state_ = std::make_shared<Explanation::State>();
  const auto* const gate = std::find_if(kGateRules.begin(), kGateRules.end(),
                                        [&](const GateRule& rule) { return rule.selector == question; });
  const auto* const event = std::find_if(std::begin(kEventQuestions), std::end(kEventQuestions),
                                         [&](const auto& each) { return each.first == question; });
  if (gate != kGateRules.end()) {
    state_->question = gate->selector;
    explainGate(*gate);
  } else if (event != std::end(kEventQuestions)) {
    state_->question = event->first;
    explainEvent(*fieldOf(event->second), argument);
  } else if (question == kUniqueIDQuestion) {
    state_->question = kUniqueIDQuestion;
    explainUniqueID(argument);
  } else {
    return std::nullopt;
  }
  return Explanation(std::move(state_));
}

void Explainer::add(const ConfigField* field, std::optional<std::size_t> entry, base::Value value,
                    StepOutcome outcome, bool decides) {
  if (!decides && state_->steps.size() >= Explanation::kMaximumSteps) {
    ++state_->omittedSteps;
    return;
  }
  const ConfigOrigins::Origin origin = field != nullptr ? origins_[rowOf(*field)] : ConfigOrigins::Origin();
  state_->steps.push_back(ExplanationStep(std::make_shared<const ExplanationStep::State>(
      ExplanationStep::State{field, entry, std::move(value), origin, outcome, decides})));
}

void Explainer::explainGate(const GateRule& rule) {
  const GateSteps gate(rule.gate, *fields_);
  for (const GateStep& step : gate.steps) {
    add(step.field, std::nullopt, valueIn(*fields_, *step.field), step.outcome,
        gate.isDecided && &step == &gate.steps.back());
  }
  state_->answer = gate.answer ? Explanation::Answer::yes : Explanation::Answer::no;
}

void Explainer::explainEvent(const ConfigField& list, std::optional<std::string_view> name) {
  state_->answer = Explanation::Answer::no;
  const bool isAbsent = !name || name->empty();
  add(nullptr, std::nullopt, name, isAbsent ? StepOutcome::refuses : StepOutcome::passes, isAbsent);
  if (isAbsent) return;
  const base::Value& value = (*fields_).*std::get<base::Value TWConfigFields::*>(list.member);
  const base::Array* const entries = value.array();
  const bool isWrong = entries == nullptr && !value.isNil();
  add(&list, std::nullopt, value, isWrong ? StepOutcome::raises : StepOutcome::passes, isWrong);
  if (entries == nullptr) return;
  std::size_t index = 0;
  for (const base::Value& entry : *entries) {
    // A search skips nil, and raises at any other entry that is not a string.
    const bool raises = !entry.isNil() && !entry.isString();
    const bool matches = !raises && entry.isEqualToString(*name);
    const bool decides = raises || matches;
    add(&list, index++, entry,
        raises    ? StepOutcome::raises
        : matches ? StepOutcome::matches
                  : StepOutcome::differs,
        decides);
    if (matches) state_->answer = Explanation::Answer::yes;
    if (decides) return;
  }
}

void Explainer::explainUniqueID(std::optional<std::string_view> uniqueID) {
  using Answer = Explanation::Answer;
  const ConfigField& list = *fieldOf(TWConfigPropertyRestrictedUniqueIDRegex);
  add(nullptr, std::nullopt, uniqueID, uniqueID ? StepOutcome::passes : StepOutcome::matches, !uniqueID);
  if (!uniqueID) return;  // an absent identifier is restricted
  const base::Value& value = fields_->restrictedUniqueIDRegexArray;
  const base::Array* const entries = value.array();
  const bool isWrong = entries == nullptr && !value.isNil();
  add(&list, std::nullopt, value, isWrong ? StepOutcome::raises : StepOutcome::passes, isWrong);
  state_->answer = isWrong ? Answer::raises : Answer::no;
  if (entries == nullptr) return;

  // A new object: matching with the one in use would consume its only log line for an expression.
  const RestrictedExpressions expressions(value);
  RestrictedExpressions::Trace trace;
  try {
    if (expressions.match(*uniqueID, &trace).matches) state_->answer = Answer::yes;
  } catch (const base::Exception&) {
    state_->answer = Answer::raises;
  }
  const std::optional<std::size_t> text = expressions.textMatching(*uniqueID);
  auto tried = trace.begin();
  std::size_t index = 0;
  for (const base::Value& entry : *entries) {
    StepOutcome outcome = text == index ? StepOutcome::matches : StepOutcome::differs;
    const bool isTried = tried != trace.end() && tried->first == index;
    if (isTried) {
      const bool isLast = std::next(tried) == trace.end();
      if (tried->second == base::MatchResult::matches) outcome = StepOutcome::matches;
      if (tried->second == base::MatchResult::undecided) outcome = StepOutcome::notEvaluated;
      if (isLast && state_->answer == Answer::raises && entry.isString() &&
          !base::RegularExpression(*entry.string()).isValid())
        outcome = StepOutcome::raises;
      ++tried;
    } else if (!entry.isString()) {
      outcome = StepOutcome::raises;
    } else if (std::binary_search(expressions.tooCostly().begin(), expressions.tooCostly().end(), index)) {
      outcome = StepOutcome::notEvaluated;
    }
    const bool decides = outcome == StepOutcome::matches || outcome == StepOutcome::raises;
    add(&list, index++, entry, outcome, decides);
    if (decides) return;
  }
}

std::vector<std::string_view> explainedQuestions() {
  std::vector<std::string_view> questions;
  for (const GateRule& rule : kGateRules) questions.push_back(rule.selector);
  for (const auto& [question, list] : kEventQuestions) questions.push_back(question);
  questions.push_back(kUniqueIDQuestion);
  return questions;
}

std::optional<Explanation> explanationOf(std::string_view question, std::optional<std::string_view> argument,
                                         const TWConfig& record,
                                         std::optional<std::string_view> originsFile) {
  return Explainer(record.fields(), originsIn(originsFile)).explain(question, argument);
}

base::Dictionary originsOf(const TWConfig& record, std::optional<std::string_view> originsFile) {
  const ConfigOrigins::Origins origins = originsIn(originsFile).of(*record.fields());
  base::Dictionary all;
  for (const ConfigField& field : kConfigFields)
    all.setObject(dictionaryOf(origins[rowOf(field)]), field.key);
  return all;
}

}  // namespace tidewell
