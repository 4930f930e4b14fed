// SPDX-License-Identifier: Apache-2.0
#include "guest/Guest.h"

// Unusual data folders.
namespace tidewell::guest {
namespace {

TEST_F(GuestTest, AnyDataFolderPathWorks) {
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

TEST_F(GuestTest, WithoutAHomeFolderDataStaysInMemory) {
  for (const std::string& home : {"HOME=" + folder + "/missing", std::string("HOME=relative")}) {
    if (home == "HOME=relative" && getuid() == 0) continue;  // the passwd entry names a home
    const Outcome outcome = host({"start GUEST", "await 7", "gates", "due"}, {"XDG_DATA_HOME=", home}).end();
    EXPECT_EQ(outcome.out, "done\ndone\nynyynyyyyy\nrecent\n");
  }
  EXPECT_FALSE(fs::exists(folder + "/missing") || fs::exists(data));
}

}  // namespace
}  // namespace tidewell::guest
