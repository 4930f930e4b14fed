#include <cerrno>

#include "guest/Guest.h"

// Files that cannot be read or written, and unusual places.
namespace tidewell::guest {
namespace {

/// A life whose opt-outs, identity and values the next ones must not lose.
const std::vector<std::string> kFirst{"start GUEST", "await 7",   "opt-out-tracking",
                                      "region 1",    "user user", "secret secret"};

/// While opening files whose path contains `path` fails: at the start only, or while values change, too, if
/// `until` is "later". What could not be written is written with the next change, and when a sync is
/// considered.
TEST_F(GuestTest, APassingFaultLosesNothing) {
  struct Case {
    int error;
    const char *path, *until;
  };
  for (const Case& each :
       {Case{EACCES, "TdwConfig", "now"}, Case{EACCES, "TdwConfig", "later"}, Case{EIO, "TdwConfig", "now"},
        Case{EIO, "TdwConfig", "later"}, Case{EACCES, ".plist", "later"}, Case{EIO, ".plist", "now"},
        Case{EMFILE, "/data", "later"}, Case{ENFILE, "/data", "later"}, Case{0, "", "now"},
        Case{0, "", "later"}}) {
    if (kIsSanitized && each.error == 0) continue;  // a sanitizer needs descriptors of its own
    const std::string error = each.error == 0 ? "descriptors" : std::to_string(each.error);
    SCOPED_TRACE("error " + error + " of " + each.path + " over " + each.until);
    fs::remove_all(data);
    ASSERT_EQ(host(kFirst).end().status, 0);
    const Outcome outcome = host({"fault " + error + " " + each.path, "known",
                                  each.until == std::string("now") ? "fault 0" : "known", "opt-out-push",
                                  "token token", "fault 0", "token token", "update"})
                                .end();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_GE(count(outcome.err, "cannot be read") + count(outcome.err, "cannot be used"), 1) << outcome.err;
    for (int life = 0; life < 2; ++life) EXPECT_EQ(host({"known"}).end().out, "nny 1 user token secret\n");
  }
}

TEST_F(GuestTest, EveryPlaceOfTheDataServes) {
  const std::string file = "/org.example.life/Library/Tidewell/TdwConfig";
  for (const std::string name : {"plain", "with blanks", "\"quotes\" 'and' `more`", "new\nline", "Дом",
                                 "\xFF\xFE bytes", "%40$HOME~"}) {
    const std::string home = folder + "/" + name;
    fs::create_directory(home);
    // A relative data folder is ignored.
    for (const std::string found : {"yny 2 nil nil nil\n", "yny 2 user nil nil\n"}) {
      EXPECT_EQ(host({"start GUEST", "opt-out-push", "known", "user user"},
                     {name == "plain" ? "XDG_DATA_HOME=relative" : "XDG_DATA_HOME=", "HOME=" + home})
                    .end()
                    .out,
                "done\ndone\n" + found + "done\n")
          << name;
    }
    EXPECT_TRUE(fs::exists(home + "/.local/share" + file)) << name;
  }
}

TEST_F(GuestTest, WithoutAHomeEverythingWorksInMemory) {
  for (const std::string& home : {"HOME=" + folder + "/missing", std::string("HOME=relative")}) {
    if (home == "HOME=relative" && getuid() == 0) continue;  // the user's record names a home
    const Outcome outcome = host({"start GUEST", "await 7", "gates", "due"}, {"XDG_DATA_HOME=", home}).end();
    EXPECT_EQ(outcome.out, "done\ndone\nynyynyyyyy\nrecent\n");
  }
  EXPECT_FALSE(fs::exists(folder + "/missing") || fs::exists(data));
}

}  // namespace
}  // namespace tidewell::guest
