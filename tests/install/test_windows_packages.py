"""The Windows packages: each is installed, used and removed, in separate Wine prefixes.

Skipped where only one bitness is built; the 32-bit part also where the 32-bit Wine of `scripts/setup wine32` is not there.
Run as: python3 test_windows_packages.py X64_HOST X86_HOST [unittest arguments]; a host is the C++ example of that bitness.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(SOURCE / "tests/cli"))
import instruments  # noqa: E402

PACKAGES = SOURCE / "build/packages"
HOSTS = {}
PORT = 80
CLASSES = "HKEY_CURRENT_USER\\Software\\Classes"
KELVO10 = "{9D1BBC1A-43DF-4BA0-BFD6-D42A099DBC21}"
READING = "IN: 12.345"


class Prefix:
    """A separate Wine prefix, in a folder."""

    def __init__(self, folder, bits):
        self.folder = pathlib.Path(folder)
        self.inside = [] if bits == "x64" else [SOURCE / "scripts/wine32_root", SOURCE]
        self.env = {name: text for name, text in os.environ.items() if name not in ("DISPLAY", "XAUTHORITY")}
        self.env |= {"WINEPREFIX": f"{folder}/wine", "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree=;mshtml="}
        self.run("wineboot", "--init")

    def run(self, *command, code=0):
        if command[0] not in ("wineboot", "wineserver"):
            command = ("wine", *command)
        done = subprocess.run([*map(str, self.inside), *map(str, command)], env=self.env, stdout=subprocess.PIPE,
                              stderr=subprocess.DEVNULL, timeout=300, check=False)
        text = done.stdout.decode("utf-8", "replace").replace("\r\n", "\n")
        assert code is None or done.returncode == code, f"{command}: {done.returncode}\n{text}"
        return text

    def end(self):
        self.run("wineserver", "-k", code=None)
        self.run("wineserver", "-w", code=None)

    def classes(self):
        """The text of an export of the user's classes; empty if nothing is registered."""
        file = self.folder / "classes.reg"
        file.unlink(missing_ok=True)
        self.run("regedit", "/e", windows_path(file), CLASSES, code=None)
        text = file.read_text("utf-16") if file.exists() else ""
        return text if text.count("[") > 1 else ""  # the key above all classes is always there

    def show_to_programs(self):
        """Copies the user's classes to those of the machine. This Wine, unlike Windows, finds only the latter."""
        file = self.folder / "copied.reg"
        file.write_text(self.classes().replace("HKEY_CURRENT_USER", "HKEY_LOCAL_MACHINE"), "utf-16")
        self.run("regedit", windows_path(file))

    def reading(self, host):
        """The output of a host program that reads a simulated instrument through the control."""
        unit = instruments.kelvo10({"MEAS?": "12.345 V"})
        port = self.folder / f"wine/dosdevices/com{PORT}"
        port.unlink(missing_ok=True)
        port.symlink_to(unit.device)
        try:
            return self.run(host, PORT, code=None)
        finally:
            unit.close()


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


class WindowsPackagesTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if missing := [host for host in HOSTS.values() if not os.path.exists(host)]:
            raise unittest.SkipTest(f"not built: {missing}")
        done = subprocess.run([SOURCE / "scripts/package", "windows"], capture_output=True, text=True, check=False)
        assert done.returncode == 0, done.stdout + done.stderr

    def prefix(self, bits):
        if bits == "x86" and subprocess.run([SOURCE / "scripts/wine32_root", "--there"], check=False).returncode != 0:
            self.skipTest("no 32-bit Wine here; scripts/setup wine32 makes one")
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        prefix = Prefix(folder.name, bits)
        self.addCleanup(prefix.end)
        return prefix

    def installed_used_and_removed(self, bits):
        prefix = self.prefix(bits)
        before = prefix.classes()
        package = shutil.copy(next(PACKAGES.glob(f"*-{bits}.msi")), prefix.folder)
        prefix.run("msiexec", "/i", windows_path(package), "/qn")
        program, = prefix.folder.glob(f"wine/drive_c/users/*/AppData/Local/UlixInstrAx/{bits}/ulix.exe")
        self.assertIn("kelvo10", prefix.run(program, "models"))

        registered = prefix.classes()
        path = f"\\\\UlixInstrAx\\\\{bits}\\\\UlixInstrAx.dll\""
        self.assertIn(path, of_key(registered, f"CLSID\\{KELVO10}\\InprocServer32"))
        if bits == "x64":
            self.assertIn(path.replace("x64", "x86"), of_key(registered, f"Wow6432Node\\CLSID\\{KELVO10}\\InprocServer32"))
        host = pathlib.Path(shutil.copy(HOSTS[bits], prefix.folder))
        prefix.show_to_programs()
        self.assertEqual(prefix.reading(host).count(READING), 3)

        prefix.run("msiexec", "/x", windows_path(package), "/qn")
        self.assertEqual(list(prefix.folder.glob("wine/drive_c/users/*/AppData/Local/UlixInstrAx*")), [])
        self.assertEqual([line for line in prefix.classes().splitlines() if line not in before and "Classes]" not in line], [])

    def test_installer_for_64_bits(self):
        self.installed_used_and_removed("x64")

    def test_installer_for_32_bits(self):
        self.installed_used_and_removed("x86")

    def unpacked(self, prefix, bits):
        with zipfile.ZipFile(next(PACKAGES.glob("*.zip"))) as packed:
            packed.extractall(prefix.folder)
        return next(prefix.folder.glob("UlixInstrAx-*")) / bits

    def used_from_the_zip(self, bits):
        prefix = self.prefix(bits)
        folder = self.unpacked(prefix, bits)

        # First with manifests beside the host program: nothing is registered.
        host = shutil.copy(HOSTS[bits], folder / "reader.exe")
        self.assertNotIn(READING, prefix.reading(host))
        shutil.copy(folder / "host.exe.manifest", folder / "reader.exe.manifest")
        self.assertEqual(prefix.reading(host).count(READING), 3)
        self.assertNotIn("UlixInstr", prefix.classes())

        # Then with a registration.
        before = prefix.classes()
        prefix.run("cmd", "/c", windows_path(folder.parent / "register.cmd"))
        prefix.show_to_programs()
        host = shutil.copy(HOSTS[bits], prefix.folder)
        self.assertEqual(prefix.reading(host).count(READING), 3)
        prefix.run("cmd", "/c", windows_path(folder.parent / "unregister.cmd"))
        self.assertEqual(prefix.classes(), before)

    def test_zip_for_64_bits(self):
        self.used_from_the_zip("x64")

    def test_zip_for_32_bits(self):
        self.used_from_the_zip("x86")

    # The installer writes the same entries as the library. This holds in 32 bits too, although the rows come from the
    # 64-bit library.
    def test_installer_registers_what_the_32_bit_library_does(self):
        prefix = self.prefix("x86")
        folder = self.unpacked(prefix, "x86")
        prefix.run("regsvr32", "/s", "/n", "/i:user", windows_path(folder / "UlixInstrAx.dll"))
        by_library = prefix.classes()
        prefix.run("regsvr32", "/s", "/u", "/n", "/i:user", windows_path(folder / "UlixInstrAx.dll"))
        package = shutil.copy(next(PACKAGES.glob("*-x86.msi")), prefix.folder)
        prefix.run("msiexec", "/i", windows_path(package), "/qn")
        self.assertEqual(without_paths(prefix.classes()), without_paths(by_library))


def of_key(exported, key):
    found = re.search(r"(?ms)^\[" + re.escape(f"{CLASSES}\\{key}") + r"\]$(.*?)^$", exported)
    return found[1] if found else ""


def without_paths(exported):
    """Lines of an export, sorted; all paths are made equal, and a key without values may have an empty one."""
    return sorted(re.sub(r'"[A-Z]:\\\\[^",]*', '"PATH', line) for line in exported.splitlines() if line and line != '@=""')


if __name__ == "__main__":
    HOSTS.update(zip(("x64", "x86"), sys.argv[1:3]))
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=2)
