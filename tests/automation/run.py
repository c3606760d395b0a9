"""Registers the component server for the user under Wine, runs the automation client on it, and takes it away again.

Run as: python3 run.py LIBRARY PROGRAM [googletest options]
"""

import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "cli"))
from instruments import kelvo10  # noqa: E402

WINE = str(ROOT / "scripts" / "wine")
PORT = 33
# Every place where a registration leaves something.
TRACES = ["UlixInstr", "UlixSetup"]


def wine(*arguments, **options):
    return subprocess.run([WINE, *arguments], timeout=200, **options)


def traces():
    found = []
    for root in ("HKCU", "HKLM"):
        for key in ("", r"\CLSID", r"\TypeLib", r"\Interface"):
            listed = wine("reg", "query", rf"{root}\Software\Classes{key}", "/s", capture_output=True)
            text = listed.stdout.decode("cp1252", "replace")
            found += [f"{root}: {line.strip()}" for line in text.splitlines() if any(word in line for word in TRACES)]
    return found


def main(library, program, *options):
    instrument = kelvo10({"MEAS?": "12.345 V"})
    env = os.environ | {"ULIX_TEST_PORT": str(PORT)}
    windows_path = "Z:" + library.replace("/", "\\")
    if wine("regsvr32", "/s", "/n", "/i:user", windows_path).returncode != 0:
        print("the server could not be registered")
        return 1
    in_machine = [line for line in traces() if line.startswith("HKLM")]
    result = wine("--com", f"{PORT}={instrument.device}", program, *options, env=env).returncode
    wine("regsvr32", "/s", "/u", "/n", "/i:user", windows_path)
    for line in in_machine + traces():
        print(f"the registration left, or put where it should not: {line}")
        result = result or 1
    for wanted in ("*IDN?", "REM", "MEAS?", "OUT 100.099998", "OPER", "LOC"):
        if not options and wanted not in [command for _, command in instrument.commands]:
            print(f"the instrument never heard {wanted}")
            result = result or 1
    return result


sys.exit(main(*sys.argv[1:]))
