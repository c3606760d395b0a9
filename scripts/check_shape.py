#!/usr/bin/env python3
"""Checks the sizes of functions and the comments of contract headers: scripts/check_shape.py [--list].

The size of a function is the number of lines between its braces, and 1 for a function on a single line. All functions
of the product are counted, with the lambdas inside them. A contract header is read without its implementation: of 100
lines that are not blank, at least 25 must have a comment, alone or behind a declaration, and at most 50 may have a
comment only. --list prints the functions above the bound and every header.
"""

import pathlib
import re
import statistics
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
OUTSIDE_PRODUCT = ("tests/", "fuzz/", "bench/", "examples/", "scripts/")
CONTRACTS = re.compile(r"core/instrument\.h|drivers/driver\.h|(links|platform|sessions)/[^/]+\.h")
MAX_MEDIAN, MAX_OF_NINE_IN_TEN = 10, 25
MIN_COMMENTS, MAX_COMMENTS = 25, 50

# What braces may stand in without opening a scope: literals, comments, macros.
IGNORED = re.compile(r'R"(\w*)\(.*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)\'(?:\\.|[^\'\\\n])+\'|//[^\n]*|/\*.*?\*/'
                     r"|^[ \t]*#(?:[^\n\\]|\\.|\\\n)*", re.DOTALL | re.MULTILINE)
SCOPE = re.compile(r"(template <.*> )?(inline )?(namespace|class|struct|union|extern)\b[^(]*$", re.DOTALL)
FUNCTION = re.compile(r"\)[^=]*$", re.DOTALL)
LABEL = re.compile(r"\b(public|private|protected):")


def closing_brace(text, opened):
    depth = 0
    for brace in re.finditer(r"[{}]", text[opened:]):
        depth += 1 if brace[0] == "{" else -1
        if depth == 0:
            return opened + brace.start()
    raise ValueError("a brace is not closed")


def functions(text):
    """The offset and the number of lines of each function in C++ text."""
    text = IGNORED.sub(lambda ignored: "\n" * ignored[0].count("\n"), text)
    position = head = 0
    while mark := re.compile(r"[;{}]").search(text, position):
        position = mark.end()
        declaration = LABEL.sub("", text[head:mark.start()]).strip()
        if mark[0] != "{" or SCOPE.match(declaration):
            head = position
            continue
        end = closing_brace(text, mark.start())
        position = end + 1
        # Formatted code has a space before the brace of a body, and none before that of an initializer.
        if text[mark.start() - 1] == " " and FUNCTION.search(declaration):
            begin = text.index(declaration[:1], head)
            yield text.count("\n", 0, begin) + 1, max(1, text.count("\n", mark.start(), end) - 1)
            head = position


def comments(text):
    """The percentage of a header's lines with a comment, and of lines with a comment only."""
    lines = [line for line in text.splitlines() if line.strip(" /")]
    some, only = (sum(bool(re.search(comment, line)) for line in lines) for comment in (r"(^|\s)//", r"^\s*//"))
    return 100 * some / len(lines), 100 * only / len(lines)


def main(arguments):
    names = subprocess.run(["git", "ls-files", "*.h", "*.cc"], cwd=ROOT, capture_output=True, text=True, check=True)
    texts = {name: (ROOT / name).read_text(encoding="utf-8") for name in names.stdout.split()
             if (ROOT / name).exists() and not name.startswith(OUTSIDE_PRODUCT)}
    sizes = sorted((size, f"{name}:{line}") for name, text in texts.items() for line, size in functions(text))
    lengths = [size for size, _ in sizes]
    median, of_nine_in_ten = statistics.median(lengths), lengths[len(lengths) * 9 // 10]
    shares = {name: comments(text) for name, text in texts.items()
              if CONTRACTS.fullmatch(name) and IGNORED.sub("", text).strip()}  # without headers that only include one
    outside = {name: (some, only) for name, (some, only) in shares.items() if some < MIN_COMMENTS or only > MAX_COMMENTS}
    listed = "--list" in arguments
    for size, place in sizes if listed else ():
        if size > MAX_OF_NINE_IN_TEN:
            print(f"{place} has {size} lines")
    for name, (some, only) in sorted((shares if listed else outside).items()):
        print(f"{name} has a comment in {some:.0f} of 100 lines, and nothing else in {only:.0f}")
    print(f"{len(lengths)} functions: the median has {median:.0f} lines, nine in ten at most {of_nine_in_ten}"
          f" ({MAX_MEDIAN} and {MAX_OF_NINE_IN_TEN} are wanted), the longest {lengths[-1]}")
    print(f"{len(shares)} contract headers: a comment in at least {min(some for some, _ in shares.values()):.0f} of 100 lines"
          f" and nothing else in at most {max(only for _, only in shares.values()):.0f}"
          f" ({MIN_COMMENTS} and {MAX_COMMENTS} are wanted), {len(outside)} outside")
    return 1 if outside or median > MAX_MEDIAN or of_nine_in_ten > MAX_OF_NINE_IN_TEN else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
