"""A cable that is pulled between `ulix` and the server of a serial port. This is a separate program because it
leaves the network of the machine.

Run as: python3 test_network_loss.py PATH_TO_ULIX [unittest arguments]
"""

import ctypes
import json
import os
import subprocess
import time
import unittest

import port_servers
from contract import UNDER_WINE, main
from instruments import kelvo10
from serial_instrument import PATIENT
from test_network_ports import ServerTest


class Cable:
    """A cable to another machine, with a network and semaphores of its own. Pulled out it loses all packets without a
    word."""
    NEAR, FAR = "10.98.0.1", "10.98.0.2"

    def __init__(self, test):
        new_network_namespace = 0x40000000
        if UNDER_WINE or ctypes.CDLL(None).unshare(new_network_namespace) != 0:
            test.skipTest("this user may not make networks")
        self._keeper = test.start_program(["unshare", "-n", "-i", "sleep", "3600"])
        own = os.readlink("/proc/self/ns/net")
        while os.readlink(f"/proc/{self._keeper.pid}/ns/net") == own:
            time.sleep(0.01)
        self.prefix = ("nsenter", "-n", "-i", "-t", str(self._keeper.pid))
        self._ip("link", "add", "near", "type", "veth", "peer", "name", "far", "netns", str(self._keeper.pid), there=False)
        self._ip("addr", "add", f"{self.NEAR}/30", "dev", "near", there=False)
        self._ip("link", "set", "near", "up", there=False)
        self._ip("link", "set", "far", "up")
        self.plug_in()

    def plug_in(self):
        self._ip("addr", "add", f"{self.FAR}/30", "dev", "far")

    def pull_out(self):
        # The other end has this address no longer, so that it neither answers packets nor refuses them.
        self._ip("addr", "del", f"{self.FAR}/30", "dev", "far")

    def _ip(self, *command, there=True):
        subprocess.run([*(self.prefix if there else ()), "ip", *command], check=True)


@unittest.skipIf(UNDER_WINE, "the networks are this system's")
class LossTest(ServerTest):
    def start_program(self, command):
        process = subprocess.Popen(command)
        self.addCleanup(lambda: (process.kill(), process.wait()))
        return process

    def test_a_dead_cable_is_noticed_and_the_instrument_identified_again(self):
        cable = Cable(self)
        self.server_prefix = cable.prefix
        for server in (port_servers.serve, port_servers.serve_raw, port_servers.ser2net_kicking):
            unit = self.plug_in(kelvo10())
            url = server(self, unit.device, Cable.FAR)
            # No read runs out of time: what ends one is the loss.
            scan = self.start("scan", "kelvo10", "IN", "--period", "100", "--json", "--port", url, *PATIENT)

            def await_row(value, scan=scan):
                while json.loads(self.read_line(scan))["channels"][0]["value"] != value:
                    pass
                return time.monotonic()
            await_row(12.345)
            identified = len(unit.times("*IDN?"))
            cable.pull_out()
            died = time.monotonic()
            noticed = await_row(None) - died
            cable.plug_in()
            self.assertLess(noticed, 2.0, server)
            await_row(12.345)
            self.assertGreater(len(unit.times("*IDN?")), identified, server)
            self.assertEqual(self.interrupt(scan)[0], 0)


if __name__ == "__main__":
    main()
