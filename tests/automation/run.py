"""Runs the automation server under Wine as its hosts do: registered, created by ProgID, on real terminals, unregistered.

Run as: python3 run.py LIBRARY USB_HELPER SIMULATOR CLIENT EXAMPLE [googletest options of the client]
"""

import contextlib
import os
import pathlib
import re
import shutil
import signal
import struct
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

WINE = str(ROOT / "scripts" / "wine")
OBJDUMP = "x86_64-w64-mingw32-objdump"
HIVES = ("HKCU", "HKLM")
CLASSES = r"\Software\Classes"
# The library's own ids, from the table of the controls.
IDS = re.findall(r"[0-9A-F]{8}(?:-[0-9A-F]{4}){3}-[0-9A-F]{12}", (ROOT / "controls" / "controls.def").read_text())
OURS = re.compile("|".join(["UlixInstr", "UlixSetup", "6C1E52E0-9B1B", "A8DFAD2D-D3C9", "3DC98EAA-4F18", "5AC86136-E359",
                            "DA58B7C1-26DF", "9861775B-4481", *IDS]), re.I)
# The instrument of each control. Ports are numbered from FIRST_PORT on.
FIRST_PORT = KELVO10_PORT = 33
MEMOLOG_PORT, LATE_PORT = 60, 61
INSTRUMENTS = {"Kelvo10": instruments.KELVO10, "Cmx310": instruments.CMX310, "Isotech": instruments.ISOTECH,
               "Microk": instruments.MICROK, "FlukeHydra": instruments.FLUKEHYDRA, "JofraRtcPtc": instruments.JOFRA_RTC,
               "Kambic": instruments.KAMBIC, "Hart": instruments.HART}
# The libraries that every Windows 10 has in its system folder.
SYSTEM_LIBRARIES = {"ADVAPI32.dll", "COMCTL32.dll", "COMDLG32.dll", "GDI32.dll", "KERNEL32.dll", "msvcrt.dll",
                    "ole32.dll", "OLEAUT32.dll", "SHELL32.dll", "SHLWAPI.dll", "USER32.dll", "VERSION.dll",
                    "WINSPOOL.DRV", "WS2_32.dll"}

# A Kelvo10's configuration as another program writes it, each value after its type: version, input and output, link, two
# groups, highest id, directions.
UI4, UI2, UI1, R4, I2 = (19, "I"), (18, "H"), (17, "B"), (4, "f"), (2, "h")
STREAM = b"".join(struct.pack("<H" + form, kind, value) for (kind, form), value in [
    (UI4, 0x00010000), (UI4, 7), (UI4, 3), (UI1, 2), (R4, 21.5), (UI4, 1), (UI1, 0), (R4, 0), (UI1, 2),
    (I2, 7), (UI4, 19200), (UI1, 1), (UI1, 1), (UI1, 0), (UI1, 2), (UI2, 2),
    (UI4, 4), (UI4, 250), (R4, 1.5), (R4, 0.25), (UI4, 60), (UI1, 1),
    (UI4, 2), (UI4, 2000), (R4, 0), (R4, 0), (UI4, 0), (UI1, 0),
    (UI4, 9), (I2, -1), (I2, 1)])


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


def wine(*arguments, seconds=180, **options):
    """Runs a Windows program. Ends it and its children when it takes too long."""
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
    _, listed = wine("reg", "query", hive + CLASSES, "/s")
    blocks = [block for block in listed.split("\n\n") if OURS.search(block)]
    return [block.strip() for block in blocks]


class Server(unittest.TestCase):
    library = usb_helper = simulator = client = example = None
    options = ()

    def setUp(self):
        # The library looks for the USB helper library in its own folder. Here that is a simulated one.
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for file in (self.library, self.usb_helper):
            shutil.copy(file, folder.name)
        self.installed = pathlib.Path(folder.name, pathlib.Path(self.library).name)

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

    def simulated(self, model):
        """The device path of a simulated instrument, for a logger, whose memory a table of commands cannot describe."""
        process = subprocess.Popen([self.simulator, "simulate", model], stdout=subprocess.PIPE, text=True)

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
        """A link to the device. It is made five seconds after the file `wanted` and removed with it."""
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

    def test_registration_is_for_the_user_only(self):
        with self.registered("/n", "/i:user"):
            self.assertEqual(keys("HKLM"), [])
            self.assertGreater(len(keys("HKCU")), 50)
            # Windows shows programs the user's classes before the machine's. This Wine does not, so they are copied.
            with tempfile.NamedTemporaryFile(suffix=".reg") as file:
                self.succeed("regedit", "/e", windows_path(file.name), "HKEY_CURRENT_USER" + CLASSES)
                text = pathlib.Path(file.name).read_text("utf-16")
                copied = text.replace("HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE")
                pathlib.Path(file.name).write_text(copied, "utf-16")
                self.succeed("regedit", windows_path(file.name))
                script = windows_path(ROOT / "examples" / "vbscript" / "kelvo10.vbs")
                try:
                    self.assertEqual(self.succeed("cscript", "//nologo", script), "Kelvo10, library 1.0.0.0\n")
                finally:
                    gone = re.sub(r"(?m)^\[(?=HKEY_LOCAL_MACHINE\\Software\\Classes\\(?:[A-Za-z]+\\\{|Ulix))", "[-", copied)
                    pathlib.Path(file.name).write_text(gone, "utf-16")
                    wine("regedit", windows_path(file.name))

    def test_hosts_drive_instruments(self):
        bench = self.bench()
        links = [part for number, unit in bench.values() for part in ("--com", f"{number}={unit.device}")]
        links += ["--com", f"{MEMOLOG_PORT}={self.simulated('memolog')}"]
        folder = pathlib.Path(self.installed).parent
        with self.registered(), self.coming_late(folder, bench["Adt761"][1].device) as (wanted, late):
            links += ["--com", f"{LATE_PORT}={late}"]
            given, kept = folder / "given", folder / "kept"
            given.write_bytes(STREAM)
            env = os.environ | {"ULIX_TEST_PORT": str(KELVO10_PORT), "ULIX_TEST_STREAM": windows_path(given),
                                "ULIX_TEST_KEPT": windows_path(kept), "ULIX_TRACE": "1",
                                "ULIX_TEST_MEMOLOG": str(MEMOLOG_PORT),
                                "ULIX_TEST_LATE_PORT": str(LATE_PORT), "ULIX_TEST_LATE_WANTED": windows_path(wanted),
                                "ULIX_TEST_PORTS": ",".join(f"{word}={port[0]}" for word, port in bench.items()) + ",Adt760=0"}
            output = self.succeed(*links, self.client, *self.options, env=env, seconds=600)
            # Under Wine a program that crashed can still exit with 0.
            self.assertIn("[  PASSED  ]", output)
            if self.options:
                print(output)
                return
            # The version is the library's own. The rest is as given, followed by the part of the host's form.
            self.assertEqual(kept.read_bytes()[12:len(STREAM)], STREAM[12:])
            self.assertEqual(len(kept.read_bytes()), len(STREAM) + 12)
            # Which set points arrive is not known: opening a port discards the bytes that the last program left in it.
            for wanted in (r"\*IDN\?", "REM", r"MEAS\?", r"OUT \d+\.\d{6}", "OPER", "LOC"):
                self.assertRegex(bench["Kelvo10"][1].wire().decode(), wanted + "\n")
            for word, (_, unit) in bench.items():
                # A Kelvo10 that is opened again at once may lose the end of the last command of the connection before.
                self.assertEqual([] if word == "Kelvo10" else unit.unknown, [], word)
            self.assertIn("Control.DescribesEveryFailure", self.in_french(env))
            self.assertEqual(self.succeed(self.example, str(KELVO10_PORT)).count("IN: 12.345"), 3)
            script = windows_path(ROOT / "examples" / "vbscript" / "kelvo10.vbs")
            self.assertIn("KELVO10 SN 1234", self.succeed("cscript", "//nologo", script, str(KELVO10_PORT)))

    def in_french(self, env):
        with tempfile.TemporaryDirectory() as locales:
            subprocess.run(["localedef", "-i", "fr_FR", "-f", "UTF-8", f"{locales}/fr_FR.UTF-8"], check=True)
            return self.succeed(self.client, "--gtest_filter=Control.Failure_*:French.*:Dialogs.*:LoggerDialogs.*",
                                env=env | {"LOCPATH": locales, "LC_ALL": "fr_FR.UTF-8", "ULIX_TEST_FRENCH": "1"})

    def test_needs_only_libraries_of_windows(self):
        listed = subprocess.run([OBJDUMP, "-p", self.library], capture_output=True, text=True, check=True).stdout
        imported = set(re.findall(r"DLL Name: (\S+)", listed))
        self.assertTrue(imported)
        self.assertEqual({name.lower() for name in imported} - {name.lower() for name in SYSTEM_LIBRARIES}, set())


if __name__ == "__main__":
    Server.library, Server.usb_helper, Server.simulator, Server.client, Server.example, *options = sys.argv[1:]
    Server.options = tuple(options)
    unittest.main(argv=sys.argv[:1], verbosity=2)
