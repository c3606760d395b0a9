#!/usr/bin/env python3
"""Checks the examples of hosts against the type library: each class and member that they name exists, and each call has
the right number of arguments: scripts/check_examples.py [FILE...]

An example that no test runs says so. Prints what is wrong and ends with 1, or how many calls were read.
"""

import pathlib
import re
import sys
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[1]
INTERFACES = {"control": "IUlixInstr", "setup": "IUlixSetup"}  # keys: names of variables in the examples
NO_HOSTS = {"fleet"}  # examples of something else, which the tests run
NOT_RUN = "Not run by the project's tests"


class Member(NamedTuple):
    """The signature of a member: the number of input arguments and of output arguments, without the result."""
    ins: int
    outs: int


class Language(NamedTuple):
    passes_outs: bool = True  # output arguments are passed by the caller; else they are returned
    bare_calls: bool = False  # the arguments of a statement may have no parentheses
    run: bool = False  # the tests run it
    comment: str = ""


LANGUAGES = {".bas": Language(bare_calls=True, comment="'"), ".vbs": Language(bare_calls=True, run=True, comment="'"),
             ".js": Language(run=True, comment="//"), ".cs": Language(comment="//"), ".ps1": Language(comment="#"),
             ".py": Language(passes_outs=False, comment="#"), ".md": Language(bare_calls=True, run=True, comment="'")}


def read_types():
    """The members of each interface, as (name, kind) with kind get, put or call; and the names of the classes."""
    idl = re.sub(r"//.*", "", (ROOT / "controls" / "UlixInstrAx.idl").read_text())
    interfaces = {}
    for name, body in re.findall(r"interface (\w+) : IDispatch \{(.*?)\n\s*\}", idl, re.S):
        members = interfaces.setdefault(name, {})
        for flags, member, arguments in re.findall(r"\[id\(\d+\)(, prop\w+)?\] HRESULT (\w+)\((.*?)\);", body, re.S):
            directions = re.findall(r"\[([\w, ]+)\]", arguments)
            taken = Member(directions.count("in"), directions.count("out"))
            members[member, {"": "call", ", propget": "get", ", propput": "put"}[flags]] = taken
    controls = re.findall(r"ULIX_\w*CONTROL\((\w+),", (ROOT / "controls" / "controls.def").read_text())
    return interfaces, {f"UlixInstr{control}Ctl" for control in controls} | {"UlixSetup"}


def split_arguments(text):
    """Splits the arguments at the beginning of a text, up to the closing bracket or the end; also returns the rest."""
    depth, quoted, start, found = 0, "", 0, []
    for index, character in enumerate(text):
        if quoted:
            quoted = "" if character == quoted else quoted
        elif character in "\"'":
            quoted = character
        elif character in "([{":
            depth += 1
        elif character in ")]}":
            if depth == 0:
                return found + [text[start:index]] * bool(text[start:index].strip() or found), text[index + 1:]
            depth -= 1
        elif character == "," and depth == 0:
            found.append(text[start:index])
            start = index + 1
    return found + [text[start:]] * bool(text[start:].strip() or found), ""


def calls(text, language):
    """Each use of a control or a setup object: line, variable, member, kind, number of arguments."""
    for number, line in enumerate(text.splitlines(), 1):
        code = line if not language.comment else re.sub(rf"(^|\s){re.escape(language.comment)}.*", "", line)
        for match in re.finditer(rf"\$?\b({'|'.join(INTERFACES)})\.(\w+)", code):
            variable, member = match.groups()
            rest, given = code[match.end():], []
            begins = code[:match.start()].strip() == ""  # a statement
            indirect = re.match(r"\(\)\.InvokeMember\('(\w+)', 'SetProperty', [^@]*@\(", rest)
            if indirect:
                given, _ = split_arguments(rest[indirect.end():])
                yield number, variable, indirect[1], "put", len(given)
                continue
            if rest[:1] in ("(", "["):
                given, rest = split_arguments(rest[1:])
            elif language.bare_calls and begins and rest[:1] == " " and not re.match(r"\s*=", rest):
                given, rest = split_arguments(rest)
            kind = "put" if begins and re.match(r"\s*=(?!=)", rest) else "use"
            yield number, variable, member, kind, len(given) + (kind == "put")


def takes(members, name, kind, language):
    """The numbers of arguments that an example may give to a member; None when there is no such member."""
    for prefix, prefixed in (("", kind), ("set_", "put"), ("get_", "use"), ("Set", "put")):
        if not name.startswith(prefix):
            continue
        for found in (("put",) if prefixed == "put" else ("get", "call")):
            member = members.get((name[len(prefix):], found))
            if member:
                return member.ins + member.outs * language.passes_outs
    return None


def sinks(text, members):
    """The errors in the methods of a Python class that receives the events."""
    for name, arguments in re.findall(r"    def (\w+)\(self, ?([^)]*)\)", text):
        member = members.get((name, "call"))
        if member is None:
            yield f"there is no event {name}"
        elif len(arguments.split(",")) != member.ins:
            yield f"event {name} has {member.ins} arguments, not {len(arguments.split(','))}"


def faults(text, suffix, types):
    """The errors in an example, and the number of uses that were checked."""
    interfaces, classes = types
    language = LANGUAGES[suffix]
    found, read = [], 0
    for name in re.findall(r"(?<![\w.])(?:Ulix\.)?(Ulix(?:Instr\w+Ctl|Setup))\b", text):
        if name not in classes:
            found.append(f"there is no class {name}")
    if suffix == ".md":
        text = "\n".join(re.findall(r"^```vb\n(.*?)^```", text, re.S | re.M))
    for line, variable, member, kind, given in calls(text, language):
        read += 1
        taken = takes(interfaces[INTERFACES[variable]], member, kind, language)
        if taken is None:
            found.append(f"line {line}: {INTERFACES[variable]} has no {member}" + " to be set" * (kind == "put"))
        elif given != taken:
            found.append(f"line {line}: {member} takes {taken} arguments, not {given}")
    if suffix == ".py":
        found += sinks(text, interfaces["IUlixInstrEvents"])
    if not language.run and NOT_RUN not in " ".join(text.split()):
        found.append(f"does not say: {NOT_RUN}")
    return found, read


def main(files):
    types = read_types()
    listed = [pathlib.Path(file) for file in files] or [
        *sorted(file for file in (ROOT / "examples").glob("*/*")
                if file.suffix in LANGUAGES and file.parent.name not in NO_HOSTS),
        ROOT / "docs" / "automation.md"]
    total, wrong = 0, 0
    for file in listed:
        found, read = faults(file.read_text(encoding="utf-8"), file.suffix, types)
        total += read
        wrong += len(found)
        for fault in found:
            print(f"{file}: {fault}")
    print(f"{len(listed)} examples, {total} uses of the type library's members")
    return 1 if wrong or total == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
