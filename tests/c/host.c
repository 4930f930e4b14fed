// SPDX-License-Identifier: Apache-2.0
// A host that is written in C and knows the C interface only: `c_host COMMANDS…` installs the headless
// platform and answers each command with a line. Ends by returning from `main`; an exit handler then counts
// the contexts of all callbacks.
//
// The environment chooses: HOST_CA and HOST_PORT name the backend, HOST_LOOP makes this program run the main
// queue, HOST_OFFLINE and HOST_CONSENT set the options of these names.
#define _DEFAULT_SOURCE
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include "tidewell/c/tidewell.h"

#define COUNT(array) (sizeof(array) / sizeof *(array))
#define CHECK(condition) ((condition) ? (void)0 : failed(__LINE__, #condition))

static int failures;
static void failed(int line, const char* condition) {
  fprintf(stderr, "host.c:%d: %s\n", line, condition);
  ++failures;
}

// Contexts. Each callback gets one of its own, and counts its calls in it.

struct context {
  int calls, frees, late;  // late: calls after the end
};
enum { kMost = 4096 };
static struct context contexts[kMost];
static int made;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static char last[4096];  // what the last callback received

static struct context* fresh(void) { return &contexts[made < kMost - 1 ? made++ : kMost - 1]; }
static void freed(void* context) {
  pthread_mutex_lock(&lock);
  ++((struct context*)context)->frees;
  pthread_mutex_unlock(&lock);
}
static void called(void* context, const char* first, const char* second) {
  struct context* each = context;
  pthread_mutex_lock(&lock);
  ++each->calls;
  each->late += each->frees;
  snprintf(last, sizeof last, "%s %s", first ? first : "null", second ? second : "null");
  pthread_mutex_unlock(&lock);
}
static int callsOf(struct context* context) {
  pthread_mutex_lock(&lock);
  const int calls = context->calls;
  pthread_mutex_unlock(&lock);
  return calls;
}
/// Contexts of functions that run on the library's threads are freed when these return.
static bool patient = true;
static void awaitFreed(void) {
  const time_t end = time(0) + 20;
  for (int once = -1; once != made && patient && time(0) < end; usleep(1000)) {
    pthread_mutex_lock(&lock);
    once = 0;
    for (int i = 0; i < made; ++i) once += contexts[i].frees == 1;
    pthread_mutex_unlock(&lock);
  }
}
static void onNotification(void* context, const char* name, const char* json);
static void reportContexts(void) {
  if (made && patient) tdw_observe("name", onNotification, fresh(), freed, 0);  // too late, so freed at once
  int once = 0, late = 0, repeated = 0;
  awaitFreed();
  pthread_mutex_lock(&lock);
  for (int i = 0; i < made; ++i) {
    once += contexts[i].frees == 1;
    late += contexts[i].late;
    repeated += contexts[i].calls > 1;
  }
  printf("contexts: %s freed once, %d late, %d repeated\n",
         once == made ? "each"
         : once       ? "some"
                      : "none",
         late, repeated);
  pthread_mutex_unlock(&lock);
}

static void onFunction(void* context) { called(context, "function", 0); }
static void onReply(void* context, bool success, const char* json) {
  called(context, success ? "yes" : "no", json);
}
static void onDownload(void* context, bool success, const uint8_t* bytes, size_t length) {
  char text[32];
  snprintf(text, sizeof text, "%zu", bytes ? length : 0);
  called(context, success ? "yes" : "no", text);
}
static void onSync(void* context, tdw_sync_outcome outcome, const char* json) {
  called(context, outcome == TDW_SYNC_SYNCED ? "synced" : "other", json);
}
static void onNotification(void* context, const char* name, const char* json) { called(context, name, json); }
static void onFetched(void* context, tdw_fetch_result result) {
  called(context, result ? "other" : "new", 0);
}
static void onRestored(void* context, const char* json) { called(context, "restored", json); }
static void onLine(void* context, const char* text, size_t length) {
  CHECK(strlen(text) == length);
  called(context, "line", text);
}
static bool canOpen(void* context, const char* url) { return called(context, "can", url), true; }
static bool opens(void* context, const char* url, bool only) {
  return called(context, only ? "only" : "any", url), true;
}

// The delegate's functions keep the completion that they get.
static tdw_token completion;
static bool openUrl(void* context, const char* url, const char* options) {
  return called(context, url, options), true;
}
static bool openFrom(void* context, const char* url, const char* source, const char* annotation) {
  return called(context, source, annotation), strcmp(url, "app:old") == 0;
}
static bool continues(void* context, const char* type, const char* url, tdw_token token) {
  completion = token;
  return called(context, type, url), true;
}
static void handleEvents(void* context, const char* identifier, tdw_token token) {
  completion = token;
  called(context, "events", identifier);
}
static void registered(void* context, const uint8_t* token, size_t length) {
  char text[8];
  snprintf(text, sizeof text, "%d %zu", length ? token[0] : 0, length);
  called(context, "token", text);
}
static void unregistered(void* context, const char* domain, int64_t code, const char* text) {
  CHECK(code == -7);
  called(context, domain, text);
}
static void received(void* context, const char* json) { called(context, "received", json); }
static void fetching(void* context, const char* json, tdw_token token) {
  completion = token;
  called(context, "fetching", json);
}

#include "Calls.h"

// Installation and waiting.

static struct context* openerContext;

static const char* variable(const char* name) { return getenv(name) ? getenv(name) : ""; }

static tdw_options* hostOptions(void) {
  tdw_options* options = tdw_options_create();
  const uint16_t port = (uint16_t)atoi(variable("HOST_PORT"));
  const char* hosts[] = {"api.tidewell.example", "api-serv3.tidewell.example", "api-eu.tidewell.example",
                         "logs.tidewell.example"};
  tdw_options_set_bundle_identifier(options, "org.example.life");
  tdw_options_set_version(options, "3.1");
  tdw_options_set_ca_file(options, variable("HOST_CA"));
  tdw_options_set_offline(options, *variable("HOST_OFFLINE") != 0);
  tdw_options_set_consent_required(options, *variable("HOST_CONSENT") != 0);
  tdw_options_set_link_opener(options, &opener, openerContext = fresh(), freed);
  tdw_options_set_main_loop(options, *variable("HOST_LOOP") ? TDW_MAIN_LOOP_HOST : TDW_MAIN_LOOP_OWN_THREAD);
  tdw_options_set_screen_size(options, 800, 600);
  for (size_t i = 0; i < COUNT(hosts); ++i) {
    tdw_options_add_connection_override(options, hosts[i], 443, "127.0.0.1", port);
  }
  return options;
}

/// Runs the main queue, or waits for the library's thread, until a callback was called that often. Gives up
/// after 100 s.
static void await(struct context* context, int calls) {
  const time_t end = time(0) + 100;
  while (callsOf(context) < calls && time(0) < end) {
    struct pollfd queue = {tdw_main_queue_descriptor(), POLLIN, 0};
    poll(&queue, queue.fd >= 0, 10);
    tdw_main_queue_poll();
  }
  CHECK(callsOf(context) >= calls);
}
/// Waits until what is on the main queue now has run.
static void drain(void) {
  struct context* context = fresh();
  CHECK(tdw_main_queue_add(onFunction, context, freed) == TDW_OK);
  await(context, 1);
}
static void printText(const char* before, char* text) {
  printf("%s%s", before, text ? text : "null");
  tdw_free(text);
}

/// The answers of the configuration as one line of JSON, in the notation of guest/hosts/host.cpp.
static void answers(void) {
  printf("[\"");
  for (tdw_gate gate = TDW_GATE_ACCOUNT_ACTIVE; gate <= TDW_GATE_USER_IN_APP; ++gate)
    putchar(tdw_is_open(gate) ? 'y' : 'n');
  printf("\",[");
  for (tdw_number number = 0; number <= TDW_NUMBER_EVENTS_PER_BATCH; ++number)
    printf("%s%lld", number ? "," : "", (long long)tdw_get_number(number));
  printf("],\"%c%c%c%c%c\"", tdw_event_is_in(TDW_LIST_BLACKLISTED_EVENTS, "spam") ? 'y' : 'n',
         tdw_event_is_in(TDW_LIST_INSTANT_FLUSH_EVENTS, "buy") ? 'y' : 'n',
         tdw_event_is_in(TDW_LIST_WHITELISTED_EVENTS, "consent") ? 'y' : 'n',
         tdw_get_restriction("12345") == TDW_RESTRICTION_RESTRICTED ? 'y' : 'n',
         tdw_get_restriction("u12345") == TDW_RESTRICTION_RESTRICTED ? 'y' : 'n');
  for (tdw_list list = 0; list <= TDW_LIST_RESTRICTED_ID_EXPRESSIONS; ++list)
    printText(",", tdw_get_list(list, 0));
  printText(",\"", tdw_get_text(TDW_TEXT_LOG_TOKEN, 0));
  printf("\",%d]", tdw_get_region());
}

// Messages: notifications, delegate, interceptor, links.

static void expect(int line, tdw_status status, const char* text) {
  if (status != TDW_OK || strcmp(last, text) != 0) {
    fprintf(stderr, "status %s, received: %s, not: %s\n", tdw_status_name(status), last, text);
    failed(line, "a message");
  }
}
#define EXPECT(call, text) expect(__LINE__, call, text)

static void messages(void) {
  struct context *observer = fresh(), *first = fresh(), *second = fresh(), *third = fresh(),
                 *waiting = fresh();
  tdw_token token = 0, interceptor = 0;
  bool handled = true;
  EXPECT(tdw_observe("name", onNotification, observer, freed, &token), "");
  EXPECT(tdw_post("name", "{\"a\":[1,null]}"), "name {\"a\":[1,null]}");
  EXPECT(tdw_post("name", "\"text\""), "name \"text\"");
  EXPECT(tdw_post("name", 0), "name null");
  CHECK(tdw_remove(token) == TDW_OK && observer->frees == 1 && tdw_remove(token) == TDW_NOT_FOUND);
  EXPECT(tdw_post("name", "1"), "name null");

  const tdw_delegate all = {sizeof all, openUrl,      openFrom, continues, handleEvents,
                            registered, unregistered, received, fetching};
  tdw_delegate some = {sizeof some, 0, openFrom, 0, 0, 0, 0, received, 0};
  EXPECT(tdw_deliver_url("app:none", 0, &handled), "name null");
  CHECK(!handled && tdw_set_delegate(&all, first, freed) == TDW_OK);
  EXPECT(tdw_deliver_url("app:link", "{\"k\":1}", &handled), "app:link {\"k\":1}");
  CHECK(handled);
  EXPECT(tdw_deliver_activity("type", "http://a/", onRestored, waiting, freed, 0), "type http://a/");
  EXPECT(tdw_complete_fetching(completion, TDW_FETCH_NEW_DATA) == TDW_NOT_FOUND ? TDW_OK : TDW_FAILED,
         "type http://a/");
  CHECK(tdw_remove(completion) == TDW_NOT_FOUND && waiting->frees == 0);
  EXPECT(tdw_complete_restoring(completion, "[1,\"x\"]"), "restored [1,\"x\"]");
  CHECK(tdw_complete_restoring(completion, 0) == TDW_NOT_FOUND && waiting->frees == 1);
  EXPECT(tdw_deliver_background_events("session", onFunction, fresh(), freed), "events session");
  EXPECT(tdw_complete(completion), "function null");
  EXPECT(tdw_deliver_device_token((const uint8_t*)"\7", 2), "token 7 2");
  EXPECT(tdw_deliver_registration_error("domain", -7, "text"), "domain text");
  EXPECT(tdw_deliver_notification("{}", onFetched, fresh(), freed), "fetching {}");
  EXPECT(tdw_complete_fetching(completion, TDW_FETCH_NEW_DATA), "new null");

  // A null function does not respond, and neither does one beyond the size that the host knows.
  CHECK(tdw_set_delegate(&some, second, freed) == TDW_OK && first->frees == 1);
  EXPECT(
      tdw_deliver_url("app:old", "{\"UIApplicationOpenURLOptionsSourceApplicationKey\":\"from\"}", &handled),
      "from null");
  EXPECT(tdw_deliver_notification("{\"n\":1}", onFetched, fresh(), freed),
         "other null");  // no data, after `received`
  some.size = offsetof(tdw_delegate, did_receive);
  some.open_url = openUrl;
  EXPECT(tdw_add_interceptor(&some, third, freed, &interceptor), "other null");
  EXPECT(tdw_proxy_delegate(TDW_PROXY_AND_NOTIFICATIONS), "other null");
  const int before = third->calls;
  EXPECT(tdw_deliver_notification("{\"n\":2}", 0, 0, 0), "received {\"n\":2}");
  CHECK(third->calls == before);
  EXPECT(tdw_deliver_url("app:other", 0, &handled), "null null");
  CHECK(third->calls > before && tdw_remove(interceptor) == TDW_OK && third->frees == 1);
  CHECK(tdw_set_delegate(0, 0, 0) == TDW_OK);

  // Foreground, background and links, on the main queue.
  const struct {
    const char* name;
    tdw_status (*enter)(void);
  } states[] = {{TDW_NOTIFICATION_FOREGROUND, tdw_enter_foreground},
                {TDW_NOTIFICATION_BACKGROUND, tdw_enter_background}};
  for (size_t i = 0; i < COUNT(states); ++i) {
    struct context* each = fresh();
    CHECK(tdw_observe(states[i].name, onNotification, each, freed, 0) == TDW_OK && states[i].enter() == TDW_OK);
    await(each, 1);
  }
  const struct {
    tdw_link how;
    const char *url, *received;
  } links[] = {{TDW_LINK_CUSTOM, "app:custom", "any app:custom"},
               {TDW_LINK_DEEP, "http://a/deep", "only http://a/deep"},
               {TDW_LINK_UNIVERSAL, "http://a/", "any http://a/"}};  // no delegate continues it
  for (size_t i = 0; i < COUNT(links); ++i) {
    const int asked = callsOf(openerContext);
    CHECK(tdw_open_link(links[i].how, links[i].url) == TDW_OK);
    await(openerContext, asked + 2);
    EXPECT(TDW_OK, links[i].received);
  }
  double width = 0, height = 0;
  CHECK(tdw_get_screen_size(&width, &height) == TDW_OK && width == 800 && height == 600);
  CHECK(tdw_open_link(TDW_LINK_PAGE, "http://a/") == TDW_OK && tdw_close_page(false) == TDW_OK);
  CHECK(tdw_show_alert("message", "title") == TDW_OK);
  drain();
}

// Hostile arguments: the rows have the statuses for null and for "". All others are refused.

static void arguments(tdw_options* options) {
  static char overlong[TDW_MAXIMUM_TEXT + 2], overlongJson[TDW_MAXIMUM_JSON + 3];
  memset(overlong, 'a', sizeof overlong - 1);
  memset(overlongJson, ' ', sizeof overlongJson - 3);
  strcpy(overlongJson + sizeof overlongJson - 3, "{}");
  const char* const texts[] = {0,      "",      overlong,       overlongJson,
                               "\xff", "a\xc3", "\xed\xa0\x80", "{\"\xc0\x80\":1}"};
  const int32_t numbers[] = {-1, 99, INT32_MIN, INT32_MAX};
  for (size_t row = 0; row < COUNT(rows); ++row) {
    for (size_t i = 0; i < COUNT(texts); ++i) {
      struct context* each = fresh();
      const tdw_status status = call(row, options, texts[i], numbers[i % COUNT(numbers)], each);
      const tdw_status expected = i == 0 ? rows[row].null : i == 1 ? rows[row].empty : TDW_INVALID;
      if (status != expected && (tdw_is_installed() || status != TDW_NOT_INSTALLED))
        fprintf(stderr, "text %zu: %s\n", i, tdw_status_name(status)), failed(__LINE__, rows[row].name);
      if (!strstr(rows[row].name, "CB")) {
        --made;  // took no context
      } else if (status != TDW_OK && (each->frees != 1 || each->calls))
        failed(__LINE__, rows[row].name);
    }
    if (strstr(rows[row].name, "(o,")) {
      struct context* each = fresh();
      if (call(row, 0, "", 0, each) != TDW_INVALID) failed(__LINE__, rows[row].name);
      if (!strstr(rows[row].name, "CB")) --made;
    }
  }
  tdw_options_destroy(0);
  tdw_free(0);
  CHECK(!tdw_options_complaint(0, 0));
  if (tdw_is_installed()) drain();
}

/// Leaves callbacks of every kind pending, and requests in flight.
static void pending(tdw_options* options) {
  const tdw_delegate delegate = {sizeof delegate, openUrl, 0, 0, 0, 0, 0, 0, fetching};

  CHECK(tdw_options_set_console_sink(options, onLine, fresh(), freed) == TDW_OK);
  CHECK(tdw_options_set_link_opener(options, &opener, fresh(), freed) == TDW_OK);
  CHECK(tdw_observe("name", onNotification, fresh(), freed, 0) == TDW_OK);
  CHECK(tdw_observe_sync(onSync, fresh(), freed, 0) == TDW_OK);
  CHECK(tdw_set_delegate(&delegate, fresh(), freed) == TDW_OK);
  CHECK(tdw_add_interceptor(&delegate, fresh(), freed, 0) == TDW_OK);
  CHECK(tdw_deliver_notification("{}", onFetched, fresh(), freed) == TDW_OK);
  for (int i = 0; i < 20; ++i) {
    CHECK(tdw_send(TDW_SERVICE_INBOX, 0, 0, 0, 0, onReply, fresh(), freed) == TDW_OK);
    CHECK(tdw_main_queue_add(onFunction, fresh(), freed) == TDW_OK);
    CHECK(tdw_download("https://api.tidewell.example/image", onDownload, fresh(), freed) == TDW_OK);
  }
}

static void lateFunction(void* context) {
  called(context, "late", 0);
  tdw_post("name", 0);
  CHECK(tdw_observe("name", onNotification, fresh(), freed, 0) == TDW_UNAVAILABLE);
}
static void freedLate(void* context) {
  lateFunction(context);
  freed(context);
}

static void run(char* command, tdw_options* options) {
  char* argument = strchr(command, ' ');
  if (argument) *argument++ = 0;
  if (!strcmp(command, "install")) {
    printf("%s", tdw_status_name(tdw_install_posix(options)));
  } else if (!strcmp(command, "desktop")) {
    printf("%s", tdw_status_name(tdw_install_desktop(options)));
  } else if (!strcmp(command, "start")) {
    printf("%s", tdw_status_name(tdw_start(argument)));
  } else if (!strcmp(command, "sync")) {
    if (*variable("HOST_LOOP")) {
      struct context* each = fresh();
      tdw_token token = 0;
      CHECK(tdw_wait_for_sync(100000) == TDW_WOULD_DEADLOCK);
      CHECK(tdw_observe_sync(onSync, each, freed, &token) == TDW_OK);
      await(each, 1);
      CHECK(tdw_remove(token) == TDW_OK && each->frees == 1);
    } else {
      CHECK(tdw_wait_for_sync(100000) == TDW_OK);
    }
    char* json = tdw_get_sync_status(0);
    printf("%d %.14s", tdw_get_sync_outcome(), json ? json : "null");
    tdw_free(json);
  } else if (!strcmp(command, "answers")) {
    answers();
  } else if (!strcmp(command, "opt-out")) {
    CHECK(tdw_set_opted_out(atoi(argument), true) == TDW_OK);
    printf("%d", tdw_is_opted_out(atoi(argument)));
  } else if (!strcmp(command, "explain")) {
    printText("", tdw_explain(tdw_gate_question(TDW_GATE_DATA_TRACKING), 0, 0));
  } else if (!strcmp(command, "request")) {
    struct context* each = fresh();
    const tdw_status status =
        tdw_send(TDW_SERVICE_INBOX, "{\"q\":\"1\"}", "{\"X\":\"y\"}", "{\"k\":[1]}", 0, onReply, each, freed);
    if (status == TDW_OK) await(each, 1);
    printf("%s %s", tdw_status_name(status), last);
  } else if (!strcmp(command, "consent")) {
    CHECK((*argument == '1' ? tdw_give_consent() : tdw_revoke_consent()) == TDW_OK);
    printf("%d", tdw_has_consent());
  } else if (!strcmp(command, "reset")) {
    CHECK(tdw_user_reset() == TDW_OK && tdw_update_config() == TDW_OK);
  } else if (!strcmp(command, "ids")) {
    CHECK(tdw_set_push_token("token") == TDW_OK && tdw_set_unique_id(argument) == TDW_OK);
    printText("", tdw_get_text(TDW_TEXT_PUSH_TOKEN, 0));
    printText(" ", tdw_get_text(TDW_TEXT_UNIQUE_ID, 0));
  } else if (!strcmp(command, "messages")) {
    messages();
  } else if (!strcmp(command, "arguments")) {
    arguments(options);
  } else if (!strcmp(command, "pending")) {
    pending(options);
  } else if (!strcmp(command, "end")) {
    tdw_end_callbacks();
    awaitFreed();
    for (int i = 0; i < made; ++i) CHECK(contexts[i].frees == 1);
    drain();  // the functions that were pending are not called any more
    struct context* each = fresh();  // the delegate, which has ended, takes no completion
    CHECK(tdw_deliver_notification("{}", onFetched, each, freed) == TDW_OK && each->frees == 1);
  } else if (!strcmp(command, "late")) {
    CHECK(tdw_observe("name", onNotification, fresh(), freedLate, 0) == TDW_OK);
  } else if (!strcmp(command, "fork")) {
    int status = 1;
    pthread_mutex_lock(&lock);
    const pid_t child = fork();
    if (child == 0) {
      patient = false;
      for (int i = 0; i < made; ++i) contexts[i].frees = 0;
    }
    pthread_mutex_unlock(&lock);
    if (child == 0) exit(0);
    CHECK(waitpid(child, &status, 0) == child && status == 0);
  }
  printf("%s", failures ? " FAILED\n" : "\n");
  fflush(stdout);
}

int main(int count, char** commands) {
  atexit(reportContexts);  // before the first callback, so that it runs after the library's handler
  tdw_options* options = hostOptions();
  for (int i = 1; i < count; ++i) run(commands[i], options);
  tdw_options_destroy(options);
  return failures != 0;
}
