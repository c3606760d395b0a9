"""`ulix` shows the instrument's own values, keeps data whole, and says so when it cannot: one test for each promise.

Run as: python3 test_truth_contract.py PATH_TO_ULIX [unittest arguments]
"""

import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import time
import unittest

import contract
from contract import UNDER_WINE, ContractTest, main
from instruments import HART, ISOTECH, MICROK, SerialInstrument, kelvo10
from serial_instrument import SILENCE, TEST_LIMIT, Reply


class InstrumentSettingsTest(ContractTest):
    def test_unit_and_decimals_are_those_that_the_instrument_is_set_to(self):
        unit = self.plug_in(kelvo10({"CFG_IN?": "TC,TYP_K,FAR,JR_ON", "CFG_OUT?": "V50", "MEAS?": "228.77"}))
        self.assertRegex(self.succeed("read", "kelvo10", *unit.where), r"^0 +IN +228\.8 +.F\n$")
        row, = json.loads(self.succeed("read", "kelvo10", *unit.where, "--json"))
        self.assertEqual((row["value"], row["unit"]), (228.77, "\u00b0F"))

    def test_instrument_without_a_unit_shows_none(self):
        unit = self.plug_in(kelvo10({"CFG_IN?": SILENCE}))
        status, out, err = self.ulix("read", "kelvo10", *self.short_waits(unit))
        self.assertEqual((status, out.split()), (0, ["0", "IN", "12.345"]), err)
        self.assertRegex(err, r"^ulix: The instrument does not say how it is set; .*0x80044403.*\n$")

    def test_options_that_set_the_unit_prevent_the_query_for_it(self):
        for options in (["--set", "input-function=TC", "--set", "temperature-unit=CEL"], ["--no-config"]):
            unit = self.plug_in(kelvo10())
            self.succeed("read", "kelvo10", *unit.where, *options)
            self.assertEqual(unit.times("CFG_IN?"), [], options)

    def test_a_reply_without_a_number_is_marked(self):
        unit = self.plug_in(kelvo10({"MEAS?": "none"}))
        self.assertEqual(self.succeed("read", "kelvo10", *unit.where).split()[2], "0.000?")
        scan = self.succeed("scan", "kelvo10", *unit.where, "--period", 100, "--count", 1, "--json")
        self.assertEqual(json.loads(scan)["channels"][0]["doubt"], "no number in the reply")

    def test_an_instrument_that_cannot_be_asked_has_no_unit_either(self):
        unit = self.plug_in(SerialInstrument(MICROK))
        status, out, err = self.ulix("read", "microk", "0", *unit.where)
        self.assertEqual((status, out.split()), (0, ["0", "CH1", "100.12345"]))
        self.assertRegex(err, r"^ulix: The instrument does not say how it is set; .*\n$")
        self.assertIn("Ohms", self.succeed("read", "microk", "0", *unit.where, "--set", "channel.0.kind=RESISTANCE",
                                           "--set", "channel.0.range=115"))

    def test_no_float_residue_is_shown(self):
        self.assertNotIn("0004", self.succeed("read", "kelvo10", "--port", "sim"))


class ConfigTest(ContractTest):
    def test_only_the_requested_queries_are_sent(self):
        unit = self.plug_in(kelvo10())
        status, _, err = self.ulix("config", "kelvo10", "send", *unit.where)
        self.assertEqual(status, 2)
        self.assertIn("--set KEY=VALUE or --config FILE", err)
        self.assertEqual(unit.commands, [])

    def test_show_names_the_source_of_its_values(self):
        unit, kept = self.plug_in(kelvo10()), self.folder / "kept.cfg"
        self.succeed("config", "kelvo10", "show", "--set", "input-function=V5", "--save", kept)
        for args, said in (([*unit.where], "as the instrument says"), (["--config", kept], str(kept)), ([], "defaults")):
            first = self.succeed("config", "kelvo10", "show", *args).splitlines()[0]
            self.assertTrue(first.startswith("# Kelvo10") and said in first, first)

    def test_show_fails_when_the_instrument_that_is_named_does_not_answer(self):
        unit = self.plug_in(kelvo10({"*IDN?": SILENCE}))
        status, out, err = self.ulix("config", "kelvo10", "show", *self.short_waits(unit))
        self.assertEqual((status, out), (1, ""), err)

    def test_a_file_of_one_model_is_refused_by_another(self):
        kept = self.folder / "kept.cfg"
        self.succeed("config", "kelvo10", "show", "--save", kept)
        status, out, err = self.ulix("config", "cmx310", "show", "--config", kept)
        self.assertEqual((status, out), (1, ""))
        self.assertIn("is a configuration of kelvo10, not of cmx310", err)

    @unittest.skipIf(UNDER_WINE, "ports have no paths there")
    def test_config_file_restores_the_device_path(self):
        unit, kept = self.plug_in(kelvo10()), self.folder / "kept.cfg"
        self.succeed("config", "kelvo10", "read", *unit.where, "--save", kept)
        self.assertEqual(self.succeed("identify", "kelvo10", "--config", kept), "KELVO10 SN 1234 V1.0\n")

    def test_files_are_replaced_on_demand_only(self):
        kept = self.folder / "kept.cfg"
        kept.write_text("precious")
        status, _, err = self.ulix("config", "kelvo10", "show", "--save", kept)
        self.assertEqual((status, kept.read_text()), (2, "precious"))
        self.assertIn("--force", err)
        self.succeed("config", "kelvo10", "show", "--save", kept, "--force")
        self.succeed("config", "kelvo10", "show", "--config", kept, "--save", kept)


class ScanTest(ContractTest):
    def scan(self, unit, *args):
        return self.ulix("scan", "kelvo10", *self.short_waits(unit), "--period", 100, *args)

    def test_a_last_reading_that_failed_is_a_failure(self):
        unit = self.plug_in(kelvo10({"MEAS?": ["1.5", SILENCE]}))
        status, out, err = self.scan(unit, "--count", 3, "--json")
        self.assertEqual(status, 1)
        self.assertRegex(err, r"^ulix: 0x80044403 .*\n$")
        self.assertTrue(out)

    @unittest.skipIf(UNDER_WINE, "it has no such signals")
    def test_scan_ends_cleanly_on_every_signal(self):
        for end in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
            unit, rows = self.plug_in(kelvo10()), self.folder / f"{end}.csv"
            process = self.start("scan", "kelvo10", *unit.where, "--period", "100", "--csv", str(rows))
            self.read_line(process)
            process.send_signal(end)
            process.communicate(timeout=TEST_LIMIT)
            self.assertEqual(process.returncode, 0, end)
            unit.wire()
            self.assertEqual(unit.commands[-1][1], "LOC", end)
            self.assertTrue(rows.read_text().endswith("\n"))

    def test_csv_names_its_instrument(self):
        unit = self.plug_in(kelvo10({"*IDN?": "ULIX,KELVO10,77,V1"}))
        status, out, err = self.scan(unit, "--count", 2, "--csv", "-", "--csv-separator", "semicolon", "--operator", "A. B.")
        self.assertEqual((status, err), (0, ""))
        notes = dict(re.findall(r"^# ([^:]+): (.*)$", out, re.M))
        self.assertEqual([notes[key] for key in ("model", "serial-number", "unit IN", "setting input-function", "utc-offset", "operator")],
                         ["kelvo10", "77", "V", "V50", "+07:00", "A. B."])
        head, *rows = [line for line in out.splitlines() if not line.startswith("#")]
        self.assertEqual(head, "time;IN (V);IN error")
        on_time = [re.sub(r"late \d+\.\d s$", "", row) for row in rows]  # some are late on a slow machine
        self.assertEqual([row.split(";")[1:] for row in on_time], [["12.345", ""]] * 2)

    def test_a_reading_that_waited_for_the_line_is_marked(self):
        unit = self.plug_in(kelvo10({"MEAS?": ["1.5", Reply(b"2.5\n", delay=0.6), "1.5"]}))
        plot, rows = self.folder / "late.svg", self.folder / "late.csv"
        out = self.succeed("scan", "kelvo10", *unit.where, "--period", 200, "--count", 4, "--json", "--plot", plot, "--csv", rows)
        late = [report for report in map(json.loads, out.splitlines()) if report["channels"][0]["value"] == 2.5]
        self.assertTrue(all(report["late"] > 0.2 for report in late) and late, out)
        self.assertRegex(rows.read_text(), r"(?m)^[^,]*,2\.5,late \d\.\d s$")
        self.assertGreaterEqual(plot.read_text().count('<path d="M'), 2)  # the line has a gap for the wait

    def test_a_duration_has_a_unit(self):
        begun = time.monotonic()
        self.assertEqual(self.scan(self.plug_in(kelvo10()), "--duration", "0.02m")[0], 0)
        self.assertGreater(time.monotonic() - begun, 1.2)
        self.assertEqual(self.scan(self.plug_in(kelvo10()), "--duration", "soon")[0], 2)

    def test_plot_of_another_file_type_is_refused(self):
        status, _, err = self.scan(self.plug_in(kelvo10()), "--count", 1, "--plot", self.folder / "x.png")
        self.assertEqual(status, 2)
        self.assertIn(".svg", err)


class WordsTest(ContractTest):
    def test_misspelt_word_gets_a_suggestion(self):
        for args, meant in ((["raed", "kelvo10"], "read"), (["read", "kelvo1O"], "kelvo10"),
                            (["read", "kelvo10", "INN", "--port", "sim"], "IN"), (["read", "kelvo10", "--prot", "5"], "--port"),
                            (["config", "kelvo10", "show", "--set", "input-funktion=TC"], "input-function"),
                            (["config", "kelvo10", "shwo"], "show"), (["read", "kelv"], "kelvo10")):
            status, _, err = self.ulix(*args)
            self.assertEqual(status, 2, err)
            self.assertIn(f"did you mean '{meant}'?", err)

    def test_a_port_that_is_not_named_is_wrong_usage(self):
        for verb in "read", "identify", "run":
            status, _, err = self.ulix(verb, "kelvo10")
            self.assertEqual(status, 2)
            self.assertIn("--port: is missing", err)

    def test_help_and_version(self):
        self.assertIn("--period", self.succeed("help", "scan"))
        self.assertEqual(self.succeed("-V"), self.succeed("--version"))
        self.assertEqual(self.ulix("help", "elephant")[0], 2)

    def test_an_instrument_without_identification_says_so(self):
        unit = self.plug_in(SerialInstrument(HART))
        status, _, err = self.ulix("identify", "hart", *unit.where)
        self.assertEqual(status, 1)
        self.assertIn("hart has no identification", err)

    def test_set_points_for_a_host_are_refused_in_words(self):
        unit = self.plug_in(SerialInstrument(ISOTECH))
        for verb in (("set", "isotech", "SETPOINT", "25"), ("run", "isotech")):
            status, _, err = self.ulix(*verb, "--set", "model=object", *unit.where)
            self.assertEqual(status, 1)
            self.assertIn("0x80004001 with this configuration isotech hands its set points to an object of a host", err)
        self.assertEqual(unit.wire(), b"")

    def test_comma_is_a_decimal_separator_in_french(self):
        unit = self.plug_in(kelvo10())
        self.succeed("set", "kelvo10", "OUT", "1,5", *unit.where, "--lang", "fr")
        self.assertIn(b"OUT 1.500000", unit.wire())
        self.succeed("scan", "kelvo10", *unit.where, "--period", 100, "--dead-band-abs", "0,5", "--count", 1, "--lang", "fr")

    def test_set_refuses_a_value_beyond_its_limit(self):
        unit = self.plug_in(kelvo10())
        self.assertEqual(self.ulix("set", "kelvo10", "OUT", "9", "--max", "5", *unit.where)[0], 2)
        self.assertFalse(unit.times("OUT 9.000000"))


class RawTest(ContractTest):
    def test_query_is_sent_as_typed(self):
        unit = self.plug_in(kelvo10())
        self.assertEqual(self.succeed("query", "kelvo10", "CFG_IN?", *unit.where), "V50\n")
        self.succeed("query", "kelvo10", "MEAS RUN", "--no-reply", *unit.where)
        unit.wire()
        self.assertEqual(len(unit.times("MEAS RUN")), 1)

    def test_console_takes_one_text_a_line(self):
        unit = self.plug_in(kelvo10())
        typed = "CFG_IN?\n!MEAS RUN\n\u65e5\nCFG_OUT?"
        done = subprocess.run([contract.ULIX, "console", "kelvo10", *unit.where], input=typed.encode(), env=self.env,
                              capture_output=True, timeout=TEST_LIMIT)
        self.assertEqual((done.returncode, done.stdout), (0, b"V50\nV50\n"))
        self.assertIn(b"TEXT: ", done.stderr)
        self.assertEqual([text for _, text in unit.commands if text not in ("*IDN?", "REM", "LOC")], ["CFG_IN?", "MEAS RUN", "CFG_OUT?"])

    def test_detect_finds_the_instrument_that_answers(self):
        unit = self.plug_in(kelvo10())
        self.assertEqual(self.succeed("detect", *self.short_waits(unit)), "kelvo10  KELVO10 SN 1234 V1.0\n")
        status, _, err = self.ulix("detect", "--port", "/dev/null")
        self.assertEqual(status, 1)
        self.assertIn("not a serial device", err)


class CauseTest(ContractTest):
    @unittest.skipIf(UNDER_WINE, "its devices have other names")
    def test_port_that_cannot_be_opened_gives_the_cause(self):
        unit = self.plug_in(kelvo10())
        holder = self.start("scan", "kelvo10", *unit.where, "--period", "100")
        self.read_line(holder)
        for port, why in (("/dev/none", "no such device"), ("/dev/null", "not a serial device"),
                          (unit.device, f"in use by process {holder.pid}")):
            status, _, err = self.ulix("identify", "kelvo10", "--port", port)
            self.assertEqual((status, err), (1, f"ulix: 0x80044400 Unable to open communication: {port}: {why}\n"))


    def test_why_a_server_is_not_reached(self):
        with socket.create_server(("127.0.0.1", 0)) as taken:
            port = taken.getsockname()[1]
        for host, why in (("nobody.invalid", "unknown host"), ("127.0.0.1", "connection refused")):
            status, _, err = self.ulix("identify", "memolog", "--host", host, "--tcp-port", port)
            self.assertEqual((status, err), (1, f"ulix: 0x80046B00 Unable to establish connection: {host}:{port}: {why}\n"))

    def test_why_a_file_cannot_be_written(self):
        for name, why in (("none/x.csv", "no such folder"), ("", "is a folder")):
            status, _, err = self.ulix("scan", "kelvo10", "--port", "sim", "--period", 100, "--count", 1, "--csv",
                                       self.folder / name, "--force")
            self.assertEqual((status, err), (1, f"ulix: 0x8003001D Unable to write {self.folder / name}: {why}\n"))


class LoggerTest(ContractTest):
    def test_records_bear_the_names_and_units_of_their_channels(self):
        line = self.start("simulate", "memolog")
        where = ["--port", self.read_line(line)]
        records = json.loads(self.succeed("memory", "memolog", "read", "1", "--max", 9, "--json", *where))
        self.assertEqual({(r["channel"], r["name"], r["unit"]) for r in records},
                         {(0, "OVEN", "\u00b0C"), (1, "ROOM", "\u00b0C"), (2, "CH3", "bar")})
        self.assertRegex(self.succeed("memory", "memolog", "read", "1", "--max", 9, *where), r"(?m)^\S+  OVEN  \d+\.\d\d \u00b0C$")

    def test_what_is_cleared_is_said(self):
        where = ["--port", self.read_line(self.start("simulate", "memolog"))]
        self.assertEqual(self.succeed("memory", "memolog", "clear", "name:2", *where), 'cleared block 1 "2", 1501 records\n')
        status, _, err = self.ulix("memory", "memolog", "clear", "name:3", *where)
        self.assertEqual((status, err), (2, "ulix: BLOCK: 'name:3' is no block of the instrument; there are 0 name:1, 1 name:2\n"))


class UsbTest(ContractTest):
    @unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
    def test_what_simulate_offers_read_can_open(self):
        port = self.read_line(self.start("simulate", "adt760"))
        self.assertRegex(self.succeed("read", "adt760", "PRESSURE1", "--port", port), r"^0 +PRESSURE1 +\d+\.\d+ +mbar\n$")


class ReplayTest(ContractTest):
    def test_recorded_exchange_is_replayed(self):
        log = self.folder / "wire.log"
        first = self.succeed("read", "kelvo10", "--port", "sim", "--record", log)
        line = self.start("simulate", "kelvo10", "--replay", str(log))
        self.assertEqual(self.succeed("read", "kelvo10", "--port", self.read_line(line)), first)
        self.assertEqual(self.interrupt(line)[0], 0)

    def test_replay_reports_a_query_that_was_not_recorded(self):
        log = self.folder / "wire.log"
        self.succeed("identify", "kelvo10", "--port", "sim", "--record", log)
        line = self.start("simulate", "kelvo10", "--replay", str(log))
        self.assertEqual(self.ulix("read", "kelvo10", "--port", self.read_line(line), "--timeout", self.short_timeout())[0], 1)
        status, _, err = self.interrupt(line)
        self.assertEqual(status, 1)
        self.assertIn("MEAS?", err)


if __name__ == "__main__":
    main()
