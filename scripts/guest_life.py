# SPDX-License-Identifier: Apache-2.0
"""Drives the host program of the tests (tests/guest/hosts/host.cpp) through one life without a network."""
import os
import subprocess
import sys

# Writes every kind of file.
DO = [
    "start GOLDEN_APP",  # fails: no server listens
    "token 00ff17",
    "store TIDEWELL_FLUTTER_SDK_VERSION 4.2",
    "region 1",
    "opt-out-push",
    "group org.example.group",
    'merge-json {"a_s": "allowed", "i_s": "blocked", "g_s": "allowed", "le_s": "blocked", "d_t": "allowed", "p_f_s": "allowed", "p_f_t": 120, '
    '"i_d_e": 604800, "u_a_c_t": 900, "s_i_d": "1200", "e_b_c": 50, "b_e": ["spam", "gr\\u00fc\\u00dfe \\ud83d\\ude00"], "f_e": ["buy"], '
    '"d_t_w_e": ["consent"], "src_ext": ["campaign"], "b_uid_r": ["[0-9]+"], "le_tkn": "tok"}',
    "call 2 report",  # stores the parameters for the application's extensions
    "synced-ago 90",
]
# Answers that come from those files.
ASK = [
    "answers", "batch", "identity", "stamped", "default TW_appId", "default TW_deviceToken", "default TW_APP_INSTALL", "default CONFIG_LAST_UPDATED",
    "default TIDEWELL_FLUTTER_SDK_VERSION", "default Tdw_App_Group_ID", "shared tdw_params", "shared tdw_reports_host", "shared tdw_reports_port",
]


class Life:
    """A process of the host. `command` is a list of arguments, `data` the folder of its files."""

    def __init__(self, command, data):
        environment = {"XDG_DATA_HOME": str(data), "TZ": "Asia/Kolkata", "PATH": os.environ["PATH"], "HOST_CA": "/etc/ssl/certs/ca-certificates.crt", "HOST_PORT": "1"}
        self.process = subprocess.Popen(command, env=environment, text=True, stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def ask(self, command):
        self.process.stdin.write(command + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline().rstrip("\n")
        if not answer:
            sys.exit(f"no answer to {command}")
        return answer

    def end(self):
        self.process.stdin.close()
        if self.process.wait() != 0:
            sys.exit("the application failed")
