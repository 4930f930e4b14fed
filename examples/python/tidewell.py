# SPDX-License-Identifier: Apache-2.0
"""Tidewell Core for hosts in Python: the C interface (tidewell/c/tidewell.h) through ctypes.

Functions have the names of the C interface without its prefix. Each one may be called from any thread. A call that the library refuses
raises `TidewellError`; text with a NUL raises `ValueError`, and an argument of another type or a number that its type cannot hold
`ctypes.ArgumentError`. Callbacks run on the thread that the function names; what they raise is printed, because an exception cannot pass
through C.

How the binding works, for those who write one for another language:

- A callback's context is a number, the key of the Python object in `_pinned`. The library's call of `_unpin` removes the object, also if
  it refuses the callback.
- The C functions that call back into Python exist once per kind of callback and are never freed, so the library never holds a pointer
  to a function that is gone.
- C ends a text at its first NUL, so texts with a NUL are refused here.
- ctypes truncates integers to the size of their type, so integers that do not fit are refused here, too.
- Texts that the library returns are copied and freed at once.
- ctypes releases the interpreter's lock during every call, so a callback on a thread of the library can take it.
- `atexit` ends all callbacks before the interpreter ends, because none may run after that.
"""

from __future__ import annotations

import asyncio
import atexit
import ctypes
import enum
import itertools
import json
import os
import traceback
from collections.abc import Callable, Iterator, Mapping, Sequence
from contextlib import contextmanager
from ctypes import CFUNCTYPE, POINTER, c_bool, c_char_p, c_double, c_int32, c_int64, c_size_t, c_uint16, c_uint64, c_void_p
from dataclasses import dataclass, field
from typing import Any, NoReturn, Protocol

Json = Any
JsonObject = Mapping[str, Any]


class Status(enum.IntEnum):
    """The result of a call."""

    OK = 0
    INVALID = 1
    NO_MEMORY = 2
    FAILED = 3
    NOT_INSTALLED = 4
    ALREADY_INSTALLED = 5
    UNAVAILABLE = 6
    TIMED_OUT = 7
    WOULD_DEADLOCK = 8
    NOT_FOUND = 9

    @classmethod
    def _missing_(cls, value: object) -> Status:
        """Later versions of the library may know more."""
        return cls.FAILED


class MainLoop(enum.IntEnum):
    """Which thread runs the main queue."""

    OWN_THREAD = 0
    HOST = 1


class ServiceHost(enum.IntEnum):
    """Hosts of the backend."""

    US = 0
    SERV3 = 1
    EU = 2
    LOGS = 3


class Region(enum.IntEnum):
    """Data centres."""

    SERV3 = 0
    EUROPE = 1
    DEFAULT = 2


class Text(enum.IntEnum):
    """Texts about application, user and device."""

    APP_ID = 0
    PUSH_TOKEN = 1
    UNIQUE_ID = 2
    SDK_UNIQUE_ID = 3
    DEVICE_UNIQUE_ID = 4
    VENDOR_ID = 5
    APP_VERSION = 6
    BUNDLE_IDENTIFIER = 7
    SDK_VERSION = 8
    DEVICE_MODEL = 9
    SYSTEM_VERSION = 10
    DEVICE_NAME = 11
    LOG_TOKEN = 12


class SyncOutcome(enum.IntEnum):
    """The result of a sync."""

    NEVER_TRIED = 0
    NOT_DUE = 1
    IN_FLIGHT = 2
    SYNCED = 3
    UNUSABLE_REPLY = 4
    MERGE_STOPPED = 5
    FAILED = 6


class Gate(enum.IntEnum):
    """Gates of the configuration. All but the first are closed while the account is blocked."""

    ACCOUNT_ACTIVE = 0
    IN_APP = 1
    GEOFENCE = 2
    INBOX = 3
    LOG_ENTRIES = 4
    PERIODIC_SYNC = 5
    DEVICE_TRIGGER = 6
    DATA_TRACKING = 7
    USER_PUSH = 8
    USER_IN_APP = 9


class List(enum.IntEnum):
    """Lists of the configuration."""

    BLACKLISTED_EVENTS = 0
    INSTANT_FLUSH_EVENTS = 1
    WHITELISTED_EVENTS = 2
    SOURCE_EXTRA_KEYS = 3
    RESTRICTED_ID_EXPRESSIONS = 4


class Number(enum.IntEnum):
    """Numbers of the configuration: seconds, except the last."""

    INBOX_EXPIRY = 0
    PERIODIC_SYNC = 1
    TRIGGER_SYNC = 2
    ATTRIBUTE_CACHING = 3
    SESSION_INACTIVE = 4
    EVENTS_PER_BATCH = 5


class Restriction(enum.IntEnum):
    """Whether an ID is forbidden for a user."""

    NONE = 0
    RESTRICTED = 1
    INVALID_EXPRESSION = 2


class OptOut(enum.IntEnum):
    """What the user can opt out of."""

    DATA_TRACKING = 0
    PUSH = 1
    IN_APP = 2


class Service(enum.IntEnum):
    """Services of the backend."""

    GET_CONFIG = 0
    DEVICE_ADD = 1
    SEND_REPORTS = 2
    GET_IN_APP_META = 3
    GET_IN_APP_PAYLOAD = 4
    GET_TEST_IN_APP_PAYLOAD = 5
    SEND_IN_APP_STATS = 6
    INBOX = 7
    SEND_CATEGORIES = 8
    OFFLINE_TRIGGERS_SYNC = 9
    USER_IN_SEGMENT = 10
    GEOFENCE_HIT = 11
    GET_GEOFENCES = 12
    SEND_LOGS = 13


class LogLevel(enum.IntEnum):
    """Which log lines are written."""

    OFF = 0
    DEBUG = 1
    EXCEPTIONS_AND_ERRORS = 2


class Severity(enum.IntEnum):
    """The severity of a log line."""

    NONE = 0
    DEBUG = 1
    INFO = 2
    WARNING = 3
    EXCEPTION = 4
    ERROR = 5


class Proxy(enum.IntEnum):
    """Which messages the proxy forwards to interceptors."""

    LINKS = 0
    AND_NOTIFICATIONS = 1


class FetchResult(enum.IntEnum):
    """The result of a background fetch."""

    NEW_DATA = 0
    NO_DATA = 1
    FAILED = 2


class Link(enum.IntEnum):
    """How a link is opened."""

    DEEP = 0
    LEGACY = 1
    UNIVERSAL = 2
    CUSTOM = 3
    PAGE = 4


NOTIFICATION_USER_RESET = "TW_USER_RESET_NOTIFICATION"
NOTIFICATION_UPDATE_MODULES = "TW_USER_UPDATE_MODULES_NOTIFICATION"
NOTIFICATION_APP_ID_CHANGED = "TW_USER_RESET_ON_APP_ID_CHANGE_NOTIFICATION"
NOTIFICATION_INIT_NEW_USER = "TW_USER_INIT_NOTIFICATION"
NOTIFICATION_SHOW_IN_APP = "TW_SHOW_INAPP_NOTIFICATION"
NOTIFICATION_FOREGROUND = "UIApplicationWillEnterForegroundNotification"
NOTIFICATION_BACKGROUND = "UIApplicationDidEnterBackgroundNotification"


class TidewellError(Exception):
    """The library refused a call."""

    def __init__(self, status: Status, reason: str | None = None) -> None:
        super().__init__(f"TDW_{status.name}" + (f": {reason}" if reason else ""))
        self.status = status


# Callbacks.

_pinned: dict[int, Any] = {}  # the objects of the callbacks, by their contexts
_numbers = itertools.count(1)  # 0 would be a null pointer


def _release(context: int) -> None:
    _pinned.pop(context, None)


_FREE = CFUNCTYPE(None, c_void_p)
_unpin = _FREE(_release)  # passed as `free_context` with every context


def _call_pinned(target: Any, call: Callable[[int], Any]) -> None:
    """Calls a function of the library with the context of a Python object, which is kept until the library frees the context."""
    context = next(_numbers)
    _pinned[context] = target
    try:
        status = call(context)
    except ctypes.ArgumentError:  # the library was not called, so it does not free the context either
        _release(context)
        raise
    _check(status)


def _callback(result: Any, *arguments: Any) -> Callable[[Callable[..., Any]], Any]:
    """Makes a C function of a Python one. The first argument, a context in C, is the pinned object in Python."""

    def decorate(function: Callable[..., Any]) -> Any:
        def called(context: int, *values: Any) -> Any:
            try:
                return function(_pinned[context], *values)
            except BaseException:
                traceback.print_exc()
                return False

        return CFUNCTYPE(result, c_void_p, *arguments)(called)

    return decorate


def _str(text: bytes | None) -> str | None:
    return None if text is None else text.decode()


def _value(text: bytes | None) -> Json:
    return None if text is None else json.loads(text)


@_callback(None)
def _run(function: Callable[[], object]) -> None:
    function()


@_callback(None, c_void_p, c_size_t)
def _write_line(sink: Callable[[str], object], text: int, length: int) -> None:
    sink(ctypes.string_at(text, length).decode(errors="replace"))


@_callback(c_bool, c_char_p)
def _can_open(opener: LinkOpener, url: bytes) -> bool:
    return opener.can_open(url.decode())


@_callback(c_bool, c_char_p, c_bool)
def _open(opener: LinkOpener, url: bytes, universal_links_only: bool) -> bool:
    return opener.open(url.decode(), universal_links_only)


@_callback(None, c_int32, c_char_p)
def _see_sync(observer: Callable[[SyncStatus], object], outcome: int, status: bytes) -> None:
    observer(SyncStatus._from_json(_value(status)))


@_callback(None, c_bool, c_char_p)
def _reply(reply: Callable[[Reply], object], success: bool, body: bytes | None) -> None:
    reply(Reply(success, _value(body)))


@_callback(None, c_bool, c_void_p, c_size_t)
def _downloaded(reply: Callable[[bytes | None], object], success: bool, data: int | None, length: int) -> None:
    reply(ctypes.string_at(data, length) if success and data else b"" if success else None)


@_callback(None, c_char_p, c_char_p)
def _notified(observer: Callable[[str, Json], object], name: bytes, user_info: bytes | None) -> None:
    observer(name.decode(), _value(user_info))


@_callback(None, c_char_p)
def _restored(restored: Callable[[list[Json]], object], objects: bytes) -> None:
    restored(_value(objects))


@_callback(None, c_int32)
def _fetched(fetched: Callable[[FetchResult], object], result: int) -> None:
    fetched(FetchResult(result))


# The messages of a delegate, in the order of the C table.
_MESSAGES = {
    "open_url": _callback(c_bool, c_char_p, c_char_p)(
        lambda delegate, url, options: delegate.open_url(_str(url), _value(options))),
    "open_url_from_source": _callback(c_bool, c_char_p, c_char_p, c_char_p)(
        lambda delegate, url, source, annotation: delegate.open_url_from_source(_str(url), _str(source), _value(annotation))),
    "continue_activity": _callback(c_bool, c_char_p, c_char_p, c_uint64)(
        lambda delegate, kind, url, completion: delegate.continue_activity(_str(kind), _str(url), _completing_restoring(completion))),
    "handle_background_events": _callback(None, c_char_p, c_uint64)(
        lambda delegate, identifier, completion: delegate.handle_background_events(_str(identifier), _completing(completion))),
    "did_register": _callback(None, c_void_p, c_size_t)(
        lambda delegate, token, length: delegate.did_register(ctypes.string_at(token, length) if token else b"")),
    "did_fail_to_register": _callback(None, c_char_p, c_int64, c_char_p)(
        lambda delegate, domain, code, description: delegate.did_fail_to_register(_str(domain), code, _str(description))),
    "did_receive": _callback(None, c_char_p)(
        lambda delegate, user_info: delegate.did_receive(_value(user_info))),
    "did_receive_fetching": _callback(None, c_char_p, c_uint64)(
        lambda delegate, user_info, completion: delegate.did_receive_fetching(_value(user_info), _completing_fetching(completion))),
}


class _DelegateTable(ctypes.Structure):
    _fields_ = [("size", c_size_t), *((name, type(function)) for name, function in _MESSAGES.items())]


class _LinkOpenerTable(ctypes.Structure):
    _fields_ = [("size", c_size_t), ("can_open", type(_can_open)), ("open", type(_open))]


# The library.

_LENGTH = POINTER(c_size_t)
_TOKEN = POINTER(c_uint64)

# The functions: result and arguments. A text that the library returns is a `c_void_p`, because ctypes would turn a `c_char_p` into
# bytes and lose the pointer that has to be freed.
_PROTOTYPES: dict[str, tuple[Any, ...]] = {
    "tdw_status_name": (c_char_p, c_int32),
    "tdw_version": (c_char_p,),
    "tdw_free": (None, c_void_p),
    "tdw_end_callbacks": (None,),
    "tdw_remove": (c_int32, c_uint64),
    "tdw_options_create": (c_void_p,),
    "tdw_options_destroy": (None, c_void_p),
    "tdw_options_complaint": (c_void_p, c_void_p, _LENGTH),
    "tdw_options_set_bundle_identifier": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_version": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_info": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_info_plist_path": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_main_loop": (c_int32, c_void_p, c_int32),
    "tdw_options_set_console_sink": (c_int32, c_void_p, type(_write_line), c_void_p, _FREE),
    "tdw_options_set_ca_file": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_proxy": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_proxy_ca_file": (c_int32, c_void_p, c_char_p),
    "tdw_options_add_connection_override": (c_int32, c_void_p, c_char_p, c_uint16, c_char_p, c_uint16),
    "tdw_options_set_maximum_body_bytes": (c_int32, c_void_p, c_size_t),
    "tdw_options_set_link_opener": (c_int32, c_void_p, POINTER(_LinkOpenerTable), c_void_p, _FREE),
    "tdw_options_set_modern_link_opening": (c_int32, c_void_p, c_bool),
    "tdw_options_set_screen_size": (c_int32, c_void_p, c_double, c_double),
    "tdw_options_set_data_home": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_system_root": (c_int32, c_void_p, c_char_p),
    "tdw_options_set_disabled": (c_int32, c_void_p, c_bool),
    "tdw_options_set_offline": (c_int32, c_void_p, c_bool),
    "tdw_options_set_consent_required": (c_int32, c_void_p, c_bool),
    "tdw_options_set_service_host": (c_int32, c_void_p, c_int32, c_char_p),
    "tdw_options_set_hosts_from_environment": (c_int32, c_void_p, c_bool),
    "tdw_options_set_follows_windows": (c_int32, c_void_p, c_bool),
    "tdw_options_set_uses_secret_service": (c_int32, c_void_p, c_bool),
    "tdw_options_set_page_timeout": (c_int32, c_void_p, c_double),
    "tdw_install_posix": (c_int32, c_void_p),
    "tdw_install_desktop": (c_int32, c_void_p),
    "tdw_is_installed": (c_bool,),
    "tdw_is_disabled": (c_bool,),
    "tdw_main_queue_descriptor": (ctypes.c_int,),
    "tdw_main_queue_poll": (c_size_t,),
    "tdw_main_queue_run": (c_size_t, c_int64),
    "tdw_main_queue_add": (c_int32, type(_run), c_void_p, _FREE),
    "tdw_enter_foreground": (c_int32,),
    "tdw_enter_background": (c_int32,),
    "tdw_start": (c_int32, c_char_p),
    "tdw_user_reset": (c_int32,),
    "tdw_set_region": (c_int32, c_int32),
    "tdw_get_region": (c_int32,),
    "tdw_set_app_group": (c_int32, c_char_p),
    "tdw_give_consent": (c_int32,),
    "tdw_revoke_consent": (c_int32,),
    "tdw_has_consent": (c_bool,),
    "tdw_get_text": (c_void_p, c_int32, _LENGTH),
    "tdw_set_push_token": (c_int32, c_char_p),
    "tdw_set_unique_id": (c_int32, c_char_p),
    "tdw_update_config": (c_int32,),
    "tdw_get_sync_outcome": (c_int32,),
    "tdw_get_sync_status": (c_void_p, _LENGTH),
    "tdw_observe_sync": (c_int32, type(_see_sync), c_void_p, _FREE, _TOKEN),
    "tdw_wait_for_sync": (c_int32, c_int64),
    "tdw_is_open": (c_bool, c_int32),
    "tdw_gate_question": (c_char_p, c_int32),
    "tdw_event_is_in": (c_bool, c_int32, c_char_p),
    "tdw_get_list": (c_void_p, c_int32, _LENGTH),
    "tdw_get_number": (c_int64, c_int32),
    "tdw_get_restriction": (c_int32, c_char_p),
    "tdw_explain": (c_void_p, c_char_p, c_char_p, _LENGTH),
    "tdw_set_opted_out": (c_int32, c_int32, c_bool),
    "tdw_is_opted_out": (c_bool, c_int32),
    "tdw_get_parameters": (c_void_p, c_int32, _LENGTH),
    "tdw_send": (c_int32, c_int32, c_char_p, c_char_p, c_char_p, c_char_p, type(_reply), c_void_p, _FREE),
    "tdw_download": (c_int32, c_char_p, type(_downloaded), c_void_p, _FREE),
    "tdw_set_log_level": (c_int32, c_int32),
    "tdw_log_writes": (c_bool, c_int32),
    "tdw_log": (c_int32, c_int32, c_char_p),
    "tdw_log_and_ship": (c_int32, c_int32, c_char_p, c_char_p),
    "tdw_post": (c_int32, c_char_p, c_char_p),
    "tdw_observe": (c_int32, c_char_p, type(_notified), c_void_p, _FREE, _TOKEN),
    "tdw_set_delegate": (c_int32, POINTER(_DelegateTable), c_void_p, _FREE),
    "tdw_add_interceptor": (c_int32, POINTER(_DelegateTable), c_void_p, _FREE, _TOKEN),
    "tdw_proxy_delegate": (c_int32, c_int32),
    "tdw_reset_proxy": (c_int32,),
    "tdw_complete": (c_int32, c_uint64),
    "tdw_complete_fetching": (c_int32, c_uint64, c_int32),
    "tdw_complete_restoring": (c_int32, c_uint64, c_char_p),
    "tdw_deliver_url": (c_int32, c_char_p, c_char_p, POINTER(c_bool)),
    "tdw_deliver_activity": (c_int32, c_char_p, c_char_p, type(_restored), c_void_p, _FREE, POINTER(c_bool)),
    "tdw_deliver_background_events": (c_int32, c_char_p, type(_run), c_void_p, _FREE),
    "tdw_deliver_device_token": (c_int32, c_char_p, c_size_t),
    "tdw_deliver_registration_error": (c_int32, c_char_p, c_int64, c_char_p),
    "tdw_deliver_notification": (c_int32, c_char_p, type(_fetched), c_void_p, _FREE),
    "tdw_open_link": (c_int32, c_int32, c_char_p),
    "tdw_close_page": (c_int32, c_bool),
    "tdw_show_alert": (c_int32, c_char_p, c_char_p),
    "tdw_get_screen_size": (c_int32, POINTER(c_double), POINTER(c_double)),
}


@dataclass(frozen=True)
class _Integer:
    """The type of an integer argument that refuses what it cannot hold."""

    kind: Any

    def from_param(self, value: Any) -> Any:
        argument = self.kind(value)
        if argument.value != value:
            raise OverflowError(f"{value} is out of range")
        return argument


_INTEGERS = {c_int32, c_int64, c_size_t, c_uint16, c_uint64}


def _load() -> ctypes.CDLL:
    """The library of the system, or the one that TIDEWELL_C_LIBRARY names."""
    library = ctypes.CDLL(os.environ.get("TIDEWELL_C_LIBRARY", "libTidewellC.so.1"))
    for name, (result, *arguments) in _PROTOTYPES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = [_Integer(each) if each in _INTEGERS else each for each in arguments]
    return library


_c = _load()
atexit.register(_c.tdw_end_callbacks)


def _bytes(text: str | None) -> bytes | None:
    """Text for C."""
    if text is None:
        return None
    if "\0" in text:
        raise ValueError("text with a NUL")
    return text.encode()


def _json(value: Json) -> bytes | None:
    """JSON for C."""
    return None if value is None else json.dumps(value, allow_nan=False).encode()


def _check(status: int, reason: str | None = None) -> None:
    if status != Status.OK:
        raise TidewellError(Status(status), reason)


def _taken(function: Callable[..., int | None], *arguments: Any) -> str | None:
    """Calls a function that returns a text; copies and frees the text."""
    length = c_size_t()
    pointer = function(*arguments, ctypes.byref(length))
    if pointer is None:
        return None
    try:
        return ctypes.string_at(pointer, length.value).decode()
    finally:
        _c.tdw_free(pointer)


def _taken_json(function: Callable[..., int | None], *arguments: Any) -> Json:
    text = _taken(function, *arguments)
    return None if text is None else json.loads(text)


class Registration:
    """An observation or an interceptor. It lasts until `remove` or the end of a `with` block, otherwise as long as the process."""

    def __init__(self, token: c_uint64) -> None:
        self._token = token.value

    def remove(self) -> None:
        """Ends it; the second time raises `TidewellError`. May be called inside the callback."""
        _check(_c.tdw_remove(self._token))

    def __enter__(self) -> Registration:
        return self

    def __exit__(self, *_: object) -> None:
        self.remove()


# Options and installation.


class LinkOpener(Protocol):
    """Opens links for an application. URLs are untrusted: never pass one through a shell."""

    def can_open(self, url: str) -> bool:
        """Whether a program opens the URL. Any thread; must not wait for another program."""

    def open(self, url: str, universal_links_only: bool) -> bool:
        """Opens a URL, on the main queue; returns whether a program accepted it."""


@dataclass
class Options:
    """The settings of a platform. None stands for the default."""

    bundle_identifier: str
    version: str
    info: JsonObject | None = None
    info_plist_path: str | None = None
    main_loop: MainLoop | None = None
    console_sink: Callable[[str], object] | None = None  # any thread; may log
    ca_file: str | None = None
    proxy: str | None = None
    proxy_ca_file: str | None = None
    connection_overrides: Sequence[tuple[str, int, str, int]] = ()  # host, port, address, port
    maximum_body_bytes: int | None = None
    link_opener: LinkOpener | None = None
    modern_link_opening: bool | None = None
    screen_size: tuple[float, float] | None = None
    data_home: str | None = None
    system_root: str | None = None
    disabled: bool | None = None
    offline: bool | None = None
    consent_required: bool | None = None
    service_hosts: Mapping[ServiceHost, str] = field(default_factory=dict)
    hosts_from_environment: bool | None = None
    follows_windows: bool | None = None
    uses_secret_service: bool | None = None
    page_timeout: float | None = None


# The options whose setter takes their value as it is.
_PLAIN_OPTIONS = (
    "bundle_identifier", "version", "info_plist_path", "main_loop", "ca_file", "proxy", "proxy_ca_file", "maximum_body_bytes",
    "modern_link_opening", "data_home", "system_root", "disabled", "offline", "consent_required", "hosts_from_environment",
    "follows_windows", "uses_secret_service", "page_timeout")


@contextmanager
def _c_options(options: Options) -> Iterator[int]:
    """The options in C, for the duration of a `with` block."""
    made: int | None = _c.tdw_options_create()
    if made is None:
        raise MemoryError
    try:
        for name in _PLAIN_OPTIONS:
            value = getattr(options, name)
            if value is not None:
                _check(getattr(_c, "tdw_options_set_" + name)(made, _bytes(value) if isinstance(value, str) else value), name)
        _check(_c.tdw_options_set_info(made, _json(options.info)), "info")
        if options.console_sink is not None:
            _call_pinned(options.console_sink, lambda context: _c.tdw_options_set_console_sink(made, _write_line, context, _unpin))
        for host, port, address, to_port in options.connection_overrides:
            _check(_c.tdw_options_add_connection_override(made, _bytes(host), port, _bytes(address), to_port))
        if options.link_opener is not None:
            table = _LinkOpenerTable(ctypes.sizeof(_LinkOpenerTable), _can_open, _open)
            _call_pinned(options.link_opener, lambda context: _c.tdw_options_set_link_opener(made, ctypes.byref(table), context, _unpin))
        if options.screen_size is not None:
            _check(_c.tdw_options_set_screen_size(made, *options.screen_size), "screen_size")
        for which, name in options.service_hosts.items():
            _check(_c.tdw_options_set_service_host(made, which, _bytes(name)))
        yield made
    finally:
        _c.tdw_options_destroy(made)


def install(options: Options, desktop: bool = False) -> None:
    """Installs the headless or the desktop platform, once per process, before everything else. If the SDK is turned off, succeeds
    without effect: see `is_disabled`."""
    with _c_options(options) as made:
        _check((_c.tdw_install_desktop if desktop else _c.tdw_install_posix)(made), _taken(_c.tdw_options_complaint, made))


def is_installed() -> bool:
    """Whether a platform is installed, by whatever language."""
    return bool(_c.tdw_is_installed())


def is_disabled() -> bool:
    """Whether options or environment turned the SDK off."""
    return bool(_c.tdw_is_disabled())


def version() -> str:
    """The version of the library."""
    name: bytes = _c.tdw_version()
    return name.decode()


# The main queue.


def main_queue_descriptor() -> int:
    """A descriptor that is readable while the main queue has functions; -1 without `MainLoop.HOST`."""
    return int(_c.tdw_main_queue_descriptor())


def main_queue_poll() -> int:
    """Runs the functions that are on the main queue now, and returns their number."""
    return int(_c.tdw_main_queue_poll())


def main_queue_run(seconds: float) -> int:
    """Runs the main queue on this thread for a duration, and returns the number of functions that it ran. Signals wait until then."""
    return int(_c.tdw_main_queue_run(round(seconds * 1000)))


def main_queue_add(function: Callable[[], object]) -> None:
    """Runs a function on the main queue, after this call has returned."""
    _call_pinned(function, lambda context: _c.tdw_main_queue_add(_run, context, _unpin))


@contextmanager
def main_queue_on(loop: asyncio.AbstractEventLoop) -> Iterator[None]:
    """Lets an event loop run the main queue (with `MainLoop.HOST`) for the duration of a `with` block."""
    descriptor = main_queue_descriptor()
    if descriptor < 0:
        raise TidewellError(Status.NOT_INSTALLED, "the main queue is not the host's")
    loop.add_reader(descriptor, main_queue_poll)
    try:
        yield
    finally:
        loop.remove_reader(descriptor)


def enter_foreground() -> None:
    """The application enters the foreground."""
    _check(_c.tdw_enter_foreground())


def enter_background() -> None:
    """The application leaves the foreground."""
    _check(_c.tdw_enter_background())


# Start, identity and consent.


def start(app_id: str) -> None:
    """Starts the SDK, once at launch; does not wait for the network."""
    _check(_c.tdw_start(_bytes(app_id)))


def user_reset() -> None:
    """Makes the next sync of the configuration due."""
    _check(_c.tdw_user_reset())


def set_region(region: Region) -> None:
    """Sends all further data to another data centre; returns after writing."""
    _check(_c.tdw_set_region(region))


def get_region() -> Region:
    """The data centre."""
    return Region(_c.tdw_get_region())


def set_app_group(app_group: str) -> None:
    """Shares request parameters with the application's extensions. Ignored while the account is inactive."""
    _check(_c.tdw_set_app_group(_bytes(app_group)))


def give_consent() -> None:
    """Records the user's consent to requests."""
    _check(_c.tdw_give_consent())


def revoke_consent() -> None:
    """Ends the user's consent."""
    _check(_c.tdw_revoke_consent())


def has_consent() -> bool:
    """Whether the user has given consent."""
    return bool(_c.tdw_has_consent())


def get_text(which: Text) -> str | None:
    """A text about application, user or device; None for no value."""
    return _taken(_c.tdw_get_text, which)


def set_push_token(token: str | None) -> None:
    """Stores the push token, or removes it. Returns after writing."""
    _check(_c.tdw_set_push_token(_bytes(token)))


def set_unique_id(unique_id: str | None) -> None:
    """Stores the user's ID, or removes it. Returns after writing."""
    _check(_c.tdw_set_unique_id(_bytes(unique_id)))


# Syncs of the configuration.


@dataclass(frozen=True)
class SyncStatus:
    """The status of a sync. Times are in seconds since 1970, None if unknown."""

    outcome: SyncOutcome
    last_result: SyncOutcome
    detail: str
    http_status: int  # 0 without a response
    last_attempt: float | None
    last_success: float | None
    next_due: float | None
    error: JsonObject | None  # "domain", "code", "description"

    @classmethod
    def _from_json(cls, status: JsonObject) -> SyncStatus:
        return cls(SyncOutcome(status["outcome"]), SyncOutcome(status["lastResult"]), status["detail"], status["httpStatus"],
                   status.get("lastAttempt"), status.get("lastSuccess"), status.get("nextDue"), status.get("error"))


def update_config() -> None:
    """Downloads and merges the configuration if that is due; does not wait."""
    _check(_c.tdw_update_config())


def get_sync_outcome() -> SyncOutcome:
    """The result of the last sync."""
    return SyncOutcome(_c.tdw_get_sync_outcome())


def get_sync_status() -> SyncStatus:
    """The same with details."""
    status = _taken_json(_c.tdw_get_sync_status)
    if status is None:
        raise MemoryError
    return SyncStatus._from_json(status)


def observe_sync(observer: Callable[[SyncStatus], object]) -> Registration:
    """Calls the observer on the main queue after each change of the status."""
    token = c_uint64()
    _call_pinned(observer, lambda context: _c.tdw_observe_sync(_see_sync, context, _unpin, ctypes.byref(token)))
    return Registration(token)


def wait_for_sync(seconds: float) -> bool:
    """Waits until no sync is in flight; False after that time. Raises on the thread of the main queue. With `MainLoop.HOST` another
    thread must run the main queue."""
    status = _c.tdw_wait_for_sync(round(seconds * 1000))
    if status != Status.TIMED_OUT:
        _check(status)
    return bool(status == Status.OK)


async def synced() -> SyncStatus:
    """Waits, on an event loop, until no sync is in flight."""
    loop = asyncio.get_running_loop()
    changed = asyncio.Event()
    with observe_sync(lambda _: loop.call_soon_threadsafe(changed.set)):
        while (status := get_sync_status()).outcome == SyncOutcome.IN_FLIGHT:
            await changed.wait()
            changed.clear()
    return status


# The configuration.


def is_open(gate: Gate) -> bool:
    """The answer of a gate; never waits."""
    return bool(_c.tdw_is_open(gate))


def gate_question(gate: Gate) -> str:
    """The question by which `explain` knows a gate."""
    name: bytes = _c.tdw_gate_question(gate)
    return name.decode()


def event_is_in(list_: List, event: str) -> bool:
    """Whether an event is in one of the first three lists; never waits."""
    return bool(_c.tdw_event_is_in(list_, _bytes(event)))


def get_list(which: List) -> Json:
    """A list of the configuration, which may hold a value that is no list; None if not set."""
    return _taken_json(_c.tdw_get_list, which)


def get_number(which: Number) -> int:
    """A number of the configuration."""
    return int(_c.tdw_get_number(which))


def get_restriction(unique_id: str) -> Restriction:
    """Whether the configuration forbids this ID for a user."""
    return Restriction(_c.tdw_get_restriction(_bytes(unique_id)))


def explain(question: str, argument: str | None = None) -> Json:
    """Explains step by step what a question returns now, with `argument` the event or ID it is about. None for an unknown question. May
    wait for a file."""
    return _taken_json(_c.tdw_explain, _bytes(question), _bytes(argument))


def set_opted_out(which: OptOut, is_opted_out: bool) -> None:
    """Records the user's decision; returns after writing."""
    _check(_c.tdw_set_opted_out(which, is_opted_out))


def is_opted_out(which: OptOut) -> bool:
    """The user's decision."""
    return bool(_c.tdw_is_opted_out(which))


# Requests.


@dataclass(frozen=True)
class Reply:
    """The reply to a request: whether it succeeded, and the body (None if it failed or has none)."""

    success: bool
    body: Json


def get_parameters(service: Service) -> Json:
    """The parameters that identify application, user and device, for the body's "query_params"; None if they cannot be built."""
    return _taken_json(_c.tdw_get_parameters, service)


def send(service: Service, reply: Callable[[Reply], object], *, parameters: Mapping[str, str] | None = None,
         headers: Mapping[str, str] | None = None, body: JsonObject | None = None, path_component: str | None = None) -> None:
    """Sends a request. The reply comes once, on the main queue (for the log service on a thread of the library), unless this raises or
    the process ends before."""
    texts = _json(parameters), _json(headers), _json(body), _bytes(path_component)
    _call_pinned(reply, lambda context: _c.tdw_send(service, *texts, _reply, context, _unpin))


async def request(service: Service, **arguments: Any) -> Reply:
    """Sends a request on an event loop, with the arguments of `send`, and waits for its reply."""
    loop = asyncio.get_running_loop()
    future: asyncio.Future[Reply] = loop.create_future()

    def resolve(reply: Reply) -> None:
        if not future.done():  # it is done if the caller was cancelled
            future.set_result(reply)

    send(service, lambda reply: loop.call_soon_threadsafe(resolve, reply), **arguments)
    return await future


def download(url: str, reply: Callable[[bytes | None], object]) -> None:
    """Downloads a file. The reply comes on a thread of the library, with None for a failure."""
    address = _bytes(url)
    _call_pinned(reply, lambda context: _c.tdw_download(address, _downloaded, context, _unpin))


# Log lines.


def set_log_level(level: LogLevel) -> None:
    """Decides which lines are written, unless TIDEWELL_LOG in the environment does."""
    _check(_c.tdw_set_log_level(level))


def log_writes(severity: Severity) -> bool:
    """Whether a line of this severity would be written now."""
    return bool(_c.tdw_log_writes(severity))


def log(severity: Severity, message: str) -> None:
    """Writes a line to the console, if the level permits."""
    _check(_c.tdw_log(severity, _bytes(message)))


def log_and_ship(severity: Severity, message: str, stack_trace: str | None = None) -> None:
    """The same, and sends the line to the log service if the configuration enables that, whatever the level: it must contain nothing that
    may not leave the device."""
    _check(_c.tdw_log_and_ship(severity, _bytes(message), _bytes(stack_trace)))


# Notifications inside the application.


def post(name: str, user_info: Json = None) -> None:
    """Calls the observers of a name on this thread."""
    _check(_c.tdw_post(_bytes(name), _json(user_info)))


def observe(name: str, observer: Callable[[str, Json], object]) -> Registration:
    """Calls the observer with name and information, on the posting thread, for each notification of that name."""
    token = c_uint64()
    text = _bytes(name)
    _call_pinned(observer, lambda context: _c.tdw_observe(text, _notified, context, _unpin, ctypes.byref(token)))
    return Registration(token)


# The application's delegate, and interceptors of sibling modules.


class Delegate:
    """The application's delegate, or an interceptor. Derive from it and override the messages to respond to; the library does not see
    the others. All are called on the thread that delivers the message. `complete` may be called on any thread, later, and only once."""

    def open_url(self, url: str, options: JsonObject) -> bool:
        """Opens a URL; returns whether it did."""
        self._unanswered()

    def open_url_from_source(self, url: str, source: str | None, annotation: Json) -> bool:
        """The same for delegates without `open_url`."""
        self._unanswered()

    def continue_activity(self, kind: str, url: str | None, complete: Callable[[Sequence[Json]], None]) -> bool:
        """Continues an activity of the user; returns whether it did. `complete` takes what was restored."""
        self._unanswered()

    def handle_background_events(self, identifier: str, complete: Callable[[], None]) -> None:
        """Transfers of a background session have ended."""
        self._unanswered()

    def did_register(self, token: bytes) -> None:
        """Remote notifications: the device's token."""
        self._unanswered()

    def did_fail_to_register(self, domain: str, code: int, description: str) -> None:
        """Remote notifications: why there is no token."""
        self._unanswered()

    def did_receive(self, user_info: JsonObject) -> None:
        """A notification has arrived."""
        self._unanswered()

    def did_receive_fetching(self, user_info: JsonObject, complete: Callable[[FetchResult], None]) -> None:
        """The same with content to fetch."""
        self._unanswered()

    def _unanswered(self) -> NoReturn:
        raise NotImplementedError("the library calls only messages that are overridden")


def _completing(token: int) -> Callable[[], None]:
    return lambda: _check(_c.tdw_complete(token))


def _completing_fetching(token: int) -> Callable[[FetchResult], None]:
    return lambda result: _check(_c.tdw_complete_fetching(token, result))


def _completing_restoring(token: int) -> Callable[[Sequence[Json]], None]:
    return lambda objects: _check(_c.tdw_complete_restoring(token, _json(list(objects))))


def _table_of(delegate: Delegate) -> _DelegateTable:
    """A table with the messages that the delegate's class overrides; the others are null."""
    table = _DelegateTable(ctypes.sizeof(_DelegateTable))
    for name, function in _MESSAGES.items():
        if getattr(type(delegate), name) is not getattr(Delegate, name):
            setattr(table, name, function)
    return table


def set_delegate(delegate: Delegate | None) -> None:
    """Makes an object the application's delegate until another one is set; None removes it."""
    if delegate is None:
        _check(_c.tdw_set_delegate(None, None, _unpin))
    else:
        table = _table_of(delegate)
        _call_pinned(delegate, lambda context: _c.tdw_set_delegate(ctypes.byref(table), context, _unpin))


def add_interceptor(interceptor: Delegate) -> Registration:
    """Registers an interceptor, which receives the proxied messages before the delegate."""
    token = c_uint64()
    table = _table_of(interceptor)
    _call_pinned(interceptor, lambda context: _c.tdw_add_interceptor(ctypes.byref(table), context, _unpin, ctypes.byref(token)))
    return Registration(token)


def proxy_delegate(which: Proxy) -> None:
    """Proxies the current delegate, once per process; on the main thread."""
    _check(_c.tdw_proxy_delegate(which))


def reset_proxy() -> None:
    """Lets `proxy_delegate` run again, for a delegate that was set since."""
    _check(_c.tdw_reset_proxy())


# The host delivers messages to its application, on the main thread.


def deliver_url(url: str, options: JsonObject | None = None) -> bool:
    """Returns whether the application opened the URL."""
    handled = c_bool()
    _check(_c.tdw_deliver_url(_bytes(url), _json(options), ctypes.byref(handled)))
    return handled.value


def deliver_activity(kind: str, url: str | None, restored: Callable[[list[Json]], object]) -> bool:
    """Returns whether the application continued the activity. `restored` may be called several times, or not at all."""
    handled = c_bool()
    texts = _bytes(kind), _bytes(url)
    _call_pinned(restored, lambda context: _c.tdw_deliver_activity(*texts, _restored, context, _unpin, ctypes.byref(handled)))
    return handled.value


def deliver_background_events(identifier: str, completed: Callable[[], object]) -> None:
    """Calls `completed` when the application has processed the events."""
    text = _bytes(identifier)
    _call_pinned(completed, lambda context: _c.tdw_deliver_background_events(text, _run, context, _unpin))


def deliver_device_token(token: bytes) -> None:
    """Delivers the device's token for remote notifications."""
    _check(_c.tdw_deliver_device_token(token, len(token)))


def deliver_registration_error(domain: str, code: int, description: str) -> None:
    """Delivers the reason why there is no token."""
    _check(_c.tdw_deliver_registration_error(_bytes(domain), code, _bytes(description)))


def deliver_notification(user_info: JsonObject, fetched: Callable[[FetchResult], object]) -> None:
    """Calls `fetched` for each delegate and interceptor that completes the fetch."""
    text = _json(user_info)
    _call_pinned(fetched, lambda context: _c.tdw_deliver_notification(text, _fetched, context, _unpin))


# Links, pages and alerts. What fails later is logged.


def open_link(how: Link, url: str) -> None:
    """Opens a link of a campaign."""
    _check(_c.tdw_open_link(how, _bytes(url)))


def close_page(is_animated: bool = True) -> None:
    """Closes the page that was opened last."""
    _check(_c.tdw_close_page(is_animated))


def show_alert(message: str | None, title: str | None = None) -> None:
    """Shows an alert with one button."""
    _check(_c.tdw_show_alert(_bytes(message), _bytes(title)))


def get_screen_size() -> tuple[float, float]:
    """The size of the screen in logical pixels; 0 without a screen."""
    width, height = c_double(), c_double()
    _check(_c.tdw_get_screen_size(ctypes.byref(width), ctypes.byref(height)))
    return width.value, height.value
