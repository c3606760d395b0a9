#!/usr/bin/env python3
"""A laboratory to look at: a broker, five benches on simulated instruments, a recorder to SQLite.

    examples/fleet/run.py [--seconds N] [--database FILE] [--build FOLDER]

Needs mosquitto, mosquitto-clients and a build (scripts/build linux). Ctrl-C ends it. It prints the address of its broker
first.
"""

import argparse
import json
import pathlib
import signal
import socket
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
BENCHES = {
    "pressure": ("adt761", ["PRESSURE", "ATMOSPHERE"], 1),
    "loop-1": ("kelvo10", ["IN"], 0.5),
    "loop-2": ("cmx310", ["IN"], 0.5),
    "bath": ("kambic", ["TEMPERATURE"], 1),
    "dry-block": ("jofrartcptc", ["TRUE TEMPERATURE", "SENSOR TEMPERATURE"], 1),
}


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


def bench_config(folder, name, port):
    model, channels, period = BENCHES[name]
    path = folder / f"{name}.json"
    path.write_text(json.dumps({
        "group": "example-lab", "node": name, "json-mirror": "mirror",
        "broker": {"host": "127.0.0.1", "port": port},
        "store": {"folder": f"store-{name}"},
        "instruments": {name: {"model": model, "port": "sim", "groups": [{"channels": channels, "period": period}]}},
    }, indent=2))
    return path


def wait_for_broker(port):
    for _ in range(500):
        try:
            socket.create_connection(("127.0.0.1", port), 1).close()
            return
        except OSError:
            time.sleep(0.02)
    sys.exit("run.py: mosquitto does not answer")


def watch_over(processes, seconds):
    """Until the time is over. A program that ends before it ends the example."""
    until = time.monotonic() + seconds if seconds else float("inf")
    while time.monotonic() < until:
        time.sleep(0.2)
        for process in processes:
            if process.poll() is not None:
                sys.exit(f"run.py: {process.args[1]} ended with {process.returncode}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--seconds", type=float, help="end by itself")
    parser.add_argument("--database", default="fleet.sqlite", help="of the recorder; fleet.sqlite if not given")
    parser.add_argument("--build", type=pathlib.Path, default=HERE.parents[1] / "build/linux", help="where ulix-publish is")
    options = parser.parse_args()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    port, processes = free_port(), []
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        (folder / "mosquitto.conf").write_text(f"listener {port} 127.0.0.1\nallow_anonymous true\n")
        try:
            processes.append(subprocess.Popen(["mosquitto", "-c", folder / "mosquitto.conf"], stderr=subprocess.DEVNULL))
            wait_for_broker(port)
            print(f"mqtt://127.0.0.1:{port}/example-lab", flush=True)
            processes.append(subprocess.Popen([sys.executable, HERE / "recorder.py", str(port), options.database]))
            for bench in BENCHES:
                config = bench_config(folder, bench, port)
                processes.append(subprocess.Popen([options.build / "ulix-publish", "run", config]))
            watch_over(processes, options.seconds)
        except KeyboardInterrupt:
            pass
        finally:
            for process in reversed(processes):
                process.terminate()
            for process in processes:
                process.wait(30)


if __name__ == "__main__":
    main()
