#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// Shell commands, in which $0 is the archive and $1 the user defaults.
constexpr const char* kUndecodable[] = {
    ": > $0", "cp $1 $0", "truncate -s 300 $0", "truncate -s -1 $0",
    "dd if=/dev/urandom of=$0 bs=8 seek=1 count=20 conv=notrunc 2>/dev/null"};

TEST_F(LifeTest, AnArchiveThatCannotBeDecodedIsKeptAside) {
  for (const std::string command : kUndecodable) {
    SCOPED_TRACE(command);
    fs::remove_all(data);
    firstLife();
    ASSERT_EQ(system(("sh -c '" + command + "' " + archive + " " + defaults).c_str()), 0);
    const std::string bytes = bytesOf(archive);
    Child app = host();
    EXPECT_EQ(app.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(count(app.errors(), kKeptAside), 1);
    EXPECT_EQ(sync(app, "start A"), "none");
    EXPECT_EQ(bytesOf(archive + ".corrupt"), bytes);
    EXPECT_FALSE(fs::exists(archive));
    app.ask("opt-out-push");
    EXPECT_EQ(host({"answers"}).end().out.substr(0, 13), R"(["yynnnynyny")");
  }
}

TEST_F(LifeTest, WhatIsNoFileStopsNoStart) {
  for (const std::string kind : {"mkdir -p $0/inside", "mkfifo $0", "ln -s $0 $0", "ln -s /dev/zero $0"}) {
    for (const std::string& each : {archive, defaults + ".lock", fs::path(archive).parent_path().string()}) {
      SCOPED_TRACE(kind + " in place of " + each);
      fs::remove_all(data);
      firstLife();
      ASSERT_EQ(system(("sh -c 'rm -r $0; " + kind + "' " + each).c_str()), 0);
      Child app = host({"start A", "reset"});
      app.line();
      app.line();
      EXPECT_EQ(sync(app, "update"), "synced");
      EXPECT_EQ(app.ask("answers"), kConfigurationAnswers);
    }
  }
}

}  // namespace
}  // namespace tidewell::life
