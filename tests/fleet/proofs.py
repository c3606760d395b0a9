"""Long proofs of ulix-publish against mosquitto; prints the measured figures. Usage: proofs.py PUBLISH ULIX [MESSAGES].

With the folder of the npm package sparkplug-payload in SPARKPLUG_PAYLOAD, that decoder reads every message too.
"""

import json
import os
import pathlib
import subprocess
import sys
import tempfile
import time

import bench

INSTRUMENTS = 100
NODE_SCRIPT = """
const { get } = require(process.argv[1] + "/node_modules/sparkplug-payload");
const decoder = get("spBv1.0");
let count = 0, metrics = 0, pending = "";
process.stdin.on("data", chunk => {
  const lines = (pending + chunk).split("\\n");
  pending = lines.pop();
  for (const line of lines) {
    const payload = decoder.decodePayload(Buffer.from(line, "hex"));
    count += 1;
    metrics += (payload.metrics || []).length;
    for (const metric of payload.metrics || []) if (!metric.name) throw new Error("a metric without a name");
  }
});
process.stdin.on("end", () => console.log(count, metrics));
"""


def processor_seconds(process):
    fields = pathlib.Path(f"/proc/{process.pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def config(folder, broker):
    instrument = {"model": "kelvo10", "port": "sim", "groups": [{"channels": ["IN"], "period": 0.1}]}
    instruments = {f"i{k}": instrument | {"device": f"device-{k}"} for k in range(INSTRUMENTS)}
    path = folder / "bench.json"
    path.write_text(json.dumps({"group": "lab", "node": "bench", "store": {"folder": "store"},
                                "broker": {"host": "127.0.0.1", "port": broker.port}, "instruments": instruments}))
    return path


def check_seq(messages):
    expected, skips = None, 0
    for message in messages:
        if message.type not in ("NBIRTH", "DBIRTH", "DDATA", "DDEATH"):
            continue
        if message.type == "NBIRTH":
            expected = 0
        if message.payload["seq"] != expected:
            skips += 1
        expected = (message.payload["seq"] + 1) % 256
    return skips


def decoded_by_npm(messages):
    folder = os.environ.get("SPARKPLUG_PAYLOAD")
    if not folder:
        return "not run"
    lines = "".join(message.bytes.hex() + "\n" for message in messages)
    done = subprocess.run(["node", "-e", NODE_SCRIPT, folder], input=lines, capture_output=True, text=True, check=True)
    count, metrics = map(int, done.stdout.split())
    own = sum(len(message.payload["metrics"]) for message in messages)
    assert (count, metrics) == (len(messages), own), (count, metrics, len(messages), own)
    return f"{count} messages with {metrics} metrics, as by the other decoder"


def away_and_back(broker, listener, seconds):
    """The broker ends and starts again. Births arrive with bdSeq + 1, and the history is complete."""
    before = [m for m in listener.messages if m.type == "NBIRTH"][-1]["bdSeq"]["value"]
    listener.stop()
    broker.stop()
    gone = time.time()
    time.sleep(seconds)
    broker.start()
    after = bench.Listener(broker.port)
    deadline = time.monotonic() + 120
    while time.monotonic() < deadline and not any(m.type == "DDATA" for m in after.messages):
        time.sleep(0.1)
    # The births may have arrived before the listener started.
    bench.send(broker.port, "spBv1.0/lab/NCMD/bench", bench.sparkplug_decoder.command("Node Control/Rebirth", True))
    while time.monotonic() < deadline and not any(m.type == "NBIRTH" for m in after.messages):
        time.sleep(0.1)
    birth = [m for m in after.messages if m.type == "NBIRTH"][-1]["bdSeq"]["value"]
    time.sleep(15)
    values = [(m.device, metric) for m in list(after.messages) if m.type == "DDATA"
              for name, metric in m.payload["metrics"].items() if name.startswith("Inputs/")]
    history = [(device, metric["time"]) for device, metric in values if metric["historical"]]
    within = [at for _, at in history if gone + 0.2 < at / 1000 < gone + seconds]
    devices = {device for device, _ in history}
    print(f"broker away {seconds} s: bdSeq {before} -> {birth}, {len(history)} historical values of {len(devices)} devices, "
          f"{len(within)} of them from the time away")
    return after


def main():
    publish, ulix = sys.argv[1:3]
    wanted = int(sys.argv[3]) if len(sys.argv) > 3 else 100_000
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        broker = bench.Broker(folder)
        listener = bench.Listener(broker.port)
        with open(folder / "log.txt", "ab") as log:
            publisher = subprocess.Popen([publish, "run", config(folder, broker)], stderr=log)
        try:
            began = time.monotonic()
            while len(listener.messages) < wanted:
                assert publisher.poll() is None, (folder / "log.txt").read_text()
                time.sleep(0.5)
            seconds = time.monotonic() - began
            messages = list(listener.messages)
            print(f"{len(messages)} messages in {seconds:.0f} s; seq skipped {check_seq(messages)} times")
            print(f"publisher with {INSTRUMENTS} simulated instruments inside: "
                  f"{100 * processor_seconds(publisher) / seconds:.1f} % of a core")
            print("npm sparkplug-payload:", decoded_by_npm(messages))
            listener = away_and_back(broker, listener, 10)
        finally:
            publisher.kill()
            listener.stop()
            broker.stop()


if __name__ == "__main__":
    main()
