#!/usr/bin/env python3
"""Prints how many tests of a build passed and failed, after ctest has run: scripts/count_results.py BUILD_FOLDER.

A shard of the unit tests counts as the tests that it ran. A shard that ended without results counts as one failure, and
so does a run of ctest without results. Skipped tests are not counted.
"""

import pathlib
import sys
import xml.etree.ElementTree

SHARD = "shard."


def shard_counts(results, ended_well):
    """The numbers of passed and failed tests of one shard. A shard may also fail after its last test."""
    try:
        root = xml.etree.ElementTree.parse(results).getroot()
    except (OSError, xml.etree.ElementTree.ParseError):
        return 0, 1
    cases = [case for case in root.iter("testcase") if case.get("result") == "completed"]
    failed = sum(case.find("failure") is not None for case in cases)
    return len(cases) - failed, failed if ended_well else max(failed, 1)


def is_skipped(case):
    """Whether the test itself said that it cannot run here. ctest marks a missing program in the same way."""
    skipped = case.find("skipped")
    return skipped is not None and skipped.get("message", "").startswith("SKIP_")


def counts(build):
    passed = failed = 0
    for case in xml.etree.ElementTree.parse(build / "results.xml").getroot().iter("testcase"):
        if is_skipped(case):
            continue
        ended_well = case.get("status") == "run"
        if case.get("name").startswith(SHARD):
            of_shard = shard_counts(build / "tests/shards" / (case.get("name") + ".xml"), ended_well)
        else:
            of_shard = (1, 0) if ended_well else (0, 1)
        passed += of_shard[0]
        failed += of_shard[1]
    return passed, failed


def main():
    try:
        passed, failed = counts(pathlib.Path(sys.argv[1]))
    except (OSError, xml.etree.ElementTree.ParseError):
        passed, failed = 0, 1
    print(passed, failed if passed + failed else 1)


if __name__ == "__main__":
    main()
