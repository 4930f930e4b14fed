// SPDX-License-Identifier: Apache-2.0
#include <stdio.h>

#include "tidewell/c/tidewell.h"

static void on_reply(void* context, bool success, const char* json) {
  printf("messages: %s\n", success ? json : "not fetched");
  *(bool*)context = true;
}

int main(void) {
  tdw_options* options = tdw_options_create();
  tdw_options_set_bundle_identifier(options, "org.example.c");
  tdw_options_set_version(options, "1.0");
  tdw_options_set_main_loop(options, TDW_MAIN_LOOP_HOST);
  const tdw_status installed = tdw_install_posix(options);  // the reason is on standard error
  tdw_options_destroy(options);
  if (installed != TDW_OK) return 1;

  tdw_start("YOUR_APP_ID");  // does not wait for the network
  while (tdw_get_sync_outcome() == TDW_SYNC_IN_FLIGHT) tdw_main_queue_run(50);
  printf("account active: %s\n", tdw_is_open(TDW_GATE_ACCOUNT_ACTIVE) ? "yes" : "no");
  printf("events per batch: %lld\n", (long long)tdw_get_number(TDW_NUMBER_EVENTS_PER_BATCH));
  char* events = tdw_get_list(TDW_LIST_BLACKLISTED_EVENTS, NULL);
  printf("not tracked: %s\n", events ? events : "none");
  tdw_free(events);

  bool replied = false;
  if (tdw_send(TDW_SERVICE_INBOX, NULL, NULL, NULL, NULL, on_reply, &replied, NULL) != TDW_OK) return 1;
  while (!replied) tdw_main_queue_run(50);
}
