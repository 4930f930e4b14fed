#include <dlfcn.h>
#include <gtest/gtest.h>

#include "runtime/Delegates.h"

namespace {

using namespace delegates;

struct Keepers {
  Ref own, shared;
};

/// Loads a plug-in, has it make its keepers, and closes it again.
Keepers keepersOf(const char* path) {
  Keepers keepers;
  void* const plugin = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  EXPECT_NE(plugin, nullptr) << dlerror();
  if (!plugin) return keepers;
  const auto makeKeepers = reinterpret_cast<void (*)(Ref*, Ref*)>(dlsym(plugin, "makePluginKeepers"));
  makeKeepers(&keepers.own, &keepers.shared);
  dlclose(plugin);
  return keepers;
}

TEST(Modules, ShareClassesOfOneTypeAndKeepThoseOfOneNameApart) {
  const auto door = make<Door>();
  const Keepers first = keepersOf(TIDEWELL_TEST_PLUGIN_1);
  const Keepers second = keepersOf(TIDEWELL_TEST_PLUGIN_2);
  const std::tuple<Ref, const char*, const char*> rows[] = {
      {first.own, "Delegate", "guest of 1"}, {second.own, "Delegate#2", "guest of 2"},
      {first.shared, "Porter", "guest"},     {second.shared, "Porter", "guest"},
      {make<Porter>(), "Porter", "guest"},
  };
  for (const auto& [keeper, className, guest] : rows) {
    SCOPED_TRACE(className);
    ASSERT_NE(keeper, nullptr);
    EXPECT_EQ(keeper->isa().name(), className);
    EXPECT_TRUE(send(keeper, kOpen, *door, guest));
    EXPECT_FALSE(send(keeper, kOpen, *door, "burglar"));
    Class& below = *allocateClassPair(&keeper->isa(), "Below" + addressText(keeper.get()));
    EXPECT_TRUE(addMethod(below, kTwice, [](Object&, std::int64_t x) { return 2 * x; }));
    registerClassPair(below);
    setClass(keeper.get(), below);
    EXPECT_EQ(send(keeper, kTwice, 4), 8);
    EXPECT_TRUE(send(keeper, kOpen, *door, guest));
  }
  EXPECT_EQ(first.shared->isa().superclass(), second.shared->isa().superclass());
  EXPECT_NE(&first.own->isa().nativeClass(), &second.own->isa().nativeClass());
}

}  // namespace
