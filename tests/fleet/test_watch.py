"""`ulix watch mqtt://...` against a real broker and real publishers: test_watch.py PUBLISH ULIX."""

import http.client
import json
import os
import pty
import re
import shutil
import signal
import subprocess
import sys
import threading
import time

import bench
from bench import DEVICE
from sparkplug_decoder import command


class WatchTest(bench.FleetTest):
    def watch(self, broker, *options, **more):
        """A watch that writes JSON lines, and a function that returns the next line that matches."""
        program = self.start(self.ulix, "watch", f"mqtt://127.0.0.1:{broker.port}/lab", "--json", *options,
                             stdout=subprocess.PIPE, text=True, **more)
        lines, arrived = [], threading.Condition()

        def read():
            for line in program.stdout:
                with arrived:
                    lines.append(json.loads(line))
                    arrived.notify_all()
        threading.Thread(target=read, daemon=True).start()
        place = 0

        def next_line(**wanted):
            nonlocal place
            deadline = time.monotonic() + bench.WAIT
            with arrived:
                while True:
                    while place < len(lines):
                        place += 1
                        if wanted.items() <= lines[place - 1].items():
                            return lines[place - 1]
                    left = deadline - time.monotonic()
                    self.assertGreater(left, 0, f"no {wanted} in {lines[-5:]}; {self.log()}")
                    arrived.wait(left)
        return program, next_line

    def running(self, *options, **more):
        broker = self.broker()
        publisher = self.start_publisher(self.config(broker, **more))
        self.wait_for_log("connected: ")
        program, next_line = self.watch(broker, *options)
        return broker, publisher, program, next_line

    def page(self):
        """The address of the live page of a watch."""
        deadline = time.monotonic() + bench.WAIT
        while not (found := re.search(r"live page: http://(localhost:\d+)/", self.log())):
            self.assertLess(time.monotonic(), deadline, self.log())
            time.sleep(0.05)
        return found.group(1)

    def get(self, address, path):
        connection = http.client.HTTPConnection(address, timeout=bench.WAIT)
        self.addCleanup(connection.close)
        connection.request("GET", path)
        answer = connection.getresponse()
        return answer.status, answer.getheader("Content-Type"), answer.read().decode()


class Watch(WatchTest):
    def test_reports_have_value_unit_and_quality_and_a_gone_bench_is_stale(self):
        broker, publisher, program, next_line = self.running()
        good = next_line(quality="good")
        self.assertEqual({key: good[key] for key in ("bench", "instrument", "channel", "unit", "error", "text")},
                         {"bench": "bench-1", "instrument": DEVICE, "channel": "IN", "unit": "V", "error": 0, "text": ""})
        self.assertRegex(good["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        publisher.kill()
        stale = next_line(quality="stale")
        self.assertIsNotNone(stale["value"])
        self.start_publisher(self.folder / "bench.json")
        next_line(quality="good")
        program.send_signal(signal.SIGINT)
        self.assertEqual(program.wait(bench.WAIT), 0)

    def test_lost_broker_makes_values_stale_until_it_is_back(self):
        broker = self.broker()
        cable = bench.Cable(broker.port)
        self.addCleanup(cable.cut)
        self.start_publisher(self.config(broker))
        program, next_line = self.watch(cable)
        next_line(quality="good")
        cable.cut()
        next_line(quality="stale")
        self.wait_for_log("ulix: trying again: the connection to the broker is lost")
        cable.mend()
        next_line(quality="good")

    def test_failed_reading_is_bad_with_its_error(self):
        broker = self.broker()
        simulator, path = self.start_simulator("kelvo10")
        self.start_publisher(self.config(broker, instruments={"calibrator": {
            "model": "kelvo10", "port": path, "timeout-ms": 200, "lost-after": 60,
            "groups": [{"channels": ["IN"], "period": 0.2}]}}))
        _, next_line = self.watch(broker)
        next_line(quality="good")
        simulator.send_signal(signal.SIGSTOP)
        bad = next_line(quality="bad")
        self.assertIsNone(bad["value"])
        self.assertNotEqual((bad["error"], bad["text"]), (0, ""))
        simulator.send_signal(signal.SIGCONT)
        next_line(quality="good")

    def test_hostile_messages_change_nothing(self):
        broker, _, program, next_line = self.running()
        next_line(quality="good")
        topic = f"spBv1.0/lab/DDATA/bench-1/{DEVICE}"
        for payload in (b"\xff" * 1000, b"\x12" + b"\xff" * 9, b"\0", os.urandom(100_000)):
            bench.send(broker.port, topic, payload)
            bench.send(broker.port, "spBv1.0/lab/NONSENSE", payload)
        retained = command("Inputs/IN/Value", 4711.0)
        bench.send(broker.port, "spBv1.0/lab/DDATA/ghost/meter", retained, "-r")
        _, late_line = self.watch(broker)
        late_line(quality="good")
        next_line(quality="good", bench="bench-1")
        self.assertIsNone(program.poll())
        metrics = self.start(self.ulix, "watch", f"mqtt://127.0.0.1:{broker.port}/lab", "--duration", "1", "--json",
                             stdout=subprocess.PIPE, text=True).communicate(timeout=bench.WAIT)[0]
        self.assertNotIn("ghost", metrics)

    def test_terminal_has_a_table_and_a_pipe_has_lines(self):
        broker, _, _, next_line = self.running()
        next_line(quality="good")
        url = f"mqtt://127.0.0.1:{broker.port}/lab"
        done = subprocess.run([self.ulix, "watch", url, "--duration", "2", "--lang", "en"], capture_output=True, text=True,
                              timeout=bench.WAIT)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertRegex(done.stdout.splitlines()[-1], rf"^\S+Z  bench-1  {DEVICE}  IN -?[\d.]+ V$")
        self.assertNotIn("\x1b", done.stdout)
        near, far = pty.openpty()
        table = self.start(self.ulix, "watch", url, "--lang", "en", "--duration", "3", stdout=far)
        os.close(far)
        shown = b""
        try:
            while data := os.read(near, 65536):
                shown += data
        except OSError:
            pass  # the other end was closed
        os.close(near)
        self.assertEqual(table.wait(bench.WAIT), 0)
        self.assertRegex(shown.decode(), r"BENCH +INSTRUMENT +CHANNEL +VALUE UNIT")
        self.assertIn("1 of 1 benches connected, 1 channels good, 0 bad, 0 stale", shown.decode())

    def test_page_and_metrics_tell_what_the_table_tells(self):
        _, publisher, _, next_line = self.running("--http", "0")
        next_line(quality="good")
        address = self.page()
        status, kind, metrics = self.get(address, "/metrics")
        self.assertEqual((status, kind), (200, "text/plain; version=0.0.4; charset=utf-8"))
        labels = f'{{group="lab",bench="bench-1",instrument="{DEVICE}",channel="IN",unit="V"}}'
        self.assertRegex(metrics, re.escape("ulix_channel_value" + labels) + r" -?[\d.]+\n")
        self.assertIn("<title>lab</title>", self.get(address, "/")[2])
        if promtool := shutil.which("promtool"):
            checked = subprocess.run([promtool, "check", "metrics"], input=metrics, capture_output=True, text=True,
                                     timeout=bench.WAIT)
            self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))
        publisher.kill()
        next_line(quality="stale")
        metrics = self.get(address, "/metrics")[2]
        self.assertIn('ulix_bench_connected{group="lab",bench="bench-1"} 0\n', metrics)
        self.assertIn("ulix_channel_quality" + labels + " 500\n", metrics)
        self.assertNotIn("ulix_channel_value" + labels, metrics)


class Refused(WatchTest):
    def refuse(self, *arguments):
        done = subprocess.run([self.ulix, "watch", *map(str, arguments)], capture_output=True, text=True,
                              timeout=bench.WAIT, env=os.environ | {"LANG": "C"})
        self.assertEqual(done.stdout, "")
        return done.returncode, done.stderr

    def test_wrong_usage_is_told_with_its_argument(self):
        url = "mqtt://127.0.0.1/lab"
        for arguments, said in [(["mqtt://h"], "names no group"), (["mqtt://a:b@h/g"], "a password does not belong"),
                                ([url, "--spread", 1], "--spread: has no effect"), ([url, "kelvo10"], "MODEL: has no effect"),
                                ([url, "--port", "sim"], "--port: has no effect"),
                                (["stable", "kelvo10", "--json"], "--json: has no effect"),
                                (["nothing"], "takes stable MODEL, or mqtt://HOST/GROUP"),
                                ([url, "--no-tls", "--ca-file", "x"], "takes no certificates"),
                                ([url, "--password-file", "x"], "needs a user")]:
            with self.subTest(arguments):
                status, err = self.refuse(*arguments)
                self.assertEqual(status, 2, err)
                self.assertIn(said, err)

    def test_no_broker_is_told_at_once(self):
        began = time.monotonic()
        status, err = self.refuse(f"mqtt://127.0.0.1:{bench.free_port()}/lab")
        self.assertEqual((status, err), (1, "ulix: 0x80044400 the broker 127.0.0.1 is not reached\n"))
        self.assertLess(time.monotonic() - began, 10)

    def test_password_comes_from_a_file_that_is_its_owners_alone(self):
        self.folder.chmod(0o755)
        passwords = self.folder / "passwords"
        subprocess.run(["mosquitto_passwd", "-b", "-c", passwords, "host", "hush-hush"], check=True,
                       stderr=subprocess.DEVNULL)
        passwords.chmod(0o644)
        broker = self.broker(lines=[f"password_file {passwords}", "allow_anonymous false"])
        secret = self.folder / "secret"
        secret.write_text("wrong\n")
        secret.chmod(0o600)
        url = f"mqtt://host@127.0.0.1:{broker.port}/lab"
        status, err = self.refuse(url, "--password-file", secret, "--duration", 1)
        self.assertEqual(status, 1)
        self.assertIn("the broker refuses", err)
        secret.write_text("hush-hush\n")
        self.assertEqual(self.refuse(url, "--password-file", secret, "--duration", 1), (0, ""))
        secret.chmod(0o640)
        status, err = self.refuse(url, "--password-file", secret)
        self.assertEqual(status, 2)
        self.assertIn("can be read by others", err)

    def test_broker_is_believed_only_with_a_certificate_of_a_known_authority(self):
        self.certificates()
        port = bench.free_port()
        self.broker(lines=[f"listener {port} 127.0.0.1", f"cafile {self.folder}/ca.crt",
                           f"certfile {self.folder}/broker.crt", f"keyfile {self.folder}/broker.key"])
        url = f"mqtts://localhost:{port}/lab"
        status, err = self.refuse(url, "--duration", 1)
        self.assertEqual(status, 1)
        self.assertIn("TLS with the broker fails", err)
        self.assertEqual(self.refuse(url, "--ca-file", self.folder / "ca.crt", "--duration", 1), (0, ""))


if __name__ == "__main__":
    bench.run(sys.argv[1:3])
