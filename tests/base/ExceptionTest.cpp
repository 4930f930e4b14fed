#include "tidewell/base/Exception.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <thread>

using namespace tidewell::base;

namespace {

__attribute__((noinline)) void throwFromHere() { raise(kRangeException, "beyond the end"); }

}  // namespace

TEST(Exceptions, DescribeThemselvesWhateverTheyAre) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { throw Exception("N", "the reason"); }, "the reason"},
      {[] { throw std::runtime_error("what went wrong"); }, "what went wrong"},
      {[] { throw 42; }, "an exception of type int"}};
  for (const auto& [raising, expected] : cases) {
    try {
      raising();
    } catch (...) {
      EXPECT_EQ(currentExceptionDescription(), expected);
    }
  }
}

TEST(Exceptions, NameTheFramesThatThrewThemEvenWhenLookedAtElsewhere) {
  std::string stack;
  try {
    throwFromHere();
  } catch (const Exception& exception) {
    const Exception copy = exception;
    std::thread([&stack, &copy] { stack = copy.callStackSymbols(); }).join();
    EXPECT_EQ(currentExceptionCallStackSymbols(), stack);
  }
  EXPECT_NE(stack.find("tidewell::base::raise"), std::string::npos) << stack;
  // Functions of a program export no symbol: module and offset stand for them.
  EXPECT_NE(stack.find("(tests_base+0x"), std::string::npos) << stack;
}

TEST(Exceptions, OthersGiveTheCatchingFramesAndSaySo) {
  try {
    throw std::runtime_error("x");
  } catch (...) {
    const std::string stack = currentExceptionCallStackSymbols();
    EXPECT_EQ(stack.rfind("(the frames that caught the exception, not those that threw it)\n0 ", 0), 0u)
        << stack;
    EXPECT_NE(stack.find("(tests_base+0x"), std::string::npos) << stack;
  }
}
