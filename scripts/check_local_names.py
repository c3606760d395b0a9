#!/usr/bin/env python3
"""Checks that file-local names differ within a target, whose files the sanitizer and Windows builds compile in batches.

A file-local name is in an unnamed namespace of a .cc file. Two files that are compiled together cannot both have it,
except functions with different parameters. Nor may it be an enumerator of a header: in a file that is compiled behind
it, the local name would be taken in silence.
"""

import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
# The rooms of each target, and the files in them that belong to another target.
TARGETS = (
    ("base calibration core drivers forms links resources platform sessions",
     r"^calibration/(dcc|without_dcc|files)/|^platform/posix/custom_baud\.cc$"),
    ("calibration/dcc calibration/files", "^$"),
    ("simulators", "^$"),
    ("tools/ulix", "^$"),
    ("fleet", "^$"),
    ("tools/live_page", "^$"),
    ("controls", "^$"),
    ("tests", r"^tests/(conformance|automation|dialogs|controls)/"),
    ("tests/conformance", "^$"),
    ("tests/automation", "^$"),
    ("tests/dialogs", "^$"),
)
DEFINITIONS = (
    re.compile(r"(?:inline |static )?const(?:expr)? .*?\b(k[A-Z]\w*)\b"),
    re.compile(r"(?:struct|class|enum class|enum) (\w+)(?! *;)"),
    re.compile(r"using (\w+) ="),
)
FUNCTION = re.compile(r"[\w:<>,&*\s\[\]]+[ &*](\w+)\(([^)]*)")


UNSCOPED = re.compile(r"^enum(?! class)\b[^{;]*\{([^}]*)\}", re.MULTILINE)


def enumerators_in(text):
    """The names in each `enum` without `class`. Such a name belongs to the whole namespace."""
    return {name for body in UNSCOPED.findall(re.sub(r"//.*", "", text)) for name in re.findall(r"\b(k[A-Z]\w*)\b(?=\s*[=,}]|\s*$)", body)}


def names_in(path):
    """The file-local names, each with its namespace, and functions with the types of their parameters."""
    names, local, space = set(), False, ""
    text = path.read_text(encoding="utf-8")
    for line in text.splitlines():
        if line == "namespace {":
            local = True
        elif line == "}  // namespace":
            local = False
        elif opened := re.match(r"namespace ([\w:]+) \{", line):
            space = opened[1]
        elif local and line[:1] not in (" ", "#", "/", "}", ""):
            defined = next(filter(None, (pattern.match(line) for pattern in DEFINITIONS)), None)
            if defined:
                names.add(f"{space}::{defined[1]}")
            elif not line.startswith("template") and (function := FUNCTION.match(line)):
                types = re.sub(r"\s*\b\w+(?=,|$)", "", function[2])
                names.add(f"{space}::{function[1]}({types})")
    return names | {f"{space}::{name}" for name in enumerators_in(text)}


def main():
    complaints = 0
    for rooms, elsewhere in TARGETS:
        for other_system in ("posix", "win32"):
            home = {}
            shared = {}
            for room in rooms.split():
                for path in sorted((ROOT / room).rglob("*.h")):
                    text = path.read_text(encoding="utf-8")
                    space = re.search(r"^namespace ([\w:]+) \{", text, re.MULTILINE)
                    shared |= dict.fromkeys(enumerators_in(text), (f"{space[1] if space else ''}::", path.relative_to(ROOT)))
            for room in rooms.split():
                for path in sorted((ROOT / room).rglob("*.cc")):
                    place = path.relative_to(ROOT).as_posix()
                    if f"/{other_system}/" in place or re.search(elsewhere, place):
                        continue
                    for name in sorted(names_in(path)):
                        first = home.setdefault(name, place)
                        if first != place:
                            complaints += 1
                            print(f"{place}: {name} stands in {first} too", file=sys.stderr)
                        inner, header = shared.get(name.rpartition("::")[2], ("", ""))
                        if inner.startswith(name.rpartition("::")[0] + "::"):
                            complaints += 1
                            print(f"{place}: {name} is an enumerator of {header}", file=sys.stderr)
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
