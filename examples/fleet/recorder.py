#!/usr/bin/env python3
"""Records the readings of all benches from the JSON mirror to SQLite: recorder.py PORT DATABASE.

A message that comes twice is recorded once: bench, instrument, metric and time are the key. Needs mosquitto-clients.
"""

import json
import signal
import sqlite3
import subprocess
import sys

TABLE = """CREATE TABLE IF NOT EXISTS readings (
  bench TEXT, instrument TEXT, metric TEXT, time TEXT, value REAL, unit TEXT, quality INTEGER,
  PRIMARY KEY (bench, instrument, metric, time)) WITHOUT ROWID"""


def rows(topic, payload):
    _, _, bench, instrument = topic.split("/", 3)
    for name, metric in json.loads(payload)["metrics"].items():
        if name.startswith("Inputs/") and "time" in metric:
            yield bench, instrument, name, metric["time"], metric["value"], metric.get("unit"), metric["quality"]


def record(database, topic, payload):
    """Records a message. What others write under the mirror's topic is told and left out."""
    try:
        found = list(rows(topic, payload))
        with database:
            database.executemany("INSERT OR IGNORE INTO readings VALUES (?, ?, ?, ?, ?, ?, ?)", found)
    except (ValueError, KeyError, TypeError, AttributeError, OverflowError, sqlite3.InterfaceError,
            sqlite3.ProgrammingError) as wrong:
        print(f"recorder.py: {topic} is no report of a bench: {wrong!r}", file=sys.stderr)


def main():
    port, path = sys.argv[1:]
    for end in (signal.SIGTERM, signal.SIGINT):
        signal.signal(end, lambda *_: sys.exit(0))
    database = sqlite3.connect(path)
    database.execute(TABLE)
    listener = subprocess.Popen(["mosquitto_sub", "-p", port, "-t", "mirror/#", "-F", "%x %t"], stdout=subprocess.PIPE,
                                text=True)
    try:
        for line in listener.stdout:
            payload, _, topic = line.rstrip("\n").partition(" ")
            record(database, topic, bytes.fromhex(payload))
    finally:
        listener.terminate()
        database.close()


if __name__ == "__main__":
    main()
