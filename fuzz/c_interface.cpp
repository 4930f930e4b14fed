// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/tidewell.h"

#include <cstring>
#include <memory>

#include "Input.h"
#include "tidewell/testing/TestingPlatform.h"

// Calls functions of the C interface in the order, and with the bytes, that the input gives, also inside
// callbacks. Every context must be freed exactly once.

namespace {

std::string_view input;
int depth = 0;
std::size_t contexts = 0, freed = 0;
tdw_token tokens[4];
void step();

std::uint8_t byte() {
  if (input.empty()) return 0;
  const char first = input.front();
  input.remove_prefix(1);
  return static_cast<std::uint8_t>(first);
}
/// A number around those of the enumerations.
std::int32_t number() { return static_cast<std::int8_t>(byte()); }
/// Null, or text of an exactly fitting size.
struct Text {
  Text() {
    const std::size_t length = byte();
    if (length == 255) return;
    const std::string_view taken = input.substr(0, length);
    input.remove_prefix(taken.size());
    text = std::make_unique<char[]>(taken.size() + 1);
    std::memcpy(text.get(), taken.data(), taken.size());
  }
  operator const char*() const { return text.get(); }
  std::unique_ptr<char[]> text;
};

void* context() { return ++contexts, new char('c'); }
void release(void* context) { ++freed, delete static_cast<char*>(context); }
/// What every callback does: uses its context, and calls another function.
bool use(void* context) {
  fuzz::require(*static_cast<char*>(context) == 'c');
  if (depth < 3) ++depth, step(), --depth;
  return (byte() & 1) != 0;
}
template <class... Arguments>
void nothing(void* context, Arguments...) {
  use(context);
}
template <class... Arguments>
bool answer(void* context, Arguments...) {
  return use(context);
}
template <class... Arguments>
void completing(void* context, const char*, tdw_token completion) {
  tokens[0] = completion;
  use(context);
}
bool continuing(void* context, const char*, const char*, tdw_token completion) {
  tokens[0] = completion;
  return use(context);
}

/// The last char of `text` is read, so that a missing NUL is found.
void take(char* text) {
  if (text != nullptr) tdw_free((fuzz::require(std::strlen(text) < 1u << 24), text));
}
tdw_delegate delegate() {
  const std::uint8_t bits = byte();
  tdw_delegate made{byte(), answer, answer, continuing, completing, nothing, nothing, nothing, completing};
  if ((bits & 1) != 0) made.size = sizeof made;
  if ((bits & 2) != 0) made.open_url = nullptr;
  if ((bits & 4) != 0) made.did_receive_fetching = nullptr;
  if ((bits & 8) != 0) made.continue_activity = nullptr;
  return made;
}

void optionsStep() {
  tdw_options* const options = byte() % 8 != 0 ? tdw_options_create() : nullptr;
  using Setter = tdw_status (*)(tdw_options*, const char*);
  static constexpr Setter kSetters[] = {
      tdw_options_set_bundle_identifier, tdw_options_set_version,   tdw_options_set_info,
      tdw_options_set_info_plist_path,   tdw_options_set_ca_file,   tdw_options_set_proxy,
      tdw_options_set_proxy_ca_file,     tdw_options_set_data_home, tdw_options_set_system_root};
  for (int i = byte() % 8; i > 0; --i) kSetters[byte() % std::size(kSetters)](options, Text());
  const tdw_link_opener opener{byte(), answer, answer};
  tdw_options_set_link_opener(options, &opener, context(), release);
  tdw_options_set_console_sink(options, nothing, context(), release);
  tdw_options_add_connection_override(options, Text(), byte(), Text(), byte());
  tdw_options_set_service_host(options, number(), Text());
  tdw_options_set_main_loop(options, number());
  tdw_options_set_screen_size(options, number(), number());
  tdw_options_set_page_timeout(options, number());
  take(tdw_options_complaint(options, nullptr));
  tdw_install_posix(options);
  tdw_install_desktop(options);
  tdw_options_destroy(options);
}

void step() {
  tdw_token& token = tokens[byte() % 4];
  const std::uint8_t bytes[2] = {1, 2};
  std::size_t length = 0;
  bool handled = false;
  switch (byte() % 46) {
    case 0:
      return optionsStep();
    case 1:
      tdw_start(Text());
      return;
    case 2:
      tdw_set_app_group(Text());
      return;
    case 3:
      tdw_set_region(number());
      return;
    case 4:
      take(tdw_get_text(number(), &length));
      return;
    case 5:
      tdw_set_push_token(Text());
      return;
    case 6:
      tdw_set_unique_id(Text());
      return;
    case 7:
      tdw_update_config();
      return;
    case 8:
      take(tdw_get_sync_status(&length));
      return;
    case 9:
      tdw_observe_sync(nothing, context(), release, &token);
      return;
    case 10:
      tdw_wait_for_sync(0);
      return;
    case 11:
      tdw_is_open(number());
      return;
    case 12:
      tdw_event_is_in(number(), Text());
      return;
    case 13:
      take(tdw_get_list(number(), nullptr));
      return;
    case 14:
      tdw_get_number(number());
      return;
    case 15:
      tdw_get_restriction(Text());
      return;
    case 16:
      take(tdw_explain(Text(), Text(), &length));
      return;
    case 17:
      take(tdw_explain(tdw_gate_question(number()), Text(), &length));
      return;
    case 18:
      tdw_set_opted_out(number(), (byte() & 1) != 0);
      return;
    case 19:
      tdw_is_opted_out(number());
      return;
    case 20:
      take(tdw_get_parameters(number(), nullptr));
      return;
    case 21:
      tdw_send(number(), Text(), Text(), Text(), Text(), nothing, context(), release);
      return;
    case 22:
      tdw_download(Text(), nothing, context(), release);
      return;
    case 23:
      tdw_set_log_level(number());
      return;
    case 24:
      tdw_log(number(), Text());
      return;
    case 25:
      tdw_log_and_ship(number(), Text(), Text());
      return;
    case 26:
      tdw_post(Text(), Text());
      return;
    case 27:
      tdw_observe(Text(), nothing, context(), release, &token);
      return;
    case 28:
      tdw_remove(token);
      return;
    case 29: {
      const tdw_delegate made = delegate();
      tdw_set_delegate(byte() % 8 != 0 ? &made : nullptr, context(), release);
      return;
    }
    case 30: {
      const tdw_delegate made = delegate();
      tdw_add_interceptor(byte() % 8 != 0 ? &made : nullptr, context(), release, &token);
      return;
    }
    case 31:
      tdw_proxy_delegate(number());
      return;
    case 32:
      tdw_reset_proxy();
      return;
    case 33:
      tdw_complete(token);
      return;
    case 34:
      tdw_complete_fetching(token, number());
      return;
    case 35:
      tdw_complete_restoring(token, Text());
      return;
    case 36:
      tdw_deliver_url(Text(), Text(), &handled);
      return;
    case 37:
      tdw_deliver_activity(Text(), Text(), nothing, context(), release, &handled);
      return;
    case 38:
      tdw_deliver_background_events(Text(), nothing, context(), release);
      return;
    case 39:
      tdw_deliver_device_token(bytes, byte() % 3);
      return;
    case 40:
      tdw_deliver_registration_error(Text(), number(), Text());
      return;
    case 41:
      tdw_deliver_notification(Text(), nothing, context(), release);
      return;
    case 42:
      tdw_open_link(number(), Text());
      return;
    case 43:
      tdw_show_alert(Text(), Text());
      return;
    case 44:
      tdw_main_queue_add(nothing, context(), release);
      return;
    default:
      (byte() & 7) == 0 ? tdw_end_callbacks() : static_cast<void>(tdw_close_page(true));
      return;
  }
}

}  // namespace

void fuzz::check(std::string_view bytes) {
  const auto platform = tidewell::testing::TestingPlatform::install();
  platform->testNetwork().setHandler([](const tidewell::platform::UrlRequest&) {
    return tidewell::testing::ScriptedNetwork::reply(200, R"({"a_s": "allowed", "b_e": ["a"]})");
  });
  input = bytes;
  while (!input.empty()) {
    step();
    if ((byte() & 3) == 0) platform->runUntilIdle();
  }
  platform->runUntilIdle();
  for (tdw_token& token : tokens) tdw_remove(std::exchange(token, 0));
  tdw_end_callbacks();
  fuzz::require(contexts == freed);
}
