#include <libsecret/secret.h>

#include <csignal>
#include <memory>
#include <optional>
#include <utility>

#include "DesktopTest.h"

namespace tidewell::desktop {
namespace {

constexpr const char* kService = "com.tidewell.org.example.shop";

/// A session bus and a keyring daemon of the test's own.
class Keyring : public DesktopTest {
 protected:
  Keyring() {
    std::filesystem::create_directories(folder_ / "run");
    std::filesystem::permissions(folder_ / "run", std::filesystem::perms::owner_all);
    setenv("XDG_RUNTIME_DIR", (folder_ / "run").c_str(), 1);
    const std::string socket = (folder_ / "run/test-bus").string();
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socket).c_str(), 1);
    // No service is started by the bus: a test says itself whether there is a keyring.
    std::ofstream(folder_ / "bus.conf")
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
           "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">"
           "<busconfig><type>session</type><listen>unix:path="
        << socket
        << "</listen><policy context=\"default\"><allow send_destination=\"*\" eavesdrop=\"true\"/>"
           "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>";
    const std::string configuration = "--config-file=" + (folder_ / "bus.conf").string();
    bus_ = start({"dbus-daemon", "--nofork", configuration.c_str(), nullptr});
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(socket); }));
  }
  ~Keyring() override {
    for (GSubprocess* const process : {daemon_, bus_}) stop(process);
  }

  static GSubprocess* start(const std::vector<const char*>& command, std::string_view input = "") {
    GSubprocess* const process = g_subprocess_newv(command.data(), G_SUBPROCESS_FLAGS_STDIN_PIPE, nullptr);
    GOutputStream* const in = g_subprocess_get_stdin_pipe(process);
    EXPECT_TRUE(g_output_stream_write_all(in, input.data(), input.size(), nullptr, nullptr, nullptr));
    g_output_stream_close(in, nullptr, nullptr);
    return process;
  }
  static void stop(GSubprocess* process) {
    if (!process) return;
    g_subprocess_force_exit(process);
    g_subprocess_wait(process, nullptr, nullptr);
    g_object_unref(process);
  }

  void startKeyring() {
    daemon_ = start({"gnome-keyring-daemon", "--foreground", "--components=secrets", "--unlock", nullptr},
                    "password");
    EXPECT_TRUE(waitUntil([&] { return isUnlocked().value_or(false); }));
  }
  void stopKeyring() { stop(std::exchange(daemon_, nullptr)); }
  void lockKeyring() {
    const Owned<SecretCollection> collection = defaultCollection();
    ASSERT_NE(collection, nullptr);
    GList list{collection.get(), nullptr, nullptr};
    const Owned<::SecretService> asked(service(), &g_object_unref);
    EXPECT_EQ(secret_service_lock_sync(asked.get(), &list, nullptr, nullptr, nullptr), 1);
  }
  template <class T>
  using Owned = std::unique_ptr<T, decltype(&g_object_unref)>;
  static ::SecretService* service() { return secret_service_get_sync(SECRET_SERVICE_NONE, nullptr, nullptr); }
  static Owned<SecretCollection> defaultCollection() {
    const Owned<::SecretService> asked(service(), &g_object_unref);
    return {asked ? secret_collection_for_alias_sync(asked.get(), SECRET_COLLECTION_DEFAULT,
                                                     SECRET_COLLECTION_NONE, nullptr, nullptr)
                  : nullptr,
            &g_object_unref};
  }
  static std::optional<bool> isUnlocked() {
    const auto collection = defaultCollection();
    return collection ? std::optional(!secret_collection_get_locked(collection.get())) : std::nullopt;
  }
  /// What another program finds in the keyring; nothing where there is no such item.
  static std::optional<std::string> inKeyring(const char* account) {
    SecretSchema schema{};
    schema.name = "com.tidewell.keychain";
    schema.attributes[0] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    SecretValue* const value =
        secret_password_lookup_binary_sync(&schema, nullptr, nullptr, "account", account, nullptr);
    if (!value) return std::nullopt;
    gsize size = 0;
    const char* const bytes = secret_value_get(value, &size);
    std::string found(bytes, size);
    secret_value_unref(value);
    return found;
  }
  [[nodiscard]] bool inFile(const std::string& bytes) const {
    std::ifstream file(folder_ / "data/.tidewell-keychain/org.example.shop.plist", std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(file), {}};
    return all.find(bytes) != std::string::npos;
  }

  void installWithKeyring() {
    keychain_ = &install([](Options& options) { options.usesSecretService = true; }).keychain();
  }
  static base::Dictionary query(const char* account, std::string_view accessible = "ak") {
    return {{platform::kSecClass, platform::kSecClassGenericPassword},
            {platform::kSecAttrService, kService},
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
    return status == platform::errSecSuccess ? std::string(data.view()) : std::to_string(status);
  }

  GSubprocess* bus_ = nullptr;
  GSubprocess* daemon_ = nullptr;
  platform::Keychain* keychain_ = nullptr;
};

const std::string kSecret("s\0ecret\xff", 8);

TEST_F(Keyring, HoldsTheItemsAndNothingElseDoes) {
  startKeyring();
  installWithKeyring();
  EXPECT_EQ(find(query("a")), "-25300");
  EXPECT_EQ(add(query("a"), kSecret), platform::errSecSuccess);
  EXPECT_EQ(add(query("a"), "other"), platform::errSecDuplicateItem);
  EXPECT_EQ(inKeyring("a"), kSecret);
  EXPECT_FALSE(inFile("ecret"));
  EXPECT_EQ(find(query("a")), kSecret);
  EXPECT_EQ(find(query("b")), "-25300");
  EXPECT_EQ(keychain_->itemDelete(query("a")), platform::errSecSuccess);
  EXPECT_EQ(inKeyring("a"), std::nullopt);
  EXPECT_EQ(keychain_->itemDelete(query("a")), platform::errSecItemNotFound);
}

TEST_F(Keyring, AnItemThatMustBeReadableOutlivesLockDeathAndBus) {
  const auto item = query("id", platform::kSecAttrAccessibleAfterFirstUnlock);
  startKeyring();
  installWithKeyring();
  ASSERT_EQ(add(item, kSecret), platform::errSecSuccess);
  ASSERT_EQ(inKeyring("id"), kSecret);
  lockKeyring();
  EXPECT_EQ(find(item), kSecret);
  EXPECT_EQ(add(item, "a new identity"), platform::errSecDuplicateItem);
  stopKeyring();
  EXPECT_EQ(find(item), kSecret);
  EXPECT_EQ(add(item, "a new identity"), platform::errSecDuplicateItem);
  stop(std::exchange(bus_, nullptr));
  EXPECT_EQ(find(item), kSecret) << "and the application outlives its bus";
}

TEST_F(Keyring, ALockedOneIsLeftAloneAndTheFileHoldsTheItems) {
  startKeyring();
  lockKeyring();
  installWithKeyring();
  EXPECT_EQ(add(query("a"), kSecret), platform::errSecSuccess);
  EXPECT_EQ(find(query("a")), kSecret);
  EXPECT_TRUE(inFile("ecret"));
  EXPECT_EQ(isUnlocked(), false) << "nobody was asked to unlock it";
  EXPECT_EQ(keychain_->itemDelete(query("a")), platform::errSecSuccess);
  EXPECT_EQ(find(query("a")), "-25300");
}

TEST_F(Keyring, WithoutOneTheFileHoldsTheItemsAndTheNextOneDoesNotHideThem) {
  installWithKeyring();
  EXPECT_EQ(add(query("a"), kSecret), platform::errSecSuccess);
  EXPECT_EQ(find(query("a")), kSecret);
  startKeyring();
  EXPECT_EQ(find(query("a")), kSecret);
  EXPECT_EQ(add(query("a"), "other"), platform::errSecDuplicateItem);
}

TEST_F(Keyring, OneThatHangsIsWaitedForOnce) {
  startKeyring();
  installWithKeyring();
  const auto item = query("id", platform::kSecAttrAccessibleAfterFirstUnlock);
  ASSERT_EQ(add(item, kSecret), platform::errSecSuccess);
  g_subprocess_send_signal(daemon_, SIGSTOP);
  const gint64 started = g_get_monotonic_time();
  EXPECT_EQ(find(item), kSecret);
  EXPECT_LT(g_get_monotonic_time() - started, 3 * G_USEC_PER_SEC);
  const gint64 again = g_get_monotonic_time();
  EXPECT_EQ(find(item), kSecret);
  EXPECT_LT(g_get_monotonic_time() - again, G_USEC_PER_SEC / 2);
}

/// The identity of the device, from one life of an application.
std::string identity() {
  FILE* const life = popen(DESKTOP_APP, "r");
  char line[256] = "";
  if (!life || !fgets(line, sizeof line, life)) line[0] = 0;
  EXPECT_TRUE(life && pclose(life) == 0);
  return line;
}

TEST_F(Keyring, TheIdentityOutlivesReinstallationsWhateverTheKeyringDoes) {
  const auto reinstall = [this] { std::filesystem::remove_all(folder_ / "data/org.example.shop"); };
  startKeyring();
  const std::string first = identity();
  EXPECT_EQ(first.substr(0, 2), "P-");
  reinstall();
  EXPECT_EQ(identity(), first) << "unlocked";
  lockKeyring();
  reinstall();
  EXPECT_EQ(identity(), first) << "locked";
  stopKeyring();
  reinstall();
  EXPECT_EQ(identity(), first) << "absent";
  startKeyring();
  reinstall();
  std::filesystem::remove_all(folder_ / "data/.tidewell-keychain");
  EXPECT_EQ(identity(), first) << "without the file";
}

TEST_F(Keyring, WithoutABusNobodyIsAsked) {
  unsetenv("DBUS_SESSION_BUS_ADDRESS");
  installWithKeyring();
  const gint64 started = g_get_monotonic_time();
  EXPECT_EQ(add(query("a"), kSecret), platform::errSecSuccess);
  EXPECT_EQ(find(query("a")), kSecret);
  EXPECT_LT(g_get_monotonic_time() - started, G_USEC_PER_SEC / 2);
}

}  // namespace
}  // namespace tidewell::desktop
