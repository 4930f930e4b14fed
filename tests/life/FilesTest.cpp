// SPDX-License-Identifier: Apache-2.0
#include "life/LifeTest.h"

// Files written by one process and read by later or concurrent ones.
namespace tidewell::life {
namespace {

/// Shell commands; $0 is the archive, $1 the user defaults.
constexpr const char* kUndecodable[] = {": > $0", "cp $1 $0", "truncate -s 300 $0", "truncate -s -1 $0",
                                        "printf %0400d 0 | dd of=$0 bs=1 seek=8 conv=notrunc 2>/dev/null"};

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

TEST_F(LifeTest, TheSecondStartReadsTheArchiveAndWritesNoFile) {
  {
    Child first = host();
    EXPECT_EQ(first.ask("answers"), kDefaultAnswers);
    EXPECT_EQ(sync(first, "start A"), "synced");
    EXPECT_EQ(first.ask("answers"), kConfigurationAnswers);
    EXPECT_EQ(first.end().status, 0);
  }
  EXPECT_EQ(backend.requestCount(), 1u);
  writeFile(folder + "/end", "");
  Child second = host();
  EXPECT_EQ(second.ask("answers"), kConfigurationAnswers);
  EXPECT_EQ(sync(second, "start A"), "none");
  // The archive, the user defaults and their folders, as docs/guest.md says about slow mounts.
  EXPECT_EQ(second.ask("opens"), "4");
  EXPECT_EQ(second.ask("status"), "not due, synced 200");
  EXPECT_EQ(sync(second, "foreground"), "none");
  EXPECT_EQ(backend.requestCount(), 1u);
  EXPECT_EQ(system(("test -z \"$(find " + data + " -newer " + folder + "/end)\"").c_str()), 0);
  second.ask("reset");
  EXPECT_EQ(sync(second, "foreground"), "synced");
}

TEST_F(LifeTest, TwoProcessesOfOneApplicationKeepEachOthersChanges) {
  Child one = host(), two = host();
  for (Child* const each : {&one, &two}) each->ask("answers");
  for (int i = 0; i < 25; ++i) {
    one.say("store a" + std::to_string(i) + " kept by one: " + std::to_string(i));
    two.say("store b" + std::to_string(i) + " kept by two: " + std::to_string(i));
  }
  for (const char* command : {"opt-out-push", "merge 1"}) one.say(command);
  for (const char* command : {"region 1", "opt-out-inapp", "merge 1000"}) two.say(command);
  for (Child* const each : {&one, &two}) EXPECT_EQ(each->end().status, 0);
  EXPECT_EQ(host({"known"}).end().out, "ynn 1 nil nil nil\n");
  EXPECT_EQ(count(bytesOf(defaults), "kept by"), 50);
}

/// Each folder holds the files of a release and the answers it gave (scripts/write-golden).
TEST_F(LifeTest, FilesOfEveryEarlierReleaseAreRead) {
  int releases = 0;
  for (const auto& release : fs::directory_iterator(TIDEWELL_TEST_DATA "/golden")) {
    SCOPED_TRACE(release.path().filename());
    fs::remove_all(data);
    fs::copy(release.path() / "data", data, fs::copy_options::recursive);
    for (const auto& each : fs::recursive_directory_iterator(data)) {
      // Permissions as the library sets them, whatever the umask of the checkout.
      fs::permissions(each, fs::perms::group_write | fs::perms::others_write, fs::perm_options::remove);
    }
    Child app = host();
    std::ifstream table(release.path() / "answers.tsv");
    int answers = 0;
    for (std::string line; std::getline(table, line); ++answers) {
      const auto tab = line.find('\t');
      EXPECT_EQ(app.ask(line.substr(0, tab)), line.substr(tab + 1)) << line.substr(0, tab);
    }
    EXPECT_GT(answers, 10);
    EXPECT_EQ(count(app.errors(), kKeptAside), 0);
    ++releases;
  }
  EXPECT_GT(releases, 0);
}

}  // namespace
}  // namespace tidewell::life
