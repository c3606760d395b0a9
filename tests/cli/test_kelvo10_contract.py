"""What a user types at `ulix` for a Kelvo10, against an instrument that shares no code with the program.

Run as: python3 test_kelvo10_contract.py PATH_TO_ULIX [unittest arguments]
"""

import datetime
import json
import os
import re
import select
import struct
import subprocess
import termios
import time
import tty
import unittest
import xml.etree.ElementTree

import contract
from contract import NO_ANSWER, NO_PORT, UNDER_WINE, ContractTest, main, sets
from instruments import kelvo10
from range_calibrator_stream import RESET, encode, record, word
from serial_instrument import PATIENT, SILENCE, TEST_LIMIT, Reply

HELLO, BYE = b"*IDN?\nREM\n", b"LOC\n"
ASK = "CFG_IN?\nCFG_OUT?\n"  # how the instrument is set
NOT_KELVO10 = "ulix: 0x80043B00 Device connected is not a KELVO10\n"
NO_RANGE = "ulix: 0x80043B03 Range not supported\n"

FUNCTIONS = "V50 V5 MV500 MV50 V_AUTO MA50 MA24 OHM5000 OHM500 OHM_AUTO TC RT".split()
CONNECTIONS = "WIRE2 WIRE3 WIRE4 TXP TXA TXA24 TXA50".split()
SENSORS = ["TYP_" + name for name in ("K T J E N U L S R B C PL MO PT50 PT100 PT200 PT500 PT1000 A3916 A3926 CU10 CU50 "
                                      "NI100 NI120 NI1000").split()]
JUNCTIONS, UNITS = "JR_ON JR_OFF JR_PROG JR_RTD".split(), "CEL FAR K".split()


class Kelvo10Test(ContractTest):
    def instrument(self, **answers):
        queries = {"idn": "*IDN?", "meas": "MEAS?", "cfg_in": "CFG_IN?", "cfg_out": "CFG_OUT?"}
        return self.plug_in(kelvo10({queries[key]: reply for key, reply in answers.items()}))

    def test_bytes_on_the_wire(self):
        big = "OUT %f\nOPER\n" % struct.unpack("f", struct.pack("f", 3.4e38))
        for args, body in [("identify", "*IDN?\n"), ("run", ""), ("stop", ""), ("read", ASK + "MEAS?\n"),
                           ("read in", ASK + "MEAS?\n"), ("read 0", ASK + "MEAS?\n"), ("read --no-config", "MEAS?\n"),
                           ("set OUT 100.1", ASK + "OUT 100.099998\nOPER\n"), ("set 1 5", ASK + "OUT 5.000000\nOPER\n"),
                           ("set out -.5", ASK + "OUT -0.500000\nOPER\n"), ("set OUT 3.4e38", ASK + big)]:
            with self.subTest(args):
                unit = self.instrument()
                verb, *rest = args.split()
                self.succeed(verb, "kelvo10", *rest, *unit.where)
                self.assertEqual((unit.wire(), unit.unknown), (HELLO + body.encode() + BYE, []))

    def test_port_by_number(self):
        unit = self.instrument()
        self.env["ULIX_COM5"] = unit.device
        for port in ("5", "COM5"):
            self.assertEqual(self.succeed("identify", "kelvo10", "--port", port, *PATIENT), "KELVO10 SN 1234 V1.0\n")
        device, missing = (r"\\.\COM5", "COM99") if UNDER_WINE else (unit.device, "/dev/pts/none")
        self.assertRegex(self.succeed("ports"), rf"(?m)^.*\bCOM5\b.*{re.escape(device)}")
        self.env |= {} if UNDER_WINE else {"ULIX_COM6": os.fsdecode(b"/dev/\xff")}  # no text
        fifth = [port for port in json.loads(self.succeed("ports", "--json")) if port["number"] == 5]
        self.assertEqual(fifth, [{"number": 5, "name": "COM5", "device": device, "path": device}])
        self.assertEqual(self.ulix("identify", "kelvo10", "--port", missing)[::2],
                         (1, f"{NO_PORT[:-1]}: {missing}: no such device\n"))

    def test_identification_replies(self):
        for name, reply, expected in [
                ("among other words", "X KELVO10 Y", "X KELVO10 Y\n"), ("another model", "KELVO1", NOT_KELVO10),
                ("garbage", Reply(b"\xff\x01\xfe~\r\x1b[2J\n"), NOT_KELVO10), ("empty line", "", NO_ANSWER),
                ("cut at 49 characters", "KELVO10" + "x" * 193, "KELVO10" + "x" * 42 + "\n"),
                ("word beyond the cut", "x" * 45 + "KELVO10" + "x" * 148, NOT_KELVO10),
                ("cut at a NUL", "KELVO10 A\0BC", "KELVO10 A\n"), ("word behind a NUL", "X\0KELVO10", NOT_KELVO10),
                ("OEM characters", "KELVO10 ° é", "KELVO10 ° é\n"), ("stale line behind", "KELVO10 A\nSTALE", "KELVO10 A\n")]:
            with self.subTest(name):
                unit, refused = self.instrument(idn=reply), expected.startswith("ulix: ")
                result = self.ulix("identify", "kelvo10", *unit.where)
                self.assertEqual(result, (1, "", expected) if refused else (0, expected, ""))
                self.assertEqual(unit.wire(), b"*IDN?\n" if refused else HELLO + b"*IDN?\n" + BYE)

    def test_reply_that_does_not_come_is_waited_for_a_second(self):
        for name, reply in ("silence", SILENCE), ("line without its end", Reply(b"KELVO10")):
            with self.subTest(name):
                unit, began = self.instrument(idn=reply), time.monotonic()
                self.assertEqual(self.ulix("identify", "kelvo10", *unit.address), (1, "", NO_ANSWER))
                self.assert_took(began, 0.9)
                self.assertEqual(unit.wire(), b"*IDN?\n")

    def test_each_byte_of_a_reply_has_the_whole_timeout(self):
        timeout = self.short_timeout()  # milliseconds
        began, dripped = time.monotonic(), Reply(b"KELVO10 3\n", drip=timeout / 4000)
        unit = self.instrument(idn=dripped)
        self.assertEqual(self.succeed("identify", "kelvo10", *self.short_waits(unit)), "KELVO10 3\n")
        self.assertGreater(time.monotonic() - began, 2 * timeout / 1000)

    def test_trace_shows_exchanges(self):
        _, out, trace = self.ulix("read", "kelvo10", *self.instrument().where, "--trace")
        counted = "exchanges=4 timeouts=0 damaged=0 discarded=0 resynchronisations=0 reconnections=0"
        for shown in (r"\d.*\*IDN\?", r"KELVO10 SN 1234 V1\.0\S", r"MEAS\?", r"12\.345\S", r"LOC",
                      rf"CUlixInstrKelvo10Ctl::Disconnect: {counted}"):
            self.assertRegex(trace, shown)
        self.assertNotRegex(trace + out, r"[\x00-\x09\x0b-\x1f]")

    def test_read(self):
        row = {"id": 0, "name": "IN", "unit": "V", "error": 0, "text": ""}
        for reply, value in [("12.345", 12.345), ("12.345 V", 12.345), ("  +1.5E-01", 0.15), ("-7", -7), ("none", 0),
                             ("nan", 0), ("inf", 0), ("3.5mA", 3.5)]:
            with self.subTest(reply):
                unit = self.instrument(meas=reply)
                got, = json.loads(self.succeed("read", "kelvo10", *unit.where, "--json"))
                self.assertAlmostEqual(got.pop("value"), value, 6)
                self.assertEqual(got.pop("doubt", ""), "" if value else "no number in the reply")
                self.assertEqual(got, row)
        for reply in ("0x10", "1,5", "12.3412.34", " " * 44 + "123.456"):
            with self.subTest(reply):
                status, _, err = self.ulix("read", "kelvo10", *self.instrument(meas=reply).where)
                self.assertEqual((status, err), (1, "ulix: 0x80044403 Unable to read answer\n"))
        for lang, text in [("en", "Unable to read answer"), ("fr", "Impossible de lire la réponse")]:
            status, out, err = self.ulix("read", "kelvo10", *self.short_waits(self.instrument(meas=SILENCE)),
                                         "--json", "--lang", lang)
            failed = row | {"value": None, "error": 2147763203, "text": text}
            self.assertEqual((status, json.loads(out)), (1, [failed]))
            self.assertIn(err, ("", f"ulix: 0x80044403 {text}\n"))
        for function, degrees, text in [("MV50", 0, "V"), (6, 0, "mA"), ("OHM500", 0, "Ohm"), ("TC", "CEL", "°C"),
                                        ("RT", "FAR", "°F"), (11, 2, "°K")]:
            settings = sets(input_function=function, temperature_unit=degrees)
            rows = json.loads(self.succeed("read", "kelvo10", *self.instrument().where, "--json", *settings))
            self.assertEqual(rows[0]["unit"], text)
        plain = self.succeed("read", "kelvo10", *self.instrument().where)
        self.assertRegex(plain, r"\A[^\x1b]*\bIN\b[^\x1b]*\b12\.345\d*\s+V\b[^\x1b]*\Z")

    def scan(self, where, *args):
        rows = self.ulix("scan", "kelvo10", *where, "--json", *args)[1].splitlines()
        return [json.loads(row) for row in rows]

    def values(self, scans):
        return [round(scan["channels"][0]["value"], 4) for scan in scans]

    def test_scan(self):
        unit, plot = self.instrument(meas=["1.5", "-2", "3"]), self.folder / "scan.svg"
        scans = self.scan(unit.where, "--count", 3, "--period", 200, "--plot", plot)
        self.assertEqual(self.values(scans), [1.5, -2, 3])
        for scan in scans:
            scan.pop("late", None)  # on a slow machine
            value, moment = scan["channels"][0]["value"], scan["time"]
            self.assertEqual(scan, {"group": 1, "time": moment, "channels": [{"id": 0, "value": value, "error": 0}]})
            self.assertRegex(moment, r"\A\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}\Z")
            late = datetime.datetime.now(datetime.timezone.utc) - datetime.datetime.fromisoformat(moment + "+07:00")
            self.assertTrue(0 <= late.total_seconds() < 60, late)
        self.assertRegex(unit.wire(), rb"\A\*IDN\?\nREM\nCFG_IN\?\nCFG_OUT\?\n(MEAS\?\n){3,4}LOC\n\Z")
        first, _, third = unit.times("MEAS?")[:3]
        self.assertGreaterEqual(third - first, 0.2)
        self.assertTrue(xml.etree.ElementTree.parse(plot).getroot().tag.endswith("svg"))

    def test_late_reply_is_never_the_value_of_a_later_query(self):
        timeout = self.short_timeout()  # milliseconds
        late = [Reply(b"9.9\n", delay=1.5 * timeout / 1000), "4.2"]
        unit = self.instrument(meas=late)
        status, out, _ = self.ulix("read", "kelvo10", *self.short_waits(unit), "--json")
        self.assert_failed_or_own_value(json.loads(out)[0])
        self.assertEqual(status, int(json.loads(out)[0]["error"] != 0))
        unit.wait_sent()
        row, = json.loads(self.succeed("read", "kelvo10", *unit.where, "--json"))
        self.assertAlmostEqual(row["value"], 4.2, 5)
        unit = self.instrument(meas=late)
        first, second = self.scan([*unit.address, "--timeout", timeout], "--period", 2 * timeout, "--count", 2)
        self.assert_failed_or_own_value(first["channels"][0])
        self.assertEqual(self.values([second]), [4.2])

    def assert_failed_or_own_value(self, row):
        """On a slow machine the program may look so late that the reply to its query has come."""
        if row["error"] == 0:
            self.assertAlmostEqual(row["value"], 9.9, 5)
        else:
            self.assertEqual((row["error"], row["value"]), (2147763203, None))

    def test_changes_within_the_dead_band_are_not_reported(self):
        replies = ["10.0", "10.4", "9.6", "10.0", "10.5", "10.4", "10.2"]
        for option, value in (("--dead-band-abs", 0.5), ("--dead-band", 5)):
            unit = self.instrument(meas=replies)
            scan = self.start("scan", "kelvo10", *unit.where, "--json", "--period", "150", option, str(value), "--dead-time-max", "600")
            unit.wait_for("MEAS?", len(replies) + 1)
            status, out, err = self.interrupt(scan)
            self.assertEqual((status, err, self.values(map(json.loads, out.splitlines()))), (0, "", [10.0, 10.5]))

    def test_interrupted_scan_keeps_its_rows(self):
        unit, csv = self.instrument(), self.folder / "scan.csv"
        process = self.start("scan", "kelvo10", *unit.where, "--period", "150", "--json", "--csv", csv)
        rows = [self.read_line(process), self.read_line(process)]
        if not UNDER_WINE and contract.PORT_SERVER != "socat":  # which takes every client
            status, out, err = self.ulix("identify", "kelvo10", *unit.address)
            why = "no answer in time|connection refused: .*in use.*" if contract.PORT_SERVER else f"in use by process {process.pid}"
            self.assertEqual((status, out), (1, ""))
            self.assertRegex(err, f"^{NO_PORT[:-1]}: {re.escape(unit.device)}: ({why})\n$")
        status, out, err = self.interrupt(process)
        rows += out.splitlines()
        self.assertEqual((status, err, self.values(map(json.loads, rows))), (0, "", [12.345] * len(rows)))
        self.assertTrue(unit.wire().endswith(b"MEAS?\n" + BYE), unit.wire()[-30:])
        text = csv.read_text("utf-8")
        header, *lines = [line for line in text.splitlines() if not line.startswith("#")]
        self.assertTrue(text.endswith("\n") and "12.345" not in header, text)
        self.assertEqual(["12.345" in entry for entry in lines], [True] * len(rows))

    @unittest.skipIf(UNDER_WINE, "its programs are started otherwise")
    def test_closed_standard_streams_do_not_disturb_the_line(self):
        unit, rows = self.instrument(), self.folder / "rows.csv"
        closed = ["sh", "-c", 'exec "$@" <&- >&- 2>&-', "sh", contract.ULIX, "scan", "kelvo10", *unit.where]
        done = subprocess.run([*closed, "--period", "100", "--count", "3", "--csv", rows], env=self.env, timeout=TEST_LIMIT, check=False)
        self.assertEqual((done.returncode, len([line for line in rows.read_text().splitlines() if line[0] != "#"])), (1, 2))
        self.assertRegex(unit.wire(), rb"\A\*IDN\?\nREM\nCFG_IN\?\nCFG_OUT\?\n\*IDN\?\n(MEAS\?\n){1,4}LOC\n\Z")

    @unittest.skipIf(UNDER_WINE, "its programs are started otherwise")
    def test_failed_output_leaves_the_other_outputs_whole(self):
        rows, plot, page = (self.folder / name for name in ("rows.csv", "plot.svg", "page.html"))
        process = self.start("scan", "kelvo10", *self.instrument().where, "--period", "100", "--csv", rows,
                             "--plot", plot, "--report", page)
        self.read_line(process)
        process.stdout.close()
        self.assertEqual((process.wait(TEST_LIMIT), process.stderr.read()),
                         (1, b"ulix: 0x8003001D Unable to write to standard output\n"))
        self.assertIn("<svg", page.read_text("utf-8"))
        self.assertTrue(xml.etree.ElementTree.parse(plot).getroot().tag.endswith("svg"))
        self.assertGreaterEqual(len(rows.read_text().splitlines()), 3)

    @unittest.skipIf(UNDER_WINE, "it has other links and modes")
    def test_output_replaces_only_the_named_file(self):
        target, link, others, pipe = (self.folder / name for name in ("kept.cfg", "link.cfg", "link.cfg.new", "pipe"))
        link.symlink_to("kept.cfg")
        others.write_text("mine")
        save = ["config", "kelvo10", "show", "--save"]
        self.succeed(*save, link)  # which leads nowhere as yet
        whole = target.read_bytes()
        target.write_text("before")
        target.chmod(0o640)
        self.succeed(*save, link, "--force")
        self.assertEqual((target.read_bytes(), target.stat().st_mode & 0o777, link.is_symlink()), (whole, 0o640, True))
        os.mkfifo(pipe)
        saving = self.start(*save, pipe)
        self.assertEqual(pipe.read_bytes(), whole)
        self.assertEqual((saving.wait(TEST_LIMIT), pipe.is_fifo()), (0, True))
        self.assertEqual(self.ulix(*save, self.folder)[1:], ("", f"ulix: 0x8003001D Unable to write {self.folder}: is a folder\n"))
        self.assertEqual((others.read_text(), sorted(self.folder.iterdir())), ("mine", [target, link, others, pipe]))

    def send(self, *args):
        unit = self.instrument()
        status, _, err = self.ulix("config", "kelvo10", "send", *unit.where, *args)
        wire = unit.wire()
        self.assertTrue(wire.startswith(HELLO) and wire.endswith(BYE), wire)
        return status, err, wire[len(HELLO):-len(BYE)].decode()

    def test_config_send(self):
        rows = [(dict(input_function="TC", input_sensor="TYP_K", input_cold_junction="JR_PROG",
                      input_cold_junction_temperature=degrees), f"TC,TYP_K,CEL,JR_PROG,{shown}", "V50")
                for degrees, shown in ((20, "20"), (-12.25, "-12.25"), (0.00001, "1E-05"), (1234567, "1.23457E+06"))]
        for code, name in enumerate(FUNCTIONS[:10], 1):
            rows.append((dict(input_function=code, input_connection=1, output_function=name, output_connection="WIRE2"),
                         name + ",WIRE2" * (code > 5), name + ",WIRE2" * (code in (6, 7))))
        for code, sensor in enumerate(SENSORS, 1):
            wires, unit, junction = CONNECTIONS[code % 7], UNITS[code % 3], (0, 1, 3)[code % 3]
            rows.append((dict(input_function="TC", input_connection=wires, input_sensor=code, temperature_unit=unit,
                              input_cold_junction=junction, output_function=12, output_connection=code % 7 + 1,
                              output_sensor=sensor), f"TC,{wires},{sensor},{unit},{JUNCTIONS[junction]}",
                         f"RT,{wires},{sensor},{unit}"))

        def check(fields, in_words, out_words):
            lines = f"REM\nRANGE_IN {in_words}\nRANGE_OUT {out_words}\nMEAS RUN\n"
            self.assertEqual(self.send(*sets(**fields)), (0, "", lines))
        self.side_by_side(check, rows)

    def test_config_with_an_unknown_code_is_not_sent(self):
        sent = "REM\nRANGE_IN V50\n"
        for lines, fields in [("REM\n", dict(in_word=13)), ("REM\n", dict(in_word=0)), ("REM\n", dict(in_word=word(8))),
                              ("REM\n", dict(in_word=word(11, 1, 26))), ("REM\n", dict(in_word=word(12, 0, 15))),
                              ("REM\n", dict(in_word=word(11))), ("REM\n", dict(in_word=word(12, 1, 15), unit=3)),
                              ("REM\n", dict(in_word=word(11, 0, 1), in_junction=4)), (sent, dict(out_word=15)),
                              (sent, dict(out_word=7)), (sent, dict(out_word=word(12, 2, 31)))]:
            with self.subTest(fields):
                config = self.file(RESET[:2] + record(**fields) + RESET[9:])
                self.assertEqual(self.send("--config", config), (1, NO_RANGE, lines))
        config = self.file(RESET[:2] + record(unit=3, out_word=8) + RESET[9:])  # ranges that use no unit
        self.assertEqual(self.send("--config", config), (0, "", sent + "RANGE_OUT OHM5000\nMEAS RUN\n"))

    def test_config_read(self):
        k20 = dict(in_word=word(11, 0, 1), in_junction=2, in_degrees=20.0)
        for cfg_in, cfg_out, fields in [
                ("RANGE_IN TC,TYP_K,CEL,JR_PROG,20", "RANGE_OUT V50", k20), ("TC,TYP_K,CEL,JR_PROG,20", "V50", k20),
                ("TC,TYP_S,FAR,JR_RTD", "V5", dict(in_word=word(11, 0, 8), in_junction=3, out_word=2, unit=1)),
                ("RT,WIRE4,TYP_PT500,K", "MA24,WIRE2", dict(in_word=word(12, 3, 17), out_word=word(7, 1), unit=2)),
                ("CFG_IN RT,WIRE3,TYP_PT50,CEL", "CFG_OUT RT,WIRE2,TYP_PT1000,CEL",
                 dict(in_word=word(12, 2, 14), out_word=word(12, 1, 18))),
                ("V50", "MV50", dict(out_word=4)), ("V5", "MV500", dict(in_word=2, out_word=3)),
                ("OHM5000,WIRE3", "OHM500", dict(in_word=word(8, 2), out_word=9)),
                ("MA50,TXA50", "V_AUTO", dict(in_word=word(6, 7), out_word=5)),
                ("TC,WIRE2,TYP_B,CEL,JR_OFF", "TC,TYP_T,CEL,JR_PROG,-12.5",
                 dict(in_word=word(11, 1, 10), in_junction=1, out_word=word(11, 0, 2), out_junction=2,
                      out_degrees=-12.5)),
                ("RANGE_IN RT, WIRE4, TYP_PT100, FAR", "V50 ", dict(in_word=word(12, 3, 15), unit=1)),
                ("V500", "V50", NO_RANGE), ("V5,FOO", "V50", NO_RANGE), ("V5", "MA25,WIRE2", NO_RANGE),
                ("RANGE_IN TC,TYP_PT,CEL,JR_ON", "V50", NO_RANGE), ("V5", SILENCE, NO_ANSWER)]:
            with self.subTest((cfg_in, cfg_out)):
                unit, file = self.instrument(cfg_in=cfg_in + "\nSTALE", cfg_out=cfg_out), self.file(RESET)
                args = (*unit.where, "--config", file, "--save", file)
                status, _, err = self.ulix("config", "kelvo10", "read", *args)
                refused = isinstance(fields, str)
                order = rb"\A\*IDN\?\nREM\nCFG_IN\?\n(CFG_OUT\?\n)%sLOC\n\Z" % (b"?" * refused)
                self.assertEqual((status, err), (1, fields) if refused else (0, ""))
                self.assert_saved(file, record(**{} if refused else fields))
                self.assertRegex(unit.wire(), order)

    def test_config_stream_written(self):
        saved = self.folder / "saved.cfg"
        options = "--port 5 --baud 19200 --data-bits 7 --stop-bits 2 --parity even --handshake xonxoff".split()
        settings = sets(input_function="TC", input_connection=7, input_sensor="TYP_NI1000", temperature_unit="K",
                        input_cold_junction="JR_PROG", input_cold_junction_temperature=-1.5, output_function=7,
                        output_connection="WIRE2", output_cold_junction=3, output_cold_junction_temperature=20)
        out = self.succeed("config", "kelvo10", "show", "--save", saved, *options, *settings)
        expected = record(word(11, 7, 25), 2, -1.5, word(7, 1), 3, 20.0, 2) + [5, 19200, 0, 1, 0, 2, 0, 0, -1, 1]
        self.assert_saved(saved, expected)
        self.assertRegex(saved.read_bytes(), rb"(?s)\A(\x13\0....){3}\x11")
        for key, shown in [("input-function", "TC"), ("input-sensor", "TYP_NI1000"), ("input-cold-junction", "JR_PROG"),
                           ("input-cold-junction-temperature", r"-1\.5"), ("output-connection", "WIRE2")]:
            self.assertRegex(out, rf"(?m)^\s*{key}(?![-\w]).*(?<!\w){shown}(?!\w)")

    def test_config_stream_loaded(self):
        groups = [3, 500, 1.5, 0.25, 10, 1, 7, 100, 0.0, 0.0, 0, 0]
        values = [0xFFFF0001, 9, *record(word(11, 0, 1), 2, 20.0, word(6, 1), 1, 3.5, 1), 5, 4800, 1, 0, 1, 0,
                  2, *groups, 9, -1, 1]
        whole, saved = encode(values), self.folder / "saved.cfg"
        retyped = encode(values[:4]) + b"\x13" + whole[len(encode(values[:4])) + 1:]
        for data, expected in [(whole, values[2:]), (encode(values[:24]), values[2:15] + [1, *groups[:6], 3, -1, 1]),
                               (retyped, values[2:4] + RESET[4:])]:
            self.succeed("config", "kelvo10", "show", "--config", self.file(data), "--save", saved, "--force")
            self.assert_saved(saved, expected)
        for data in (b"\x89PNG\r\n\x1a\n, not a stream at all", b"", whole[:6]):
            status, _, err = self.ulix("config", "kelvo10", "show", "--config", self.file(data))
            self.assertRegex(f"{status} {err}", r"\A1 ulix: 0x80070057 .+\n\Z")
        for none in [self.folder] if UNDER_WINE else [self.folder, "/dev/zero"]:
            status, _, err = self.ulix("config", "kelvo10", "show", "--config", none)
            why = "" if none == "/dev/zero" else ": is a folder"
            self.assertEqual((status, err), (1, f"ulix: 0x80030002 Unable to read {none}{why}\n"))
        status, _, err = self.ulix("config", "kelvo10", "show", "--config", self.folder, "--lang", "fr")
        self.assertEqual((status, err), (1, f"ulix: 0x80030002 Impossible de lire {self.folder}: est un dossier\n"))
        unit = self.instrument()
        self.env["ULIX_COM5"] = unit.device  # the port that the stream names
        if contract.PORT_SERVER == "pyserial":  # which cannot give a pseudo terminal the seven bits of this stream
            return
        self.succeed("read", "kelvo10", "--config", self.file(whole), *PATIENT)
        self.assertEqual(unit.wire(), HELLO + b"MEAS?\n" + BYE)
        if contract.PORT_SERVER in ("", "ser2net", "serve"):  # where the line is set as the stream says
            self.assertEqual(unit.speed, termios.B4800)

    def test_wrong_usage_names_the_argument(self):
        unit = self.instrument()
        for args, named in [("frobnicate", "frobnicate"), ("read kelvo11", "kelvo11"), ("read kelvo10 CH7", "CH7"),
                            ("read kelvo10 5", r"\b5\b"), ("set kelvo10 OUT nan", "nan"),
                            ("set kelvo10 OUT", "VALUE: .*a number"), ("read", "MODEL: .*takes"),
                            ("memory memolog clear 1 0x3 --port sim", "N: .*0 to 4294967295"),
                            ("scan isotech --period 500 --port sim", "CHANNEL: .*none"),
                            ("scan kelvo10 --period 500 --dead-time-max -1", "--dead-time-max: .*takes"),
                            ("scan kelvo10 --period 500 --dead-band 1e39", "--dead-band: .*takes"),
                            ("read kelvo10 --set nonsense=1", "nonsense"),
                            ("read kelvo10 --set input-function=BOGUS", "input-function"), ("error zz", "zz"),
                            ("read kelvo10 --set input-function", "input-function"), ("config kelvo10 shew", "shew"),
                            ("scan kelvo10 --count 1", "--period"), ("scan kelvo10 --period 0", "--period: .*1 to"),
                            ("read kelvo10 --parity maybe", "--parity"), ("read kelvo10 --lang de", "--lang"),
                            ("set kelvo10 OUT abc", "abc")]:
            with self.subTest(args):
                port = [*unit.where] if "kelvo10" in args else []
                status, _, err = self.ulix(*args.split(), *port)
                self.assertEqual(status, 2, err)
                self.assertRegex(err, named)
        status, _, err = self.ulix("set", "kelvo10", "IN", "1", *unit.where)
        self.assertRegex(f"{status} {err}", r"\A(1 ulix: 0x80070057 .+|2 .*\bIN\b)")
        self.assertNotIn(b"OUT", unit.wire())

    def test_lists(self):
        card, = [model for model in json.loads(self.succeed("models", "--json")) if "kelvo10" in model.values()]
        self.assertIn("Ulix.UlixInstrKelvo10Ctl.1", card.values())
        self.assertRegex(self.succeed("models"), r"(?m)^kelvo10\b.*Ulix\.UlixInstrKelvo10Ctl\.1")
        listed = set(re.findall(r"[\w-]+", self.succeed("keys", "kelvo10")))
        parts = "function connection sensor cold-junction cold-junction-temperature".split()
        keys = {"temperature-unit"} | {f"{side}-{part}" for side in ("input", "output") for part in parts}
        self.assertLessEqual(keys | set(FUNCTIONS + CONNECTIONS + SENSORS + JUNCTIONS + UNITS), listed)

    def test_simulator(self):
        self.assertIn("KELVO10", self.succeed("identify", "kelvo10", "--port", "sim"))
        for requests, clean in [] if UNDER_WINE else [(b"*IDN?\n", True), (b"FOO\n*IDN?\n", False)]:
            process = self.start("simulate", "kelvo10")
            slave = os.open(self.read_line(process), os.O_RDWR | os.O_NOCTTY)
            tty.setraw(slave)
            os.write(slave, requests)
            self.assertTrue(select.select([slave], [], [], TEST_LIMIT)[0], "the simulator is silent")
            self.assertIn(b"KELVO10", os.read(slave, 200))
            os.close(slave)
            status, _, err = self.interrupt(process)
            self.assertEqual(status == 0, clean, f"exit status {status} {err}")


if __name__ == "__main__":
    main()
