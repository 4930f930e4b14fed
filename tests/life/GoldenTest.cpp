#include "life/LifeTest.h"

namespace tidewell::life {
namespace {

/// Each folder holds the files of a release, and what it answered when it had written them
/// (scripts/write-golden).
TEST_F(LifeTest, FilesOfEveryEarlierReleaseAreRead) {
  int releases = 0;
  for (const auto& release : fs::directory_iterator(TIDEWELL_TEST_DATA "/golden")) {
    SCOPED_TRACE(release.path().filename());
    fs::remove_all(data);
    fs::copy(release.path() / "data", data, fs::copy_options::recursive);
    for (const auto& each : fs::recursive_directory_iterator(data)) {
      // As the library makes them, whatever the mask of the checkout.
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
