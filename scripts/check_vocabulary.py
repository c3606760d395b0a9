#!/usr/bin/env python3
"""Lists words that this tree avoids, with the word to use instead: scripts/check_vocabulary.py [FILE...].

Without FILE it checks every source, script and page that git tracks. The exit code is 1 when a word is found. Published
names and quoted texts of instruments are allowed: such a line ends with the comment "vocabulary: published".
"""

import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]

# The avoided words, each with the word that an instrument engineer expects.
AVOIDED = [
    (r"\b[Ll]andmarks?\b", "sync query, sync reply"),
    (r"\b[Ll]edgers?\b", "outstanding replies"),
    (r"\bReplyLedger\b", "OutstandingReplies"),
    (r"\b[Gg]reet(s|ed|ing|ings)?\b", "handshake, start session"),
    (r"\b[Tt]akes? ?[Ll]eave\b", "end session"),
    (r"\b[Ff]ormalit(y|ies)\b", "handshake"),
    (r"words of the connection", "handshake"),
    (r"\b[Hh]ave ?[Ll]ink ?[Bb]ack\b", "reconnect if lost"),
    (r"\bhad back\b", "reconnected"),
    (r"\b[Dd]istrust(s|ed|ing)?\b", "mark out of sync"),
    (r"\b[Bb]r(ing|ings|inging|ought) (it |the line )?in step\b", "resynchronise"),
    (r"\b(in|out of) step\b", "in sync, out of sync"),
    (r"known by (its|their) face", "recognisable"),
    (r"\bkMost([A-Z]\w*)?\b", "kMax..."),
    (r"\bkLeast([A-Z]\w*)?\b", "kMin..."),
    (r"\b[Nn]oughts?\b", "zero"),
    (r"\b[Ww]eathers?\b", "lateness pattern"),
    (r"\b[Bb]abbl(e|er|ers|es|ing)\b", "noisy line"),
    (r"\b[Bb]eats?\b", "tick"),
    (r"\b([Oo]beys?|[Oo]beyed|[Ss]poil(s|ed)?)\b", "execute, apply faults"),
    (r"\b(opened late|OpenedLate)\b", "on open retried"),
    (r"\b(WantsToKnow|wants to know|ask anew|AskAnew)\b", "identifies on connect, query after clear"),
    (r"\blines behind\b", "trailing lines"),
    (r"\blongest silence\b", "max report interval"),
    (r"\blengthy\b", "lparam"),
    (r"\b(CliWord|CodedWord)\b", "CliText, EnumLabel"),
    (r"\b(Told|ToldLater)\(", "ReportIfFailed, a name of what was reported"),
    (r"\b(auto|bool|double|float|string|string_view|HRESULT|optional<\w+>|set<[^>]*>)[&*]? told\b", "what was reported"),
    (r"\b(next_)?[Ll]ooks?_\b|\bLook\(|\btwo looks\b|\blast look\b", "poll, reading, check"),
    (r"\b(int|long|float|double|u?int\d+_t|size_t) (most|least)\b|\b(most|least)(_|\(\))", "max, min"),
    (r"\bnobody's\b", "no instrument's, nobody asked for"),
    (r"\bwaits for nobody\b", "returns at once"),
]
PATTERNS = [(re.compile(pattern), use) for pattern, use in AVOIDED]

CHECKED = ("*.h", "*.cc", "*.py", "*.md", "*.idl", "CMakeLists.txt", "scripts/*")
EXEMPT = "vocabulary: published"


def tracked_files():
    listed = subprocess.run(["git", "ls-files", *CHECKED], cwd=ROOT, capture_output=True, text=True, check=True)
    return [ROOT / name for name in listed.stdout.splitlines()]


def hits(path):
    """Each avoided word in a file: line number, word, word to use instead."""
    text = path.read_text(encoding="utf-8", errors="replace")
    for number, line in enumerate(text.splitlines(), 1):
        if line.rstrip().endswith(EXEMPT):
            continue
        for pattern, use in PATTERNS:
            for found in pattern.finditer(line):
                yield number, found.group(0), use


def main(arguments):
    files = [pathlib.Path(name).resolve() for name in arguments] or tracked_files()
    count = 0
    for path in files:
        if path == pathlib.Path(__file__).resolve() or not path.is_file():
            continue
        for number, word, use in hits(path):
            print(f"{path.relative_to(ROOT)}:{number}: '{word}': use {use}")
            count += 1
    print(f"{len(files)} files, {count} words to avoid")
    return 1 if count else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
