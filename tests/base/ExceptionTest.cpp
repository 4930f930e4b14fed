#include "tidewell/base/Exception.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <stdexcept>
#include <thread>

using namespace tidewell::base;

namespace {

__attribute__((noinline)) void throwFromHere() { raise(kRangeException, "beyond the end"); }

template <class T>
void expectDescription(const T& thrown, const std::string& expected) {
  try {
    throw thrown;
  } catch (...) {
    EXPECT_EQ(currentExceptionDescription(), expected);
  }
}

}  // namespace

TEST(Exceptions, DescribeThemselvesWhateverTheyAre) {
  expectDescription(Exception("N", "the reason"), "the reason");
  expectDescription(std::runtime_error("what went wrong"), "what went wrong");
  expectDescription(42, "an exception of type int");
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
