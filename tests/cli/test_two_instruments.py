"""One of two instruments is unplugged: `ulix` never uses the other one instead, and takes its own up again.

Each instrument is on a pseudo terminal with a symbolic link to it, which stands for the name of a USB adapter. A port
number keeps the device that it had when the program connected. The user's port file stands for a list that changes.

Run as: python3 test_two_instruments.py PATH_TO_ULIX [unittest arguments]
"""

import itertools
import json
import unittest

from contract import NO_PORT, UNDER_WINE, ContractTest, main
from instruments import kelvo10
from serial_instrument import PATIENT, Reply

GONE, NOT_KELVO10 = 0x80044401, 0x80043B00
NUMBER = 41


@unittest.skipIf(UNDER_WINE, "the terminals are this system's")
class TwoInstrumentsTest(ContractTest):
    def setUp(self):
        super().setUp()
        self.paths = [self.folder / "ttyUSB0", self.folder / "ttyUSB1"]
        self.units = {}

    def plug(self, path, serial, value, **answers):
        """A Kelvo10 with this serial number that measures `value`."""
        unit = kelvo10({"*IDN?": f"KELVO10 SN {serial} V1.0", "MEAS?": str(value)} | answers)
        self.plug_in(unit)
        path.unlink(missing_ok=True)
        path.symlink_to(unit.device)
        self.units[path] = unit
        return unit

    def unplug(self, path):
        path.unlink()
        self.units.pop(path).close()

    def number(self, *paths):
        """Gives these devices the port numbers from NUMBER on."""
        ports = self.folder / ".config/ulix/ports"
        ports.parent.mkdir(parents=True, exist_ok=True)
        fresh = ports.with_suffix(".new")
        fresh.write_text("".join(f"COM{number}={path}\n" for number, path in enumerate(paths, NUMBER)))
        fresh.replace(ports)

    def scan(self, port):
        """The rows of a scan as they arrive: a value, or the code of a failure."""
        process = self.start("scan", "kelvo10", "IN", "--port", str(port), "--period", "100", "--json", *PATIENT)

        def rows():
            while True:
                channel, = json.loads(self.read_line(process))["channels"]
                yield channel["value"] if channel["error"] == 0 else channel["error"]
        return process, rows()

    def await_row(self, rows, wanted):
        """The rows up to the wanted one."""
        seen = []
        for row in itertools.islice(rows, 200):
            seen.append(row)
            if row == wanted:
                return seen
        self.fail(f"{wanted} did not come: {seen}")

    def by_path_and_by_number(self, check, place=0):
        """Which instrument is at this place: A, which measures 1, or B, which measures 2."""
        for port in (self.paths[place], NUMBER + place):
            with self.subTest(port=port):
                self.plug(self.paths[0], "A", 1)
                self.plug(self.paths[1], "B", 2)
                self.number(*self.paths)
                check(port, *self.paths)
                for path in list(self.units):
                    self.unplug(path)

    def reads_its_own(self, port, own, other):
        process, rows = self.scan(port)
        self.await_row(rows, 1)
        self.unplug(own)
        self.number(other)  # the other instrument moves up in the list
        self.assertNotIn(2, self.await_row(rows, GONE))
        # Another instrument with the same name gets only the query for its identification.
        stranger = self.plug(own, "C", 3)
        self.assertNotIn(3, self.await_row(rows, NOT_KELVO10))
        self.assertEqual({next(rows) for _ in range(5)}, {NOT_KELVO10})
        self.assertEqual((self.units[other].wire(), stranger.wire()), (b"", b"*IDN?\n"))
        self.interrupt(process)

        process, rows = self.scan(own)
        self.await_row(rows, 3)
        self.unplug(own)
        self.await_row(rows, GONE)
        self.plug(own, "C", 4)
        self.assertNotIn(2, self.await_row(rows, 4))
        self.interrupt(process)
        self.assertEqual(self.units[other].wire(), b"")

    def test_a_scan_reads_its_own_and_has_it_back(self):
        self.by_path_and_by_number(self.reads_its_own)

    def stays_where_it_is(self, port, before, own):
        process, rows = self.scan(port)
        self.await_row(rows, 2)
        self.unplug(before)
        self.unplug(own)
        self.number(own)
        self.await_row(rows, GONE)
        self.plug(own, "B", 5)
        self.assertNotIn(1, self.await_row(rows, 5))
        first = self.plug(before, "A", 1)
        self.number(before, own)
        self.assertEqual({next(rows) for _ in range(5)}, {5})
        self.interrupt(process)
        self.assertEqual(first.wire(), b"")

    def test_what_comes_and_goes_before_it_moves_nothing(self):
        self.by_path_and_by_number(self.stays_where_it_is, 1)

    def drives_its_own(self, port, own, other):
        self.succeed("set", "kelvo10", "OUT", 5, "--port", port, *PATIENT)
        self.assertIn(b"OUT 5.000000\nOPER\n", self.units[own].wire())
        self.unplug(own)
        status, _, err = self.ulix("set", "kelvo10", "OUT", 6, "--port", port, *PATIENT)
        self.assertEqual((status, err[:len(NO_PORT) - 1]), (1, NO_PORT[:-1]))
        # The instrument goes away once it has sent its identification.
        self.plug(own, "A", 1, **{"*IDN?": Reply(b"KELVO10 SN A V1.0\n", vanish=True)})
        status, _, err = self.ulix("set", "kelvo10", "OUT", 7, "--port", port, *PATIENT)
        self.assertEqual(status, 1, err)
        self.assertEqual(self.units[other].wire(), b"")

    def test_a_write_drives_its_own_or_none(self):
        self.by_path_and_by_number(self.drives_its_own)


if __name__ == "__main__":
    main()
