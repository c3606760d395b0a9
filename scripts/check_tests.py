#!/usr/bin/env python3
"""Lists the tests that have more than ten assertions: scripts/check_tests.py. The exit code is 1 if there are any.

Counted are the EXPECT_ and ASSERT_ in the body of a C++ test and the self.assert of a Python test's method, as they stand
in the text: an assertion in a loop over cases counts once, and what a helper function asserts does not count.
"""

import ast
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
MAX_ASSERTIONS = 10
# The format puts the closing brace of a test at the start of a line.
CPP_TEST = re.compile(r"^TEST(?:_F|_P)?\((\w+),\s*(\w+)\) \{(.*?)^\}", re.MULTILINE | re.DOTALL)


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
    crowded = [(count, test) for count, test in counts if count > MAX_ASSERTIONS]
    for count, test in crowded:
        print(f"{test} has {count} assertions; at most {MAX_ASSERTIONS} are wanted")
    print(f"{len(counts)} tests, {len(crowded)} with more than {MAX_ASSERTIONS} assertions")
    return 1 if crowded else 0


if __name__ == "__main__":
    sys.exit(main())
