"""Serial port servers of this machine: socat, ser2net, the server of python3-serial, and `ulix serve`.

Each function starts a server for a terminal and returns the URL of the port. The server ends with the test.
"""

import contextlib
import os
import pathlib
import random
import shutil
import socket
import subprocess
import tempfile
import time

import contract

SER2NET = shutil.which("ser2net") or shutil.which("ser2net", path="/usr/sbin")
PYSERIAL = pathlib.Path("/usr/share/doc/python3-serial/examples/rfc2217_server.py")
# The server fails on a terminal without modem lines. A pseudo terminal has none, so this code gives it some.
ON_TERMINALS = """
import runpy, serial.serialposix as posix, sys
for line in ("cts", "dsr", "ri", "cd"):
    setattr(posix.Serial, line, property(lambda port: True))
posix.Serial._update_rts_state = posix.Serial._update_dtr_state = lambda port: None
sys.argv = sys.argv[1:]
runpy.run_path(sys.argv[0], run_name="__main__")
"""


def start(test, *command, **options):
    process = subprocess.Popen([*test.server_prefix, *command], env=test.env, text=True, **{"stderr": subprocess.DEVNULL} | options)

    def stop():
        process.terminate()
        process.wait(10)
        for stream in (process.stdout, process.stderr):
            if stream:
                stream.close()
    test.addCleanup(stop)
    return process


def start_on_port(test, host, command, **options):
    """Starts a server that takes a port number, because it cannot tell which free one it took itself. `command` makes
    its command line. Another program may take the port first; then another port is tried."""
    for _ in range(20):
        port = free_port(host)
        process = start(test, *command(port), **options)
        end = time.monotonic() + 30
        while process.poll() is None and time.monotonic() < end:
            listener = listening_socket(process, port)
            if listener and listener in open_sockets(process):
                return port
            if listener:  # the listener of another program
                break
            time.sleep(0.01)
        process.kill()
    raise TimeoutError(f"no server: {command(0)}")


def free_port(host="127.0.0.1"):
    """A free port, of those that the kernel does not give out by itself."""
    family = socket.AF_INET6 if ":" in host else socket.AF_INET
    while True:
        port = random.randrange(15000, 32000)
        with socket.socket(family) as tried, contextlib.suppress(OSError):
            tried.bind(("::" if ":" in host else "", port))  # the host may be in another network
            return port


def listening_socket(process, port):
    """The number of the socket that listens on this port in the process's network, from the table of the kernel. A test
    connection is no way to find out, because some servers take one client only."""
    for table in (pathlib.Path(f"/proc/{process.pid}/net/{name}") for name in ("tcp", "tcp6")):
        for fields in (line.split() for line in table.read_text().splitlines()[1:]):
            if fields[1].endswith(f":{port:04X}") and fields[3] == "0A":
                return f"socket:[{fields[9]}]"
    return None


def open_sockets(process):
    targets = set()
    for descriptor in pathlib.Path(f"/proc/{process.pid}/fd").iterdir():
        with contextlib.suppress(OSError):  # the file was closed meanwhile
            targets.add(os.readlink(descriptor))
    return targets


def bracketed(host):
    return f"[{host}]" if ":" in host else host


# Without a short -t, the process of the last client still reads the line when the next client comes. When that process
# ends, it restores the first settings of the terminal and would disturb the next client. So clients are served in turn.
def socat(test, device, host="127.0.0.1"):
    family = "TCP6" if ":" in host else "TCP"
    port = start_on_port(test, host, lambda port: [
        "socat", "-t", "0.05", f"{family}-LISTEN:{port},bind={bracketed(host)},reuseaddr,fork,max-children=1,nodelay",
        f"FILE:{device},raw,echo=0"])
    return f"tcp://{bracketed(host)}:{port}"


def ser2net(test, device, host="127.0.0.1", telnet="telnet(rfc2217),", option=""):
    folder = tempfile.TemporaryDirectory()
    test.addCleanup(folder.cleanup)

    def command(port):
        config = pathlib.Path(folder.name) / f"{port}.yaml"
        config.write_text(f"connection: &line\n  accepter: {telnet}tcp,{host},{port}\n"
                          f"  connector: serialdev,{device},9600n81,local\n  options:\n    chardelay: false\n    {option}\n")
        return [SER2NET, "-n", "-c", str(config)]
    port = start_on_port(test, host, command)
    return f"{'rfc2217' if telnet else 'tcp'}://{bracketed(host)}:{port}"


def ser2net_raw(test, device, host="127.0.0.1"):
    return ser2net(test, device, host, "")


def ser2net_kicking(test, device, host="127.0.0.1"):
    """A new client takes the line from the one that is connected, because that one may be dead."""
    return ser2net(test, device, host, option="kickolduser: true")


def pyserial(test, device):
    port = start_on_port(test, "127.0.0.1", lambda port: ["/usr/bin/python3", "-c", ON_TERMINALS, str(PYSERIAL), "-p", str(port),
                                                          str(device)])
    return f"rfc2217://127.0.0.1:{port}"


def serve(test, device, host="127.0.0.1", option="--rfc2217"):
    process = start(test, contract.ULIX, "serve", "--port", str(device), option, f"{bracketed(host)}:0", stdout=subprocess.PIPE)
    return f"{option.strip('-')}://{process.stdout.readline().strip()}"


def serve_raw(test, device, host="127.0.0.1"):
    return serve(test, device, host, "--tcp")


KINDS = {function.__name__: function for function in (socat, ser2net, ser2net_raw, pyserial, serve, serve_raw)}
