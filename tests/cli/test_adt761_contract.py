"""What a user types at `ulix` for an ADT761, against an instrument that shares no code with the program."""

import json
import time
import unittest

import contract
from adt761_instrument import Adt761Instrument
from contract import ContractTest
from serial_instrument import SILENCE, Reply

NO_MEASURE = "ulix: 0x80046504 No measure available\n"
NO_ANSWER = "ulix: 0x80044403 Unable to read answer\n"
NOT_ADT761 = "ulix: 0x80046500 Device connected is not an Adt761 calibrator\n"
NACK = "ulix: 0x80046501 Negative acknowledge\n"


def frames(*texts, prefix=b"\x01"):
    return b"".join(prefix + text.encode() + b"\0" for text in texts)


HELLO, BYE = frames(":R:OTYPE"), frames(":W:OKEYLOCK:0")


class Adt761ContractTest(ContractTest):
    def instrument(self, answers=(), **how):
        return self.plug_in(Adt761Instrument(answers, **how))

    def assert_said(self, unit, *texts):
        self.assertEqual((unit.wire(), unit.unknown), (HELLO + frames(*texts) + BYE, []))

    def where(self, unit, error):
        """How an instrument is connected to when this error is expected of it."""
        return self.short_waits(unit) if error == NO_ANSWER else unit.where

    def read(self, unit, channel, error=""):
        status, out, err = self.ulix("read", "adt761", channel, "--json", *self.where(unit, error))
        self.assertTrue(out, f"no row; status {status}: {err}")
        row, = json.loads(out)
        return row["value"], row["unit"], err if status else ""

    def test_channels_read(self):
        item, source = ":R:MITEM", ":R:SITEM"
        for channel, measured, asked, value, unit_text in [
                (0, "V", (item, ":R:MVAL"), 1.5, "V"),
                (3, "HPM", (item, ":R:HPMVALUE"), 700.25, "kPa"), (3, "LPM", (item, ":R:LPMVALUE"), -2.5, "mbar"),
                (3, "EPM", (item, ":R:EPMVALUE"), 14.7, "psi"), (3, "V", (item, ":R:EPMVALUE"), 14.7, "psi"),
                (4, "MA", (item, ":R:OATMO"), 101.325, "kPa"), (5, "V", (source, ":R:SMAVALUE"), 12, "mA"),
                (6, "V", (":R:SMAPOWER",), 1, ""), (7, "V", (":R:O24POWER",), 0, ""),
                (8, "V", (":R:ORUNKIND",), 2, ""), (9, "V", (source, ":R:CSV"), 250, "")]:
            with self.subTest(channel=channel, item=measured):
                unit = self.instrument(item=measured)
                got, unit_got, err = self.read(unit, channel)
                self.assertAlmostEqual(got, value, 4)
                self.assertEqual((unit_got, err), (unit_text, ""))
                self.assert_said(unit, *asked)
        for channel, answer, *said in [(1, ":F:MVAL:0.25:S", 0.25, "s"), (2, ":F:MVAL:-3.5:MA", -3.5, "mA"),
                                       (1, ":F:MVAL:1.5:V", 1.5, ""), (2, ":F:MVAL:1.5:MV", 1.5, "")]:
            unit = self.instrument({":R:MVAL": answer}, item="SW" if channel == 1 else "MA")
            self.assertEqual(self.read(unit, channel), (*said, ""))

    def test_senseless_answers_give_an_error(self):
        for channel, query, answer, error in [
                (0, ":R:MITEM", ":F:MITEM", NO_MEASURE), (0, ":R:MITEM", ":E:MITEM", NO_MEASURE),
                (0, ":R:MVAL", ":E:MVAL", NO_MEASURE),
                (2, ":R:MITEM", ":F:MITEM:V", NO_MEASURE), (4, ":R:MITEM", ":F:MITEM:SW", NO_MEASURE),
                (5, ":R:SITEM", ":E:SITEM", NO_MEASURE), (9, ":R:SITEM", ":E:SITEM", NO_MEASURE),
                (9, ":R:CSV", ":F:NaN", NO_MEASURE), (6, ":R:SMAPOWER", ":F:O24POWER:1", NO_MEASURE),
                (0, ":R:MVAL", ":F:MVAL:OL:V", NO_MEASURE), (0, ":R:MVAL", ":F:MVAL:3.5:V:F:MVAL:4.5:V", NO_MEASURE),
                (0, ":R:MVAL", Reply(b"\xff\x80\x00"), NO_MEASURE), (0, ":R:MITEM", SILENCE, NO_ANSWER),
                (0, ":R:MVAL", SILENCE, NO_ANSWER), (8, ":R:ORUNKIND", Reply(b"\0"), NO_ANSWER),
                (0, ":R:MVAL", Reply(b":F:MVAL:1.5:V"), NO_ANSWER), (0, ":R:MVAL", "x" * 4000, NO_ANSWER),
                (9, ":R:CSV", ":F:1" + "0" * 60, NO_ANSWER)]:
            with self.subTest(channel=channel, answer=answer):
                self.assertEqual(self.read(self.instrument({query: answer}), channel, error)[0::2], (None, error))

    def test_missing_answer_is_waited_for_a_second(self):
        unit, began = self.instrument({":R:OTYPE": SILENCE}), time.monotonic()
        self.assertEqual(self.ulix("read", "adt761", "0", *unit.address), (1, "", NO_ANSWER))
        self.assert_took(began, 0.9)
        dripped = Reply(b":F:OTYPE:Additel 761\0", drip=self.short_timeout() / 4000)
        unit = self.instrument({":R:OTYPE": dripped})
        self.assertIn("Additel 761", self.succeed("identify", "adt761", *self.short_waits(unit)))

    def test_writes(self):
        for args, *asked in [("ATMOSPHERE 0", ":W:CVENT:0"), ("4 0.5", ":W:CVENT:1"), ("5 12.3456", ":W:SMAVAL:12.346"),
                             ("SOURCE -1", ":W:SMAVAL:-1.000"), ("6 1", ":W:SMAPOWER:1"), ("6 0", ":W:SMAPOWER:0"),
                             ("7 9", ":W:O24POWER:1"), ("9 1200.5", ":W:OIPMUNIT:1", ":W:CSV:1200.50")]:
            with self.subTest(args):
                unit = self.instrument()
                self.succeed("set", "adt761", *args.split(), *unit.where)
                self.assert_said(unit, *asked)
        for channel, order, answer, error in [
                (9, ":W:OIPMUNIT:", ":E:OIPMUNIT", NACK), (9, ":W:CSV:", ":F:CSV:NO", NACK),
                (5, ":W:SMAVAL:", ":F:SMAPOWER:OK", NACK), (4, ":W:CVENT:", SILENCE, NO_ANSWER)]:
            unit = self.instrument({order: answer})
            self.assertEqual(self.ulix("set", "adt761", channel, "1", *self.where(unit, error)), (1, "", error))
        unit = self.instrument({":W:CVENT:": ":F:CVENT:OK, venting"})
        self.succeed("set", "adt761", "4", "1", *unit.where)
        unit = self.instrument()
        for args in ("0 1", "8 1", "10 1", "9 nan", "9 much"):
            self.assertEqual(self.ulix("set", "adt761", *args.split(), *unit.where)[0], 2, args)
        self.assertEqual(unit.wire(), b"")

    def test_identities(self):
        for answer, error in [(":F:OTYPE:Additel 760", NOT_ADT761), (":F:TYPE", NOT_ADT761), (SILENCE, NO_ANSWER),
                              (Reply(b"KELVO10\n\0"), NOT_ADT761)]:
            unit = self.instrument({":R:OTYPE": answer})
            self.assertEqual(self.ulix("read", "adt761", *self.where(unit, error)), (1, "", error))
            self.assertEqual(unit.wire(), HELLO)
        self.assertIn("Additel 761", self.succeed("identify", "adt761", *self.instrument().where))
        refusing = self.instrument({":R:OTYPE": ":E:OTYPE"})
        status, _, err = self.ulix("identify", "adt761", *refusing.where)
        self.assertEqual((status, err), (1, "ulix: 0x8000FFFF Communication not opened\n"))
        self.assertEqual(refusing.wire(), HELLO)

    def test_settings(self):
        unit = self.instrument()
        self.succeed("read", "adt761", "6", *unit.where, "--set", "link-mode=0")
        self.assertEqual(unit.wire(), frames(":R:SMAPOWER") + BYE)
        unit = self.instrument(prefix="\x02")
        self.succeed("read", "adt761", "6", *unit.where, "--set", "frame-prefix=2")
        self.assertEqual(unit.wire(), frames(":R:OTYPE", ":R:SMAPOWER", ":W:OKEYLOCK:0", prefix=b"\x02"))
        self.assertEqual(unit.unknown, [])
        status, _, err = self.ulix("read", "adt761", *unit.where, "--set", "frame-prefix=256")
        self.assertEqual(status, 2)
        self.assertIn("frame-prefix", err)

    def test_scan_has_the_unit_from_its_first_row_on(self):
        unit = self.instrument(item="EPM")
        rows = self.folder / "rows.csv"
        self.succeed("scan", "adt761", "PRESSURE", "--period", "100", "--count", "1", "--csv", rows, *unit.where)
        self.assertIn("PRESSURE (psi)", rows.read_text())

    def test_scan_stopped_before_its_first_row_unlocks_the_keypad(self):
        unit, rows, plot = self.instrument({":R:MITEM": Reply(b":F:MITEM:V\0", delay=0.5)}), *map(
            self.folder.joinpath, ("rows.csv", "plot.svg"))
        scan = self.start("scan", "adt761", "0", "--period", "100", "--csv", rows, "--plot", plot, *unit.where)
        unit.wait_for("\x01:R:MITEM")
        self.assertEqual(self.interrupt(scan), (0, "", ""))
        self.assert_said(unit, ":R:MITEM", ":R:MVAL")
        lines = [line for line in rows.read_text().splitlines() if not line.startswith("#")]
        self.assertEqual((lines, plot.exists()), (["time,VOLTAGE (V),VOLTAGE error"], True))


if __name__ == "__main__":
    contract.main()
