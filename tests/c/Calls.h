// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string.h>

#include "tidewell/c/tidewell.h"

// Calls of the C interface, a row for each parameter, for a host in C and for the fuzz target. The includer
// defines before this: `freed`, and the functions of its callbacks, with the names that the rows use.

static tdw_status given(char* text) {
  tdw_free(text);
  return text ? TDW_OK : TDW_INVALID;
}
static tdw_status holds(bool answer) { return answer ? TDW_OK : TDW_INVALID; }
#define CB each, freed
// clang-format off
#define TEXT_ROWS(X) \
  X(tdw_options_set_bundle_identifier(o, t), OK, OK) X(tdw_options_set_version(o, t), OK, OK) \
  X(tdw_options_set_info(o, t), OK, INVALID) X(tdw_options_set_info_plist_path(o, t), OK, OK) \
  X(tdw_options_set_ca_file(o, t), OK, OK) X(tdw_options_set_proxy(o, t), OK, OK) \
  X(tdw_options_set_proxy_ca_file(o, t), OK, OK) \
  X(tdw_options_add_connection_override(o, t, 1, "127.0.0.1", 1), INVALID, OK) \
  X(tdw_options_add_connection_override(o, "a", 1, t, 1), INVALID, OK) \
  X(tdw_options_set_data_home(o, t), OK, OK) X(tdw_options_set_system_root(o, t), OK, OK) \
  X(tdw_options_set_service_host(o, TDW_SERVICE_HOST_EU, t), OK, OK) X(tdw_start(t), OK, OK) \
  X(tdw_set_app_group(t), INVALID, OK) X(tdw_set_push_token(t), OK, OK) X(tdw_set_unique_id(t), OK, OK) \
  X(holds(tdw_event_is_in(TDW_LIST_BLACKLISTED_EVENTS, t)), INVALID, INVALID) \
  X(holds(tdw_get_restriction(t) == TDW_RESTRICTION_NONE), INVALID, OK) \
  X(given(tdw_explain(t, 0, 0)), INVALID, INVALID) \
  X(given(tdw_explain("isEventBlackListed", t, 0)), OK, OK) \
  X(tdw_send(TDW_SERVICE_INBOX, t, 0, 0, 0, onReply, CB), OK, INVALID) \
  X(tdw_send(TDW_SERVICE_INBOX, 0, t, 0, 0, onReply, CB), OK, INVALID) \
  X(tdw_send(TDW_SERVICE_INBOX, 0, 0, t, 0, onReply, CB), OK, INVALID) \
  X(tdw_send(TDW_SERVICE_INBOX, 0, 0, 0, t, onReply, CB), OK, OK) \
  X(tdw_download(t, onDownload, CB), INVALID, INVALID) X(tdw_log(TDW_SEVERITY_INFO, t), INVALID, OK) \
  X(tdw_log_and_ship(TDW_SEVERITY_INFO, t, 0), INVALID, OK) \
  X(tdw_log_and_ship(TDW_SEVERITY_INFO, "m", t), OK, OK) X(tdw_post(t, 0), INVALID, OK) \
  X(tdw_post("n", t), OK, INVALID) X(tdw_observe(t, onNotification, CB, 0), INVALID, OK) \
  X(tdw_complete_restoring(0, t), NOT_FOUND, INVALID) X(tdw_deliver_url(t, 0, 0), INVALID, INVALID) \
  X(tdw_deliver_url("a:b", t, 0), OK, INVALID) \
  X(tdw_deliver_activity(t, 0, onRestored, CB, 0), INVALID, OK) \
  X(tdw_deliver_activity("t", t, onRestored, CB, 0), OK, INVALID) \
  X(tdw_deliver_background_events(t, onFunction, CB), INVALID, OK) \
  X(tdw_deliver_registration_error(t, 1, "d"), INVALID, OK) \
  X(tdw_deliver_registration_error("d", 1, t), INVALID, OK) \
  X(tdw_deliver_notification(t, onFetched, CB), INVALID, INVALID) \
  X(tdw_open_link(TDW_LINK_CUSTOM, t), INVALID, INVALID) X(tdw_show_alert(t, 0), OK, OK) \
  X(tdw_show_alert(0, t), OK, OK)
// Refused for each number outside the enumeration.
#define NUMBER_ROWS(X) \
  X(tdw_options_set_main_loop(o, n)) X(tdw_options_set_service_host(o, n, "a")) X(tdw_set_region(n)) \
  X(tdw_set_opted_out(n, true)) X(tdw_set_log_level(n)) X(tdw_log(n, "m")) X(tdw_log_and_ship(n, "m", 0)) \
  X(tdw_send(n, 0, 0, 0, 0, onReply, CB)) X(tdw_open_link(n, "a:b")) X(tdw_proxy_delegate(n)) \
  X(tdw_complete_fetching(0, n)) X(given(tdw_get_text(n, 0))) X(given(tdw_get_list(n, 0))) \
  X(given(tdw_get_parameters(n, 0))) X(holds(tdw_is_open(n))) X(holds(tdw_event_is_in(n, "spam"))) \
  X(holds(tdw_get_number(n) != 0)) X(holds(tdw_gate_question(n) != 0)) X(holds(tdw_is_opted_out(n))) \
  X(holds(tdw_log_writes(n))) X(holds(strcmp(tdw_status_name(n), "TDW_FAILED"))) \
  X(tdw_options_set_screen_size(o, n < 0 ? n : 1e300 * 1e300, 1)) \
  X(tdw_options_set_page_timeout(o, n < 0 ? n : 1e300 * 1e300)) X(tdw_options_set_page_timeout(0, 1)) \
  X(tdw_options_set_follows_windows(0, true)) X(tdw_options_set_uses_secret_service(0, true)) \
  X(tdw_options_set_offline(0, true)) X(tdw_options_set_console_sink(0, onLine, CB)) \
  X(tdw_options_set_link_opener(0, &opener, CB)) X(tdw_options_set_link_opener(o, &smallOpener, CB)) \
  X(tdw_main_queue_add(0, CB)) X(tdw_observe("n", 0, CB, 0)) X(tdw_observe_sync(0, CB, 0)) \
  X(tdw_download("a:b", 0, CB)) X(tdw_set_delegate(&smallDelegate, CB)) \
  X(tdw_add_interceptor(&smallDelegate, CB, 0)) X(tdw_add_interceptor(0, CB, 0)) \
  X(tdw_deliver_device_token(0, 1)) X(tdw_install_posix(0)) X(tdw_install_desktop(0)) \
  X(holds(tdw_main_queue_run(INT64_MIN) != 0)) \
  X(tdw_remove(n + UINT64_C(0)) == TDW_NOT_FOUND ? TDW_INVALID : TDW_OK)
// clang-format on

static const tdw_link_opener opener = {sizeof opener, canOpen, opens}, smallOpener = {1, canOpen, opens};
static const tdw_delegate smallDelegate = {1, openUrl, 0, 0, 0, 0, 0, 0, 0};

static tdw_status call(size_t row, tdw_options* o, const char* t, int32_t n, struct context* each) {
  size_t at = 0;
#define ROW(expression, null, empty) \
  if (row == at++) return expression;
#define REFUSED_ROW(expression) ROW(expression, , )
  TEXT_ROWS(ROW) NUMBER_ROWS(REFUSED_ROW) return TDW_OK;
}
static const struct {
  const char* name;
  tdw_status null, empty;
} rows[] = {
#define NAMED(expression, null, empty) {#expression, TDW_##null, TDW_##empty},
#define REFUSED(expression) {#expression, TDW_INVALID, TDW_INVALID},
    TEXT_ROWS(NAMED) NUMBER_ROWS(REFUSED)};
