"""ulix-publish against a real broker, read by a decoder that shares no code with it: test_publish.py PUBLISH ULIX."""

import contextlib
import json
import os
import pathlib
import signal
import socket
import sqlite3
import subprocess
import sys
import time

import bench
from bench import DEVICE
from sparkplug_decoder import command

VALUE = "Inputs/IN/Value"
SET_POINT = "Outputs/OUT/Set point"
GOOD, BAD, STALE = 192, 0, 500
REBIRTH = "Node Control/Rebirth"
SIM = {"model": "kelvo10", "port": "sim", "groups": [{"channels": ["IN"]}]}


def has_value(message):
    return message.type == "DDATA" and VALUE in message and message[VALUE]["value"] is not None


class Publish(bench.FleetTest):
    def running(self, **more):
        """A broker, its listener and a publisher that has sent its first data."""
        broker = self.broker()
        listener = self.listener(broker)
        publisher = self.start_publisher(self.config(broker, **more))
        listener.wait_for(has_value, "data")
        return broker, listener, publisher

    def test_births_and_data_tell_all_there_is(self):
        _, listener, _ = self.running()
        births = [m for m in listener.messages if m.type in ("NBIRTH", "DBIRTH")]
        node = births[0]
        self.assertEqual((node.topic, node.payload["seq"]), ("spBv1.0/lab/NBIRTH/bench-1", 0))
        self.assertEqual(node[REBIRTH]["value"], False)
        self.assertIn("bdSeq", node)
        device = births[-1]
        self.assertEqual(device.topic, f"spBv1.0/lab/DBIRTH/bench-1/{DEVICE}")
        texts = {name: device[f"Properties/{name}"]["value"]
                 for name in ("Model", "Serial", "Certificate", "Certificate valid until")}
        self.assertEqual(texts, {"Model": "kelvo10", "Serial": "123456", "Certificate": "C-42",
                                 "Certificate valid until": "2099-01-31"})
        self.assertEqual(device[VALUE]["properties"], {"engUnit": "V", "Quality": STALE})
        self.assertEqual(device[SET_POINT]["value"], None)
        data = listener.wait_for(has_value)[VALUE]
        self.assertEqual(data["properties"]["Quality"], GOOD)
        self.assertLess(abs(data["time"] / 1000 - time.time()), 5)
        self.assert_seq_never_skips(listener.messages)

    def test_rebirth_is_told_on_command_and_not_by_a_retained_one(self):
        broker, listener, _ = self.running()
        topic = "spBv1.0/lab/NCMD/bench-1"
        bench.send(broker.port, topic, command(REBIRTH, True))
        listener.wait_for_type("NBIRTH")
        birth = listener.wait_for_type("DBIRTH")
        self.assertEqual(birth[VALUE]["properties"]["Quality"], GOOD)
        self.assertIsNotNone(birth[VALUE]["value"])
        self.assert_seq_never_skips(listener.messages)
        bench.send(broker.port, topic.replace("bench-1", "bench-2"), command(REBIRTH, True), "-r")
        self.start_publisher(self.config(broker, node="bench-2", store={"folder": "other"}))
        self.wait_for_log("a retained command is ignored: spBv1.0/lab/NCMD/bench-2")

    def test_outputs_are_written_only_where_allowed_and_within_limits(self):
        broker, listener, _ = self.running()
        topic = f"spBv1.0/lab/DCMD/bench-1/{DEVICE}"
        refused = [(SET_POINT, 10.5, "is not between 0 and 10"), (SET_POINT, float("nan"), "has no number"),
                   (SET_POINT, True, "has no number"), ("Outputs/IN/Set point", 1.0, "is no output"),
                   (VALUE, 1.0, "is no output")]
        for name, value, why in refused:
            bench.send(broker.port, topic, command(name, value))
            self.wait_for_log(why)
        bench.send(broker.port, topic, b"\xff\xff\xff\xff\xff")
        self.wait_for_log("the payload is damaged")
        bench.send(broker.port, topic, command(SET_POINT, 2.5))
        written = listener.wait_for(lambda m: m.type == "DDATA" and SET_POINT in m)
        self.assertEqual((written[SET_POINT]["value"], written[SET_POINT]["properties"]["Quality"]), (2.5, GOOD))

    def test_commands_are_refused_without_an_allow_list(self):
        broker, listener, _ = self.running(instruments={"calibrator": SIM})
        bench.send(broker.port, f"spBv1.0/lab/DCMD/bench-1/{DEVICE}", command(SET_POINT, 2.5))
        self.wait_for_log("the configuration does not allow it")

    def test_killed_publisher_dies_with_the_bdseq_of_its_birth(self):
        _, listener, publisher = self.running()
        birth = next(m for m in listener.messages if m.type == "NBIRTH")
        publisher.kill()
        death = listener.wait_for_type("NDEATH")
        self.assertEqual(death["bdSeq"]["value"], birth["bdSeq"]["value"])
        self.assertIsNone(death.payload["seq"])
        publisher = self.start_publisher(self.folder / "bench.json")
        birth = listener.wait_for_type("NBIRTH")
        self.assertEqual(birth["bdSeq"]["value"], (death["bdSeq"]["value"] + 1) % 256)
        publisher.send_signal(signal.SIGTERM)
        farewell = listener.wait_for_type("NDEATH")
        self.assertEqual(farewell["bdSeq"]["value"], birth["bdSeq"]["value"])
        self.assertEqual(publisher.wait(bench.WAIT), 0)

    def test_unplugged_device_is_dead_within_a_second_and_back_when_plugged_in(self):
        broker = self.broker()
        listener = self.listener(broker)
        simulator, path = self.start_simulator("kelvo10")
        link = self.folder / "port"
        link.symlink_to(path)
        config = self.config(broker, instruments={"calibrator": {
            "model": "kelvo10", "port": str(link), "groups": [{"channels": ["IN"], "period": 0.2}]}})
        self.start_publisher(config)
        listener.wait_for(has_value, "data")
        simulator.kill()
        unplugged = time.monotonic()
        death = listener.wait_for_type("DDEATH")
        self.assertLess(death.at - unplugged, 1.0)
        self.assertEqual(death.device, DEVICE)
        _, path = self.start_simulator("kelvo10")
        link.unlink()
        link.symlink_to(path)
        listener.wait_for_type("DBIRTH")
        listener.wait_for(has_value, "data")
        self.assert_seq_never_skips(listener.messages)

    def test_silent_instrument_has_bad_values_then_dies(self):
        broker = self.broker()
        listener = self.listener(broker)
        simulator, path = self.start_simulator("kelvo10")
        config = self.config(broker, instruments={"calibrator": {
            "model": "kelvo10", "port": path, "timeout-ms": 200, "lost-after": 3,
            "groups": [{"channels": ["IN"], "period": 0.2, "dead-band": 1000}]}})
        self.start_publisher(config)
        listener.wait_for(has_value, "data")
        simulator.send_signal(signal.SIGSTOP)  # the simulator keeps its line open and does not answer
        bad = listener.wait_for(lambda m: m.type == "DDATA" and VALUE in m and m[VALUE]["value"] is None, "a bad value")
        self.assertEqual(bad[VALUE]["properties"]["Quality"], BAD)
        self.assertNotEqual(bad["Channel/IN/Error code"]["value"], 0)
        listener.wait_for_type("DDEATH")
        simulator.send_signal(signal.SIGCONT)
        listener.wait_for_type("DBIRTH")

    def test_values_within_their_dead_band_are_told_once(self):
        broker = self.broker()
        listener = self.listener(broker)
        meter = {"model": "kelvo10", "port": "sim"}
        self.start_publisher(self.config(broker, instruments={
            "quiet": meter | {"device": "quiet", "groups": [{"channels": ["IN"], "period": 0.1, "dead-band": 1e6}]},
            "clock": meter | {"device": "clock", "groups": [{"channels": ["IN"], "period": 0.1}]}}))
        quiet = listener.wait_for(lambda m: has_value(m) and m.device == "quiet")
        # Without an interval, time alone causes no report.
        listener.wait_for(lambda m: m.device == "clock" and m.at > quiet.at + 2.5)
        self.assertEqual([m for m in listener.messages if has_value(m) and m.device == "quiet"], [quiet])

    def test_stale_value_is_good_again_within_its_dead_band(self):
        broker = self.broker()
        listener = self.listener(broker)
        simulator, path = self.start_simulator("kelvo10")
        self.start_publisher(self.config(broker, instruments={"calibrator": {
            "model": "kelvo10", "port": path, "timeout-ms": 30000, "lost-after": 60,
            "groups": [{"channels": ["IN"], "period": 0.1, "dead-band": 1e6}]}}))
        listener.wait_for(has_value, "data")
        simulator.send_signal(signal.SIGSTOP)
        listener.wait_for(lambda m: has_value(m) and m[VALUE]["properties"]["Quality"] == STALE, "a stale value")
        simulator.send_signal(signal.SIGCONT)
        listener.wait_for(lambda m: has_value(m) and m[VALUE]["properties"]["Quality"] == GOOD, "a good value")

    def test_second_instrument_with_one_serial_number_is_asked_for_its_device(self):
        _, listener, _ = self.running(instruments={"left": SIM, "right": SIM})
        self.wait_for_log(f"'{DEVICE}' is the id of ")
        self.assertEqual({m.device for m in listener.messages if m.type == "DBIRTH"}, {DEVICE})

    def test_broker_away_and_back_loses_no_reading(self):
        broker = self.broker()
        listener = self.listener(broker)
        cable = bench.Cable(broker.port)
        self.addCleanup(cable.cut)
        publisher = self.start_publisher(self.config(broker, broker={"host": "127.0.0.1", "port": cable.port}))
        birth = listener.wait_for_type("NBIRTH")
        listener.wait_for(has_value, "data")
        cable.cut()
        gone = time.time()
        death = listener.wait_for_type("NDEATH")
        self.assertEqual(death["bdSeq"]["value"], birth["bdSeq"]["value"])
        time.sleep(4)
        back = time.time()
        cable.mend()
        rebirth = listener.wait_for_type("NBIRTH")
        self.assertEqual(rebirth["bdSeq"]["value"], (birth["bdSeq"]["value"] + 1) % 256)
        listener.wait_for(lambda m: has_value(m) and not m[VALUE]["historical"])
        deadline = time.monotonic() + bench.WAIT
        while any((self.folder / "store/devices" / DEVICE).glob("*.messages")) and time.monotonic() < deadline:
            time.sleep(0.1)
        publisher.send_signal(signal.SIGTERM)
        listener.wait_for_type("NDEATH")
        values = [m[VALUE] for m in listener.messages if has_value(m)]
        away = [v for v in values if v["historical"] and gone + 0.5 < v["time"] / 1000 < back]
        self.assertGreater(len(away), 5)
        # One reading each 0.1 s, and none is missing. A busy machine may take some late.
        times = sorted({v["time"] for v in values})
        gaps = [b - a for a, b in zip(times, times[1:])]
        self.assertLess(max(gaps), 1500, gaps)
        self.assert_seq_never_skips(listener.messages)

    def test_unit_that_comes_with_a_reading_is_told_with_it(self):
        broker = self.broker()
        listener = self.listener(broker)
        instruments = {"gauge": {"model": "adt761", "port": "sim", "groups": [{"channels": ["PRESSURE"], "period": 0.5}]}}
        self.start_publisher(self.config(broker, instruments=instruments))
        pressure = listener.wait_for(lambda m: m.type == "DDATA" and "Inputs/PRESSURE/Value" in m)["Inputs/PRESSURE/Value"]
        self.assertNotEqual(pressure["properties"]["engUnit"], "")

    def test_json_mirror_is_there_when_asked_for(self):
        _, listener, _ = self.running(**{"json-mirror": "mirror"})
        message = listener.wait_for(lambda m: m.type == "mirror")
        self.assertEqual(message.topic, f"mirror/lab/bench-1/{DEVICE}")
        content = json.loads(message.bytes)["metrics"][VALUE]
        self.assertEqual((content["unit"], content["quality"]), ("V", GOOD))

    def test_service_manager_is_told(self):
        broker = self.broker()
        path = str(self.folder / "notify")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(path)
            manager.settimeout(bench.WAIT)
            environment = os.environ | {"NOTIFY_SOCKET": path, "WATCHDOG_USEC": "1000000"}
            publisher = self.start_publisher(self.config(broker), env=environment)
            messages = [manager.recv(100) for _ in range(3)]
            publisher.send_signal(signal.SIGTERM)
            while messages[-1] != b"STOPPING=1":
                messages.append(manager.recv(100))
        self.assertEqual(messages[:3], [b"READY=1", b"WATCHDOG=1", b"WATCHDOG=1"])

    def test_log_is_in_the_users_language(self):
        broker = self.broker(lines=["password_file " + str(self.passwords()), "allow_anonymous false"])
        gone = {"instruments": {"gone": SIM | {"port": str(self.folder / "none")}}}
        for env, causes in ((bench.FRENCH, ("ulix-publish: gone: 0x80044400 Impossible d'ouvrir la communication\n",
                                            "le courtier refuse : non autoris\u00e9\n")),
                            (bench.ENGLISH, ("ulix-publish: gone: 0x80044400 Unable to open communication\n",
                                             "the broker refuses: Connection Refused: not authorised.\n"))):
            publisher = self.start_publisher(self.config(broker, **gone), env=env)
            for cause in causes:
                self.wait_for_log(cause)
            publisher.kill()
            publisher.wait()

    def test_password_is_in_no_process_list_and_no_log(self):
        broker = self.broker(lines=["password_file " + str(self.passwords()), "allow_anonymous false"])
        secret = self.folder / "secret"
        secret.write_text("hush-hush\n")
        secret.chmod(0o600)
        config = self.config(broker, broker={"host": "127.0.0.1", "port": broker.port, "user": "bench",
                                             "password-file": "secret"})
        publisher = self.start_publisher(config)
        self.wait_for_log("connected to 127.0.0.1")
        with open(f"/proc/{publisher.pid}/cmdline", "rb") as line:
            self.assertNotIn(b"hush", line.read())
        self.assertNotIn("hush", self.log())
        secret.chmod(0o640)
        self.assertEqual(subprocess.run([self.publish, "check", config], capture_output=True).returncode, 2)

    def passwords(self):
        path = self.folder / "passwords"
        subprocess.run(["mosquitto_passwd", "-b", "-c", path, "bench", "hush-hush"], check=True, stderr=subprocess.DEVNULL)
        path.chmod(0o644)
        self.folder.chmod(0o755)
        return path


class Tls(bench.FleetTest):
    def test_broker_is_believed_only_with_a_certificate_of_a_known_authority(self):
        self.certificates()
        plain = bench.free_port()
        broker = self.broker(lines=[f"listener {plain} 127.0.0.1", f"cafile {self.folder}/ca.crt",
                                    f"certfile {self.folder}/broker.crt", f"keyfile {self.folder}/broker.key"])
        tls = {"host": "localhost", "port": plain}
        unknown = self.start_publisher(self.config(broker, broker=tls | {"tls": True}))
        self.wait_for_log("TLS with the broker fails")
        unknown.kill()
        unknown.wait()
        wrong_name = self.start_publisher(self.config(broker, broker={"host": "127.0.0.1", "port": plain,
                                                                      "tls": {"ca-file": "ca.crt"}}))
        self.wait_for_log("is not valid for 127.0.0.1")
        wrong_name.kill()
        wrong_name.wait()
        self.start_publisher(self.config(broker, broker=tls | {"tls": {"ca-file": "ca.crt"}}))
        self.wait_for_log("connected to localhost")

    def test_cause_is_told_where_keys_do_not_serve(self):
        self.certificates()
        strict = bench.free_port()
        broker = self.broker(lines=[f"listener {strict} 127.0.0.1", f"cafile {self.folder}/ca.crt",
                                    f"certfile {self.folder}/broker.crt", f"keyfile {self.folder}/broker.key",
                                    "require_certificate true"])
        subprocess.run(["openssl", "genrsa", "-aes128", "-passout", "pass:secret", "-out", self.folder / "locked.key"],
                       check=True, capture_output=True)
        own = {"ca-file": "ca.crt", "certificate": "broker.crt", "key": "broker.key"}
        cases = [({"ca-file": "ca.crt"}, "certificate required"), (own | {"key": "locked.key"}, "key"),
                 (own | {"key": "ca.key"}, "key")]
        for tls, cause in cases:
            (self.folder / "log.txt").write_text("")
            publisher = self.start_publisher(self.config(broker, broker={"host": "localhost", "port": strict, "tls": tls}))
            self.wait_for_log("TLS with the broker fails: ")
            self.assertIn(cause, self.log().split("TLS with the broker fails: ")[1].splitlines()[0])
            publisher.kill()
            publisher.wait()
        self.start_publisher(self.config(broker, broker={"host": "localhost", "port": strict, "tls": own}))
        self.wait_for_log("connected to localhost")


class Rivals(bench.FleetTest):
    def test_second_client_with_one_id_is_named_as_the_cause(self):
        broker = self.broker()
        for folder in ("one", "two"):
            self.start_publisher(self.config(broker, store={"folder": folder}))
            self.wait_for_log("connected to ")
        self.wait_for_log("is another client connected as 'lab.bench-1'?")


class Store(bench.FleetTest):
    def test_messages_of_devices_that_left_are_told_at_the_start(self):
        broker = self.broker()
        other = self.folder / "store/devices/other-7"
        other.mkdir(parents=True)
        (other / "0000000001.messages").write_bytes(b"x" * 1000)
        self.start_publisher(self.config(broker))
        self.wait_for_log("1000 bytes of messages in ")
        self.assertIn("other-7", self.log())


class Example(bench.FleetTest):
    def test_five_benches_are_recorded(self):
        source = pathlib.Path(__file__).resolve().parents[2]
        database = self.folder / "fleet.sqlite"
        example = self.start(sys.executable, source / "examples/fleet/run.py", "--database", database, "--build",
                             pathlib.Path(self.publish).parent, stdout=subprocess.PIPE, text=True)
        port = int(example.stdout.readline().split(":")[2].split("/")[0])

        def recorded(wanted):
            try:
                with contextlib.closing(sqlite3.connect(f"file:{database}?mode=ro", uri=True)) as opened:
                    return opened.execute(f"SELECT COUNT({wanted}) FROM readings WHERE quality = 192").fetchone()[0]
            except sqlite3.OperationalError:
                return 0

        def wait_until_recorded(wanted, count):
            deadline = time.monotonic() + 2 * bench.WAIT
            while recorded(wanted) < count:
                self.assertLess(time.monotonic(), deadline, wanted)
                time.sleep(0.2)
        wait_until_recorded("*", 1)
        for garbage in (b"garbage", b"\xff{", b"[]", b'{"metrics": 1}'):
            bench.send(port, "mirror/of/a stranger/x", garbage)
        wait_until_recorded("*", recorded("*") + 20)
        wait_until_recorded("DISTINCT bench", 5)
        example.terminate()
        self.assertEqual(example.wait(bench.WAIT), 0)


class Check(bench.FleetTest):
    def publish_says(self, *arguments, env=bench.ENGLISH):
        done = subprocess.run([self.publish, *arguments], capture_output=True, text=True, timeout=bench.WAIT, env=env)
        return done.returncode, done.stdout, done.stderr

    def check(self, config, **options):
        status, out, err = self.publish_says("check", config, **options)
        return status, out, err.replace(str(config), "FILE")

    def test_good_file_is_summed_up(self):
        status, out, err = self.check(self.config(None))
        self.assertEqual((status, err), (0, ""))
        self.assertIn("lab/bench-1 to 127.0.0.1:1883", out)
        self.assertIn("calibrator: kelvo10 on sim, 1 channels, OUT may be written", out)

    def test_example_of_the_page_is_accepted(self):
        page = (pathlib.Path(__file__).resolve().parents[2] / "docs/fleet.md").read_text()
        config = self.folder / "page.json"
        config.write_text(page.split("```json\n")[1].split("```")[0])
        for name in ("bench-1.password", "lab-ca.crt"):
            (self.folder / name).write_text("x\n")
            (self.folder / name).chmod(0o600)
        status, _, err = self.check(config)
        self.assertEqual(status, 0, err)

    def test_mistakes_are_told_with_line_and_reason(self):
        instrument = {"model": "kelvo01", "port": "sim", "groups": [{"chanels": ["IN"], "period": 0.01}]}
        cases = [
            ({"group": "a/b"}, "FILE:2: group: is to be a text without '+', '#' and '/'"),
            ({"instruments": {"x": instrument}}, "chanels: is no key; did you mean \"channels\"?"),
            ({"instruments": {"x": instrument}}, "period: "),
            ({"instruments": {"x": instrument | {"groups": [{"channels": ["IN"]}]}}}, "did you mean \"kelvo10\"?"),
            ({"instruments": {"x": {"model": "kelvo10", "port": "sim", "groups": [{"channels": ["OUT"]}]}}},
             "the channel cannot be read"),
            ({"instruments": {"x": {"model": "kelvo10", "port": "sim", "groups": [{"channels": ["IN"]}],
                                    "allow-writes": {"IN": {"min": 0, "max": 1}}}}}, "the channel cannot be set"),
            ({"broker": {"host": "localhost", "password": "x"}}, "write it to a file of mode 0600"),
            ({"instruments": {}}, "names no instrument"),
            ({"broker": {"host": "127.lab.example", "tls": {"ca-file": "none.crt"}}}, "none.crt cannot be read"),
            ({"store": {"max-megabytes": 1}, "instruments": {f"i{k}": SIM for k in range(16)}}, "for each instrument"),
            ({"instruments": {"x": SIM | {"device": ".."}}}, "device: is to be a name"),
            ({"instruments": {"x": SIM | {"allow-writes": {"OUT": {"min": 0, "max": 1}, "1": {"min": 0, "max": 9}}}}},
             "allow-writes.1: is there twice"),
        ]
        for change, wanted in cases:
            status, _, err = self.check(self.config(None, **change))
            with self.subTest(change):
                self.assertEqual(status, 2)
                self.assertIn(wanted, err)

    def test_other_hosts_get_tls_unless_refused_with_a_warning(self):
        for host in ("broker.example", "127.0.0.1.example", "127.1"):
            self.assertIn(f"{host}:8883 with TLS", self.check(self.config(None, broker={"host": host}))[1])
        status, out, err = self.check(self.config(None, broker={"host": "broker.example", "tls": False}))
        self.assertEqual(status, 0)
        self.assertIn("warning", err)

    def test_certificate_that_is_over_is_warned_of(self):
        def check(day):
            certificate = {"certificate": {"identifier": "C-1", "valid-until": day}}
            return self.check(self.config(None, instruments={"x": SIM | certificate}))
        self.assertEqual(check("31.1.2020")[0], 2)
        self.assertEqual(check("2027-02-29")[0], 2)
        status, _, err = check("2020-01-31")
        self.assertEqual(status, 0)
        self.assertIn("warning: ", err)

    def test_missing_file_is_told(self):
        self.assertEqual(self.check(self.folder / "none.json")[0], 1)

    def test_french_user_is_answered_in_french(self):
        status, out, err = self.check(self.config(None), env=bench.FRENCH)
        self.assertEqual((status, err), (0, ""))
        self.assertIn("calibrator : kelvo10 sur sim, 1 voie, OUT peut \u00eatre \u00e9crite\n", out)
        for change, wanted in (({"group": "a/b"}, "2: group: doit \u00eatre un texte sans '+', '#' ni '/'"),
                               ({"instruments": {"x": SIM | {"groups": []}}}, "n'a pas de groupe"),
                               ({"broker": {"host": "lab", "tls": False}}, "avertissement")):
            with self.subTest(change):
                self.assertIn(wanted, self.check(self.config(None, **change), env=bench.FRENCH)[2])
        broken = self.folder / "broken.json"
        broken.write_text('{"group": "lab",}')
        self.assertIn("erreur de syntaxe : on n'attend pas '}' ici ; on attend un texte entre guillemets",
                      self.check(broken, env=bench.FRENCH)[2])
        self.assertIn("syntax error: '}' is not expected here; expected: a text in quotes", self.check(broken)[2])

    def test_wrong_usage_is_told_in_the_users_language(self):
        for arguments, english, french in (
                ([], "VERB: is missing; takes run, check", "VERB: manque ; attend run, check"),
                (["chek"], "VERB: 'chek' is no verb; takes run, check; did you mean 'check'?",
                 "VERB: 'chek' n'est pas un verbe ; attend run, check ; vouliez-vous dire 'check' ?"),
                (["check"], "FILE: is missing; takes the configuration file",
                 "FILE: manque ; attend le fichier de configuration"),
                (["run", "a", "b"], "b: is one word too many", "b: est un mot de trop"),
                (["run", "a", "--fil"], "--fil: is no option of run", "--fil: n'est pas une option de run")):
            for env, wanted in ((bench.ENGLISH, english), (bench.FRENCH, french)):
                with self.subTest(wanted):
                    self.assertEqual(self.publish_says(*arguments, env=env), (2, "", f"ulix-publish: {wanted}\n"))
        self.assertIn("Publie jusqu'\u00e0 Ctrl-C", self.publish_says("--help", env=bench.FRENCH)[1])


if __name__ == "__main__":
    bench.run(sys.argv[1:3])
