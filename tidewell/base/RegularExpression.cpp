#include "tidewell/base/RegularExpression.h"

#include <unicode/uregex.h>
#include <unicode/utext.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "tidewell/base/Exception.h"
#include "tidewell/base/Unicode.h"
#include "tidewell/base/detail/IcuTurn.h"

namespace tidewell::base {

namespace {

/// ICU reports after every 10,000 places that it has kept.
constexpr std::int32_t kStepsPerReport = 20;
/// What the places that one match keeps may take in memory.
constexpr std::int32_t kStackLimit = 1 << 20;

struct CloseExpression {
  void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
};
using Expression = std::unique_ptr<URegularExpression, CloseExpression>;

std::size_t countOfSets(std::string_view pattern) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const bool isProperty = pattern[i] == '\\' && i + 1 < pattern.size() && (pattern[i + 1] | 0x20) == 'p';
    if (pattern[i] == '[' || isProperty) ++count;
  }
  return count;
}

/// An ICU matcher, which holds the state of one match and so serves one thread at a time. On a cache line of
/// its own, as its neighbours serve others.
class alignas(64) Matcher {
 public:
  /// Matchers of one expression share what was compiled.
  [[nodiscard]] bool prepare(const URegularExpression* compiled) {
    if (expression_) return true;
    UErrorCode status = U_ZERO_ERROR;
    expression_.reset(uregex_clone(compiled, &status));
    uregex_setStackLimit(expression_.get(), kStackLimit, &status);
    uregex_setMatchCallback(expression_.get(), &Matcher::mayGoOn, this, &status);
    if (U_FAILURE(status)) expression_.reset();
    return expression_ != nullptr;
  }

  /// What one report costs is `weight` steps times those it stands for.
  MatchResult match(UText* text, std::int32_t weight, MatchBudget& budget) {
    costOfReport_ = kStepsPerReport * weight;
    steps_ = budget.steps;
    reports_ = 0;
    UErrorCode status = U_ZERO_ERROR;
    uregex_setUText(expression_.get(), text, &status);  // which clones it, and only reads it
    const bool isMatch = uregex_matches(expression_.get(), -1, &status) != 0;
    budget.steps -= std::min(budget.steps, 1 + reports_ * costOfReport_);
    if (U_FAILURE(status)) return MatchResult::undecided;
    return isMatch ? MatchResult::matches : MatchResult::differs;
  }

 private:
  static UBool mayGoOn(const void* context, std::int32_t reports) {
    auto* const matcher = static_cast<Matcher*>(const_cast<void*>(context));
    matcher->reports_ = reports;
    return reports < std::max(matcher->steps_ / matcher->costOfReport_, 1);
  }

  Expression expression_;
  std::int32_t costOfReport_ = 0;
  std::int32_t steps_ = 0;  ///< that the match may cost
  std::int32_t reports_ = 0;
};

/// Who holds a place. A cache line each, so that threads with different places do not disturb each other.
struct alignas(64) Holder {
  std::atomic<bool> taken = false;
};
constinit std::array<Holder, MatchPlace::kCount> holders;

/// A thread looks first where it found a place before.
std::size_t firstPlaceOfThisThread() {
  constinit static std::atomic<std::size_t> threads = 0;
  thread_local const std::size_t first = threads.fetch_add(1, std::memory_order_relaxed);
  return first;
}

}  // namespace

MatchText::MatchText(std::string_view utf8) {
  const auto isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (utf8.size() <= short_.size() && std::all_of(utf8.begin(), utf8.end(), isAscii)) {
    std::copy(utf8.begin(), utf8.end(), short_.begin());
    utf16_ = {short_.data(), utf8.size()};
  } else {
    other_ = utf16FromUtf8(utf8);
    utf16_ = other_;
  }
  UErrorCode status = U_ZERO_ERROR;
  opened_ = utext_openUChars(nullptr, utf16_.data(), static_cast<std::int64_t>(utf16_.size()), &status);
}
MatchText::~MatchText() { utext_close(opened_); }

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
  explicit Implementation(std::string_view text) : pattern(text) {
    if (text.size() > kMaximumPatternLength || countOfSets(text) > kMaximumSets) {
      status = U_REGEX_PATTERN_TOO_BIG;
      return;
    }
    const std::u16string units = utf16FromUtf8(text);
    const detail::IcuTurn turn(detail::IcuTurn::Use::expressions);
    UParseError where;
    compiled.reset(uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, &where, &status));
  }

  /// What a pattern and a text multiply the cost between two reports with.
  [[nodiscard]] std::int32_t weightFor(std::u16string_view text) const {
    return static_cast<std::int32_t>(1 + pattern.size() / 256 + text.size() / 4096);
  }

  std::string pattern;
  UErrorCode status = U_ZERO_ERROR;
  Expression compiled;                                       ///< only ever copied, so that any thread may
  mutable std::array<Matcher, MatchPlace::kCount> matchers;  ///< each belongs to who holds its place
};

RegularExpression::RegularExpression(std::string_view pattern)
    : implementation_(std::make_unique<const Implementation>(pattern)) {}
RegularExpression::~RegularExpression() = default;
RegularExpression::RegularExpression(RegularExpression&&) noexcept = default;
RegularExpression& RegularExpression::operator=(RegularExpression&&) noexcept = default;

bool RegularExpression::isValid() const noexcept { return implementation_->compiled != nullptr; }
const std::string& RegularExpression::pattern() const noexcept { return implementation_->pattern; }
std::string RegularExpression::errorName() const {
  return isValid() ? std::string() : std::string(u_errorName(implementation_->status));
}

MatchResult RegularExpression::matches(const MatchText& text, MatchBudget& budget,
                                       const MatchPlace& place) const {
  const std::u16string_view units = text.utf16();
  if (!isValid()) {
    raise(kInvalidArgumentException, "Can't do regex matching, reason: Can't open pattern " + errorName() +
                                         " (string " + utf8FromUtf16(units) + ", pattern " + pattern() +
                                         ", case 0, canon 0)");
  }
  if (budget.steps <= 0 || text.opened_ == nullptr) return MatchResult::undecided;
  const auto ask = [&](Matcher& matcher) {
    if (!matcher.prepare(implementation_->compiled.get())) return MatchResult::undecided;
    return matcher.match(text.opened_, implementation_->weightFor(units), budget);
  };
  if (place.index_ < MatchPlace::kCount) return ask(implementation_->matchers[place.index_]);
  Matcher own;
  return ask(own);
}

}  // namespace tidewell::base
