// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <memory>
#include <string>

#include "tidewell/c/internal/HostContext.h"
#include "tidewell/c/internal/OptionsState.h"
#include "tidewell/platform/LinkOpener.h"
#include "tidewell/platform/Platform.h"

namespace tidewell::c {
namespace {

static_assert(platform::kServiceHostCount == TDW_SERVICE_HOST_LOGS + 1 &&
              static_cast<int>(platform::ServiceHost::us) == TDW_SERVICE_HOST_US &&
              static_cast<int>(platform::ServiceHost::eu) == TDW_SERVICE_HOST_EU &&
              static_cast<int>(platform::ServiceHost::logs) == TDW_SERVICE_HOST_LOGS);

/// Calls a setter of the headless platform's options.
template <class Setter, class Value>
tdw_status set(tdw_options* options, Setter setter, Value value) noexcept {
  return statusOf([&] {
    require(options != nullptr);
    (options->posix.*setter)(value);
  });
}
using TextSetter = posix::Options& (posix::Options::*)(std::string);
/// Null gives "", which stands for the default.
tdw_status setText(tdw_options* options, TextSetter setter, const char* text) noexcept {
  return statusOf([&] {
    require(options != nullptr);
    (options->posix.*setter)(std::string(optionalText(text).value_or("")));
  });
}

/// Opens links with the functions of a host.
class HostLinkOpener final : public platform::LinkOpener {
 public:
  HostLinkOpener(const tdw_link_opener& functions, std::shared_ptr<HostContext> context)
      : functions_(functions), context_(std::move(context)) {}

  [[nodiscard]] bool canOpenURL(const std::optional<base::Url>& url) override {
    bool canOpen = false;
    if (url && functions_.can_open != nullptr) {
      context_->use(
          [&](void* context) { canOpen = functions_.can_open(context, url->absoluteString().c_str()); });
    }
    return canOpen;
  }
  void openURL(const base::Url& url, platform::OpenOptions options,
               std::function<void(bool)> completion) override {
    const bool accepted = open(url, options.universalLinksOnly);
    if (!completion) return;
    platform::Platform::current().mainQueue().async(
        [completion = std::move(completion), accepted] { completion(accepted); });
  }
  bool openURL(const base::Url& url) override { return open(url, false); }

 private:
  bool open(const base::Url& url, bool universalLinksOnly) {
    bool accepted = false;
    if (functions_.open != nullptr) {
      context_->use([&](void* context) {
        accepted = functions_.open(context, url.absoluteString().c_str(), universalLinksOnly);
      });
    }
    return accepted;
  }

  const tdw_link_opener functions_;
  const std::shared_ptr<HostContext> context_;
};

}  // namespace
}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;
using posix::Options;

extern "C" {

tdw_options* tdw_options_create() {
  return valueOf(static_cast<tdw_options*>(nullptr), [] { return new tdw_options; });
}
void tdw_options_destroy(tdw_options* options) {
  static_cast<void>(statusOf([&] { delete options; }));
}
char* tdw_options_complaint(const tdw_options* options, std::size_t* length) {
  return textOf(length, [&]() -> std::optional<std::string> {
    std::string complaint = options != nullptr ? complaintAbout(options->posix) : std::string();
    if (complaint.empty()) return std::nullopt;
    return complaint;
  });
}

tdw_status tdw_options_set_bundle_identifier(tdw_options* options, const char* identifier) {
  return setText(options, &Options::setBundleIdentifier, identifier);
}
tdw_status tdw_options_set_version(tdw_options* options, const char* version) {
  return setText(options, &Options::setVersion, version);
}
tdw_status tdw_options_set_info(tdw_options* options, const char* json) {
  return statusOf([&] {
    require(options != nullptr);
    options->posix.setInfoDictionary(optionalObject(json).value_or(base::Dictionary()));
  });
}
tdw_status tdw_options_set_info_plist_path(tdw_options* options, const char* path) {
  return setText(options, &Options::setInfoPlistPath, path);
}
tdw_status tdw_options_set_main_loop(tdw_options* options, tdw_main_loop loop) {
  return statusOf([&] {
    require(options != nullptr);
    const auto chosen = required<tdw_main_loops>(loop, TDW_MAIN_LOOP_HOST);
    options->posix.setMainLoop(chosen == TDW_MAIN_LOOP_HOST ? posix::MainLoop::host
                                                            : posix::MainLoop::ownThread);
  });
}
tdw_status tdw_options_set_console_sink(tdw_options* options, tdw_console_sink sink, void* context,
                                        tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    require(options != nullptr);
    std::function<void(std::string_view)> consoleSink;
    if (sink != nullptr) {
      consoleSink = [callback = Callback<tdw_console_sink>(sink, adopted)](std::string_view text) {
        const std::string copy = *wellFormed(std::string(text));
        callback(copy.c_str(), copy.size());
      };
    }
    options->posix.setConsoleSink(std::move(consoleSink));
    return TDW_OK;
  });
}
tdw_status tdw_options_set_ca_file(tdw_options* options, const char* path) {
  return setText(options, &Options::setCaFile, path);
}
tdw_status tdw_options_set_proxy(tdw_options* options, const char* proxy) {
  return setText(options, &Options::setProxy, proxy);
}
tdw_status tdw_options_set_proxy_ca_file(tdw_options* options, const char* path) {
  return setText(options, &Options::setProxyCaFile, path);
}
tdw_status tdw_options_add_connection_override(tdw_options* options, const char* host, std::uint16_t port,
                                               const char* address, std::uint16_t to_port) {
  return statusOf([&] {
    require(options != nullptr);
    options->posix.addConnectionOverride(std::string(requiredText(host)), port,
                                         std::string(requiredText(address)), to_port);
  });
}
tdw_status tdw_options_set_maximum_body_bytes(tdw_options* options, std::size_t bytes) {
  return set(options, &Options::setMaximumBodyBytes, bytes);
}
tdw_status tdw_options_set_link_opener(tdw_options* options, const tdw_link_opener* opener, void* context,
                                       tdw_free_context free_context) {
  return statusWithContext(context, free_context, [&](const auto& adopted) {
    require(options != nullptr);
    std::shared_ptr<platform::LinkOpener> made;
    if (opener != nullptr) made = std::make_shared<HostLinkOpener>(knownPart(*opener), adopted);
    options->posix.setLinkOpener(std::move(made));
    return TDW_OK;
  });
}
tdw_status tdw_options_set_modern_link_opening(tdw_options* options, bool is_modern) {
  return set(options, &Options::setModernLinkOpening, is_modern);
}
tdw_status tdw_options_set_screen_size(tdw_options* options, double width, double height) {
  const bool isValid = std::isfinite(width) && std::isfinite(height) && width >= 0 && height >= 0;
  if (!isValid) return TDW_INVALID;
  return set(options, &Options::setScreenSize, platform::ScreenSize{width, height});
}
tdw_status tdw_options_set_data_home(tdw_options* options, const char* path) {
  return setText(options, &Options::setDataHome, path);
}
tdw_status tdw_options_set_system_root(tdw_options* options, const char* path) {
  return setText(options, &Options::setSystemRoot, path);
}
tdw_status tdw_options_set_disabled(tdw_options* options, bool is_disabled) {
  return set(options, &Options::setDisabled, is_disabled);
}
tdw_status tdw_options_set_offline(tdw_options* options, bool is_offline) {
  return set(options, &Options::setOffline, is_offline);
}
tdw_status tdw_options_set_consent_required(tdw_options* options, bool is_required) {
  return set(options, &Options::setConsentRequired, is_required);
}
tdw_status tdw_options_set_service_host(tdw_options* options, tdw_service_host which, const char* host) {
  return statusOf([&] {
    require(options != nullptr);
    options->posix.setServiceHost(required<platform::ServiceHost>(which, TDW_SERVICE_HOST_LOGS),
                                  std::string(optionalText(host).value_or("")));
  });
}
tdw_status tdw_options_set_hosts_from_environment(tdw_options* options, bool are_used) {
  return set(options, &Options::setHostsFromEnvironment, are_used);
}
tdw_status tdw_options_set_follows_windows(tdw_options* options, bool follows) {
  if (options == nullptr) return TDW_INVALID;
  options->followsWindows = follows;
  return TDW_OK;
}
tdw_status tdw_options_set_uses_secret_service(tdw_options* options, bool uses) {
  if (options == nullptr) return TDW_INVALID;
  options->usesSecretService = uses;
  return TDW_OK;
}
tdw_status tdw_options_set_page_timeout(tdw_options* options, double seconds) {
  if (options == nullptr || !std::isfinite(seconds) || seconds <= 0) return TDW_INVALID;
  options->pageTimeout = seconds;
  return TDW_OK;
}

}  // extern "C"
