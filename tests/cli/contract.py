"""Shared by the contract tests: runs the program under test as its user does."""

import concurrent.futures
import ctypes
import faulthandler
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import port_servers
from own_locks import take_own_locks
from range_calibrator_stream import encode
from serial_instrument import TEST_LIMIT

take_own_locks()
ULIX = "ulix"
# Under Wine ports have other names, several programs can open one port, and the program offers no pseudo terminals.
UNDER_WINE = "ULIX_UNDER_WINE" in os.environ
# The kind of server (port_servers.py) in front of every serial instrument. Empty means none: it is on a terminal.
PORT_SERVER = os.environ.get("ULIX_PORT_SERVER", "")
on_terminals_only = unittest.skipIf(PORT_SERVER, "a port behind a server has no such state, or none that it tells")
NO_PORT = "ulix: 0x80044400 Unable to open communication\n"
NO_ANSWER = "ulix: 0x80044403 Unable to read answer\n"


def sets(**fields):
    return [part for key, value in fields.items() for part in ("--set", f"{key.replace('_', '-')}={value}")]


class ContractTest(unittest.TestCase):
    server_prefix = ()  # put before the commands of port_servers.py
    program = None  # the program under test, unless a test sets another
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        # The user's ports and language are removed. Local time is seven hours ahead of UTC, so that a test notices if
        # UTC is used in its place.
        self.env = {key: value for key, value in os.environ.items() if not key.startswith(("ULIX_", "LC_", "XDG_"))}
        self.env |= {"HOME": folder.name, "LANG": "C", "TZ": "TST-7"}

    def plug_in(self, unit):
        self.addCleanup(unit.close)
        if PORT_SERVER:
            unit.idle_turns_to_end = 30  # a server may still hold bytes back
            unit.device = port_servers.KINDS[PORT_SERVER](self, unit.device)
        return unit

    def file(self, values):
        """Makes a file from bytes, or a configuration file from values."""
        path = self.folder / "file.cfg"
        path.write_bytes(values if isinstance(values, bytes) else encode(values))
        return path

    def assert_saved(self, path, rows):
        """Expects `rows` from the third row on. The first two hold the version."""
        expected = encode([0, 0, *rows])[12:]
        self.assertEqual(path.read_bytes()[12:][:len(expected)], expected)

    def ulix(self, *args):
        done = subprocess.run([self.program or ULIX, *map(str, args)], env=self.env, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=3 * TEST_LIMIT)
        return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")

    def pace(self):
        """How many times slower than usual this machine starts a program at present; at least 1."""
        usual, began = 0.02, time.monotonic()
        self.ulix("--version")
        return 1 if UNDER_WINE else max(1, (time.monotonic() - began) / usual)

    def short_timeout(self):
        """A timeout in milliseconds that the instruments of a test keep, even if the machine is slow at present."""
        return int((2000 if UNDER_WINE else 400) * self.pace())

    def short_waits(self, unit):
        """The options of a connection to an instrument that leaves a reply out."""
        return [*unit.address, "--timeout", str(self.short_timeout())]

    def assert_took(self, began, seconds):
        """Expects the time since `began` to be at least that many `seconds`, but not a multiple of it."""
        took = time.monotonic() - began
        self.assertGreaterEqual(took, seconds)
        self.assertLess(took, seconds + 4 * self.pace())

    def side_by_side(self, check, cases):
        """Checks independent cases at the same time, because they spend most of their time waiting."""
        with concurrent.futures.ThreadPoolExecutor(8, initializer=take_own_locks) as pool:
            for case, checked in [(case, pool.submit(check, *case)) for case in cases]:
                with self.subTest(case):
                    checked.result()

    def succeed(self, *args):
        status, out, err = self.ulix(*args)
        self.assertEqual((status, err), (0, ""))
        return out

    def start(self, *args):
        process = subprocess.Popen([self.program or ULIX, *args], env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, bufsize=0)
        self.addCleanup(lambda: (process.kill(), process.communicate()))
        return process

    def read_line(self, process):
        limit = threading.Timer(TEST_LIMIT, process.kill)
        limit.start()
        text = process.stdout.readline().decode("utf-8")
        limit.cancel()
        self.assertTrue(text.endswith("\n"), f"no line in time, only {text!r}")
        return text.rstrip("\n")

    def interrupt(self, process):
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=TEST_LIMIT)
        return process.returncode, out.decode("utf-8"), err.decode("utf-8")


def have_own_semaphores():
    """Gives this test its own machine-wide locks, if the system allows it. Other programs then cannot delay it."""
    new_ipc_namespace = 0x08000000
    if sys.platform == "linux":
        ctypes.CDLL(None).unshare(new_ipc_namespace)


def main():
    global ULIX
    have_own_semaphores()
    # A test that hangs prints its stacks before its time is over.
    faulthandler.dump_traceback_later(280, repeat=True)
    ULIX = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
