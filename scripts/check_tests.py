#!/usr/bin/env python3
"""Checks the tests: scripts/check_tests.py. The exit code is 1 after a complaint.

A test has at most ten assertions: EXPECT_ and ASSERT_ in the body of a C++ test, self.assert in the method of a Python
test. They are counted in the text: one in a loop over cases counts once, and those of helper functions do not count. The
name of a C++ test says subject and expectation, as in "SetPointEchoDiffers_IsBadResp".
"""

import ast
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MAX_ASSERTIONS = 10
# The format puts the closing brace of a test at the start of a line.
CPP_TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\) \{(.*?)^\}", re.MULTILINE | re.DOTALL)
NO_SUBJECT = re.compile(r": \w+\.[A-Za-z0-9]+$")  # no underscore after the suite's name


def cpp_tests(text):
    for suite, name, body in CPP_TEST.findall(text):
        yield f"{suite}.{name}", len(re.findall(r"\b(?:EXPECT|ASSERT)_", body))


def python_tests(text):
    for node in ast.walk(ast.parse(text)):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)) and node.name.startswith("test"):
            calls = [call.func for call in ast.walk(node) if isinstance(call, ast.Call)]
            yield node.name, sum(isinstance(call, ast.Attribute) and call.attr.startswith("assert") for call in calls)


def main():
    counts = []
    for path in sorted((ROOT / "tests").rglob("*")):
        tests = {".cc": cpp_tests, ".h": cpp_tests, ".py": python_tests}.get(path.suffix)
        if tests:
            text = path.read_text(encoding="utf-8")
            counts += [(count, f"{path.relative_to(ROOT)}: {name}") for name, count in tests(text)]
    complaints = [f"{test} has {count} assertions; at most {MAX_ASSERTIONS} are wanted"
                  for count, test in counts if count > MAX_ASSERTIONS]
    complaints += [f"{test}: a name as Subject_Expectation is wanted" for _, test in counts if NO_SUBJECT.search(test)]
    print(*complaints, f"{len(counts)} tests, {len(complaints)} complaints", sep="\n")
    return 1 if complaints else 0


if __name__ == "__main__":
    sys.exit(main())
