"""Runs the automation tests: a client that knows the type library, the registrations, the needs of the library.

Run as: python3 run.py library=FILE usb_helper=FILE simulator=FILE client=FILE [googletest options of the client]
"""

import os
import pathlib
import re
import struct
import subprocess
import tempfile

from server import (CLASSES, KEEPING_MEMOLOG_PORT, KELVO10_PORT, LATE_PORT, MEMOLOG_PORT, ROOT, Server, keys, main,
                    windows_path, wine)

OBJDUMP = "x86_64-w64-mingw32-objdump"
# The libraries that every Windows 10 has in its system folder.
SYSTEM_LIBRARIES = {"ADVAPI32.dll", "COMCTL32.dll", "COMDLG32.dll", "GDI32.dll", "KERNEL32.dll", "msvcrt.dll",
                    "ole32.dll", "OLEAUT32.dll", "SHELL32.dll", "SHLWAPI.dll", "USER32.dll", "VERSION.dll",
                    "WINSPOOL.DRV", "WS2_32.dll"}

# The configuration of a Kelvo10 as another program writes it. Each value follows its type: version, input and output,
# link, two groups, highest id, directions.
UI4, UI2, UI1, R4, I2 = (19, "I"), (18, "H"), (17, "B"), (4, "f"), (2, "h")
STREAM = b"".join(struct.pack("<H" + form, kind, value) for (kind, form), value in [
    (UI4, 0x00010000), (UI4, 7), (UI4, 3), (UI1, 2), (R4, 21.5), (UI4, 1), (UI1, 0), (R4, 0), (UI1, 2),
    (I2, 7), (UI4, 19200), (UI1, 1), (UI1, 1), (UI1, 0), (UI1, 2), (UI2, 2),
    (UI4, 4), (UI4, 250), (R4, 1.5), (R4, 0.25), (UI4, 60), (UI1, 1),
    (UI4, 2), (UI4, 2000), (R4, 0), (R4, 0), (UI4, 0), (UI1, 0),
    (UI4, 9), (I2, -1), (I2, 1)])


class Automation(Server):
    def test_registration_is_for_the_user_only(self):
        with self.registered("/n", "/i:user"):
            self.assertEqual(keys("HKLM"), [])
            self.assertGreater(len(keys("HKCU")), 50)
            # This Wine, unlike Windows, finds only the classes of the machine. So those of the user are copied.
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
        links += ["--com", f"{KEEPING_MEMOLOG_PORT}={self.simulated('memolog', '--set', 'keeps-records=on')}"]
        folder = pathlib.Path(self.installed).parent
        with self.registered(), self.coming_late(folder, bench["Adt761"][1].device) as (wanted, late):
            links += ["--com", f"{LATE_PORT}={late}"]
            given, kept = folder / "given", folder / "kept"
            given.write_bytes(STREAM)
            env = os.environ | {"ULIX_TEST_PORT": str(KELVO10_PORT), "ULIX_TEST_STREAM": windows_path(given),
                                "ULIX_TEST_KEPT": windows_path(kept), "ULIX_TRACE": "1",
                                "ULIX_TEST_MEMOLOG": str(MEMOLOG_PORT),
                                "ULIX_TEST_KEEPING_MEMOLOG": str(KEEPING_MEMOLOG_PORT),
                                "ULIX_TEST_LATE_PORT": str(LATE_PORT), "ULIX_TEST_LATE_WANTED": windows_path(wanted),
                                "ULIX_TEST_PORTS": ",".join(f"{word}={port[0]}" for word, port in bench.items()) + ",Adt760=0"}
            output = self.succeed(*links, self.built["client"], *self.options, env=env, seconds=600)
            # Under Wine a program that crashed can still exit with 0.
            self.assertIn("[  PASSED  ]", output)
            if self.options:
                print(output)
                return
            # The version is that of the library. The rest is as given, and then comes the part of the host's form.
            self.assertEqual(kept.read_bytes()[12:len(STREAM)], STREAM[12:])
            self.assertEqual(len(kept.read_bytes()), len(STREAM) + 12)
            for wanted in ("*IDN?", "REM", "MEAS?", "OUT 100.099998", "OPER", "LOC"):
                self.assertIn(wanted + "\n", bench["Kelvo10"][1].wire().decode())
            for word, (_, unit) in bench.items():
                self.assertEqual([], unit.unknown, word)
            self.assertIn("Control.Failure_", self.in_french(env))

    def in_french(self, env):
        with tempfile.TemporaryDirectory() as locales:
            subprocess.run(["localedef", "-i", "fr_FR", "-f", "UTF-8", f"{locales}/fr_FR.UTF-8"], check=True)
            return self.succeed(self.built["client"], "--gtest_filter=Control.Failure_*:French.*:Dialogs.*:LoggerDialogs.*",
                                env=env | {"LOCPATH": locales, "LC_ALL": "fr_FR.UTF-8", "ULIX_TEST_FRENCH": "1"})

    def test_needs_only_libraries_of_windows(self):
        listed = subprocess.run([OBJDUMP, "-p", self.built["library"]], capture_output=True, text=True, check=True).stdout
        imported = set(re.findall(r"DLL Name: (\S+)", listed))
        self.assertTrue(imported)
        self.assertEqual({name.lower() for name in imported} - {name.lower() for name in SYSTEM_LIBRARIES}, set())


if __name__ == "__main__":
    main()
