"""Serial instruments behind independent serial port servers of this machine: socat, ser2net and python3-serial's own.

Run as: python3 test_network_ports.py PATH_TO_ULIX [unittest arguments]
"""

import pathlib
import shutil
import socket
import subprocess
import termios
import time
import unittest

import contract
from contract import NO_PORT, UNDER_WINE, ContractTest, main
from instruments import kelvo10
from serial_instrument import PATIENT, TEST_LIMIT, Reply

SER2NET = shutil.which("ser2net") or shutil.which("ser2net", path="/usr/sbin")
PYSERIAL = pathlib.Path("/usr/share/doc/python3-serial/examples/rfc2217_server.py")
# The server fails on a terminal without modem lines. A pseudo terminal has none, so they are made up.
ON_TERMINALS = """
import runpy, serial.serialposix as posix, sys
for line in ("cts", "dsr", "ri", "cd"):
    setattr(posix.Serial, line, property(lambda port: True))
posix.Serial._update_rts_state = posix.Serial._update_dtr_state = lambda port: None
sys.argv = sys.argv[1:]
runpy.run_path(sys.argv[0], run_name="__main__")
"""
# The models that are simulated behind the servers.
MODELS = "adt761 cmx310 flukehydra hart isotech jofrartcptc kambic kelvo10 microk".split()


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def listens(port):
    """Whether a server has this port, by the kernel's table: a connection would take the only place of some servers."""
    tables = "".join(pathlib.Path(f"/proc/net/{name}").read_text() for name in ("tcp", "tcp6"))
    return any(f":{port:04X} " in line and " 0A " in line for line in tables.splitlines())


@unittest.skipIf(UNDER_WINE, "the servers are this system's")
class NetworkPortTest(ContractTest):
    def start(self, *command):
        process = subprocess.Popen(command, env=self.env, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)

        def stop():
            process.terminate()
            process.wait(TEST_LIMIT)
            process.stdout.close()
        self.addCleanup(stop)
        return process

    def serve(self, scheme, command):
        """The URL of a server, once it listens. `command` is the server's, given its port. Another program may have taken
        that port in the meantime: then the next one is tried."""
        for _ in range(3):
            port = free_port()
            process = self.start(*command(port))
            end = time.monotonic() + TEST_LIMIT
            while process.poll() is None and time.monotonic() < end:
                if listens(port):
                    return f"{scheme}://127.0.0.1:{port}"
                time.sleep(0.02)
        self.fail(f"no server: {command(0)}")

    def socat(self, device):
        return self.serve("tcp", lambda port: ["socat", f"TCP-LISTEN:{port},bind=127.0.0.1,reuseaddr,fork,nodelay",
                                               f"FILE:{device},raw,echo=0"])

    def ser2net(self, device, telnet="telnet(rfc2217),"):
        def command(port):
            config = self.folder / f"ser2net-{port}.yaml"
            config.write_text(f"connection: &line\n  accepter: {telnet}tcp,127.0.0.1,{port}\n"
                              f"  connector: serialdev,{device},9600n81,local\n  options:\n    chardelay: false\n")
            return [SER2NET, "-n", "-c", str(config)]
        return self.serve("rfc2217" if telnet else "tcp", command)

    def ser2net_raw(self, device):
        return self.ser2net(device, "")

    def pyserial(self, device):
        return self.serve("rfc2217", lambda port: ["/usr/bin/python3", "-c", ON_TERMINALS, str(PYSERIAL), "-p", str(port), device])

    def servers(self):
        found = [self.socat, self.ser2net, self.ser2net_raw]
        return found + ([self.pyserial] if PYSERIAL.exists() else [])

    def simulated(self, model, *options):
        process = self.start(contract.ULIX, "simulate", model, *options)
        return process.stdout.readline().strip()

    def run_ulix(self, *arguments):
        return self.ulix(*arguments, *([] if "--timeout" in arguments else PATIENT))

    def test_each_model_through_each_server(self):
        for model in MODELS:
            expected = self.run_ulix("identify", model, "--port", self.simulated(model))
            for server in self.servers():
                with self.subTest(model=model, server=server.__name__):
                    url = server(self.simulated(model))
                    self.assertEqual(self.run_ulix("identify", model, "--port", url), expected)

    def test_the_simulators_own_servers(self):
        for model in MODELS:
            expected = self.run_ulix("identify", model, "--port", self.simulated(model))
            for option, scheme in (("--tcp", "tcp"), ("--rfc2217", "rfc2217")):
                with self.subTest(model=model, option=option):
                    url = f"{scheme}://{self.simulated(model, option, '0')}"
                    self.assertEqual(self.run_ulix("identify", model, "--port", url), expected)

    def test_the_bytes_on_the_wire_are_those_of_a_terminal(self):
        for server in self.servers():
            with self.subTest(server.__name__):
                unit = self.plug_in(kelvo10())
                url = server(unit.device)
                code, output, _ = self.run_ulix("read", "kelvo10", "in", "--port", url)
                self.assertEqual(code, 0, output)
                direct = self.plug_in(kelvo10())
                self.assertEqual((code, output), self.run_ulix("read", "kelvo10", "in", "--port", direct.device)[:2])
                direct.wait_for("LOC")
                unit.wait_for("LOC")  # the last command needs its time through the server
                self.assertEqual([command for _, command in unit.commands],
                                 [command for _, command in direct.commands])

    def test_settings_arrive_at_the_far_terminal(self):
        for server in (self.ser2net, *([self.pyserial] if PYSERIAL.exists() else [])):
            with self.subTest(server.__name__):
                unit = self.plug_in(kelvo10())
                url = server(unit.device)
                for rate in (1200, 57600):
                    code, _, error = self.run_ulix("read", "kelvo10", "in", "--port", url, "--baud", str(rate))
                    self.assertEqual((code, unit.speed), (0, getattr(termios, f"B{rate}")), error)

    def test_a_late_reply_is_never_another_querys_value(self):
        for server in self.servers():
            with self.subTest(server.__name__):
                timeout = max(1000, self.short_timeout())  # milliseconds
                late = Reply(b"11.1\n", delay=1.4 * timeout / 1000)
                # Replies keep their order: the reply to the next query comes after the late one.
                behind = Reply(b"KELVO10 SN 1234 V1.0\n", delay=0.7 * timeout / 1000)
                unit = self.plug_in(kelvo10({"MEAS?": [late, "22.2", late, "33.3", "44.4"],
                                             "*IDN?": ["KELVO10 SN 1234 V1.0", behind]}))
                _, output, error = self.run_ulix("scan", "kelvo10", "IN", "--period", "200", "--count", "6", "--port",
                                                 server(unit.device), "--timeout", timeout)
                self.assertNotIn("11.1", output)
                self.assertRegex(output, "(?s)22\\.2.*33\\.3.*44\\.4", error)

    def test_the_port_map_takes_urls(self):
        url = self.socat(self.plug_in(kelvo10()).device)
        self.env["ULIX_COM77"] = url
        code, output, error = self.run_ulix("read", "kelvo10", "in", "--port", "77")
        self.assertEqual(code, 0, error)

    def test_unreachable_server_gives_its_error(self):
        for url in (f"tcp://127.0.0.1:{free_port()}", "rfc2217://no-such-host.invalid:4001"):
            code, output, error = self.run_ulix("identify", "kelvo10", "--port", url)
            self.assertEqual((code != 0, output), (True, ""))
            self.assertTrue(error.startswith(NO_PORT.rstrip("\n")), error)
        for wrong in ("http://bench:1", "tcp://bench", "tcp://:5", "rfc2217://bench:0", "tcp://bench:65536", "tcp://a:b:1"):
            code, _, error = self.run_ulix("identify", "kelvo10", "--port", wrong)
            self.assertEqual(code, 2, error)
            self.assertIn("tcp://HOST:PORT", error)


if __name__ == "__main__":
    main()
