"""What tests of the command line share: they run the program that their first argument names, and look at it from outside.

A test's script ends in `contract.main()` and is run as: python3 SCRIPT PATH_TO_ULIX [unittest arguments]
"""

import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

ULIX = "ulix"
# Wine's ports have other names, are nobody's alone, and it has no pseudo terminals of its own to offer.
UNDER_WINE = "ULIX_UNDER_WINE" in os.environ


class ContractTest(unittest.TestCase):
    maxDiff = None
    program = None  # the one under test, unless a test sets another

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        # Nothing of the user's own ports and language; local time is seven hours ahead, so that UTC in its place shows.
        self.env = {key: value for key, value in os.environ.items() if not key.startswith(("ULIX_", "LC_", "XDG_"))}
        self.env |= {"HOME": folder.name, "LANG": "C", "TZ": "TST-7"}

    def ulix(self, *args):
        done = subprocess.run([self.program or ULIX, *map(str, args)], env=self.env, stdin=subprocess.DEVNULL, capture_output=True,
                              timeout=20)
        return done.returncode, done.stdout.decode("utf-8"), done.stderr.decode("utf-8")

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
        limit = threading.Timer(10, process.kill)
        limit.start()
        text = process.stdout.readline().decode("utf-8")
        limit.cancel()
        self.assertTrue(text.endswith("\n"), f"no line in time, only {text!r}")
        return text.rstrip("\n")

    def interrupt(self, process):
        process.send_signal(signal.SIGINT)
        out, err = process.communicate(timeout=10)
        return process.returncode, out.decode("utf-8"), err.decode("utf-8")


def main():
    global ULIX
    ULIX = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
