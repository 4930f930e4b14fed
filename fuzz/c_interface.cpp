// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <utility>

#include "Input.h"
#include "tidewell/c/tidewell.h"
#include "tidewell/testing/TestingPlatform.h"

// Calls functions of the C interface in the order, and with the bytes, that the input gives, also inside
// callbacks. Every context must be freed exactly once, and not be used afterwards.

static void step();
static std::string_view input;
static int depth = 0;
static std::size_t contexts = 0, frees = 0;
static tdw_token tokens[4];

static std::uint8_t byte() {
  if (input.empty()) return 0;
  const char first = input.front();
  input.remove_prefix(1);
  return static_cast<std::uint8_t>(first);
}
/// Null, or text of an exactly fitting size.
static std::unique_ptr<char[]> text() {
  const std::size_t length = byte();
  if (length == 255) return nullptr;
  const std::string_view taken = input.substr(0, length);
  input.remove_prefix(taken.size());
  auto copy = std::make_unique<char[]>(taken.size() + 1);
  std::memcpy(copy.get(), taken.data(), taken.size());
  return copy;
}

struct context {
  char content = 'c';
};
static context* fresh() { return ++contexts, new context; }
static void freed(void* each) { ++frees, delete static_cast<context*>(each); }

static void noteCompletion(tdw_token completion) { tokens[0] = completion; }
template <class Other>
static void noteCompletion(Other) {}
/// What every callback does: uses its context, and calls another function.
template <class Result, class... Arguments>
static Result calling(void* each, Arguments... arguments) {
  fuzz::require(static_cast<context*>(each)->content == 'c');
  (noteCompletion(arguments), ...);
  if (depth < 3) ++depth, step(), --depth;
  return Result((byte() & 1) != 0);
}
const tdw_console_sink onLine = calling;
const tdw_function onFunction = calling;
const tdw_reply onReply = calling;
const tdw_download_reply onDownload = calling;
const tdw_observer onNotification = calling;
const tdw_restored onRestored = calling;
const tdw_fetched onFetched = calling;
constexpr auto openUrl = calling<bool, const char*, const char*>;
constexpr auto canOpen = calling<bool, const char*>;
constexpr auto opens = calling<bool, const char*, bool>;
#include "c/Calls.h"

static tdw_delegate delegate() {
  tdw_delegate made{byte(), calling, calling, calling, calling, calling, calling, calling, calling};
  const std::uint8_t bits = byte();
  if ((bits & 1) != 0) made.size = sizeof made;
  if ((bits & 2) != 0) made.open_url = nullptr;
  if ((bits & 4) != 0) made.did_receive_fetching = nullptr;
  return made;
}

static void step() {
  const std::size_t row = byte();
  tdw_token& token = tokens[row % 4];
  const tdw_delegate table = row % 8 == 0 ? delegate() : tdw_delegate{};
  if (row < std::size(rows)) {
    const std::unique_ptr<tdw_options, void (*)(tdw_options*)> options(tdw_options_create(),
                                                                       tdw_options_destroy);
    const auto argument = text();
    context* const each = fresh();
    // Rows that take no context leave it.
    call(row, options.get(), argument.get(), static_cast<std::int8_t>(byte()), each);
    if (!std::strstr(rows[row].name, "CB")) freed(each);
    given(tdw_options_complaint(options.get(), nullptr));
    return;
  }
  switch (row % 13) {
    case 0:
      tdw_observe_sync(calling, fresh(), freed, &token);
      return;
    case 1:
      tdw_observe(text().get(), calling, fresh(), freed, &token);
      return;
    case 2:
      tdw_remove(token);
      return;
    case 3:
      tdw_set_delegate(row % 8 == 0 ? &table : nullptr, fresh(), freed);
      return;
    case 4:
      tdw_add_interceptor(&table, fresh(), freed, &token);
      return;
    case 5:
      tdw_complete(token);
      return;
    case 6:
      tdw_complete_fetching(token, byte() % 3);
      return;
    case 7:
      tdw_complete_restoring(token, text().get());
      return;
    case 8:
      tdw_main_queue_add(calling, fresh(), freed);
      return;
    case 9:
      tdw_proxy_delegate(byte() % 2), tdw_reset_proxy();
      return;
    case 10:
      tdw_set_opted_out(byte() % 3, true), tdw_update_config();
      return;
    case 11:
      tdw_close_page(true), given(tdw_get_sync_status(nullptr));
      return;
    default:
      tdw_end_callbacks();
      return;
  }
}

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
  fuzz::require(contexts == frees);
}
