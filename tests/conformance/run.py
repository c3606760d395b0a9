"""Connects instruments to two serial ports of this machine, or of Wine, and runs the conformance tests on them.

Run as: python3 run.py PROGRAM [googletest options]

ULIX_PORT_SERVER=ser2net puts the ports behind servers of that kind (tests/cli/port_servers.py); for `ulix serve`,
ULIX_TEST_ULIX names the program.
"""

import os
import pathlib
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "cli"))
import contract  # noqa: E402
import port_servers  # noqa: E402
from instruments import kelvo10  # noqa: E402
from serial_instrument import Reply  # noqa: E402

PORT, VANISHING_PORT = 31, 32
EVERY_BYTE = bytes(byte for byte in range(256) if byte != 10)


def main(program, *options):
    steady = kelvo10({EVERY_BYTE.decode("latin-1"): "HEARD", "CFG_OUT?": Reply(EVERY_BYTE + b"\n")})
    vanishing = kelvo10({"MEAS?": Reply(b"last words\n", vanish=True)})
    devices = {PORT: steady.device, VANISHING_PORT: vanishing.device}
    servers = contract.ContractTest()
    servers.setUp()
    if contract.PORT_SERVER:
        contract.ULIX = os.environ["ULIX_TEST_ULIX"]
        serve = port_servers.KINDS[contract.PORT_SERVER]
        devices = {number: serve(servers, device) for number, device in devices.items()}
    env = os.environ | {"ULIX_TEST_PORT": str(PORT), "ULIX_TEST_VANISHING_PORT": str(VANISHING_PORT)}
    env |= {f"ULIX_COM{number}": device for number, device in devices.items()}
    command = [program]
    if program.endswith(".exe"):
        links = [word for number, device in devices.items() for word in ("--com", f"{number}={device}")]
        env["ULIX_TEST_SHARED_PORTS"] = "1"  # Wine does not lock a port for exclusive use.
        command = [os.environ["ULIX_WINE"], *links, program]
    try:
        return subprocess.run([*command, *options], env=env, timeout=200).returncode
    finally:
        servers.doCleanups()


sys.exit(main(*sys.argv[1:]))
