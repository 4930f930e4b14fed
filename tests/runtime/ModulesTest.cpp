#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

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
  const struct {
    Ref keeper;
    const char* className;
    const char* guest;
  } cases[] = {
      {first.own, "Delegate", "guest of 1"}, {second.own, "Delegate#2", "guest of 2"},
      {first.shared, "Porter", "guest"},     {second.shared, "Porter", "guest"},
      {make<Porter>(), "Porter", "guest"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.className);
    ASSERT_NE(c.keeper, nullptr);
    EXPECT_EQ(c.keeper->isa().name(), c.className);
    EXPECT_TRUE(send(c.keeper, kOpen, *door, c.guest));
    EXPECT_FALSE(send(c.keeper, kOpen, *door, "burglar"));
    Class& below = *allocateClassPair(&c.keeper->isa(), "Below" + addressText(c.keeper.get()));
    EXPECT_TRUE(addMethod(below, kTwice, [](Object&, std::int64_t x) { return 2 * x; }));
    registerClassPair(below);
    setClass(c.keeper.get(), below);
    EXPECT_EQ(send(c.keeper, kTwice, 4), 8);
    EXPECT_TRUE(send(c.keeper, kOpen, *door, c.guest));
  }
  EXPECT_EQ(first.shared->isa().superclass(), second.shared->isa().superclass());
  EXPECT_NE(&first.own->isa().nativeClass(), &second.own->isa().nativeClass());
}

}  // namespace
