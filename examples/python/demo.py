#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Shows an application in Python that uses the SDK over several starts, each in a process of its own.

The environment names the stand-in backend (TIDEWELL_STAND_IN_PORT, TIDEWELL_STAND_IN_CONTROL, TIDEWELL_STAND_IN_CA) and the folder for
the application's data (XDG_DATA_HOME). Exits with 0 only if every answer was right.
"""

from __future__ import annotations

import asyncio
import enum
import os
import subprocess
import sys
import urllib.request
from collections.abc import Callable, Coroutine
from typing import Any

import tidewell
from tidewell import Gate, List, Number, OptOut, Restriction, Service, SyncOutcome, Text

CONFIGURATION = """{"a_s": "allowed", "d_t": "allowed", "g_s": "blocked", "e_b_c": 50, "b_e": ["spam", "add_to_cart"],
                   "b_uid_r": ["test_.*"]}"""
wrong_answers = 0


def expect(question: str, expected: Any, answer: Any) -> None:
    """Prints an answer, and counts it if it is not the expected one."""
    global wrong_answers
    wrong_answers += answer != expected
    note = "" if answer == expected else f"   (expected {shown(expected)})"
    print(f"  {'ok' if answer == expected else '!!'} {question:<50} {shown(answer)}{note}", flush=True)


def shown(value: Any) -> Any:
    """The name of a number that has one."""
    return value.name if isinstance(value, enum.Enum) else value


def configure(configuration: str) -> None:
    """Sets the reply of the backend's configuration service."""
    control_port = os.environ["TIDEWELL_STAND_IN_CONTROL"]
    direct = urllib.request.build_opener(urllib.request.ProxyHandler({}))
    direct.open(f"http://127.0.0.1:{control_port}/control/config", configuration.encode(), timeout=30).close()


def options(**changes: Any) -> tidewell.Options:
    """The application's options. The stand-in backend is for the demo only; the URLs stay those of production."""
    return tidewell.Options("org.example.python", "1.0", main_loop=tidewell.MainLoop.HOST, ca_file=os.environ["TIDEWELL_STAND_IN_CA"],
                            proxy="http://127.0.0.1:" + os.environ["TIDEWELL_STAND_IN_PORT"], **changes)


async def first_start() -> None:
    """The first start: defaults, a sync, an opt-out, a request."""
    tidewell.install(options())
    expect("events per batch before the first reply", 30, tidewell.get_number(Number.EVENTS_PER_BATCH))
    with tidewell.main_queue_on(asyncio.get_running_loop()):
        tidewell.start("DEMO_APP")
        status = await asyncio.wait_for(tidewell.synced(), 30)
        expect("sync", SyncOutcome.SYNCED, status.outcome)
        for gate, is_open in [(Gate.ACCOUNT_ACTIVE, True), (Gate.GEOFENCE, False), (Gate.DATA_TRACKING, True)]:
            expect(tidewell.gate_question(gate), is_open, tidewell.is_open(gate))
        expect("events per batch", 50, tidewell.get_number(Number.EVENTS_PER_BATCH))
        expect("black-listed events", ["spam", "add_to_cart"], tidewell.get_list(List.BLACKLISTED_EVENTS))
        expect("spam is black-listed", True, tidewell.event_is_in(List.BLACKLISTED_EVENTS, "spam"))
        expect("test_1 as a user's ID", Restriction.RESTRICTED, tidewell.get_restriction("test_1"))

        tidewell.set_opted_out(OptOut.DATA_TRACKING, True)
        expect("isDataTrackingEnabled after an opt-out", False, tidewell.is_open(Gate.DATA_TRACKING))
        explanation = tidewell.explain(tidewell.gate_question(Gate.DATA_TRACKING))
        expect("the last step of its explanation", "d_t_opt_out", explanation["steps"][-1]["key"])

        body = {"query_params": tidewell.get_parameters(Service.INBOX)}
        reply = await asyncio.wait_for(tidewell.request(Service.INBOX, body=body), 30)
        expect("inbox answers", True, reply.success)
        print(f"     {reply.body}")
    expect("the device has an identifier", True, bool(tidewell.get_text(Text.DEVICE_UNIQUE_ID)))


async def second_start() -> None:
    """The second start, within the hour: answers from the archive; the account asks again after a user reset."""
    lines: list[str] = []
    tidewell.install(options(console_sink=lines.append))
    expect("events per batch, from the archive", 50, tidewell.get_number(Number.EVENTS_PER_BATCH))
    expect("isDataTrackingEnabled, still opted out", False, tidewell.is_open(Gate.DATA_TRACKING))
    with tidewell.main_queue_on(asyncio.get_running_loop()):
        tidewell.start("DEMO_APP")
        expect("sync", SyncOutcome.NOT_DUE, tidewell.get_sync_status().outcome)
        configure('{"a_s": "allowed", "e_b_c": 5}')
        tidewell.post(tidewell.NOTIFICATION_USER_RESET)
        tidewell.post(tidewell.NOTIFICATION_UPDATE_MODULES)
        status = await asyncio.wait_for(tidewell.synced(), 30)
        expect("sync after a user reset", SyncOutcome.SYNCED, status.outcome)
        expect("events per batch", 5, tidewell.get_number(Number.EVENTS_PER_BATCH))

        tidewell.set_log_level(tidewell.LogLevel.DEBUG)
        tidewell.log(tidewell.Severity.INFO, "a line from Python")
        expect("lines that the application received", 1, sum("a line from Python" in line for line in lines))

        tidewell.set_delegate(Shop())
        expect("the delegate opens a link", True, tidewell.deliver_url("shop://cart", {"from": "demo"}))


class Shop(tidewell.Delegate):
    """The application's delegate."""

    def open_url(self, url: str, options: tidewell.JsonObject) -> bool:
        print(f"     the delegate opens {url} {options}")
        return url == "shop://cart" and options == {"from": "demo"}


async def offline_start() -> None:
    """A start without a network."""
    tidewell.install(options(offline=True))
    tidewell.user_reset()
    with tidewell.main_queue_on(asyncio.get_running_loop()):
        tidewell.start("DEMO_APP")
        status = await asyncio.wait_for(tidewell.synced(), 30)
        expect("sync", SyncOutcome.FAILED, status.outcome)
        print(f"     {status.detail}")
        reply = await asyncio.wait_for(tidewell.request(Service.INBOX), 30)
        expect("inbox answers", False, reply.success)
    expect("events per batch, from the archive", 5, tidewell.get_number(Number.EVENTS_PER_BATCH))


CHAPTERS: dict[str, Callable[[], Coroutine[Any, Any, None]]] = {
    "First start": first_start,
    "Second start": second_start,
    "A start with the option offline": offline_start,
}


def main() -> int:
    """Runs the chapter that the command line names, or all of them, each in a process of its own."""
    if len(sys.argv) > 1:
        asyncio.run(CHAPTERS[sys.argv[1]]())
        return wrong_answers != 0
    configure(CONFIGURATION)
    failed = 0
    for chapter in CHAPTERS:
        print(f"\n=== Python: {chapter}", flush=True)
        failed += subprocess.run([sys.executable, __file__, chapter]).returncode != 0
    print("\nEvery answer was right." if failed == 0 else "\nSome answers were wrong: see the lines with !!")
    return failed != 0


sys.exit(main())
