"""Runs the example hosts, and a client that is written from the published interface alone.

Run as: python3 hosts.py library=FILE usb_helper=FILE interface_client=FILE example=FILE pascal_host=FILE [googletest
options of the interface client]
"""

import os
import re

from server import ROOT, Server, instruments, main, windows_path
# This module is in the folder that the line above adds.
import port_servers
from serial_instrument import Reply, SILENCE, SerialInstrument

PORT, LOOPED_PORT, OTHER_PORT, MAPPED_PORT = 70, 71, 72, 73
EXAMPLES = ROOT / "examples"
MAPPED_PORTS = r"HKCU\Software\ULIX Servers\Ports"


class LoopedInstrument(SerialInstrument):
    """A calibrator whose output is wired to its input: it measures what it was set to. From 800 on it answers late, from
    900 on it does not answer."""

    def __init__(self):
        # The first pattern that matches a command gives the answer.
        rows = {r"OUT (?P<out>-?\d+\.\d{6})": None, r"MEAS\?": "{out} V"} | instruments.KELVO10.commands
        rows[r"MEAS\?"] = "{out} V"
        super().__init__(instruments.KELVO10._replace(commands=rows, state={"out": "0.000000"}))

    def _reply(self, command):
        reply = super()._reply(command)
        out = float(self.state["out"])
        if command != "MEAS?" or out < 800:
            return reply
        return SILENCE if out >= 900 else Reply(reply.encode() + b"\n", delay=0.4)


class Hosts(Server):
    env, server_prefix = os.environ, ()  # for the servers of ports

    def instrument(self, unit):
        self.addCleanup(unit.close)
        return unit

    def kelvo10(self):
        return self.instrument(instruments.kelvo10())

    def run_on(self, unit, *command):
        """The output of a host that gets the port of an instrument."""
        printed = self.succeed("--com", f"{PORT}={unit.device}", *command, str(PORT))
        self.assertIn("*IDN?\n", unit.wire().decode())
        return printed

    def test_hosts(self):
        # One registration for all hosts: it takes longer than all of them together.
        with self.registered():
            for host in (self.published_interface_client, self.cpp_example, self.cpp_example_on_mapped_ports, self.pascal_example,
                         self.script_examples, self.script_that_is_the_controller):
                with self.subTest(host.__name__):
                    host()

    def published_interface_client(self):
        looped, other = self.instrument(LoopedInstrument()), self.instrument(SerialInstrument(instruments.CMX310))
        links = ["--com", f"{LOOPED_PORT}={looped.device}", "--com", f"{OTHER_PORT}={other.device}"]
        env = os.environ | {"ULIX_TEST_LOOPED_PORT": str(LOOPED_PORT), "ULIX_TEST_OTHER_PORT": str(OTHER_PORT)}
        printed = self.succeed(*links, self.built["interface_client"], *self.options, env=env, seconds=240)
        # A program that crashed can still exit with 0.
        self.assertIn("[  PASSED  ]", printed)
        print(re.search(r"\d+ tests? from \d+ test suites? ran.*", printed)[0])

    def cpp_example(self):
        self.assertGreaterEqual(self.run_on(self.kelvo10(), self.built["example"]).count("IN: 12.345"), 3)

    def cpp_example_on_mapped_ports(self):
        """The instrument is behind a serial port server; the host uses a port number as for a serial port."""
        for server, mapped in ((port_servers.pyserial, self.in_environment), (port_servers.socat, self.in_registry)):
            with self.subTest(server.__name__):
                unit = self.kelvo10()
                url = server(self, unit.device)
                printed = self.succeed(self.built["example"], str(MAPPED_PORT), env=mapped(url))
                self.assertGreaterEqual(printed.count("IN: 12.345"), 3, printed)
                self.assertIn("*IDN?\n", unit.wire().decode())

    def in_environment(self, url):
        return os.environ | {f"ULIX_COM{MAPPED_PORT}": url}

    def in_registry(self, url):
        self.succeed("reg", "add", MAPPED_PORTS, "/v", f"COM{MAPPED_PORT}", "/d", url, "/f")
        self.addCleanup(self.succeed, "reg", "delete", MAPPED_PORTS, "/v", f"COM{MAPPED_PORT}", "/f")
        return os.environ

    def pascal_example(self):
        printed = self.run_on(self.kelvo10(), self.built["pascal_host"])
        for line in (r"late: KELVO10 SN 1234", r"late: IN 12\.345 V at ", r"event: group 1, channel 0: 12\.345, error 0",
                     r'\$80043B00 is "Device connected is not a KELVO10"', r"kept: \d+ bytes",
                     r"late: refused: Invalid Argument \(\$80070057\)",
                     r"early: refused: Invalid Argument \(\$80070057\)",
                     r"early: refused: Communication not opened \(\$8000FFFF\)", r"^17 checks$"):
            self.assertRegex(printed, re.compile(line, re.M))

    def script_examples(self):
        shared = ["KELVO10 SN 1234", "OUT set to 1.5 V", "Communication not opened"]
        for script, lines in {"vbscript/kelvo10.vbs": [*shared, "IN: 12.345 V"], "jscript/kelvo10.js": shared}.items():
            with self.subTest(script):
                unit = self.kelvo10()
                printed = self.run_on(unit, "cscript", "//nologo", windows_path(EXAMPLES / script))
                for line in lines:
                    self.assertIn(line, printed)
                self.assertIn("OUT 1.500000\n", unit.wire().decode())

    def script_that_is_the_controller(self):
        unit = self.instrument(SerialInstrument(instruments.ISOTECH))
        printed = self.succeed("--com", f"{PORT}={unit.device}", "cscript", "//nologo",
                               windows_path(EXAMPLES / "vbscript/isotech_object.vbs"), str(PORT))
        self.assertEqual(printed, "controller 7 goes to 25.5\n600 is refused: 80040007\nwithout an object: 80004001\n")
        self.assertEqual(unit.wire(), b"")


if __name__ == "__main__":
    main()
