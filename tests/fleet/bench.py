"""A broker, publishers and simulated instruments for the tests of the fleet."""

import json
import os
import pathlib
import queue
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import sparkplug_decoder

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "cli"))
from own_locks import take_own_locks  # noqa: E402
from port_servers import free_port  # noqa: E402

take_own_locks()

DEVICE = "kelvo10-123456"  # in the bench that FleetTest.config makes
# Programs write texts in the language of their user.
ENGLISH = os.environ | {"LC_ALL": "C"}
FRENCH = os.environ | {"LC_ALL": "fr_FR.UTF-8"}
WAIT = 30  # seconds until a test gives up; a busy machine is slow


class Message:
    def __init__(self, topic, payload):
        self.at = time.monotonic()
        self.topic, self.bytes = topic, payload
        levels = topic.split("/")
        self.type = levels[2] if levels[0] == "spBv1.0" else "mirror"
        self.device = levels[4] if len(levels) > 4 else None
        # Messages on the command topics come from the tests, and some are damaged.
        counted = self.type != "mirror" and not self.type.endswith("CMD")
        self.payload = sparkplug_decoder.decode(payload) if counted else {"metrics": {}}

    def __getitem__(self, name):
        return self.payload["metrics"][name]

    def __contains__(self, name):
        return name in self.payload["metrics"]

    def __repr__(self):
        return f"{self.topic} {self.payload}"


class Broker:
    """A mosquitto on a free port of this machine."""

    def __init__(self, folder, port=None, lines=()):
        self.port = port or free_port()
        self.folder = pathlib.Path(folder)
        config = self.folder / f"mosquitto-{self.port}.conf"
        config.write_text("\n".join([f"listener {self.port} 127.0.0.1", "allow_anonymous true", "max_queued_messages 0",
                                     *lines, ""]))
        self.config = config
        self.process = None
        self.start()

    def start(self):
        self.process = subprocess.Popen(["mosquitto", "-c", self.config], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.DEVNULL)
        deadline = time.monotonic() + WAIT
        while time.monotonic() < deadline:
            try:
                socket.create_connection(("127.0.0.1", self.port), 1).close()
                return
            except OSError:
                assert self.process.poll() is None, "mosquitto does not start"
                time.sleep(0.02)
        raise AssertionError("mosquitto does not answer")

    def stop(self):
        self.process.kill()
        self.process.wait()


class Listener:
    """Receives every message of a broker, in order."""

    def __init__(self, port):
        self.process = subprocess.Popen(
            ["mosquitto_sub", "-h", "127.0.0.1", "-p", str(port), "-t", "#", "-q", "1", "-F", "%t %x"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
        self.messages, self.arrived = [], queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        self.port = port
        self._wait_until_subscribed()

    def _read(self):
        for line in self.process.stdout:
            topic, _, payload = line.decode().rstrip("\n").rpartition(" ")
            if topic == "listener/ready":
                self.arrived.put(None)
                continue
            message = Message(topic, bytes.fromhex(payload))
            self.messages.append(message)
            self.arrived.put(message)

    def _wait_until_subscribed(self):
        deadline = time.monotonic() + WAIT
        while time.monotonic() < deadline:
            send(self.port, "listener/ready", b"1")
            try:
                self.arrived.get(timeout=0.5)
                return
            except queue.Empty:
                pass
        raise AssertionError("the listener gets nothing")

    def wait_for(self, wanted, what="a message"):
        """The next message that is wanted. Messages before it are skipped."""
        deadline = time.monotonic() + WAIT
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                raise AssertionError(f"{what} did not come; last ones: {self.messages[-5:]}")
            try:
                message = self.arrived.get(timeout=left)
            except queue.Empty:
                continue
            if message is not None and wanted(message):
                return message

    def wait_for_type(self, kind):
        return self.wait_for(lambda message: message.type == kind, kind)

    def stop(self):
        self.process.kill()
        self.process.wait()
        self.reader.join()
        self.process.stdout.close()


class Cable:
    """A connection between a publisher and the broker that a test can cut and restore."""

    def __init__(self, broker_port):
        self.broker_port = broker_port
        self.port = free_port()
        self.ends = []
        self.mend()

    def mend(self):
        self.server = socket.create_server(("127.0.0.1", self.port))
        threading.Thread(target=self._accept, args=(self.server,), daemon=True).start()

    def _accept(self, server):
        while True:
            try:
                near, _ = server.accept()
            except OSError:
                return
            far = socket.create_connection(("127.0.0.1", self.broker_port))
            self.ends += [near, far]
            for source, target in ((near, far), (far, near)):
                threading.Thread(target=self._carry, args=(source, target), daemon=True).start()

    def _carry(self, source, target):
        try:
            while data := source.recv(65536):
                target.sendall(data)
        except OSError:
            pass
        for end in (source, target):
            end.close()

    def cut(self):
        for end in (self.server, *self.ends):
            try:
                end.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            end.close()
        self.ends = []


def send(port, topic, payload, *options):
    subprocess.run(["mosquitto_pub", "-h", "127.0.0.1", "-p", str(port), "-t", topic, "-q", "1", "-s", *options],
                   input=payload, check=True, timeout=WAIT)


class FleetTest(unittest.TestCase):
    publish = None  # the programs under test
    ulix = None
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def broker(self, **options):
        broker = Broker(self.folder, **options)
        self.addCleanup(broker.stop)
        return broker

    def listener(self, broker):
        listener = Listener(broker.port)
        self.addCleanup(listener.stop)
        return listener

    def config(self, running, **more):
        """A bench with a simulated calibrator; `more` replaces parts of it."""
        config = {
            "group": "lab", "node": "bench-1", "broker": {"host": "127.0.0.1", "port": getattr(running, "port", 1883)},
            "store": {"folder": "store"},
            "instruments": {"calibrator": {
                "model": "kelvo10", "port": "sim", "groups": [{"channels": ["IN"], "period": 0.1}],
                "allow-writes": {"OUT": {"min": 0, "max": 10}},
                "certificate": {"identifier": "C-42", "valid-until": "2099-01-31"}}},
        }
        config.update(more)
        path = self.folder / "bench.json"
        path.write_text(json.dumps(config, indent=1))
        return path

    def certificates(self):
        """A certificate authority, ca.crt, and the key and certificate of a broker on localhost."""
        def openssl(*arguments):
            subprocess.run(["openssl", *arguments], cwd=self.folder, check=True, capture_output=True)
        self.folder.chmod(0o755)
        openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.crt", "-days", "2",
                "-subj", "/CN=test authority")
        openssl("req", "-newkey", "rsa:2048", "-nodes", "-keyout", "broker.key", "-out", "broker.csr", "-subj",
                "/CN=localhost", "-addext", "subjectAltName=DNS:localhost")
        openssl("x509", "-req", "-in", "broker.csr", "-CA", "ca.crt", "-CAkey", "ca.key", "-CAcreateserial", "-out",
                "broker.crt", "-days", "2", "-copy_extensions", "copy")
        for name in ("broker.key", "broker.crt", "ca.crt"):
            (self.folder / name).chmod(0o644)

    def start(self, *command, **options):
        log = open(self.folder / "log.txt", "ab")
        self.addCleanup(log.close)
        options = {"env": ENGLISH, "stderr": log} | options
        process = subprocess.Popen([str(part) for part in command], **options)
        self.addCleanup(lambda: (process.kill(), process.communicate()))
        return process

    def start_publisher(self, config, **options):
        return self.start(self.publish, "run", config, **options)

    def start_simulator(self, model, *options):
        """A simulated instrument on a pseudo terminal: its process and its path."""
        process = self.start(self.ulix, "simulate", model, *options, stdout=subprocess.PIPE)
        return process, process.stdout.readline().decode().strip()

    def log(self):
        return (self.folder / "log.txt").read_text()

    def wait_for_log(self, text):
        deadline = time.monotonic() + WAIT
        while text not in self.log():
            self.assertLess(time.monotonic(), deadline, f"no '{text}' in the log: {self.log()}")
            time.sleep(0.05)

    def assert_seq_never_skips(self, messages):
        expected = None
        for message in messages:
            if message.type not in ("NBIRTH", "NDATA", "DBIRTH", "DDATA", "DDEATH"):
                continue
            if message.type == "NBIRTH":
                expected = 0
            if expected is not None:
                self.assertEqual(message.payload["seq"], expected, message)
                expected = (expected + 1) % 256


def run(programs):
    """Runs the tests of a script. Its first arguments are the programs."""
    FleetTest.publish, FleetTest.ulix = programs
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
