#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>

#include "guest/Guest.h"

// Files that cannot be read or written, and places that nobody expects.
namespace tidewell::guest {
namespace {

namespace fs = std::filesystem;

/// Every file below a folder, by its path in it.
std::map<std::string, std::string> filesBelow(const std::string& root) {
  std::map<std::string, std::string> files;
  if (!fs::exists(root)) return files;
  for (const auto& each : fs::recursive_directory_iterator(root)) {
    if (each.is_regular_file()) files[fs::relative(each, root)] = bytesOf(each.path());
  }
  return files;
}

/// What a life knows after `first`, the push opt-out, and the device token of `faults`: tracking, push and
/// in-app; region; user; token; secret.
constexpr const char* kEverything = "nny 1 user token secret";

TEST_F(GuestTest, NothingIsLostToAFaultThatPasses) {
  struct Case {
    const char* what;
    int error;
    const char* path;  // in the names of the files that it meets
  };
  int round = 0;
  for (const Case& each :
       {Case{"no right", EACCES, "TdwConfig"}, Case{"bad disk", EIO, "TdwConfig"},
        Case{"no right", EACCES, ".plist"}, Case{"bad disk", EIO, ".plist"},
        Case{"this process's descriptors", EMFILE, "/data"},
        Case{"the machine's descriptors", ENFILE, "/data"}, Case{"no descriptor at all", 0, ""}}) {
    if (kIsSanitized && each.error == 0) continue;  // a sanitizer wants descriptors of its own
    for (const char* until : {"now", "later"}) {
      if (!isLong() && (round == 1 || round > 2) && std::string(until) == "now") continue;
      SCOPED_TRACE(std::string(each.what) + ", " + each.path + ", over " + until);
      const std::vector<std::string> home{"XDG_DATA_HOME=" + folder + "/data" + std::to_string(++round)};
      ASSERT_EQ(host({"first"}, home).end().status, 0);
      const Outcome outcome = host({"faults", std::to_string(each.error), each.path, until}, home).end();
      EXPECT_EQ(outcome.status, 0) << outcome.last();
      EXPECT_GE(count(outcome.err, "cannot be read") + count(outcome.err, "cannot be used"), 1)
          << outcome.last();
      EXPECT_EQ(host({"knows"}, home).end().out, std::string(kEverything) + "\n");
      // What a life could not read is kept until one can.
      EXPECT_EQ(host({"knows"}, home).end().out, std::string(kEverything) + "\n");
    }
  }
}

TEST_F(GuestTest, AFileThatStaysUnreadableIsKeptAside) {
  ASSERT_EQ(host({"first"}).end().status, 0);
  const std::string before = bytesOf(archive);
  // For as long as the life lasts; a later one finds it again.
  ASSERT_EQ(host({"faults", std::to_string(EIO), "TdwConfig", "later"}).end().status, 0);
  EXPECT_EQ(bytesOf(archive + ".unreadable"), before);
  if (kIsSanitized) return;  // a sanitizer wants descriptors of its own
  EXPECT_EQ(host({"faults", "0", "", "now"}).end().status, 0);
  EXPECT_FALSE(fs::exists(archive + ".unreadable"));
  EXPECT_EQ(bytesOf(archive + ".corrupt"), before);
}

TEST_F(GuestTest, AProcessThatIsRunningKeepsTheOptOutsOfAnArchiveThatAnotherSetAside) {
  ASSERT_EQ(host({"first"}).end().status, 0);
  Host running = host({"opt-out-later"});
  EXPECT_EQ(running.line(), "nyy 1 user (none) secret");
  ASSERT_EQ(host({"faults", std::to_string(EIO), "TdwConfig", "later"}).end().status, 0);
  EXPECT_EQ(running.ask("go on"), "nnn 1 user token secret");
  EXPECT_EQ(running.end().status, 0);
  EXPECT_EQ(host({"knows"}).end().out, "nnn 1 user token secret\n");
}

TEST_F(GuestTest, PlacesWithAnyNameHoldTheSameFiles) {
  const std::string below = "/.local/share/org.example.guest";
  const std::map<std::string, int> opened = [&] {
    std::map<std::string, int> result;
    for (const std::string name : {"plain", "with blanks", "\"quotes\" 'and' `more`", "new\nline", "Дом",
                                   "\xFF\xFE bytes", "%40$HOME~"}) {
      const std::string home = folder + "/" + name;
      fs::create_directory(home);
      for (const char* found : {"(none)", "user"}) {
        const Outcome outcome = host({"paths"}, {"XDG_DATA_HOME=", "HOME=" + home}).end();
        EXPECT_EQ(outcome.status, 0) << name << outcome.last();
        EXPECT_EQ(outcome.out.substr(outcome.out.find(' ') + 1), std::string(found) + "\n") << name;
      }
      for (const char* file :
           {"/Library/Tidewell/TdwConfig", "/Library/Preferences/org.example.guest.plist"}) {
        EXPECT_TRUE(fs::exists(home + below + file)) << name << file;
      }
      result[name] = static_cast<int>(filesBelow(home).size());
    }
    return result;
  }();
  for (const auto& [name, files] : opened) EXPECT_EQ(files, opened.at("plain")) << name;
}

TEST_F(GuestTest, ARelativeDataFolderIsIgnoredAndWithoutAHomeAllIsInMemory) {
  const std::string home = folder + "/home";
  fs::create_directory(home);
  EXPECT_EQ(host({"paths"}, {"XDG_DATA_HOME=relative", "HOME=" + home}).end().status, 0);
  EXPECT_TRUE(fs::exists(home + "/.local/share/org.example.guest/Library/Tidewell/TdwConfig"));
  const auto before = filesBelow(folder);
  for (const char* nowhere : {"HOME=/nowhere", "HOME=relative"}) {
    if (nowhere[5] != '/' && getuid() == 0) continue;  // the user's record names a home
    EXPECT_EQ(host({"paths"}, {"XDG_DATA_HOME=", nowhere}).end().status, 0) << nowhere;
  }
  EXPECT_EQ(filesBelow(folder), before);
}

TEST_F(GuestTest, AStartOpensEachFileOnceHoweverSlowThePlaceIs) {
  ASSERT_EQ(host({"first"}).end().status, 0);
  const std::string opened = host({"paths"}).end().out;
  // The archive, the user defaults, and the folder of each. docs/guest.md says the same of slow mounts.
  EXPECT_EQ(opened, "4 user\n");
}

}  // namespace
}  // namespace tidewell::guest
