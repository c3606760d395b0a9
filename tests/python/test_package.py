"""The Python package as its users have it: test_package.py FOLDER ULIX-PROGRAM."""

import asyncio
import datetime
import doctest
import gc
import os
import pathlib
import pickle
import resource
import subprocess
import sys
import threading
import time
import unittest
import unittest.mock

SOURCE = pathlib.Path(__file__).resolve().parents[2]
PACKAGE, PROGRAM = sys.argv[1], sys.argv[2]
sys.path[:0] = [PACKAGE, str(SOURCE / "tests/cli")]

import numpy as np  # noqa: E402

import ulix  # noqa: E402
from own_locks import take_own_locks  # noqa: E402

take_own_locks()


def sim(**options):
    return ulix.open("kelvo10", port="sim", **options)


class Tour(unittest.TestCase):
    def test_documentation_does_what_it_says(self):
        os.chdir(SOURCE)
        failed, run = doctest.testfile(str(SOURCE / "docs/python.md"), module_relative=False,
                                       optionflags=doctest.ELLIPSIS | doctest.IGNORE_EXCEPTION_DETAIL)
        self.assertEqual(failed, 0)
        self.assertGreater(run, 30)


class Types(unittest.TestCase):
    def run_tool(self, *command):
        done = subprocess.run(command, cwd=PACKAGE, capture_output=True, text=True, timeout=600,
                              env=os.environ | {"MYPYPATH": PACKAGE, "PYTHONPATH": PACKAGE})
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)

    def test_mypy_accepts_the_package(self):
        self.run_tool("/usr/bin/python3", "-m", "mypy", "--strict", "-p", "ulix")

    def test_stubs_are_those_of_the_compiled_part(self):
        self.run_tool("/usr/bin/python3", "-m", "mypy.stubtest", "ulix._ulix", "--ignore-missing-stub",
                      "--allowlist", str(SOURCE / "tests/python/stubtest-allowed.txt"))


class Readings(unittest.TestCase):
    def test_reading_is_now_and_in_this_zone(self):
        with sim() as cal:
            reading = cal.IN.read()
        self.assertLess(abs((datetime.datetime.now(datetime.timezone.utc) - reading.time).total_seconds()), 10)
        self.assertEqual(reading.time.utcoffset(), datetime.datetime.now().astimezone().utcoffset())

    def test_records_are_in_utc(self):
        with sim() as cal:
            run = cal.record(["IN"], period=0.1, count=3)
        age = np.datetime64(datetime.datetime.now(datetime.timezone.utc).replace(tzinfo=None), "ms") - run.time[-1]
        self.assertLess(abs(age / np.timedelta64(1, "s")), 10)
        self.assertTrue((np.diff(run.time) > np.timedelta64(0, "ms")).all())

    def test_hour_that_comes_twice_is_the_one_of_the_reading(self):
        self.addCleanup(time.tzset)
        with unittest.mock.patch.dict(os.environ, {"TZ": "CET-1CEST,M3.5.0,M10.5.0/3"}):
            time.tzset()
            half_past_two = (datetime.datetime(2026, 10, 25, 2, 30) - datetime.datetime(1899, 12, 30)) / datetime.timedelta(days=1)
            for hour in 0, 1:  # UTC
                arrived = datetime.datetime(2026, 10, 25, hour, 30, 1, tzinfo=datetime.timezone.utc).timestamp()
                reading = ulix.Reading(1.0, "V", ulix.Quality.GOOD, half_past_two, arrived)
                self.assertAlmostEqual(reading.time.timestamp(), arrived - 1, 3)

    def test_what_is_no_scan_is_refused(self):
        nan, inf = float("nan"), float("inf")
        with sim() as cal:
            for wrong in ({"period": 0}, {"period": -1}, {"period": nan}, {"period": inf}, {"dead_band": -1},
                          {"dead_band_percent": nan}, {"max_report_interval": inf}, {"channels": []}):
                with self.subTest(wrong), self.assertRaises(ValueError):
                    cal.scans(**wrong)
            with self.assertRaises(ValueError):
                cal.read([])
            with self.assertRaises(AttributeError):
                cal.OUT = 3.0
            with cal.scans(["IN"], period=0.1) as scans:
                self.assertIsNotNone(scans.take(inf))

    def test_dead_band_holds_without_a_report_interval(self):
        with sim() as cal, cal.scans(["IN"], period=0.1, dead_band=1e6) as scans:
            self.assertIsNotNone(scans.take(10))
            self.assertIsNone(scans.take(2.5))

    def test_closed_instrument_raises_its_published_error(self):
        cal = sim()
        cal.close()
        with self.assertRaises(ulix.NotConnectedError) as raised:
            cal.OUT.write(1)
        self.assertEqual(raised.exception.code, 0x8000FFFF)
        again = pickle.loads(pickle.dumps(raised.exception))
        self.assertEqual((type(again), again.code), (ulix.NotConnectedError, 0x8000FFFF))

    def test_wrong_uses_are_told(self):
        with sim() as cal:
            for wrong in (lambda: cal.OUT.write(float("nan")), lambda: cal.IN.write(1), lambda: cal.record()):
                with self.assertRaises((ulix.Error, ValueError)):
                    wrong()
            with self.assertRaisesRegex(AttributeError, "IN, OUT"):
                cal.INN
            with self.assertRaises(ValueError):
                cal.settings["no-such-key"] = 1

    def test_unanswered_reading_raises_and_scan_tells_its_quality(self):
        simulator = subprocess.Popen([PROGRAM, "simulate", "kelvo10"], stdout=subprocess.PIPE)
        port = simulator.stdout.readline().decode().strip()
        with simulator, ulix.open("kelvo10", port=pathlib.Path(port), timeout=0.2) as cal:
            self.assertEqual(cal.read(["IN"]).quality[0], ulix.Quality.GOOD)
            simulator.kill()
            simulator.wait()
            with self.assertRaises(ulix.LinkError) as raised:
                cal.IN.read()
            self.assertTrue(raised.exception.name.startswith("serialCommErr"))
            scan = cal.read(["IN"])
            self.assertEqual(scan.quality[0], ulix.Quality.BAD)
            self.assertTrue(np.isnan(scan.value[0]))


class Concurrency(unittest.TestCase):
    def silent(self, timeout=3):
        """An instrument that stopped answering."""
        simulator = subprocess.Popen([PROGRAM, "simulate", "kelvo10"], stdout=subprocess.PIPE)
        self.addCleanup(lambda: (simulator.kill(), simulator.communicate()))
        cal = ulix.open("kelvo10", port=simulator.stdout.readline().decode().strip(), timeout=timeout)
        self.addCleanup(cal.close)
        cal.IN.read()
        simulator.send_signal(19)  # SIGSTOP: once stopped, it does not answer
        while " T " not in pathlib.Path(f"/proc/{simulator.pid}/stat").read_text():
            time.sleep(0.01)
        return cal

    def test_other_threads_run_while_a_reading_waits(self):
        cal = self.silent()
        counted = 0
        failures = []

        def read():
            try:
                cal.IN.read()
            except ulix.Error as error:
                failures.append(error)

        reader = threading.Thread(target=read)
        reader.start()
        while reader.is_alive():
            counted += 1
            time.sleep(0.01)
        self.assertGreater(counted, 20)
        self.assertEqual([type(failure) for failure in failures], [ulix.LinkError])

    def test_cancelled_await_returns_while_the_reading_waits(self):
        timeout = 30
        cal = self.silent(timeout)

        async def iterate():
            async for _ in cal.scans(["IN"], period=10):
                pass

        async def is_cancelled(wait):
            task = asyncio.create_task(wait)
            await asyncio.sleep(0.3)  # the query has been sent
            task.cancel()
            await asyncio.wait({task}, timeout=timeout / 2)
            return task.cancelled()

        async def both():
            return [await is_cancelled(cal.IN.read_async()), await is_cancelled(iterate())]

        self.assertEqual(asyncio.run(both()), [True, True])

    def test_scans_end_with_the_instrument(self):
        cal = sim()
        scans = cal.scans(["IN"], period=0.1)
        self.assertIsNotNone(scans.take(10))
        cal.close()
        self.assertLess(len(list(scans)), 10)  # the iteration ends
        scans.close()
        cal.close()
        with self.assertRaises(ulix.NotConnectedError):
            cal.scans(["IN"], period=0.1)

    def test_scans_that_nobody_has_any_longer_end(self):
        with sim() as cal:
            def threads():
                return len(os.listdir("/proc/self/task"))
            before = threads()
            for _ in range(3):
                for _ in cal.scans(["IN"], period=0.1):
                    break
            gc.collect()
            self.assertEqual(threads(), before)

    def test_program_ends_whatever_its_threads_do(self):
        begin = "import asyncio, threading, time, ulix\ncal = ulix.open('kelvo10', port='sim')\n"
        for rest in ("async def first():\n  async for scan in cal.scans(['IN'], period=0.1): return\nasyncio.run(first())",
                     "def read():\n  while True: cal.IN.read()\nthreading.Thread(target=read, daemon=True).start()\ntime.sleep(0.1)",
                     "def scan():\n  for _ in cal.scans(['IN'], period=0.1): pass\n"
                     "for _ in range(3): threading.Thread(target=scan, daemon=True).start()\ntime.sleep(0.1)"):
            for _ in range(3):
                done = subprocess.run(["/usr/bin/python3", "-c", begin + rest], env=os.environ | {"PYTHONPATH": PACKAGE},
                                      capture_output=True, text=True, timeout=120)
                self.assertEqual(done.returncode, 0, done.stderr)

    def test_memory_stays_flat(self):
        with sim() as cal:
            def read(count):
                for _ in range(count):
                    cal.IN.read()
                return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
            before = read(500)
            self.assertLess(read(2000) - before, 1024)  # KiB


class Memory(unittest.TestCase):
    def test_block_is_arrays(self):
        with ulix.open("memolog", port="sim") as logger:
            for block in logger.memory:
                records = block.read()
                self.assertEqual(records.value.shape, (len(records.time), len(records.names)))
                self.assertEqual(records.quality.shape, records.value.shape)


class Certificates(unittest.TestCase):
    def test_plan_problems_have_lines(self):
        folder = pathlib.Path(self.enterContext(__import__("tempfile").TemporaryDirectory()))
        (folder / "plan.json").write_text('{\n "titel": "x"\n}')
        plan = ulix.load_plan(folder / "plan.json")
        self.assertFalse(plan.usable)
        self.assertTrue(any(problem.line == 2 and "title" in problem.message for problem in plan.problems))
        with self.assertRaises(OSError):
            ulix.load_plan(folder / "none.json")

    def test_no_certificate_is_refused(self):
        folder = pathlib.Path(self.enterContext(__import__("tempfile").TemporaryDirectory()))
        (folder / "c.xml").write_text("<x/>")
        with self.assertRaises(ValueError):
            ulix.read_certificate(folder / "c.xml")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
