"""Serial instruments behind serial port servers of this machine: independent servers and `ulix serve`.

The contract tests of the models run behind these servers too: ULIX_PORT_SERVER=ser2net python3 test_serial_contract.py ...

Run as: python3 test_network_ports.py PATH_TO_ULIX [unittest arguments]
"""

import json
import re
import signal
import socket
import termios
import time
import unittest

import port_servers
from contract import NO_PORT, UNDER_WINE, ContractTest, main
from instruments import kelvo10
from port_servers import PYSERIAL, free_port
from serial_instrument import PATIENT, SILENCE, TEST_LIMIT, Reply


# The models that are simulated behind the servers.
MODELS = "adt761 cmx310 flukehydra hart isotech jofrartcptc kambic kelvo10 microk".split()
SERVERS = [server for name, server in port_servers.KINDS.items() if name != "pyserial" or PYSERIAL.exists()]
BY_RFC2217 = [server for server in SERVERS if server.__name__ in ("ser2net", "pyserial", "serve")]


class ServerTest(ContractTest):
    """Tests that put instruments behind servers of their own choice."""

    def plug_in(self, unit):
        self.addCleanup(unit.close)
        unit.idle_turns_to_end = 30  # a server may still hold bytes back
        return unit


@unittest.skipIf(UNDER_WINE, "the servers are this system's")
class NetworkPortTest(ServerTest):
    def simulated(self, model, *options):
        return self.read_line(self.start("simulate", model, *options))

    def test_the_simulators_own_servers(self):
        for model in MODELS:
            expected = self.ulix("identify", model, "--port", self.simulated(model), *PATIENT)
            for option, scheme in (("--tcp", "tcp"), ("--rfc2217", "rfc2217")):
                with self.subTest(model=model, option=option):
                    url = f"{scheme}://{self.simulated(model, option, '0')}"
                    self.assertEqual(self.ulix("identify", model, "--port", url, *PATIENT), expected)

    def test_outputs_of_the_line_are_switched_and_told(self):
        host, port = self.simulated("kelvo10", "--rfc2217", "0").rsplit(":", 1)
        with socket.create_connection((host, int(port)), TEST_LIMIT) as client:
            client.settimeout(TEST_LIMIT)
            for asked, answered in ((7, 8), (9, 9), (7, 9), (8, 8), (12, 12), (10, 12), (11, 11), (4, 6), (5, 5), (4, 5), (6, 6)):
                client.sendall(bytes([0xFF, 0xFA, 0x2C, 5, asked, 0xFF, 0xF0]))
                answer = bytes([0xFF, 0xFA, 0x2C, 105, answered, 0xFF, 0xF0])
                self.assertEqual(client.recv(len(answer), socket.MSG_WAITALL), answer, asked)

    def test_settings_arrive_at_the_far_terminal(self):
        for server in BY_RFC2217:
            unit = self.plug_in(kelvo10())
            url = server(self, unit.device)
            for rate in (1200, 57600):
                options = ["--baud", rate, "--stop-bits", "2" if rate == 1200 else "1"]
                unit.line_settings.clear()
                code, _, error = self.ulix("read", "kelvo10", "in", "--port", url, *PATIENT, *options)
                self.assertEqual(code, 0, f"{server} {error}")
                # The last bytes may be read after the server has restored the settings of the line.
                self.assertIn((getattr(termios, f"B{rate}"), rate == 1200), unit.line_settings, str(server))

    def test_a_late_reply_is_never_another_querys_value(self):
        for server in SERVERS:
            timeout = self.short_timeout()
            late = Reply(b"11.1\n", delay=1.4 * timeout / 1000)  # the reply comes when the read has ended
            # Replies keep their order: the reply to the next query comes after the late one.
            behind = Reply(b"KELVO10 SN 1234 V1.0\n", delay=0.8 * timeout / 1000)
            unit = self.plug_in(kelvo10({"MEAS?": [late, "22.2", late, "33.3", "44.4"],
                                         "*IDN?": ["KELVO10 SN 1234 V1.0", behind]}))
            _, output, error = self.ulix("scan", "kelvo10", "IN", "--period", "200", "--count", "6", "--no-config",
                                         "--timeout", timeout, "--port", server(self, unit.device))
            self.assertNotRegex(output, r"IN +11\.1", server)
            self.assertRegex(output, "(?s)22\\.2.*33\\.3.*44\\.4", error)

    def test_faults_of_the_instrument_give_errors_and_no_wrong_value(self):
        """All faults except late replies, which have a separate test."""
        right, timeout = 12.345, self.short_timeout()
        faults = {"silent": SILENCE, "cut": Reply(b"12.3"), "garbage": Reply(b"\xff\x01\xfe\n\r\x1b[2J\xff\xff\n"),
                  "two numbers": "12.3412.34", "empty": "", "oversize": "9" * 300,
                  "dripped": Reply(b"12.345\n", drip=0.05)}

        def check(server, name, reply):
            unit = self.plug_in(kelvo10({"MEAS?": ["12.345", reply, "12.345"]}))
            url = server(self, unit.device)
            process = self.start("scan", "kelvo10", "IN", "--period", "100", "--json", "--port", url,
                                 "--timeout", str(timeout))
            rows = []
            while len(rows) < 50 and not (rows and unit.times("MEAS?")[3:] and rows[-1]["value"] == right):
                channel, = json.loads(self.read_line(process))["channels"]
                rows.append(channel)
            self.interrupt(process)
            wrong = [row for row in rows if row["error"] == 0 and "doubt" not in row and row["value"] != right]
            self.assertEqual((wrong, rows[-1]["value"]), ([], right), f"{server} {name}")
        for server in SERVERS:
            self.side_by_side(check, [(server, name, reply) for name, reply in faults.items()])

    def test_the_port_map_takes_urls(self):
        self.env["ULIX_COM77"] = port_servers.socat(self, self.plug_in(kelvo10()).device)
        self.assertEqual(self.succeed("identify", "kelvo10", "--port", "77", *PATIENT), "KELVO10 SN 1234 V1.0\n")

    def test_ipv6_and_names(self):
        for server in (port_servers.socat, port_servers.ser2net, port_servers.serve, port_servers.serve_raw):
            with self.subTest(server.__name__):
                url = server(self, self.plug_in(kelvo10()).device, "::1")
                self.assertIn("//[::1]:", url)
                self.assertEqual(self.succeed("identify", "kelvo10", "--port", url, *PATIENT), "KELVO10 SN 1234 V1.0\n")
        url = port_servers.serve(self, self.plug_in(kelvo10()).device, "localhost").replace("127.0.0.1", "localhost")
        self.assertEqual(self.succeed("identify", "kelvo10", "--port", url.replace("[::1]", "localhost"), *PATIENT), "KELVO10 SN 1234 V1.0\n")

    def test_unreachable_server_gives_its_error(self):
        for url in (f"tcp://127.0.0.1:{free_port()}", f"tcp://[::1]:{free_port('::1')}", "rfc2217://no-such-host.invalid:4001"):
            code, output, error = self.ulix("identify", "kelvo10", "--port", url, *PATIENT)
            self.assertEqual((code, output), (1, ""))
            self.assertRegex(error, f"^{re.escape(NO_PORT.rstrip())}: {re.escape(url)}: (connection refused|unknown host)\n$")
        for wrong in ("http://bench:1", "tcp://bench", "tcp://:5", "rfc2217://bench:0", "tcp://bench:65536", "tcp://a:b:1"):
            code, _, error = self.ulix("identify", "kelvo10", "--port", wrong)
            self.assertEqual(code, 2, error)
            self.assertIn("tcp://HOST:PORT", error)


@unittest.skipIf(UNDER_WINE, "the terminals are this system's")
class ServeTest(ServerTest):
    """Tests of `ulix serve`, which puts a serial line of this machine on the network."""

    def serve(self, device, *args):
        process = self.start("serve", "--port", str(device), *args)
        return process, self.read_line(process)

    def expect_output(self, process, pattern):
        """Waits until the server writes this to standard error."""
        heard = ""
        while not re.search(pattern, heard):
            line = process.stderr.readline().decode("utf-8")
            self.assertTrue(line, f"ended after {heard!r}")
            heard += line
        return heard

    def test_a_second_client_is_refused_in_words(self):
        for option, scheme in (("--tcp", "tcp"), ("--rfc2217", "rfc2217")):
            process, where = self.serve(self.plug_in(kelvo10()).device, option, "0")
            url = f"{scheme}://{where}"
            scan = self.start("scan", "kelvo10", "IN", "--port", url, "--period", "100", "--json", *PATIENT)
            self.read_line(scan)
            status, _, err = self.ulix("identify", "kelvo10", "--port", url, *PATIENT)
            self.assertEqual(status, 1)
            self.assertRegex(err, rf"^{re.escape(NO_PORT.rstrip())}: {url}: connection refused: in use by 127\.0\.0\.1:\d+\n$")
            rows = [self.read_line(scan) for _ in range(3)]
            self.assertEqual([json.loads(row)["channels"][0]["error"] for row in rows], [0] * 3)
            self.assertEqual(self.interrupt(scan)[0], 0)
            for _ in range(3):  # each client in turn gets the line
                self.assertEqual(self.succeed("identify", "kelvo10", "--port", url, *PATIENT), "KELVO10 SN 1234 V1.0\n")

    def test_it_says_that_the_line_is_not_protected(self):
        for args, words in ((["0"], "every program of this machine"), (["0.0.0.0:0"], "whoever reaches 0.0.0.0:"),
                            (["[::]:0"], r"whoever reaches \[::\]:"), (["0", "--lang", "fr"], "n'est pas protégée")):
            process, _ = self.serve(self.plug_in(kelvo10()).device, "--tcp", *args)
            self.expect_output(process, words)

    def test_it_ends_cleanly_on_every_signal(self):
        for end in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
            unit = self.plug_in(kelvo10())
            process, where = self.serve(unit.device, "--rfc2217", "0")
            self.succeed("read", "kelvo10", "--port", f"rfc2217://{where}", *PATIENT)
            process.send_signal(end)
            out, err = process.communicate(timeout=TEST_LIMIT)
            self.assertEqual((process.returncode, out), (0, b""), err)
            self.assertEqual(self.succeed("identify", "kelvo10", *unit.where), "KELVO10 SN 1234 V1.0\n")

    def test_a_lost_terminal_is_told_and_had_back(self):
        path = self.folder / "ttyUSB0"

        def plug(value):
            unit = self.plug_in(kelvo10({"MEAS?": value}))
            path.unlink(missing_ok=True)
            path.symlink_to(unit.device)
            return unit
        unit = plug("1.5")
        process, where = self.serve(path, "--rfc2217", "0")
        scan = self.start("scan", "kelvo10", "IN", "--port", f"rfc2217://{where}", "--period", "100", "--json")

        def await_row(wanted):
            for _ in range(300):
                channel, = json.loads(self.read_line(scan))["channels"]
                self.assertIn(channel["value"], (1.5, 2.5, None))
                if wanted in (channel["value"], channel["error"]):
                    return
            self.fail(f"no {wanted}")
        await_row(1.5)
        path.unlink()
        unit.close()
        self.expect_output(process, f"{re.escape(str(path))} is lost")
        await_row(0x80044401)
        status, _, err = self.ulix("identify", "kelvo10", "--port", f"rfc2217://{where}")
        self.assertEqual(status, 1)
        self.assertIn(f"connection refused: {path} is lost", err)
        plug("2.5")
        self.expect_output(process, f"{re.escape(str(path))} is back")
        await_row(2.5)

    def test_a_line_that_cannot_be_opened_gives_the_cause(self):
        unit = self.plug_in(kelvo10())
        self.serve(unit.device, "--tcp", "0")
        for port, why in (("/dev/none", "no such device"), ("/dev/null", "not a serial device"),
                          (unit.device, r"in use by process \d+")):
            status, out, err = self.ulix("serve", "--port", port, "--tcp", "0")
            self.assertEqual((status, out), (1, ""))
            self.assertRegex(err, f"^{re.escape(NO_PORT.rstrip())}: {port}: {why}\n$")
        with socket.create_server(("127.0.0.1", 0)) as taken:
            status, _, err = self.ulix("serve", "--port", self.plug_in(kelvo10()).device, "--tcp", taken.getsockname()[1])
        self.assertEqual(status, 1)
        self.assertRegex(err, r"127\.0\.0\.1:\d+")

    def test_wrong_usage_names_the_argument(self):
        for args, words in (([], "--port"), (["--port", "sim", "--tcp", "0"], "--port: 'sim' is no port of this machine"),
                            (["--port", "tcp://a:1", "--tcp", "0"], "--port: 'tcp://a:1' is no port of this machine"),
                            (["--port", "5"], "--tcp: is missing"), (["--port", "5", "--tcp", "x"], "--tcp: 'x' is no address"),
                            (["--port", "5", "--tcp", "65536"], "--tcp: '65536' is no address"),
                            (["--port", "5", "--tcp", "1", "--rfc2217", "2"], "--rfc2217")):
            status, _, err = self.ulix("serve", *args)
            self.assertEqual(status, 2, err)
            self.assertIn(words, err)

    def test_the_line_is_set_as_given_for_raw_clients(self):
        unit = self.plug_in(kelvo10())
        _, where = self.serve(unit.device, "--tcp", "0", "--baud", "19200", "--stop-bits", "2")
        self.succeed("read", "kelvo10", "--port", f"tcp://{where}", *PATIENT, "--baud", "1200")
        self.assertEqual((unit.speed, unit.two_stop_bits), (termios.B19200, True))

    def test_each_client_finds_the_line_as_it_was_given(self):
        unit = self.plug_in(kelvo10())
        _, where = self.serve(unit.device, "--rfc2217", "0", "--baud", "4800")
        self.succeed("read", "kelvo10", "--port", f"rfc2217://{where}", *PATIENT, "--baud", "57600")
        self.assertEqual(unit.speed, termios.B57600)
        host, port = where.split(":")
        with socket.create_connection((host, int(port)), timeout=TEST_LIMIT) as plain:  # a client without telnet
            plain.sendall(b"*IDN?\n")
            self.assertEqual(plain.recv(100), b"KELVO10 SN 1234 V1.0\n")
        self.assertEqual(unit.speed, termios.B4800)

    def test_old_replies_are_not_the_next_clients(self):
        unit = self.plug_in(kelvo10({"MEAS?": Reply(b"99.9\n", delay=0.3)}))
        _, where = self.serve(unit.device, "--tcp", "0")
        host, port = where.split(":")
        with socket.create_connection((host, int(port)), timeout=TEST_LIMIT) as first:
            first.sendall(b"MEAS?\n")
            unit.wait_for("MEAS?")
        unit.wait_sent()
        with socket.create_connection((host, int(port)), timeout=TEST_LIMIT) as second:
            second.sendall(b"*IDN?\n")
            self.assertEqual(second.recv(100), b"KELVO10 SN 1234 V1.0\n")


if __name__ == "__main__":
    main()
