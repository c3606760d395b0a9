"""`ulix calibrate` and `ulix watch` on simulated instruments: plans, runs, interruptions, and the files of a run.

Run as: python3 test_calibrate_contract.py PATH_TO_ULIX [unittest arguments]
"""

import csv
import json
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import time
import unittest

import contract
from contract import ContractTest, main

PLAN = {
    "plan": 1,
    "title": "Two <thermometers>",
    "instruments": {
        "bath": {"model": "kambic", "port": "sim"},
        "bridge": {"model": "microk", "port": "sim"},
    },
    "source": {"set": "bath/SETPOINT", "min": -40, "max": 150, "safe": 20, "rate": 30, "settle": "3m"},
    "reference": {"channel": "bridge/CH1", "sensor": "pt100", "serial-number": "PT-1"},
    "units": [{"name": "Pt100", "channel": "bridge/CH2", "sensor": "pt100", "tolerance": 0.1}],
    "points": [30, 60],
    "sequence": "rising-falling",
    "phases": ["as-found"],
    "stability": {"window": "2m", "spread": 0.02, "drift": 0.01},
    "readings": {"count": 6, "period": "4s"},
    "sampling": "4s",
    "decision": {"rule": "guard-band"},
    "bench": {
        "seed": 1,
        "world": {"start": 20, "ambient": 20, "rate": 30, "time-constant": "20s", "overshoot": 0.002,
                  "control-amplitude": 0.001, "control-period": "50s"},
        "sensors": [{"channel": "bridge/CH1", "lag": 10, "noise": 0.0005},
                    {"channel": "bridge/CH2", "lag": 20, "noise": 0.001, "offset": 0.05}],
    },
}


def contract_has_signing():
    return shutil.which("xmlsec1") and shutil.which("openssl") and not contract.UNDER_WINE


class CalibrateTest(ContractTest):
    def plan(self, **changes):
        path = self.folder / "plan.json"
        path.write_text(json.dumps({**PLAN, **changes}, indent=1))
        return path

    def table(self, folder):
        with open(folder / "results.csv", newline="") as file:
            return [{key: value for key, value in row.items() if key not in ("began", "ended")} for row in csv.DictReader(file)]


class Plans(CalibrateTest):
    def test_what_is_wrong_is_told_with_its_line_and_nothing_runs(self):
        status, out, err = self.ulix("calibrate", self.plan(redings={"count": 3}), "--run", self.folder / "run")
        self.assertEqual((status, out), (2, ""))
        self.assertRegex(err, r"plan\.json:\d+: .*redings.*\"readings\"")
        self.assertRegex(self.ulix("calibrate", self.plan(points=[30, 200]))[2], r"plan\.json:\d+: points: 200 is outside.*150")
        self.assertFalse((self.folder / "run").exists())
        self.assertEqual(self.ulix("calibrate", "check", self.plan())[0], 0)
        self.assertEqual(self.ulix("calibrate", self.folder / "none.json")[0], 1)
        self.assertEqual(self.ulix("calibrate", "report")[0], 2)
        self.assertEqual(self.ulix("calibrate", self.plan(), "--sign", "a.pem,b.pem")[0], 2)

    def test_time_table_of_a_dry_run(self):
        out = self.succeed("calibrate", self.plan(), "--dry-run", "--lang", "fr")
        self.assertIn("à réception, 60 °C ↓", out)
        self.assertEqual(list(self.folder.glob("plan-*")), [])
        self.assertRegex(out, r"\n[0-9:]+ pour 4 points\n$")
        both = self.succeed("calibrate", self.plan(phases=["as-found", "as-left"]), "--dry-run")
        self.assertRegex(both, r"\n[0-9:]+ for 2 phases of 4 points\n$")

    def answer(self, answers, file):
        return subprocess.run([contract.ULIX, "calibrate", "new", file], input="\n".join(answers) + "\n", text=True,
                              capture_output=True, env=self.env, timeout=180)

    def test_new_plan_is_asked_for_and_can_be_run(self):
        file = self.folder / "asked.json"
        answers = ["Two sensors", "A. Martin", "", "kambik", "kambic", "sim", "SETPOINT", "20", "x", "-40", "150", "30",
                   "microk", "sim", "CH1", "", "PT-1", "Probe", "microk", "sim", "CH2", "pt100", "", "0.5", "no", "30 60",
                   "yes", "no", "2m", "0.05", "0.05", "5"]
        asked = self.answer(answers, file)
        self.assertEqual(asked.returncode, 0, asked.stderr)
        self.assertIn("did you mean 'kambic'?", asked.stdout)
        self.assertEqual(asked.stderr, "")
        self.succeed("calibrate", "check", file)
        short = self.answer(["a"], self.folder / "short.json")
        self.assertEqual(short.returncode, 2)
        self.assertFalse((self.folder / "short.json").exists())
        self.assertEqual(self.ulix("calibrate", "new", file)[0], 2)


class Runs(CalibrateTest):
    def test_a_run_ends_in_table_and_report(self):
        run = self.folder / "run"
        out = self.succeed("calibrate", self.plan(), "--speed", 100000, "--run", run)
        self.assertIn("60 °C ↓", out)
        rows = self.table(run)
        self.assertEqual([(row["nominal"], row["direction"]) for row in rows],
                         [("30", "rising"), ("60", "rising"), ("60", "falling"), ("30", "falling")])
        for row in rows:
            self.assertAlmostEqual(float(row["deviation"]), 0.05, delta=0.003)
            self.assertEqual(row["conformity"], "pass")
        page = (run / "report.html").read_text()
        self.assertIn("Two &lt;thermometers&gt;", page)
        self.assertNotIn("http", page.replace("http-equiv", ""))
        self.succeed("calibrate", "report", run, "--lang", "fr")
        self.assertIn("À réception", (run / "report.html").read_text())
        status, _, err = self.ulix("calibrate", self.plan(), "--speed", 100000, "--run", run)
        self.assertEqual(status, 1)
        self.assertIn("holds a run", err)

    @unittest.skipIf(contract.UNDER_WINE, "its files have no limit of size")
    def test_a_full_disk_ends_the_run_safely_and_says_how_to_go_on(self):
        def fill_the_disk():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))

        run = self.folder / "run"
        full = subprocess.run([contract.ULIX, "calibrate", self.plan(), "--speed", "100000", "--run", run], text=True,
                              capture_output=True, env=self.env, timeout=180, preexec_fn=fill_the_disk, check=False)
        self.assertEqual(full.returncode, 1)
        self.assertRegex(full.stderr, r"(?s)journal.*safe value, 20 .*--resume --run ")
        self.assertTrue((run / "results.csv").exists())
        self.succeed("calibrate", self.plan(), "--speed", 100000, "--resume", "--run", run)

    @unittest.skipIf(contract.UNDER_WINE, "the standard output is Wine's")
    def test_a_closed_standard_output_costs_no_file(self):
        run = self.folder / "run"
        with open("/dev/full", "w") as out:
            closed = subprocess.run([contract.ULIX, "calibrate", self.plan(), "--speed", "100000", "--run", run], text=True,
                                    stdout=out, stderr=subprocess.PIPE, env=self.env, timeout=180, check=False)
        self.assertEqual(closed.returncode, 1, closed.stderr)
        self.assertIn("</html>", (run / "report.html").read_text())

    def begin(self, plan, run, *more):
        return self.start("calibrate", str(plan), "--run", str(run), *map(str, more))

    def wait_for_lines(self, run, lines):
        deadline = time.monotonic() + 60
        journal = run / "journal.jsonl"
        while time.monotonic() < deadline:
            if journal.exists() and journal.read_bytes().count(b"\n") > lines:
                return
            time.sleep(0.01)
        self.fail("the run did not begin")

    def last_safe(self, run):
        entries = [json.loads(line) for line in (run / "journal.jsonl").read_text().splitlines()]
        return [entry["v"] for entry in entries if entry["k"] == "safe"]

    @unittest.skipIf(contract.UNDER_WINE, "Wine's programs take no signals")
    def test_each_signal_leaves_the_source_safe_and_the_run_can_go_on(self):
        plan = self.plan()
        run = self.folder / "run"
        more = ["--speed", 300]
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            lines = (run / "journal.jsonl").read_bytes().count(b"\n") if run.exists() else 0
            program = self.begin(plan, run, *more)
            self.wait_for_lines(run, lines + 100)
            program.send_signal(number)
            _, err = program.communicate(timeout=180)
            self.assertEqual(program.returncode, 1, err)
            self.assertIn(b"--resume --run", err)
            self.assertEqual(self.last_safe(run)[-1], 20)
            more = ["--speed", 300, "--resume"]
        self.succeed("calibrate", plan, "--speed", 100000, "--resume", "--run", run)
        self.succeed("calibrate", plan, "--speed", 100000, "--run", self.folder / "whole")
        self.assertEqual(len(self.table(run)), len(self.table(self.folder / "whole")))

    @unittest.skipIf(contract.UNDER_WINE, "what is killed is Wine's starter")
    def test_a_killed_run_goes_on_to_the_same_table(self):
        plan = self.plan()
        run = self.folder / "run"
        program = self.begin(plan, run, "--speed", 300)
        self.wait_for_lines(run, 300)
        program.kill()
        program.communicate()
        self.succeed("calibrate", plan, "--speed", 100000, "--resume", "--run", run)
        self.succeed("calibrate", plan, "--speed", 100000, "--run", self.folder / "whole")
        self.assertEqual(self.table(run), self.table(self.folder / "whole"))


    @unittest.skipIf(contract.UNDER_WINE, "Wine's programs take no signals")
    def test_resume_without_a_folder_takes_the_newest_open_run_of_this_plan(self):
        def run(folder, plan, lines):
            program = self.begin(plan, folder, "--speed", 300)
            self.wait_for_lines(folder, lines)
            program.send_signal(signal.SIGINT)
            program.communicate(timeout=180)

        plan = self.plan()
        run(self.folder / "plan-20260101-000000", plan, 100)
        self.succeed("calibrate", plan, "--speed", 100000, "--run", self.folder / "plan-20260102-000000")
        run(self.folder / "plan-3-20260103-000000", plan, 100)
        run(self.folder / "plan-20260104-000000", self.plan(points=[30, 61]), 100)
        self.plan()
        go_on = subprocess.run([contract.ULIX, "calibrate", plan, "--speed", "100000", "--resume"], text=True, cwd=self.folder,
                               capture_output=True, env=self.env, timeout=180, check=False)
        self.assertEqual(go_on.returncode, 0, go_on.stderr)
        self.assertIn("plan-20260101-000000", go_on.stdout)
        self.assertEqual(len(self.table(self.folder / "plan-20260101-000000")), 4)

    @unittest.skipUnless(contract_has_signing(), "no xmlsec1")
    def test_a_key_that_is_not_the_certificates_is_refused_before_the_run(self):
        for name in ("a", "b"):
            subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", self.folder / f"{name}.key",
                            "-out", self.folder / f"{name}.pem", "-days", "30", "-subj", f"/CN={name}"], check=True,
                           capture_output=True)
        plan, run = self.certified_plan(), self.folder / "run"
        status, _, err = self.ulix("calibrate", plan, "--run", run, "--sign", f"{self.folder}/a.key,{self.folder}/b.pem")
        self.assertEqual(status, 2)
        self.assertIn("do not belong together", err)
        self.assertFalse(run.exists())
        self.succeed("calibrate", plan, "--speed", 100000, "--run", run, "--sign", f"{self.folder}/a.key,{self.folder}/a.pem")
        self.succeed("certificate", "check", run / "certificate-1.xml", "--trusted", self.folder / "a.pem")
        self.recompute(run)

    def certified_plan(self, **changes):
        (self.folder / "pt-1.csv").write_text("certificate;REF-1\nserial;PT-1\ndue;2099-01-01\nindication;correction;U\n"
                                              "0;0.01;0.02\n100;0.02;0.02\n")
        laboratory = {"name": "Laboratory", "country": "FR", "responsible": "A. Martin"}
        return self.plan(laboratory=laboratory, customer={"name": "Customer", "city": "Lyon"}, certificate={"identifier": "C-1"},
                         reference={**PLAN["reference"], "certificate": "pt-1.csv"},
                         units=[{**PLAN["units"][0], "serial-number": "U-1"}], **changes)

    def recompute(self, run):
        script = pathlib.Path(__file__).resolve().parents[2] / "scripts/recompute_certificate.py"
        done = subprocess.run([sys.executable, script, run], text=True, capture_output=True, timeout=180, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertRegex(done.stdout, r"[1-9][0-9]* numbers of 1 certificates compared, 0 differ")

    @unittest.skipIf(contract.UNDER_WINE, "no XML library")
    def test_an_independent_script_comes_to_the_same_numbers(self):
        run = self.folder / "run"
        self.succeed("calibrate", self.certified_plan(phases=["as-found", "as-left"]), "--speed", 100000, "--run", run)
        self.recompute(run)

    def test_a_plan_that_cannot_give_its_certificate_is_refused(self):
        plan = json.loads(self.certified_plan().read_text())
        for laboratory, missing in (({"country": "FR"}, "laboratory.name"), ({"name": "L", "country": "ZZ"}, "country")):
            (self.folder / "plan.json").write_text(json.dumps({**plan, "laboratory": {"responsible": "M", **laboratory}}))
            status, _, err = self.ulix("calibrate", "check", self.folder / "plan.json")
            self.assertEqual(status, 2)
            self.assertIn(missing, err)


class Watching(ContractTest):
    def test_a_window_that_cannot_be_judged_is_refused(self):
        for window, period in (("5s", 2000), ("0", 1000)):
            status, _, err = self.ulix("watch", "stable", "kelvo10", "IN", "--port", "sim", "--spread", 1, "--window", window,
                                       "--period", period)
            self.assertEqual(status, 2)
            self.assertIn("fewer than 10 samples", err)

    def test_stable_channel_ends_with_0_and_one_that_is_not_with_1(self):
        common = ["kelvo10", "IN", "--port", "sim", "--period", 100, "--window", 2, "--min-samples", 5]
        out = self.succeed("watch", "stable", *common, "--spread", 1e6)
        self.assertIn("stable", out)
        status, _, err = self.ulix("watch", "stable", *common, "--spread", 1e6, "--target", -1e6, "--near", 1, "--give-up", 3)
        self.assertEqual(status, 1, err)
        self.assertEqual(self.ulix("watch", "stable", *common)[0], 2)


if __name__ == "__main__":
    main()
