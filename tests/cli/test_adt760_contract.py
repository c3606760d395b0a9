"""What a user types at `ulix` for an ADT760: with helper libraries beside the program, and over emulated USB."""

import json
import pathlib
import shutil
import subprocess
import unittest

import contract
import usb_testbed
from contract import UNDER_WINE, ContractTest

NOT_LOADED = ("ulix: 0x80046505 The Usb communication management library has not been loaded. Check the presence of the "
              "UlixWinUsb.dll file in the system.\n")
LIBRARY = "libUlixWinUsb.so"
CALM = ("0,\"No error\"\n",)


@unittest.skipIf(UNDER_WINE, "the program cannot be copied from here")
class Adt760ContractTest(ContractTest):
    def setUp(self):
        super().setUp()
        self.build = pathlib.Path(contract.ULIX).parent

    def with_library(self, library=None):
        """Puts this helper library beside the program, or removes it."""
        shutil.copy(self.build / "ulix", self.folder / "ulix")
        if library:
            shutil.copy(library, self.folder / LIBRARY)
        self.program = self.folder / "ulix"

    def test_no_library(self):
        for library in (None, self.build / "tests/usb/lacks-WinUsbSetTimeout" / LIBRARY, __file__):
            self.with_library(library)
            self.assertEqual(self.ulix("identify", "adt760"), (1, "", NOT_LOADED))
        self.assertIn("HPC-HOST", self.succeed("identify", "adt760", "--port", "sim"))
        self.assertEqual(self.ulix("identify", "adt760", "--lang", "fr")[2].split(" ")[1:2], ["0x80046505"])

    def test_simulated_library(self):
        self.with_library(self.build / "simulated-usb" / LIBRARY)
        self.assertIn("HPC-HOST", self.succeed("identify", "adt760"))
        rows = json.loads(self.succeed("read", "adt760", "--json"))
        self.assertEqual([row["id"] for row in rows], list(range(10)))
        self.assertEqual([row["error"] for row in rows], [0] * 10)
        self.assertEqual([row["unit"] for row in rows], ["mbar"] * 6 + ["mA", "mbar", "mA", ""])
        self.assertEqual(self.ulix("set", "adt760", "3", "1")[0], 2)
        out = self.ulix("set", "adt760", "VENT", "0", "--trace")
        sent = [text for text in (line.split(" ", 1)[1] for line in out[2].splitlines()) if text.startswith(">")]
        self.assertEqual(sent[-1:], ["> *CLS<LF>"])
        self.assertEqual(self.ulix("set", "adt760", "SETPOINT", "1e9"), (1, "", "ulix: 0x80046304 Scpi command error\n"))
        other = self.ulix("read", "adt760", "--set", "guid=F06E89B5-6258-4CE7-83AA-248D25DEBF60")
        self.assertEqual(other, (1, "", "ulix: 0x80046605 Bad USB device identifier\n"))
        for args in (("--port", "5"), ("--baud", "9600"), ("--set", "vendor-id=65536"), ("--set", "identify=maybe")):
            self.assertEqual(self.ulix("read", "adt760", *args)[0], 2, args)


@unittest.skipUnless(usb_testbed.available(), "no umockdev-run here")
class EmulatedUsbTest(ContractTest):
    """The program with the libusb helper library, with a device that umockdev emulates."""

    def setUp(self):
        super().setUp()
        library = pathlib.Path(contract.ULIX).parent / LIBRARY
        if not library.exists():
            self.skipTest("built without libusb")
        if "san.so" in subprocess.run(["ldd", contract.ULIX], capture_output=True, text=True, check=True).stdout:
            self.skipTest("a sanitizer and umockdev both want to be loaded first")

    def over_usb(self, args, *exchanges, others=(), **how):
        """`others` are the numbers of identical devices that cannot be opened."""
        devices = [usb_testbed.description(0x0483, 0x5740, number) for number in others]
        devices.append(usb_testbed.description(0x0483, 0x5740, **how))
        (self.folder / "device").write_text("\n".join(devices))
        (self.folder / "talk").write_text(usb_testbed.conversation(*exchanges))
        command = ["umockdev-run", "-d", self.folder / "device", "-i", f"{usb_testbed.DEVICE}={self.folder / 'talk'}", "--",
                   contract.ULIX, *args]
        done = subprocess.run(command, env=self.env, capture_output=True, text=True, timeout=180, check=False)
        return done.returncode, done.stdout, done.stderr

    HELLO = [("*CLS\n",), ("*IDN?\n", "Additel,HPC-HOST,1,V1\n")]

    def test_identify(self):
        self.assertEqual(self.over_usb(["identify", "adt760"], *self.HELLO), (0, "Additel,HPC-HOST,1,V1\n", ""))
        for others in ((6,), (8,), (6, 8)):  # before and after it in the list of the system
            got = self.over_usb(["identify", "adt760"], *self.HELLO, others=others)
            self.assertEqual(got, (0, "Additel,HPC-HOST,1,V1\n", ""), others)
        # After a full packet comes another one.
        longer = "HPC-HOST," + "x" * 55, "y" * 9 + "\n"
        answer = self.over_usb(["identify", "adt760"], ("*CLS\n",), ("*IDN?\n", *longer))
        self.assertEqual(answer, (0, "".join(longer), ""))

    def test_read(self):
        talk = [*self.HELLO, ("MEAS:PRES2?\n", "1013.25\n"), ("SYST:ERR?\n", '0,"No error"\n')]
        status, out, err = self.over_usb(["read", "adt760", "1", "--json"], *talk)
        row, = json.loads(out)
        self.assertEqual((status, err, row["value"]), (0, "", 1013.25))
        talk[-1] = ("SYST:ERR?\n", '-113,"Undefined header"\n')
        self.assertEqual(self.over_usb(["read", "adt760", "1"], *talk)[2], "ulix: 0x80046304 Scpi command error\n")
        # First a command that the device does not accept, then one that it does not answer.
        self.assertEqual(self.over_usb(["read", "adt760", "0"], *talk)[2], "ulix: 0x80046602 Unable to send command\n")
        status, _, err = self.over_usb(["read", "adt760", "1"], *self.HELLO, ("MEAS:PRES2?\n",))
        self.assertEqual((status, err), (1, "ulix: 0x80046603 Unable to read answer\n"))

    def test_which_device(self):
        shown = self.over_usb(["config", "adt760", "read"], *self.HELLO)
        self.assertIn("GUID:04835740-554C-4958-4C69-6E7578555342 VENDOR_ID:0483 PRODUCT_ID:5740\n", shown[1])
        for settings, error in [(["vendor-id=1155"], ""), (["guid=04835740-554C-4958-4C69-6E7578555342"], ""),
                                (["guid=F06E89B5-6258-4CE7-83AA-248D25DEBF60", "vendor-id=1155"], ""),
                                (["vendor-id=1156"], "ulix: 0x80046607 USB device not found\n"),
                                (["guid=04835741-554C-4958-4C69-6E7578555342"],
                                 "ulix: 0x80046600 Unable to open communication\n"),
                                (["guid=F06E89B5-6258-4CE7-83AA-248D25DEBF60"],
                                 "ulix: 0x80046605 Bad USB device identifier\n")]:
            args = ["identify", "adt760", *(part for setting in settings for part in ("--set", setting))]
            self.assertEqual(self.over_usb(args, *self.HELLO)[2], error, settings)
        keyboard = self.over_usb(["identify", "adt760"], *self.HELLO, interface_class=3)
        self.assertEqual(keyboard, (1, "", "ulix: 0x80046607 USB device not found\n"))


if __name__ == "__main__":
    contract.main()
