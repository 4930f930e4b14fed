// SPDX-License-Identifier: Apache-2.0
#include "tidewell/base/formats/RegularExpression.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <limits>
#include <optional>

#include "tidewell/base/Exception.h"
#include "tidewell/base/internal/Icu.h"
#include "tidewell/base/internal/IcuError.h"
#include "tidewell/base/internal/IcuLock.h"
#include "tidewell/base/internal/PatternCost.h"
#include "tidewell/base/internal/Unicode.h"

namespace tidewell::base {

namespace {

/// ICU reports after every 10,000 saved positions.
constexpr std::int32_t kPositionsPerStep = 500;
constexpr std::int32_t kStepsPerReport = 20;
/// The most memory, in bytes, for the saved positions of one match.
constexpr std::int32_t kStackLimit = 1 << 20;
/// The same for a cached matcher.
constexpr std::int32_t kKeptStackLimit = 4 << 10;
/// In bytes. Longer patterns, and those with a break iterator, have no cached matchers, which might be large.
constexpr std::size_t kLongestOfKeptMatchers = 256;
/// A position costs more if longer parts of the text may have to be compared before ICU saves the next one.
constexpr std::size_t kShortSubject = 64;

struct CloseExpression {
  void operator()(URegularExpression* expression) const noexcept { detail::icu()->uregex_close(expression); }
};
using Expression = std::unique_ptr<URegularExpression, CloseExpression>;

/// An ICU matcher. It holds the state of one match and so serves one thread at a time. On a cache line of its
/// own, because its neighbours serve other threads.
class alignas(64) Matcher {
 public:
  /// Matchers of one expression share the compiled pattern. Raises `std::bad_alloc`.
  [[nodiscard]] bool prepare(const URegularExpression* compiled, std::int32_t stackLimit) {
    if (expression_) return true;
    const detail::IcuFunctions& icu = *detail::icu();
    UErrorCode status = U_ZERO_ERROR;
    detail::requireMemoryForIcu();
    expression_.reset(icu.uregex_clone(compiled, &status));
    icu.uregex_setStackLimit(expression_.get(), stackLimit, &status);
    icu.uregex_setMatchCallback(expression_.get(), &Matcher::mayGoOn, this, &status);
    if (U_FAILURE(status)) expression_.reset();
    detail::raiseIfShortOfMemory(status);
    return expression_ != nullptr;
  }

  /// Each report is charged `weight` times the steps that it stands for.
  MatchResult match(UText* text, std::int32_t leastCost, std::int32_t weight, MatchBudget& budget) {
    const detail::IcuFunctions& icu = *detail::icu();
    costOfReport_ = kStepsPerReport * weight;
    steps_ = budget.steps;
    reports_ = 0;
    status_ = U_ZERO_ERROR;
    icu.uregex_setUText(expression_.get(), text, &status_);  // clones the UText, so it only reads it
    const bool isMatch = icu.uregex_matches(expression_.get(), -1, &status_) != 0;
    budget.steps -= std::min(budget.steps, std::max(leastCost, reports_ * costOfReport_));
    detail::raiseIfShortOfMemory(status_);
    if (U_FAILURE(status_)) return MatchResult::undecided;
    return isMatch ? MatchResult::matches : MatchResult::differs;
  }
  [[nodiscard]] bool readToEnd() const {
    UErrorCode status = U_ZERO_ERROR;
    return detail::icu()->uregex_hitEnd(expression_.get(), &status) != 0;
  }
  [[nodiscard]] bool ranOutOfStack() const { return status_ == U_REGEX_STACK_OVERFLOW; }

 private:
  static UBool mayGoOn(const void* context, std::int32_t reports) {
    auto* const matcher = static_cast<Matcher*>(const_cast<void*>(context));
    matcher->reports_ = reports;
    // Continuing to the next report would add one more.
    return reports < matcher->steps_ / matcher->costOfReport_;
  }

  Expression expression_;
  UErrorCode status_ = U_ZERO_ERROR;
  std::int32_t costOfReport_ = 0;
  std::int32_t steps_ = 0;  ///< remaining in the budget
  std::int32_t reports_ = 0;
};

bool isAllAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

/// Characters that match themselves.
constexpr std::array<bool, 256> kIsPlain = [] {
  std::array<bool, 256> plain{};
  for (std::size_t c = 0x20; c < plain.size(); ++c) plain[c] = c != 0x7F;
  for (const char c : std::string_view("\\^$.|?*+()[]{}")) plain[static_cast<unsigned char>(c)] = false;
  return plain;
}();
constexpr bool isPlainInPattern(char c) { return kIsPlain[static_cast<unsigned char>(c)]; }
constexpr bool isPunctuation(char c) {
  return (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') || (c >= '{' && c <= '~');
}

/// The contents of "(…)" or "(?:…)" if that is the whole pattern apart from anchors; otherwise the pattern
/// itself.
std::string_view withoutGroup(std::string_view pattern) {
  std::string_view inner = pattern;
  if (inner.starts_with('^')) inner.remove_prefix(1);
  if (inner.ends_with('$')) inner.remove_suffix(1);
  if (!inner.starts_with('(') || !inner.ends_with(')')) return pattern;
  inner.remove_prefix(inner.starts_with("(?:") ? 3 : 1);
  inner.remove_suffix(1);
  return inner;
}

/// ICU's line terminators, which "." does not match.
constexpr std::u16string_view kLineTerminators = u"\n\v\f\r\u0085\u2028\u2029";

/// A pattern of plain text around one ".*", which needs no ICU.
struct Gap {
  std::u16string before;
  std::u16string after;

  [[nodiscard]] bool matches(std::u16string_view text) const {
    if (text.size() < before.size() + after.size() || !text.starts_with(before) || !text.ends_with(after)) {
      return false;
    }
    text.remove_prefix(before.size());
    text.remove_suffix(after.size());
    return text.find_first_of(kLineTerminators) == text.npos;
  }
  /// For a text that does not match: whether a longer one that begins with it may.
  [[nodiscard]] bool mayBegin(std::u16string_view text) const {
    if (text.size() <= before.size()) return std::u16string_view(before).starts_with(text);
    return text.starts_with(before) && text.find_first_of(kLineTerminators, before.size()) == text.npos;
  }
};

/// No value for any other pattern. Recognises escaped metacharacters and anchors around everything.
std::optional<Gap> gapOf(std::string_view pattern) {
  std::string texts[2];
  std::size_t part = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    const char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
    if (isPlainInPattern(c)) {
      texts[part] += c;
    } else if (c == '\\' && isPunctuation(next)) {
      texts[part] += next;
      ++i;
    } else if (c == '.' && next == '*' && part == 0) {
      part = 1;
      ++i;
    } else if (!(c == '^' && i == 0) && !(c == '$' && i + 1 == pattern.size())) {
      return std::nullopt;
    }
  }
  if (part == 0) return std::nullopt;
  return Gap{utf16FromUtf8(texts[0]), utf16FromUtf8(texts[1])};
}

/// Whether a place is taken. One cache line each, so that threads at different places do not contend.
struct alignas(64) Holder {
  std::atomic<bool> taken = false;
};
constinit std::array<Holder, MatchPlace::kCount> holders;

/// Spreads threads over the places; each thread tries the same one first every time.
std::size_t firstPlaceOfThisThread() {
  constinit static std::atomic<std::size_t> threads = 0;
  thread_local const std::size_t first = threads.fetch_add(1, std::memory_order_relaxed);
  return first;
}

}  // namespace

MatchText::MatchText(std::string_view utf8) : isAscii_(isAllAscii(utf8)) {
  if (utf8.size() <= short_.size() && isAscii_) {
    std::copy(utf8.begin(), utf8.end(), short_.begin());
    utf16_ = {short_.data(), utf8.size()};
  } else {
    other_ = utf16FromUtf8(utf8);
    utf16_ = other_;
  }
}
MatchText::~MatchText() {
  if (UText* const opened = opened_.load(std::memory_order_relaxed)) detail::icu()->utext_close(opened);
}

UText* MatchText::opened() const {
  // Pairs with the exchange below: the text is complete.
  UText* known = opened_.load(std::memory_order_acquire);
  const detail::IcuFunctions* const icu = known ? nullptr : detail::icu();
  if (icu == nullptr) return known;
  UErrorCode status = U_ZERO_ERROR;
  UText* const opened =
      icu->utext_openUChars(nullptr, utf16_.data(), static_cast<std::int64_t>(utf16_.size()), &status);
  detail::raiseIfShortOfMemory(status);
  if (opened_.compare_exchange_strong(known, opened, std::memory_order_acq_rel)) return opened;
  icu->utext_close(opened);
  return known;
}

MatchPlace::MatchPlace() noexcept : index_(kCount) {
  const std::size_t first = firstPlaceOfThisThread();
  for (std::size_t i = 0; i < kCount; ++i) {
    const std::size_t index = (first + i) % kCount;
    if (holders[index].taken.exchange(true, std::memory_order_acquire)) continue;
    index_ = index;
    return;
  }
}
MatchPlace::~MatchPlace() {
  if (index_ < kCount) holders[index_].taken.store(false, std::memory_order_release);
}

struct RegularExpression::Implementation {
  Implementation(std::string_view text, Matchers kind) : pattern(text), cost(PatternCost::of(text)) {
    const bool isRefused = isTooHigh(cost, text);
    if (!isRefused) gap = gapOf(text);
    if (gap) return;
    const detail::IcuFunctions* const icu = isRefused ? nullptr : detail::icu();
    if (icu == nullptr) {
      isTooCostly = true;
      return;
    }
    const std::u16string units = utf16FromUtf8(text);
    const detail::IcuLock lock(detail::IcuLock::Use::expressions);
    UParseError where;
    detail::requireMemoryForIcu();
    compiled.reset(
        icu->uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, &where, &status));
    detail::raiseIfShortOfMemory(status);
    if (kind == Matchers::kept && text.size() <= kLongestOfKeptMatchers && !cost.breaksText)
      matchers = std::make_unique<std::array<Matcher, MatchPlace::kCount>>();
  }

  static bool isTooHigh(const PatternCost& cost, std::string_view text) {
    return text.size() > kMaximumPatternLength || cost.nanoseconds > kMaximumCompileTime ||
           cost.bytes > kMaximumCompiledSize;
  }

  /// The cost of a saved position relative to a pattern that does no other work between two of them.
  [[nodiscard]] std::int32_t weight(const MatchText& text) const {
    const std::size_t length = text.utf16().size();
    const std::size_t compared = cost.hasReferences ? length : std::min(length, pattern.size());
    std::size_t weight = 1 + cost.emptyAtoms / 2 + (compared > kShortSubject ? compared / 12 : 0);
    if (!text.isAscii()) weight += cost.boundaries * length / 4;
    if (cost.breaksText) weight += text.isAscii() ? 1 : length / 4;
    return static_cast<std::int32_t>(std::min<std::size_t>(weight, kMaximumWeight));
  }
  /// An upper bound on the positions that a match saves, capped at the number that ICU reports.
  [[nodiscard]] std::int32_t places(std::size_t length) const {
    constexpr std::uint64_t kMost = kStepsPerReport * kPositionsPerStep;
    if (cost.isNested || cost.repeats > 4 || cost.options > 12) return kMost;
    std::uint64_t places = std::uint64_t{cost.alternatives} << cost.options;
    // Consecutive repeats divide the text among them; this counts the ways to do so.
    for (std::uint64_t repeat = 1; repeat <= cost.repeats && places < kMost; ++repeat)
      places = places * (length + repeat) / repeat;
    return static_cast<std::int32_t>(std::min(2 * places, kMost));
  }

  /// Keeps all products below from overflowing.
  static constexpr std::size_t kMaximumWeight = 1 << 20;

  std::string pattern;
  PatternCost cost;
  UErrorCode status = U_ZERO_ERROR;
  bool isTooCostly = false;
  std::optional<Gap> gap;  ///< if it has a value, nothing is compiled
  Expression compiled;     ///< only cloned, which any thread may do
  /// Each belongs to the holder of its place. Null if every match makes its own.
  std::unique_ptr<std::array<Matcher, MatchPlace::kCount>> matchers;
};

RegularExpression::RegularExpression(std::string_view pattern, Matchers matchers)
    : implementation_(std::make_unique<const Implementation>(pattern, matchers)) {}
RegularExpression::~RegularExpression() = default;
RegularExpression::RegularExpression(RegularExpression&&) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&&) noexcept = default;

RegularExpression::CompileCost RegularExpression::compileCost(std::string_view pattern) {
  if (pattern.size() > kMaximumPatternLength) return {0, 0, true};
  const PatternCost cost = PatternCost::of(pattern);
  return {cost.nanoseconds, cost.bytes, Implementation::isTooHigh(cost, pattern)};
}

bool RegularExpression::isPlainText(std::string_view pattern) noexcept {
  return !pattern.empty() && isAllAscii(pattern) &&
         std::all_of(pattern.begin(), pattern.end(), isPlainInPattern);
}

std::vector<std::string> RegularExpression::plainTexts(std::string_view pattern) {
  const std::string wellFormed = validUtf8(withoutGroup(pattern));
  std::vector<std::string> texts;
  std::string text;
  for (std::size_t i = 0; i < wellFormed.size(); ++i) {
    const char c = wellFormed[i];
    const char next = i + 1 < wellFormed.size() ? wellFormed[i + 1] : '|';
    if (c == '|') {
      if (text.empty() || i + 1 == wellFormed.size()) return {};
      texts.push_back(std::move(text));
      text.clear();
    } else if (c == '^' && (i == 0 || wellFormed[i - 1] == '|') && text.empty()) {
      continue;
    } else if (c == '$' && next == '|') {
      continue;
    } else if (c == '\\' && isPunctuation(next) && i + 1 < wellFormed.size()) {
      text += next;
      ++i;
    } else if (isPlainInPattern(c)) {
      text += c;
    } else {
      return {};
    }
  }
  if (text.empty()) return {};
  texts.push_back(std::move(text));
  return texts;
}

bool RegularExpression::needsCompiler(std::string_view pattern) { return !gapOf(pattern); }

bool RegularExpression::isValid() const noexcept {
  return implementation_->gap || implementation_->compiled != nullptr;
}
bool RegularExpression::isTooCostly() const noexcept { return implementation_->isTooCostly; }
const std::string& RegularExpression::pattern() const noexcept { return implementation_->pattern; }
std::string RegularExpression::errorName() const {
  return U_FAILURE(implementation_->status) ? detail::icu()->u_errorName(implementation_->status)
                                            : std::string();
}

std::int32_t RegularExpression::leastCost(const MatchText& text) const noexcept {
  const std::int64_t places = implementation_->places(text.utf16().size());
  const std::int64_t steps = 1 + places * implementation_->weight(text) / kPositionsPerStep;
  constexpr std::int64_t kHighest = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(steps, kHighest));
}

MatchResult RegularExpression::matches(const MatchText& text, MatchBudget& budget, const MatchPlace& place,
                                       bool* readToEnd) const {
  if (readToEnd != nullptr) *readToEnd = true;
  if (isTooCostly()) return MatchResult::undecided;
  if (!isValid()) {
    raise(kInvalidArgumentException, "Can't do regex matching, reason: Can't open pattern " + errorName() +
                                         " (string " + utf8FromUtf16(text.utf16()) + ", pattern " +
                                         pattern() + ", case 0, canon 0)");
  }
  const std::int32_t cost = leastCost(text);
  if (budget.steps < cost) return MatchResult::undecided;
  if (const std::optional<Gap>& gap = implementation_->gap) {
    budget.steps -= cost;
    if (gap->matches(text.utf16())) return MatchResult::matches;
    if (readToEnd != nullptr) *readToEnd = gap->mayBegin(text.utf16());
    return MatchResult::differs;
  }
  UText* const opened = text.opened();
  if (opened == nullptr) return MatchResult::undecided;
  const auto ask = [&](Matcher& matcher, std::int32_t stackLimit) {
    if (!matcher.prepare(implementation_->compiled.get(), stackLimit)) return MatchResult::undecided;
    const MatchResult result = matcher.match(opened, cost, implementation_->weight(text), budget);
    if (readToEnd != nullptr && result == MatchResult::differs) *readToEnd = matcher.readToEnd();
    return result;
  };
  if (implementation_->matchers && place.index_ < MatchPlace::kCount) {
    Matcher& kept = (*implementation_->matchers)[place.index_];
    const MatchBudget before = budget;
    const MatchResult result = ask(kept, kKeptStackLimit);
    if (result != MatchResult::undecided || !kept.ranOutOfStack()) return result;
    budget = before;  // so that the result does not depend on other threads' places
  }
  Matcher own;
  return ask(own, kStackLimit);
}

}  // namespace tidewell::base
