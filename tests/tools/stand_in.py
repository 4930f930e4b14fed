#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Runs the stand-in backend for a test in Python, or for a command: stand_in.py BACKEND COMMAND…

The command gets the environment that examples/StandIn.h reads, TIDEWELL_STAND_IN_CONTROL (the port of the control server), and an empty
folder as XDG_DATA_HOME. Exits with the command's status, and fails if the backend had objections to a request.
"""
import contextlib
import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time


@contextlib.contextmanager
def running(program, folder, *options):
    """The fields of the backend's ready line, for the duration of a `with` block. The reply of the configuration service is
    reply.json in the folder."""
    ready = folder / "ready"
    backend = subprocess.Popen([program, "--config", folder / "reply.json", "--ready-file", ready, "--directory", folder / "ca", "--quiet",
                                *options], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        while not ready.exists():
            if backend.poll() is not None:
                sys.exit("the stand-in backend ended")
            time.sleep(0.02)
        # The last field is a path, which may contain blanks.
        port, control, ca = [field.split("=", 1)[1] for field in ready.read_text().strip().split(" ", 3)[1:]]
        yield {"TIDEWELL_STAND_IN_PORT": port, "TIDEWELL_STAND_IN_CONTROL": control, "TIDEWELL_STAND_IN_CA": ca}
    finally:
        backend.terminate()
        backend.wait()


def main():
    backend, *command = sys.argv[1:]
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "reply.json").write_text("{}")
        with running(backend, folder, "--control-port", "0", "--requests", folder / "requests") as fields:
            status = subprocess.run(command, env=os.environ | fields | {"XDG_DATA_HOME": str(folder / "data")}).returncode
        problems = [request["problems"] for request in map(json.loads, (folder / "requests").open()) if request["problems"]]
        sys.exit(status or (f"the backend had objections: {problems}" if problems else 0))


if __name__ == "__main__":
    main()
