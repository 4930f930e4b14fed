// SPDX-License-Identifier: Apache-2.0
#include "tidewell/desktop/internal/SecretService.h"

#include <libsecret/secret.h>

#include <condition_variable>
#include <csignal>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "tidewell/base/internal/CancellationShield.h"
#include "tidewell/base/internal/Mutex.h"
#include "tidewell/desktop/internal/Glib.h"
#include "tidewell/platform/Platform.h"
#include "tidewell/posix/internal/RaisedRights.h"
#include "tidewell/posix/internal/Thread.h"

namespace tidewell::desktop {
namespace {

constexpr const char* kSchema = "com.tidewell.keychain";
constexpr const char* kContentType = "application/octet-stream";

/// Whether the session has a bus; GLib would start one otherwise. A caller's bus is not trusted with raised
/// privileges.
bool hasSessionBus() {
  if (posix::hasRaisedRights()) return false;
  const char* const named = g_getenv("DBUS_SESSION_BUS_ADDRESS");
  if (named && *named) return true;
  const char* const folder = g_getenv("XDG_RUNTIME_DIR");
  return folder && *folder && g_file_test((std::string(folder) + "/bus").c_str(), G_FILE_TEST_EXISTS);
}

using Attributes = SecretService::Attributes;
using Status = SecretService::Status;

struct TableDeleter {
  void operator()(GHashTable* table) const noexcept { g_hash_table_unref(table); }
};
std::unique_ptr<GHashTable, TableDeleter> tableOf(const Attributes& attributes) {
  GHashTable* const table = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
  g_hash_table_insert(table, g_strdup("xdg:schema"), g_strdup(kSchema));
  for (const auto& [name, value] : attributes)
    g_hash_table_insert(table, g_strdup(name.c_str()), g_strdup(value.c_str()));
  return std::unique_ptr<GHashTable, TableDeleter>(table);
}

/// One exchange with the service. Every call returns immediately when cancelled.
class Conversation {
 public:
  explicit Conversation(GCancellable* cancellable) : cancellable_(cancellable) {
    const Owned<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, nullptr));
    if (!bus) return;
    // By default GLib ends the process when its session bus disconnects, but the host may not need the bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
    service_.reset(secret_service_open_sync(SECRET_TYPE_SERVICE, nullptr, SECRET_SERVICE_OPEN_SESSION,
                                            cancellable, nullptr));
  }

  /// A locked collection hides its items, and writing to it would prompt the user.
  [[nodiscard]] bool canBeUsed() {
    if (!service_) return false;
    const Owned<SecretCollection> collection(secret_collection_for_alias_sync(
        service_.get(), SECRET_COLLECTION_DEFAULT, SECRET_COLLECTION_NONE, cancellable_, nullptr));
    return collection && !secret_collection_get_locked(collection.get());
  }

  Status find(const Attributes& attributes, std::string& secret) {
    GError* error = nullptr;
    GList* const items = search(attributes, SECRET_SEARCH_LOAD_SECRETS, &error);
    Status status = own(error) ? Status::unusable : Status::notFound;
    for (GList* each = items; each && status == Status::notFound; each = each->next) {
      SecretValue* const value = secret_item_get_secret(static_cast<SecretItem*>(each->data));
      if (!value) continue;
      gsize size = 0;
      const char* const bytes = secret_value_get(value, &size);
      secret.assign(bytes, size);
      secret_value_unref(value);
      status = Status::done;
    }
    g_list_free_full(items, g_object_unref);
    return status;
  }

  Status store(const Attributes& attributes, const std::string& label, const std::string& secret) {
    SecretValue* const value =
        secret_value_new(secret.data(), static_cast<gssize>(secret.size()), kContentType);
    const bool isStored = secret_service_store_sync(service_.get(), nullptr, tableOf(attributes).get(),
                                                    SECRET_COLLECTION_DEFAULT, label.c_str(), value,
                                                    cancellable_, nullptr) != FALSE;
    secret_value_unref(value);
    return isStored ? Status::done : Status::unusable;
  }

  Status remove(const Attributes& attributes) {
    GError* error = nullptr;
    GList* const items = search(attributes, SECRET_SEARCH_ALL, &error);
    Status status = own(error) ? Status::unusable : Status::notFound;
    for (GList* each = items; each; each = each->next) {
      auto* const item = static_cast<SecretItem*>(each->data);
      if (secret_item_get_locked(item)) continue;  // in another collection: would prompt the user
      const bool isRemoved = secret_item_delete_sync(item, cancellable_, nullptr) != FALSE;
      if (!isRemoved) status = Status::unusable;
      if (isRemoved && status == Status::notFound) status = Status::done;
    }
    g_list_free_full(items, g_object_unref);
    return status;
  }

 private:
  using SecretService_ = ::SecretService;

  GList* search(const Attributes& attributes, int flags, GError** error) {
    return secret_service_search_sync(service_.get(), nullptr, tableOf(attributes).get(),
                                      static_cast<SecretSearchFlags>(flags), cancellable_, error);
  }

  GCancellable* const cancellable_;
  Owned<SecretService_> service_;
};

}  // namespace

struct SecretService::Request {
  enum class Kind { find, store, remove };
  Kind kind;
  Attributes attributes;
  std::string label{};
  std::string secret{};
};

SecretService::SecretService(std::string application)
    : application_(std::move(application)), hasBus_(hasSessionBus()) {}

Status SecretService::find(const Attributes& attributes, std::string& secret) {
  return ask({Request::Kind::find, attributes}, &secret);
}

Status SecretService::store(const Attributes& attributes, const std::string& label,
                            const std::string& secret) {
  return ask({Request::Kind::store, attributes, label, secret}, nullptr);
}

Status SecretService::remove(const Attributes& attributes) {
  return ask({Request::Kind::remove, attributes}, nullptr);
}

Status SecretService::ask(Request request, std::string* secret) {
  if (!hasBus_ || hasTimedOut_) return Status::unusable;
  const base::CancellationShield shield;
  request.attributes["application"] = application_;

  struct Answer {
    base::Mutex mutex;
    std::condition_variable changed;
    std::optional<Status> status TIDEWELL_GUARDED_BY(mutex);
    std::string secret TIDEWELL_GUARDED_BY(mutex);
    Owned<GCancellable> cancellable{g_cancellable_new()};
  };
  const auto answer = std::make_shared<Answer>();
  const bool isAsked = posix::startThread("tw-keyring", [answer, request = std::move(request)] {
    Status status = Status::unusable;
    std::string found;
    Conversation conversation(answer->cancellable.get());
    if (conversation.canBeUsed()) {
      switch (request.kind) {
        case Request::Kind::find:
          status = conversation.find(request.attributes, found);
          break;
        case Request::Kind::store:
          status = conversation.store(request.attributes, request.label, request.secret);
          break;
        case Request::Kind::remove:
          status = conversation.remove(request.attributes);
          break;
      }
    }
    const base::MutexLock lock(answer->mutex);
    answer->status = status;
    answer->secret = std::move(found);
    answer->changed.notify_all();
  });
  if (!isAsked) return Status::unusable;

  base::ReleasableMutexLock lock(answer->mutex);
  const auto end = std::chrono::steady_clock::now() + kMaximumWait;
  const auto isAnswered = [&]() TIDEWELL_REQUIRES(answer->mutex) { return answer->status.has_value(); };
  if (!lock.waitUntil(answer->changed, end, isAnswered)) {
    lock.unlock();
    g_cancellable_cancel(answer->cancellable.get());
    hasTimedOut_ = true;
    platform::report("The keyring does not answer and is not asked any more");
    return Status::unusable;
  }
  if (secret) *secret = std::move(answer->secret);
  return *answer->status;
}

}  // namespace tidewell::desktop
