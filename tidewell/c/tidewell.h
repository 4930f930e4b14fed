// SPDX-License-Identifier: Apache-2.0
#ifndef TIDEWELL_C_TIDEWELL_H
#define TIDEWELL_C_TIDEWELL_H

/// \file
/// The C interface of Tidewell Core, for hosts in C and for bindings of other languages. C99 or later, or
/// C++.
///
/// **Threads.** Every function may be called from any thread unless noted. `tdw_wait_for_sync`,
/// `tdw_main_queue_run` and `tdw_end_callbacks` wait; others wait for a file at most, or with the desktop
/// platform for the keyring. The calling thread must not have asynchronous cancellation enabled.
///
/// **Text.** Arguments are NUL-terminated UTF-8 of at most `TDW_MAXIMUM_TEXT` bytes (`TDW_MAXIMUM_JSON` for
/// JSON); ill-formed UTF-8 and longer text are refused with `TDW_INVALID`. The library copies what it keeps.
/// A null pointer means "no value"; functions that need one refuse it. A `char *` result belongs to the
/// caller, who passes it to `tdw_free`. It is NUL-terminated UTF-8; `length` receives its number of bytes
/// unless it is null, since a text may contain further NULs (JSON contains none). The result is null, and the
/// length 0, if there is no value or memory runs out. `const char *` results are static.
///
/// **Failure.** No exception leaves a function, and no argument ends the process. Functions return a status
/// or, where noted, a fallback. An exception inside the library is logged and gives `TDW_FAILED`. Numbers
/// outside an enumeration are refused or give the fallback. Passing a pointer that is neither null nor valid
/// is undefined, as everywhere in C.
///
/// **Callbacks.** A callback is a function with a `context` for it and a `free_context` that releases the
/// context, each of which may be null except the function. `free_context` is called exactly once: after the
/// last call of the callback has returned, on any thread; before the function that took it returns, if the
/// status is not `TDW_OK`; or, if it is still pending then, in `tdw_end_callbacks` or while the process exits
/// (exit, quick_exit, or a return from main). The callback is not called afterwards. The child of a fork
/// frees no context of its parent; _exit and signals free none. Callbacks run with no lock of the library
/// held, and may call every function. Their arguments are valid until they return. They must not throw. Their
/// code must stay loaded until the context is freed.
///
/// **The main queue.** Most callbacks run on the main queue: with `TDW_MAIN_LOOP_OWN_THREAD` on a thread of
/// the library, with `TDW_MAIN_LOOP_HOST` on the thread that calls `tdw_main_queue_poll` or
/// `tdw_main_queue_run`, with the desktop platform on the thread of GLib's default main context.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
/// Marks the functions that the shared library exports.
#define TDW_EXPORT __attribute__((visibility("default")))
#else
#define TDW_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// The maximum length of a text argument in bytes, without its NUL.
#define TDW_MAXIMUM_TEXT 1048576
/// The maximum length of a JSON argument in bytes, without its NUL.
#define TDW_MAXIMUM_JSON 16777216

// Enumerations are passed as 32-bit numbers, so that their size depends on no compiler's options.

/// The result of a call. Later versions may add values; treat an unknown one as `TDW_FAILED`.
enum tdw_statuses {
  TDW_OK = 0,
  TDW_INVALID = 1,            ///< an argument is null, ill-formed, too long or out of range
  TDW_NO_MEMORY = 2,          ///< nothing has changed
  TDW_FAILED = 3,             ///< an exception was caught; the log has its reason
  TDW_NOT_INSTALLED = 4,      ///< no platform is installed, or the SDK is off
  TDW_ALREADY_INSTALLED = 5,  ///< another platform is installed, and remains
  TDW_UNAVAILABLE = 6,        ///< this build or this machine lacks what was asked for
  TDW_TIMED_OUT = 7,
  TDW_WOULD_DEADLOCK = 8,  ///< the wait could not have ended on this thread
  TDW_NOT_FOUND = 9        ///< there is no such token
};
typedef int32_t tdw_status;

/// The name of a status, such as "TDW_INVALID"; "TDW_FAILED" for an unknown number. Never null.
TDW_EXPORT const char* tdw_status_name(tdw_status status);

/// The version of the library, such as "1.0.0". Never null.
TDW_EXPORT const char* tdw_version(void);

/// Frees a `char *` result. Ignores null.
TDW_EXPORT void tdw_free(void* pointer);

/// Releases the context of a callback. Called with the context, which may be null.
typedef void (*tdw_free_context)(void* context);

/// Frees the contexts of all callbacks that are still pending; none of their functions is called afterwards.
/// Waits until those that are running on other threads have returned and their contexts are freed; inside a
/// callback it does not wait, and they are freed there. For runtimes that must not be called while the
/// process exits: call it before the runtime ends, without holding a lock that a callback needs. Callbacks
/// can be registered again afterwards.
TDW_EXPORT void tdw_end_callbacks(void);

/// Identifies an observation, an interceptor or a completion. Never reused. 0 is none.
typedef uint64_t tdw_token;

/// Ends an observation (`tdw_observe`, `tdw_observe_sync`) or removes an interceptor (`tdw_add_interceptor`).
/// Its callback is not called afterwards, except for a call that has begun on another thread. May be called
/// inside the callback.
/// `TDW_NOT_FOUND` for another number, and the second time.
TDW_EXPORT tdw_status tdw_remove(tdw_token token);

// Options and installation.

/// The settings of a platform, given once, at installation. For one thread at a time. All setters return
/// `TDW_INVALID`, and change nothing, for null options and for arguments that are refused. Whether a value is
/// valid is checked by `tdw_options_complaint` and at installation. A null text restores the default.
typedef struct tdw_options tdw_options;

/// Options with default values; null if memory runs out. The caller passes them to `tdw_options_destroy`.
TDW_EXPORT tdw_options* tdw_options_create(void);
/// Ignores null. Options may be destroyed as soon as the installation has returned.
TDW_EXPORT void tdw_options_destroy(tdw_options* options);
/// Why an installation would refuse these options: the option, its value and what would be valid. Null for
/// valid options, and for null.
TDW_EXPORT char* tdw_options_complaint(const tdw_options* options, size_t* length);

/// The identifier of the application, such as "org.example.shop". Required.
TDW_EXPORT tdw_status tdw_options_set_bundle_identifier(tdw_options* options, const char* identifier);
/// The version of the application. Required.
TDW_EXPORT tdw_status tdw_options_set_version(tdw_options* options, const char* version);
/// Further Info.plist values of the application, as a JSON object. Default: none.
TDW_EXPORT tdw_status tdw_options_set_info(tdw_options* options, const char* json);
/// A property list with Info.plist values. Default: "Info.plist" beside the executable, if it exists.
TDW_EXPORT tdw_status tdw_options_set_info_plist_path(tdw_options* options, const char* path);

enum tdw_main_loops {
  TDW_MAIN_LOOP_OWN_THREAD = 0,  ///< a thread of the library runs the main queue
  TDW_MAIN_LOOP_HOST = 1         ///< the host does: `tdw_main_queue_descriptor`, `tdw_main_queue_poll`
};
typedef int32_t tdw_main_loop;
/// Who runs the main queue. Default: `TDW_MAIN_LOOP_OWN_THREAD`. The desktop platform ignores it.
TDW_EXPORT tdw_status tdw_options_set_main_loop(tdw_options* options, tdw_main_loop loop);

/// Receives the text of a log line and its length. It may contain NULs and control characters.
typedef void (*tdw_console_sink)(void* context, const char* text, size_t length);
/// Receives log lines instead of standard error. Called on any thread; may log. A null sink restores the
/// default.
TDW_EXPORT tdw_status tdw_options_set_console_sink(tdw_options* options, tdw_console_sink sink, void* context,
                                                   tdw_free_context free_context);

/// A PEM file of trusted certificates. Default: the environment's or the system's.
TDW_EXPORT tdw_status tdw_options_set_ca_file(tdw_options* options, const char* path);
/// A proxy in curl's syntax; "-" for none. Default: the environment's.
TDW_EXPORT tdw_status tdw_options_set_proxy(tdw_options* options, const char* proxy);
/// A PEM file of certificates trusted for an HTTPS proxy. Default: the environment's or the system's.
TDW_EXPORT tdw_status tdw_options_set_proxy_ca_file(tdw_options* options, const char* path);
/// Redirects connections for one host and port to another port of an IP address; certificates are still
/// checked against the host's name. Replaces an earlier override of the same host and port. Default: none.
TDW_EXPORT tdw_status tdw_options_add_connection_override(tdw_options* options, const char* host,
                                                          uint16_t port, const char* address,
                                                          uint16_t to_port);
/// The largest response body, in bytes after decoding. Default: 16 MiB.
TDW_EXPORT tdw_status tdw_options_set_maximum_body_bytes(tdw_options* options, size_t bytes);

/// Opens links for an application. A table of functions to which later versions may append: `size` is its
/// size in the version that the host was compiled with. A null function counts as one that returns false.
typedef struct tdw_link_opener {
  size_t size;  ///< sizeof(tdw_link_opener)
  /// Whether a program opens the URL. Any thread; must not wait for another program.
  bool (*can_open)(void* context, const char* url);
  /// Opens a URL, on the main queue; returns whether a program accepted it. `universal_links_only` restricts
  /// it to programs that claim the URL by its host. The URL is untrusted: never pass it through a shell.
  bool (*open)(void* context, const char* url, bool universal_links_only);
} tdw_link_opener;
/// The table is copied; `context` is for its functions. A null table restores the default: no links, or with
/// the desktop platform the desktop's programs.
TDW_EXPORT tdw_status tdw_options_set_link_opener(tdw_options* options, const tdw_link_opener* opener,
                                                  void* context, tdw_free_context free_context);
/// Whether links are opened as on systems that have universal links. Default: true.
TDW_EXPORT tdw_status tdw_options_set_modern_link_opening(tdw_options* options, bool is_modern);
/// The screen in logical pixels, for a program without the desktop platform. Refuses negative and infinite
/// numbers. Default: 0.
TDW_EXPORT tdw_status tdw_options_set_screen_size(tdw_options* options, double width, double height);

/// An absolute path used instead of $XDG_DATA_HOME. Default: the environment's.
TDW_EXPORT tdw_status tdw_options_set_data_home(tdw_options* options, const char* path);
/// A prefix for the paths of system files. Default: none.
TDW_EXPORT tdw_status tdw_options_set_system_root(tdw_options* options, const char* path);

/// Whether the SDK is off: no file, thread or socket, and every function answers as before installation.
/// Default: TIDEWELL_DISABLED decides; a value set here wins.
TDW_EXPORT tdw_status tdw_options_set_disabled(tdw_options* options, bool is_disabled);
/// Whether all requests fail at once. Default: TIDEWELL_OFFLINE decides; a value set here wins.
TDW_EXPORT tdw_status tdw_options_set_offline(tdw_options* options, bool is_offline);
/// Whether nothing leaves the device until `tdw_give_consent`. Default: false.
TDW_EXPORT tdw_status tdw_options_set_consent_required(tdw_options* options, bool is_required);

enum tdw_service_hosts {
  TDW_SERVICE_HOST_US = 0,
  TDW_SERVICE_HOST_SERV3 = 1,
  TDW_SERVICE_HOST_EU = 2,
  TDW_SERVICE_HOST_LOGS = 3
};
typedef int32_t tdw_service_host;
/// Replaces a built-in host: a host name or an IPv4 address with an optional port. Default: the built-in
/// host.
TDW_EXPORT tdw_status tdw_options_set_service_host(tdw_options* options, tdw_service_host which,
                                                   const char* host);
/// Whether TIDEWELL_HOST_… replace hosts, for development builds. Default: false.
TDW_EXPORT tdw_status tdw_options_set_hosts_from_environment(tdw_options* options, bool are_used);

/// Desktop platform only: whether foreground and background follow the application's GTK windows. Default:
/// true.
TDW_EXPORT tdw_status tdw_options_set_follows_windows(tdw_options* options, bool follows);
/// Desktop platform only: whether keychain items are stored in the session's Secret Service. Default: true.
TDW_EXPORT tdw_status tdw_options_set_uses_secret_service(tdw_options* options, bool uses);
/// Desktop platform only: after how many seconds a page without content stops loading. Refuses all but
/// positive, finite numbers. Default: 60.
TDW_EXPORT tdw_status tdw_options_set_page_timeout(tdw_options* options, double seconds);

/// Installs the headless platform, once per process, before everything else. `TDW_INVALID` for null and for
/// options with a complaint, which is also written to standard error; `TDW_ALREADY_INSTALLED` if a platform
/// is installed. `TDW_OK` also if the SDK is turned off: see `tdw_is_disabled`.
TDW_EXPORT tdw_status tdw_install_posix(const tdw_options* options);
/// Installs the platform for GTK applications, on the thread that runs GLib's default main context. As
/// `tdw_install_posix`; `TDW_UNAVAILABLE` if the library was built without it, or its module cannot be
/// loaded.
TDW_EXPORT tdw_status tdw_install_desktop(const tdw_options* options);
/// Whether a platform is installed, also by code in another language. False if the SDK is off.
TDW_EXPORT bool tdw_is_installed(void);
/// Whether options or environment turned the SDK off; false before installation.
TDW_EXPORT bool tdw_is_disabled(void);

// The main queue.

/// Receives only its context.
typedef void (*tdw_function)(void* context);
/// A descriptor that is readable while the main queue has functions, for the host's event loop. It belongs to
/// the library. -1 without `TDW_MAIN_LOOP_HOST`.
TDW_EXPORT int tdw_main_queue_descriptor(void);
/// Runs the functions that are on the main queue now, and returns their number. 0 without
/// `TDW_MAIN_LOOP_HOST`, and while another thread runs it. The last thread to run the queue counts as the
/// main thread.
TDW_EXPORT size_t tdw_main_queue_poll(void);
/// Runs the main queue on the calling thread for a duration, and returns the number of functions that it ran.
/// Returns 0 at once without `TDW_MAIN_LOOP_HOST` and for a negative duration.
TDW_EXPORT size_t tdw_main_queue_run(int64_t milliseconds);
/// Runs a function on the main queue, after this call has returned. `TDW_NOT_INSTALLED` without a platform.
TDW_EXPORT tdw_status tdw_main_queue_add(tdw_function function, void* context, tdw_free_context free_context);

/// Reports that the application enters or leaves the foreground. `TDW_NOT_INSTALLED` without a
/// platform that was installed through this interface.
TDW_EXPORT tdw_status tdw_enter_foreground(void);
TDW_EXPORT tdw_status tdw_enter_background(void);

// Start, identity and consent.

/// Starts the SDK, once at launch; does not wait for the network. A null App ID is logged and starts nothing.
TDW_EXPORT tdw_status tdw_start(const char* app_id);
/// Makes the next sync of the configuration due.
TDW_EXPORT tdw_status tdw_user_reset(void);
/// The data centres.
enum tdw_regions { TDW_REGION_SERV3 = 0, TDW_REGION_EUROPE = 1, TDW_REGION_DEFAULT = 2 };
typedef int32_t tdw_region;
/// Sends all further data to another data centre; returns after writing.
TDW_EXPORT tdw_status tdw_set_region(tdw_region region);
/// Fallback: `TDW_REGION_DEFAULT`.
TDW_EXPORT tdw_region tdw_get_region(void);
/// Shares request parameters with the application's extensions. Ignored for "" and while the account is
/// inactive. Null is refused.
TDW_EXPORT tdw_status tdw_set_app_group(const char* app_group);
/// Stores that the user consents to requests (`tdw_options_set_consent_required`), or no longer does.
TDW_EXPORT tdw_status tdw_give_consent(void);
TDW_EXPORT tdw_status tdw_revoke_consent(void);
/// Fallback: false.
TDW_EXPORT bool tdw_has_consent(void);

/// Texts about application, user and device.
enum tdw_texts {
  TDW_TEXT_APP_ID = 0,
  TDW_TEXT_PUSH_TOKEN = 1,
  TDW_TEXT_UNIQUE_ID = 2,         ///< the user's, set by `tdw_set_unique_id`
  TDW_TEXT_SDK_UNIQUE_ID = 3,     ///< of this installation; created on first use
  TDW_TEXT_DEVICE_UNIQUE_ID = 4,  ///< of this device; created on first use
  TDW_TEXT_VENDOR_ID = 5,
  TDW_TEXT_APP_VERSION = 6,
  TDW_TEXT_BUNDLE_IDENTIFIER = 7,
  TDW_TEXT_SDK_VERSION = 8,
  TDW_TEXT_DEVICE_MODEL = 9,
  TDW_TEXT_SYSTEM_VERSION = 10,
  TDW_TEXT_DEVICE_NAME = 11,
  TDW_TEXT_LOG_TOKEN = 12  ///< of the configuration, for the log service
};
typedef int32_t tdw_text;
/// Null for no value and an unknown number. `length` may be null.
TDW_EXPORT char* tdw_get_text(tdw_text which, size_t* length);
/// Stores the push token, or the user's ID; null removes it. Returns after writing.
TDW_EXPORT tdw_status tdw_set_push_token(const char* token);
TDW_EXPORT tdw_status tdw_set_unique_id(const char* unique_id);

// Syncs of the configuration.

/// The outcome of a sync.
enum tdw_sync_outcomes {
  TDW_SYNC_NEVER_TRIED = 0,
  TDW_SYNC_NOT_DUE = 1,
  TDW_SYNC_IN_FLIGHT = 2,
  TDW_SYNC_SYNCED = 3,
  TDW_SYNC_UNUSABLE_REPLY = 4,
  TDW_SYNC_MERGE_STOPPED = 5,
  TDW_SYNC_FAILED = 6
};
typedef int32_t tdw_sync_outcome;
/// Downloads and merges the configuration if that is due; does not wait.
TDW_EXPORT tdw_status tdw_update_config(void);
/// Fallback: `TDW_SYNC_NEVER_TRIED`.
TDW_EXPORT tdw_sync_outcome tdw_get_sync_outcome(void);
/// The status as a JSON object: "outcome" and "lastResult" (numbers of `tdw_sync_outcomes`), "detail",
/// "httpStatus" (0 without a response), and if known "lastAttempt", "lastSuccess", "nextDue" (seconds since
/// 1970) and "error" ("domain", "code", "description"). Later versions may add keys.
TDW_EXPORT char* tdw_get_sync_status(size_t* length);
/// Receives the outcome, and the status as `tdw_get_sync_status` returns it.
typedef void (*tdw_sync_observer)(void* context, tdw_sync_outcome outcome, const char* status_json);
/// Calls the observer on the main queue after each change of the status, until `tdw_remove`. `token` may be
/// null for an observation that lasts as long as the process.
TDW_EXPORT tdw_status tdw_observe_sync(tdw_sync_observer observer, void* context,
                                       tdw_free_context free_context, tdw_token* token);
/// For programs that end soon: waits until the syncs under way have ended, at most that long (a negative time
/// counts as 0). `TDW_OK` if none is in flight, `TDW_TIMED_OUT`, or `TDW_WOULD_DEADLOCK` on the thread of the
/// main queue. With `TDW_MAIN_LOOP_HOST` another thread must run the main queue.
TDW_EXPORT tdw_status tdw_wait_for_sync(int64_t milliseconds);

// The configuration.

/// Gates. All but the first are false while the account is blocked.
enum tdw_gates {
  TDW_GATE_ACCOUNT_ACTIVE = 0,
  TDW_GATE_IN_APP = 1,
  TDW_GATE_GEOFENCE = 2,
  TDW_GATE_INBOX = 3,
  TDW_GATE_LOG_ENTRIES = 4,
  TDW_GATE_PERIODIC_SYNC = 5,
  TDW_GATE_DEVICE_TRIGGER = 6,
  TDW_GATE_DATA_TRACKING = 7,
  TDW_GATE_USER_PUSH = 8,
  TDW_GATE_USER_IN_APP = 9
};
typedef int32_t tdw_gate;
/// The answer of a gate; never waits, but for the file of the configuration at the first use. Fallback, for
/// an unknown number or if memory runs out: false.
TDW_EXPORT bool tdw_is_open(tdw_gate gate);
/// The question by which `tdw_explain` knows a gate, such as "isAccountActive"; null for an unknown number.
TDW_EXPORT const char* tdw_gate_question(tdw_gate gate);

/// Lists of the configuration.
enum tdw_lists {
  TDW_LIST_BLACKLISTED_EVENTS = 0,
  TDW_LIST_INSTANT_FLUSH_EVENTS = 1,
  TDW_LIST_WHITELISTED_EVENTS = 2,
  TDW_LIST_SOURCE_EXTRA_KEYS = 3,
  TDW_LIST_RESTRICTED_ID_EXPRESSIONS = 4
};
typedef int32_t tdw_list;
/// Whether an event is in one of the first three lists; waits as `tdw_is_open`. Fallback, for another list
/// and for text that is null or refused: false.
TDW_EXPORT bool tdw_event_is_in(tdw_list list, const char* event);
/// The value as JSON. A configuration may hold a value that is no list. Null if not set.
TDW_EXPORT char* tdw_get_list(tdw_list list, size_t* length);

/// Numbers of the configuration, in seconds except the last.
enum tdw_numbers {
  TDW_NUMBER_INBOX_EXPIRY = 0,
  TDW_NUMBER_PERIODIC_SYNC = 1,
  TDW_NUMBER_TRIGGER_SYNC = 2,
  TDW_NUMBER_ATTRIBUTE_CACHING = 3,
  TDW_NUMBER_SESSION_INACTIVE = 4,
  TDW_NUMBER_EVENTS_PER_BATCH = 5
};
typedef int32_t tdw_number;
/// Fallback: 0.
TDW_EXPORT int64_t tdw_get_number(tdw_number which);

enum tdw_restrictions {
  TDW_RESTRICTION_NONE = 0,
  TDW_RESTRICTION_RESTRICTED = 1,
  TDW_RESTRICTION_INVALID_EXPRESSION =
      2  ///< the configuration has an invalid expression before the first match
};
typedef int32_t tdw_restriction;
/// Whether the configuration forbids this ID for a user. Fallback, for text that is null or refused:
/// `TDW_RESTRICTION_RESTRICTED`.
TDW_EXPORT tdw_restriction tdw_get_restriction(const char* unique_id);

/// Explains step by step what a question returns now, as a JSON object: "question", "answer" ("no", "yes",
/// "raises"), "steps", "omittedSteps". `question` is one of `tdw_gate_question`, "isEventBlackListed",
/// "isEventInstantFlushEvent", "isEventWhitelistedEvent" or "isUniqueIDRestricted", `argument` the event or
/// ID it is asked about. Null for another question, and for text that is refused. May wait for a file.
TDW_EXPORT char* tdw_explain(const char* question, const char* argument, size_t* length);

/// The features that a user can opt out of.
enum tdw_opt_outs { TDW_OPT_OUT_DATA_TRACKING = 0, TDW_OPT_OUT_PUSH = 1, TDW_OPT_OUT_IN_APP = 2 };
typedef int32_t tdw_opt_out;
/// Returns after writing.
TDW_EXPORT tdw_status tdw_set_opted_out(tdw_opt_out which, bool is_opted_out);
/// Fallback: false.
TDW_EXPORT bool tdw_is_opted_out(tdw_opt_out which);

// Requests.

/// The services of the backend.
enum tdw_services {
  TDW_SERVICE_GET_CONFIG = 0,
  TDW_SERVICE_DEVICE_ADD = 1,
  TDW_SERVICE_SEND_REPORTS = 2,
  TDW_SERVICE_GET_IN_APP_META = 3,
  TDW_SERVICE_GET_IN_APP_PAYLOAD = 4,
  TDW_SERVICE_GET_TEST_IN_APP_PAYLOAD = 5,
  TDW_SERVICE_SEND_IN_APP_STATS = 6,
  TDW_SERVICE_INBOX = 7,
  TDW_SERVICE_SEND_CATEGORIES = 8,
  TDW_SERVICE_OFFLINE_TRIGGERS_SYNC = 9,
  TDW_SERVICE_USER_IN_SEGMENT = 10,
  TDW_SERVICE_GEOFENCE_HIT = 11,
  TDW_SERVICE_GET_GEOFENCES = 12,
  TDW_SERVICE_SEND_LOGS = 13
};
typedef int32_t tdw_service;
/// The parameters that identify application, user and device, as a JSON object for the body's "query_params".
/// Null for an unknown service, and if they cannot be built.
TDW_EXPORT char* tdw_get_parameters(tdw_service service, size_t* length);
/// Receives whether a request succeeded, and the reply as JSON: null if it failed or there is none. A reply
/// is valid JSON of any shape.
typedef void (*tdw_reply)(void* context, bool success, const char* json);
/// Sends a request. `parameters` (of the URL), `headers` and `body` are JSON objects or null; the values of
/// the first two are strings. `path_component` is appended to the service's path. The reply comes exactly
/// once, on the main queue (for the log service on a thread of the library), unless the status is not
/// `TDW_OK` or the callbacks end first (`tdw_end_callbacks`, exit). A null `reply` is allowed.
TDW_EXPORT tdw_status tdw_send(tdw_service service, const char* parameters, const char* headers,
                               const char* body, const char* path_component, tdw_reply reply, void* context,
                               tdw_free_context free_context);
/// Receives whether a download succeeded, and the bytes that arrived: null if there are none.
typedef void (*tdw_download_reply)(void* context, bool success, const uint8_t* bytes, size_t length);
/// Downloads a file, such as the image of a campaign. The reply comes on a thread of the library. Refuses
/// text that is no URL.
TDW_EXPORT tdw_status tdw_download(const char* url, tdw_download_reply reply, void* context,
                                   tdw_free_context free_context);

// Log lines.

enum tdw_log_levels {
  TDW_LOG_LEVEL_OFF = 0,
  TDW_LOG_LEVEL_DEBUG = 1,  ///< every line
  TDW_LOG_LEVEL_EXCEPTIONS_AND_ERRORS = 2
};
typedef int32_t tdw_log_level;
/// TIDEWELL_LOG in the environment wins. Default: off.
TDW_EXPORT tdw_status tdw_set_log_level(tdw_log_level level);
enum tdw_severities {
  TDW_SEVERITY_NONE = 0,
  TDW_SEVERITY_DEBUG = 1,
  TDW_SEVERITY_INFO = 2,
  TDW_SEVERITY_WARNING = 3,
  TDW_SEVERITY_EXCEPTION = 4,
  TDW_SEVERITY_ERROR = 5
};
typedef int32_t tdw_severity;
/// Whether a line of this severity would be written now; costs next to nothing. False for an unknown number.
TDW_EXPORT bool tdw_log_writes(tdw_severity severity);
/// Writes a line to the console, if the level permits. Null is refused.
TDW_EXPORT tdw_status tdw_log(tdw_severity severity, const char* message);
/// The same, and sends the line with a stack trace (or null) to the log service if the configuration enables
/// that, whatever the level: it must not contain data that may not leave the device. Does not wait.
TDW_EXPORT tdw_status tdw_log_and_ship(tdw_severity severity, const char* message, const char* stack_trace);

// Notifications inside the application.

/// Makes the next sync due. Observed by the library.
#define TDW_NOTIFICATION_USER_RESET "TW_USER_RESET_NOTIFICATION"
/// Asks for a sync if that is due. Observed by the library.
#define TDW_NOTIFICATION_UPDATE_MODULES "TW_USER_UPDATE_MODULES_NOTIFICATION"
/// Posted when the SDK is started with another App ID than the stored one.
#define TDW_NOTIFICATION_APP_ID_CHANGED "TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION"
/// For sibling modules.
#define TDW_NOTIFICATION_INIT_NEW_USER "TW_USER_INIT_NOTIFICATION"
/// For sibling modules.
#define TDW_NOTIFICATION_SHOW_IN_APP "TW_SHOW_INAPP_NOTIFICATION"
/// Posted when the application enters the foreground.
#define TDW_NOTIFICATION_FOREGROUND "UIApplicationWillEnterForegroundNotification"
/// Posted when the application leaves the foreground.
#define TDW_NOTIFICATION_BACKGROUND "UIApplicationDidEnterBackgroundNotification"

/// Calls the observers of a name on this thread, with a JSON text of any kind, or null. A null name is
/// refused.
TDW_EXPORT tdw_status tdw_post(const char* name, const char* user_info);
/// Receives the name of a notification and its information as JSON: null if there is none.
typedef void (*tdw_observer)(void* context, const char* name, const char* user_info);
/// Calls the observer on the posting thread for each notification of that name, until `tdw_remove`. `token`
/// may be null for an observation that lasts as long as the process.
TDW_EXPORT tdw_status tdw_observe(const char* name, tdw_observer observer, void* context,
                                  tdw_free_context free_context, tdw_token* token);

// The application's delegate, and interceptors of sibling modules.

/// The messages to an application: the methods of a delegate or an interceptor. A table of functions to which
/// later versions may append: `size` is its size in the version that the host was compiled with. A null
/// function means that the object does not respond to the message. All are called on the thread that delivers
/// the message: the main thread. JSON arguments are objects unless noted.
typedef struct tdw_delegate {
  size_t size;  ///< sizeof(tdw_delegate)
  /// Opens a URL; returns whether it did.
  bool (*open_url)(void* context, const char* url, const char* options);
  /// The same for delegates without `open_url`; `source` may be null, `annotation` is JSON of any kind or
  /// null.
  bool (*open_url_from_source)(void* context, const char* url, const char* source, const char* annotation);
  /// Continues an activity of the user; returns whether it did. `url` may be null. `completion` takes what
  /// was restored: `tdw_complete_restoring`.
  bool (*continue_activity)(void* context, const char* type, const char* url, tdw_token completion);
  /// Transfers of a background session have ended: `tdw_complete` when they are processed.
  void (*handle_background_events)(void* context, const char* identifier, tdw_token completion);
  /// Remote notifications: the device's token, or why there is none.
  void (*did_register)(void* context, const uint8_t* token, size_t length);
  void (*did_fail_to_register)(void* context, const char* domain, int64_t code, const char* description);
  /// A notification has arrived.
  void (*did_receive)(void* context, const char* user_info);
  /// The same with content to fetch: `tdw_complete_fetching` when that is done.
  void (*did_receive_fetching)(void* context, const char* user_info, tdw_token completion);
} tdw_delegate;

/// Makes a table the application's delegate, on the main thread. The table is copied, and kept until another
/// one is set. Null removes the delegate (and frees `context` at once). `TDW_NOT_INSTALLED` without a
/// platform, `TDW_INVALID` for a table whose size is too small for its first function.
TDW_EXPORT tdw_status tdw_set_delegate(const tdw_delegate* delegate, void* context,
                                       tdw_free_context free_context);
/// Registers an interceptor, which receives the proxied messages before the delegate, until `tdw_remove`. The
/// table is copied; null is refused. `token` may be null for one that lasts as long as the process.
TDW_EXPORT tdw_status tdw_add_interceptor(const tdw_delegate* interceptor, void* context,
                                          tdw_free_context free_context, tdw_token* token);
/// Which messages the proxy forwards to interceptors.
enum tdw_proxies {
  TDW_PROXY_LINKS = 0,             ///< opened URLs, activities and background sessions
  TDW_PROXY_AND_NOTIFICATIONS = 1  ///< remote notifications, too
};
typedef int32_t tdw_proxy;
/// Proxies the current delegate, once per process; on the main thread.
TDW_EXPORT tdw_status tdw_proxy_delegate(tdw_proxy which);
/// Lets `tdw_proxy_delegate` run again, for a delegate that was set since.
TDW_EXPORT tdw_status tdw_reset_proxy(void);

/// The result of a background fetch.
enum tdw_fetch_results { TDW_FETCH_NEW_DATA = 0, TDW_FETCH_NO_DATA = 1, TDW_FETCH_FAILED = 2 };
typedef int32_t tdw_fetch_result;
/// Calls the completion that a delegate or an interceptor has received, also after its function has returned.
/// A completion that is never called is kept until the process ends. `TDW_NOT_FOUND` for another number, for
/// a completion of another kind, and the second time.
TDW_EXPORT tdw_status tdw_complete(tdw_token completion);
TDW_EXPORT tdw_status tdw_complete_fetching(tdw_token completion, tdw_fetch_result result);
/// `objects` is a JSON array, or null for none.
TDW_EXPORT tdw_status tdw_complete_restoring(tdw_token completion, const char* objects);

// Messages that the host delivers to its application, on the main thread. `TDW_NOT_INSTALLED` without a
// platform. `handled` receives the delegate's answer unless it is null; false if the call fails.

/// `options` is a JSON object or null.
TDW_EXPORT tdw_status tdw_deliver_url(const char* url, const char* options, bool* handled);
/// Receives the objects that the delegate restored, as a JSON array. May be called several times, or not at
/// all.
typedef void (*tdw_restored)(void* context, const char* objects);
/// `url` may be null. A null `restored` is allowed.
TDW_EXPORT tdw_status tdw_deliver_activity(const char* type, const char* url, tdw_restored restored,
                                           void* context, tdw_free_context free_context, bool* handled);
/// `completed` is called when the delegate has processed the events, or at once if it does not respond. A
/// null `completed` is allowed.
TDW_EXPORT tdw_status tdw_deliver_background_events(const char* identifier, tdw_function completed,
                                                    void* context, tdw_free_context free_context);
/// Null bytes are refused unless the length is 0.
TDW_EXPORT tdw_status tdw_deliver_device_token(const uint8_t* token, size_t length);
/// Null text is refused.
TDW_EXPORT tdw_status tdw_deliver_registration_error(const char* domain, int64_t code,
                                                     const char* description);
/// Receives the result of a fetch; once for each delegate and interceptor that completes it.
typedef void (*tdw_fetched)(void* context, tdw_fetch_result result);
/// `user_info` is a JSON object. A null `fetched` is allowed.
TDW_EXPORT tdw_status tdw_deliver_notification(const char* user_info, tdw_fetched fetched, void* context,
                                               tdw_free_context free_context);

// Links, pages and alerts. Each function returns before anything is shown; what fails later is logged.

/// How a link is opened.
enum tdw_links {
  TDW_LINK_DEEP = 0,       ///< by the program that claims it, otherwise by its ordinary handler
  TDW_LINK_LEGACY = 1,     ///< the same on systems without universal links
  TDW_LINK_UNIVERSAL = 2,  ///< by the application's own delegate, as an activity
  TDW_LINK_CUSTOM = 3,     ///< by its ordinary handler
  TDW_LINK_PAGE = 4        ///< in the in-app browser
};
typedef int32_t tdw_link;
/// Refuses text that is no URL.
TDW_EXPORT tdw_status tdw_open_link(tdw_link how, const char* url);
/// Closes the page that was opened last.
TDW_EXPORT tdw_status tdw_close_page(bool is_animated);
/// Shows an alert with one button, on the main queue. Message and title may be null. `TDW_NOT_INSTALLED`
/// without a platform.
TDW_EXPORT tdw_status tdw_show_alert(const char* message, const char* title);
/// The size of the screen in logical pixels; 0 without a screen. Null pointers are allowed.
TDW_EXPORT tdw_status tdw_get_screen_size(double* width, double* height);

#ifdef __cplusplus
}
#endif

#endif
