// SPDX-License-Identifier: Apache-2.0
#include <libsecret/secret.h>

#include <optional>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

using platform::errSecDuplicateItem;
using platform::errSecItemNotFound;
using platform::errSecSuccess;

/// A private session bus and keyring daemon.
class Keyring : public DesktopTest {
 protected:
  Keyring() {
    std::filesystem::create_directories(folder_ / "run");
    std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", (folder_ / "run").c_str(), 1);
    g_test_dbus_up(bus_);  // without services; each test starts a keyring if needed
  }
  ~Keyring() override {
    stopKeyring();
    if (g_test_dbus_get_bus_address(bus_)) g_test_dbus_stop(bus_);
  }

  void startKeyring() {
    constexpr std::string_view kPassword = "password";
    daemon_ = g_subprocess_new(G_SUBPROCESS_FLAGS_STDIN_PIPE, nullptr, "gnome-keyring-daemon", "--foreground",
                               "--components=secrets", "--unlock", nullptr);
    GOutputStream* const in = g_subprocess_get_stdin_pipe(daemon_);
    g_output_stream_write_all(in, kPassword.data(), kPassword.size(), nullptr, nullptr, nullptr);
    g_output_stream_close(in, nullptr, nullptr);
    EXPECT_TRUE(waitUntil([&] { return isUnlocked() == true; }));
  }
  void stopKeyring() {
    if (!daemon_) return;
    g_subprocess_force_exit(daemon_);
    g_subprocess_wait(daemon_, nullptr, nullptr);
    g_clear_object(&daemon_);
  }
  /// Whether the default collection is unlocked, optionally after locking it. No value without a keyring.
  static std::optional<bool> isUnlocked(bool afterLocking = false) {
    g_autoptr(SecretService) service = secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, nullptr);
    if (!service) return std::nullopt;
    g_autoptr(SecretCollection) collection = secret_collection_for_alias_sync(
        service, SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, nullptr, nullptr);
    if (!collection) return std::nullopt;
    GList list{collection, nullptr, nullptr};
    if (afterLocking) secret_service_lock_sync(service, &list, nullptr, nullptr, nullptr);
    return !secret_collection_get_locked(collection);
  }
  void lockKeyring() {
    isUnlocked(true);
    EXPECT_TRUE(waitUntil([&] { return isUnlocked() == false; }));
  }
  [[nodiscard]] bool inFile(const std::string& bytes) const {
    return bytesOf(folder_ / "data/.tidewell-keychain/org.example.shop.plist").find(bytes) !=
           std::string::npos;
  }

  void installWithKeyring() {
    keychain_ = &install([](Options& options) { options.setUsesSecretService(true); }).keychain();
  }
  static base::Dictionary query(const char* account, std::string_view accessible = "ak") {
    return {{platform::kSecClass, platform::kSecClassGenericPassword},
            {platform::kSecAttrService, "com.tidewell.org.example.shop"},
            {platform::kSecAttrAccount, account},
            {platform::kSecAttrAccessible, accessible}};
  }
  std::int32_t add(base::Dictionary item, const std::string& secret) {
    item.setObject(base::Data(secret), platform::kSecValueData);
    return keychain_->itemAdd(item);
  }
  std::string find(base::Dictionary item) {
    item.setObject(true, platform::kSecReturnData);
    base::Data data;
    const std::int32_t status = keychain_->itemCopyMatching(item, data);
    return status == errSecSuccess ? std::string(data.view()) : std::to_string(status);
  }

  GTestDBus* const bus_ = g_test_dbus_new(G_TEST_DBUS_NONE);
  GSubprocess* daemon_ = nullptr;
  platform::Keychain* keychain_ = nullptr;
  const std::string secret_{"s\0ecret\xff", 8};
  const base::Dictionary readable_ = query("id", platform::kSecAttrAccessibleAfterFirstUnlock);
};

TEST_F(Keyring, ItemsAreStoredInTheKeyringNotInTheFile) {
  startKeyring();
  installWithKeyring();
  EXPECT_EQ(add(query("a"), secret_), errSecSuccess);
  EXPECT_EQ(add(query("a"), "other"), errSecDuplicateItem);
  EXPECT_FALSE(inFile("ecret"));
  EXPECT_EQ(find(query("a")), secret_);
  EXPECT_EQ(find(query("b")), std::to_string(errSecItemNotFound));
  EXPECT_EQ(keychain_->itemDelete(query("a")), errSecSuccess);
  EXPECT_EQ(find(query("a")), std::to_string(errSecItemNotFound));
  EXPECT_EQ(keychain_->itemDelete(query("a")), errSecItemNotFound);
}

TEST_F(Keyring, ItemsReadableAfterFirstUnlockAreAlwaysAvailable) {
  startKeyring();
  installWithKeyring();
  ASSERT_EQ(add(readable_, secret_), errSecSuccess);
  lockKeyring();
  EXPECT_EQ(find(readable_), secret_);
  EXPECT_EQ(add(readable_, "a new identity"), errSecDuplicateItem);
  stopKeyring();
  EXPECT_EQ(find(readable_), secret_);
  EXPECT_EQ(add(readable_, "a new identity"), errSecDuplicateItem);
  startKeyring();
  std::filesystem::rename(folder_ / "data/.tidewell-keychain", folder_ / "away");
  EXPECT_EQ(find(readable_), secret_) << "without the file";
  std::filesystem::rename(folder_ / "away", folder_ / "data/.tidewell-keychain");
  g_test_dbus_stop(bus_);
  EXPECT_EQ(find(readable_), secret_) << "without the bus";
}

TEST_F(Keyring, ItemsAreStoredInTheFileWithoutAnUnlockedKeyring) {
  startKeyring();
  lockKeyring();
  installWithKeyring();
  EXPECT_EQ(add(query("a"), secret_), errSecSuccess);
  EXPECT_EQ(find(query("a")), secret_);
  EXPECT_TRUE(inFile("ecret"));
  EXPECT_EQ(isUnlocked(), false) << "the user is not asked to unlock it";
  EXPECT_EQ(keychain_->itemDelete(query("a")), errSecSuccess);
  stopKeyring();
  EXPECT_EQ(find(query("a")), std::to_string(errSecItemNotFound));
  EXPECT_EQ(add(query("a"), secret_), errSecSuccess);
  startKeyring();
  EXPECT_EQ(find(query("a")), secret_) << "a new keyring does not hide items in the file";
  EXPECT_EQ(add(query("a"), "other"), errSecDuplicateItem);
}

TEST_F(Keyring, ChangesMadeWhileItIsLockedOutliveTheLock) {
  startKeyring();
  installWithKeyring();
  for (const char* const account : {"replaced", "deleted", "kept"})
    ASSERT_EQ(add(query(account), "old"), errSecSuccess);
  lockKeyring();
  for (const char* const account : {"replaced", "deleted"}) keychain_->itemDelete(query(account));
  EXPECT_EQ(add(query("replaced"), "new"), errSecSuccess);
  stopKeyring();
  startKeyring();
  EXPECT_EQ(find(query("kept")), "old");
  EXPECT_EQ(find(query("replaced")), "new");
  EXPECT_EQ(find(query("deleted")), std::to_string(errSecItemNotFound));
  EXPECT_FALSE(inFile("removed: "));
  EXPECT_EQ(add(query("deleted"), "again"), errSecSuccess);
}

TEST_F(Keyring, AHangingDaemonIsWaitedForOnce) {
  startKeyring();
  installWithKeyring();
  ASSERT_EQ(add(query("a"), secret_), errSecSuccess);
  static int reports = 0;
  platform::setReporter([](std::string_view) { ++reports; });
  g_subprocess_send_signal(daemon_, SIGSTOP);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(find(query("a")), std::to_string(errSecItemNotFound));
  EXPECT_EQ(reports, 1);
}

}  // namespace
}  // namespace tidewell::desktop
