"""Tests of the component server under Wine: it is registered, used with instruments on terminals, and removed.

The tests get the built files as NAME=FILE..., then options of the test program, if any.
"""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "cli"))
import instruments  # noqa: E402
from adt761_instrument import Adt761Instrument  # noqa: E402
from serial_instrument import SerialInstrument  # noqa: E402

# The Wine for the bitness of the build.
WINE = os.environ["ULIX_WINE"]
HIVES = {"HKCU": "HKEY_CURRENT_USER", "HKLM": "HKEY_LOCAL_MACHINE"}
CLASSES = r"\Software\Classes"
# The ids of the library, from the table of the controls.
IDS = re.findall(r"[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}", (ROOT / "controls" / "controls.def").read_text())
OURS = re.compile("|".join(["UlixInstr", "UlixSetup", "6C1E52E0-9B1B", "A8DFAD2D-D3C9", "3DC98EAA-4F18", "5AC86136-E359",
                            "DA58B7C1-26DF", "9861775B-4481", *IDS]), re.I)
# The instrument of each control. Ports are numbered from FIRST_PORT on.
FIRST_PORT = KELVO10_PORT = 33
MEMOLOG_PORT, LATE_PORT, KEEPING_MEMOLOG_PORT = 60, 61, 62
INSTRUMENTS = {"Kelvo10": instruments.KELVO10, "Cmx310": instruments.CMX310, "Isotech": instruments.ISOTECH,
               "Microk": instruments.MICROK, "FlukeHydra": instruments.FLUKEHYDRA, "JofraRtcPtc": instruments.JOFRA_RTC,
               "Kambic": instruments.KAMBIC, "Hart": instruments.HART}


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*arguments, seconds=180, **options):
    """Runs a Windows program. Ends the program and its children if it takes too long."""
    with subprocess.Popen([WINE, *arguments], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True,
                          **options) as process:
        try:
            output, _ = process.communicate(timeout=seconds)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            output = process.communicate()[0] + b"\n(killed: it took too long)"
    return process.returncode, output.decode("utf-8", "replace").replace("\r\n", "\n")


def keys(hive):
    """Every registry key and value of the library in a hive."""
    # An export takes a tenth of the time of a query.
    with tempfile.NamedTemporaryFile(suffix=".reg") as file:
        code, output = wine("regedit", "/e", windows_path(file.name), HIVES[hive] + CLASSES)
        if code != 0:
            raise OSError(output)
        exported = pathlib.Path(file.name).read_text("utf-16")
    return [block.strip() for block in exported.split("\n\n") if OURS.search(block)]


class Server(unittest.TestCase):
    built = {}  # files by name
    options = ()  # for the test program

    def setUp(self):
        # The library looks for the USB helper library in its own folder. Here this is a simulated one.
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for file in (self.built["library"], self.built["usb_helper"]):
            shutil.copy(file, folder.name)
        self.installed = pathlib.Path(folder.name, pathlib.Path(self.built["library"]).name)

    def register(self, *how):
        self.assertEqual(wine("regsvr32", "/s", *how, windows_path(self.installed)), (0, ""))

    def succeed(self, *arguments, **options):
        code, output = wine(*arguments, **options)
        self.assertEqual(code, 0, output)
        return output

    @contextlib.contextmanager
    def registered(self, *how):
        self.register(*how)
        try:
            yield
        finally:
            self.register("/u", *how)
        for hive in HIVES:
            self.assertEqual(keys(hive), [], "left behind")

    def simulated(self, model, *options):
        """The device path of a simulated logger. A table of commands cannot describe the memory of a logger."""
        process = subprocess.Popen([self.built["simulator"], "simulate", model, *options], stdout=subprocess.PIPE, text=True)

        def end():
            process.send_signal(signal.SIGINT)
            with process:
                self.assertEqual(process.wait(60), 0, f"the {model} heard what it does not know")
        self.addCleanup(end)
        return process.stdout.readline().strip()

    def bench(self):
        """An instrument on a port for each control: model name to port number and instrument."""
        bench = {}
        for number, (word, command_set) in enumerate(INSTRUMENTS.items(), FIRST_PORT):
            bench[word] = number, SerialInstrument(command_set, {"MEAS?": "12.345 V"} if word == "Kelvo10" else None)
        bench["Adt761"] = FIRST_PORT + len(INSTRUMENTS), Adt761Instrument()
        for _, unit in bench.values():
            self.addCleanup(unit.close)
        return bench

    @contextlib.contextmanager
    def coming_late(self, folder, device):
        """A link to the device. The link appears five seconds after the file `wanted` and is removed with that file."""
        wanted, link, over = folder / "wanted", folder / "late", threading.Event()

        def watch():
            while not over.wait(0.05):
                if wanted.exists():
                    over.wait(5)
                    link.symlink_to(device)
                    while wanted.exists() and not over.wait(0.05):
                        pass
                    link.unlink()
        watcher = threading.Thread(target=watch)
        watcher.start()
        try:
            yield wanted, link
        finally:
            over.set()
            watcher.join()


def main():
    files = [argument for argument in sys.argv[1:] if re.match(r"[a-z_]+=", argument)]
    Server.built = dict(argument.split("=", 1) for argument in files)
    Server.options = tuple(argument for argument in sys.argv[1:] if argument not in files)
    unittest.main(argv=sys.argv[:1], verbosity=2)
