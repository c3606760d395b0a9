"""Checks the texts in the sources that users see, and lists what is wrong with them: check_words.py [ROOT].

A text is a pair of literals, English and French. The pair is a field of a table row, the value of a constant of type
LocalizedText, or the value of a named field. The script finds the pairs by this form in any file. It lists:
- a language that is missing or empty
- a text that cannot be written in Windows-1252
- two languages with a different number of places for values
- a choice between singular and plural, "{one|many}", that no value is before, or that is not closed
- one English text with two French texts
- a text that is not used
- a use with more or fewer values than the text has places
- a sentence or a menu entry in one language only, in code whose texts users see
"""

import functools
import pathlib
import re
import sys
from collections import defaultdict
from typing import NamedTuple

ROOMS = ("base", "core", "drivers", "forms", "links", "platform", "resources", "controls", "tools")
# The texts of these rooms are all in the catalogue; pairs of literals there are something else.
USING_ROOMS = ("calibration", "fleet", "sessions", "simulators")
# In these rooms every sentence in a literal is shown to a user. The exceptions are listed below, each with its reason.
SHOWN_ROOMS = ("base", "calibration", "controls", "core", "drivers", "fleet", "forms", "links", "platform", "sessions",
               "tools/live_page", "tools/ulix")
TOKEN = re.compile(r'//[^\n]*|/\*.*?\*/|\\\n|#\s*(?:include|error)[^\n]*|(?:L|u8|u|U)?"(?:[^"\\\n]|\\.)*"|'
                   r"'(?:[^'\\\n]|\\.)*'|\w+|::|\S", re.S)
PLACE = re.compile(r"%(?:%|[-+#0]*[\d.]*[lh]*[cdiouxXeEfgGs])?")
CHOICE = re.compile(r"\{[^{}|]*\|[^{}|]*\}")
SENTENCE = re.compile(r"[A-Za-z]{2,}[,.:]? [a-z]{2,}|&[A-Z][a-z]+")
NO_SENTENCES = {
    "trace": re.compile(r"^(TraceLine|Trace|TraceFailure|TraceVersion|static_assert)$"),  # for developers
    "wire": re.compile(r"^(<ASCII protocol activated>|<Error Invalid command or argument\(s\)>)$"),  # sent by an instrument
    "traced": re.compile(r"^(Stop: Unable to kill (Timer|Scan) Thread|ImmediateRead: .*|(switch test|high range pressure|"
                         r"low range pressure|\(external\) pressure module|HART module|another item))$"),
    "published": re.compile(r"^(UlixInstrAx 1\.0 Type Library|Connexion closed|Can't .*)$", re.S),
    "markup": re.compile(r"^(.*[<>]|\.(TP|BR)\b)", re.S),
    "shell": re.compile(r"^(# Completion of ulix|#compdef ulix|esac\n)"),
    "typed": re.compile(r"^(comma, semicolon, tab|read clear|list read|watch (stable|mqtt:.*))$"),  # words of the command line
    "parser": re.compile(r"^((string|number|true|false) literal|object key|end of input|invalid (string|number|literal)|"
                         r"Could not convert:)$"),  # said by a library, looked for in its messages
    # In files and messages that programs read.
    "kept": re.compile(r"^(reference read|other settings|not asked|no number in the reply|the run is gone on with|"
                       r"a warning in place of a value; this is the one before|the program was started again|"
                       r"stability was lost|/?[Ss]et point|/Error code|Properties/.*)$"),
    "metrics": re.compile(r"^(Whether th|Messages that |Value of the channel |Quality of the value|When the channel )"),
}


class Token(NamedTuple):
    text: str
    line: int
    literal: bool


class Pair(NamedTuple):
    path: str
    line: int
    english: str
    french: str
    name: str  # name of the word or of the constant; empty when the row has none


@functools.lru_cache(maxsize=None)
def tokens(source):
    """The tokens of a source, without comments. Adjacent literals become one."""
    found = []
    line = counted = 0
    for match in TOKEN.finditer(source):
        text = match.group()
        line += source.count("\n", counted, match.start())
        counted = match.start()
        if text.startswith(("//", "/*", "#", "\\\n")):
            continue
        literal = text.endswith('"') and len(text) > 1
        if literal:
            text = text[text.index('"') + 1:-1].replace(r"\"", '"').replace(r"\n", "\n").replace(r"\\", "\\")
        if literal and found and found[-1].literal:
            found[-1] = Token(found[-1].text + text, found[-1].line, True)
        else:
            found.append(Token(text, line + 1, literal))
    return found


def name_of(found, brace):
    """The name of the pair that begins at `brace`: Enum::kWord of its row, or the constant. None for other pairs."""
    before = [token.text for token in found[max(0, brace - 5):brace]]
    if before[-1:] == [","]:
        if before[0] == "(":  # This is a use of a text, with its values.
            return None
        return "".join(before[-4:-1]) if before[-3:-2] == ["::"] else ""
    if before[-1:] == ["="]:
        return before[-2] if before[-3:-2] == ["LocalizedText"] else "" if before[-3:-2] == ["."] else None
    return None


def literals(found):
    return [(k, token) for k, token in enumerate(found) if token.literal]


def scan(path, found):
    """The pairs of one file, the literals outside them, and the rows with only one language."""
    pairs, others, halves = [], [], []
    inside = set()
    for k, token in enumerate(found):
        if token.text != "{" or token.literal:
            continue
        kinds = ["s" if part.literal else part.text for part in found[k + 1:k + 5]]
        name = name_of(found, k)
        if name is not None and kinds[:3] == ["s", ",", "s"] and kinds[3:] in (["}"], [","]):
            pairs.append(Pair(path, token.line, found[k + 1].text, found[k + 3].text, name))
            inside |= {k + 1, k + 3}
        elif name and kinds[:2] == ["s", "}"]:
            halves.append((path, token.line, found[k + 1].text))
    others = [(k, token) for k, token in literals(found) if k not in inside]
    return pairs, others, halves


def places(text):
    return [place for place in PLACE.findall(text) if place != "%%"]


def has_lost_choice(text):
    """Whether a choice between singular and plural is incomplete or has no value before it."""
    lost = any("%" not in text[:choice.start()] for choice in CHOICE.finditer(text))
    return lost or re.search(r"\{[^{}]*\||\|[^{}]*\}", CHOICE.sub("", text)) is not None


def values_given(found):
    """Each use of a text with values, and their number: Localized(TextId::kName, [language,] {a, b})."""
    for k, token in enumerate(found):
        if token.text not in ("Localized", "Shown", "Say") or [part.text for part in found[k + 1:k + 2]] != ["("] or found[k + 3].text != "::":
            continue
        depth, values, name = 0, None, "".join(part.text for part in found[k + 2:k + 5])
        for part in found[k + 1:]:
            if part.literal:
                continue
            if part.text == "{" and depth == 1:
                values = 1
            if part.text == "," and depth == 2 and values:
                values += 1
            depth += (part.text in "({[") - (part.text in ")}]")
            if depth == 0:
                break
        yield name, token.line, values or 0


def is_sentence(found, k):
    text = found[k].text
    begin = next((j for j in range(k - 1, 0, -1) if not found[j].literal and found[j].text in ";{}"), 0)
    callees = [found[j - 1].text for j in range(begin + 1, k) if found[j].text == "("]
    excused = any(map(NO_SENTENCES["trace"].match, callees)) or any(
        pattern.match(text.strip()) for kind, pattern in NO_SENTENCES.items() if kind != "trace")
    return SENTENCE.search(text) and not re.search(r"::|://|\?", text) and not excused


def published(path_tokens):
    """The texts whose row ends with a number in the string table. Hosts use them by number, even if no code uses the name."""
    names = set()
    for found in path_tokens.values():
        texts = [token.text for token in found]
        for k in range(2, len(texts) - 9):
            if texts[k] == "::" and texts[k + 2:k + 4] == [",", "{"] and texts[k + 7:k + 9] == ["}", ","] and texts[k + 9].isdigit():
                names.add("".join(texts[k - 1:k + 2]))
    return names


def check(root):
    """The complaints about the sources below `root`, as lines, and the number of texts."""
    files = sorted(file for room in ROOMS + USING_ROOMS for file in (root / room).rglob("*") if file.suffix in (".h", ".cc"))
    path_tokens = {str(file.relative_to(root)): tokens(file.read_text()) for file in files}
    complaints, pairs, said = [], [], defaultdict(int)

    def complain(path, line, what):
        complaints.append(f"{path}:{line}: {what}")
    for path, found in path_tokens.items():
        own, others, halves = scan(path, found) if path.startswith(ROOMS) else ([], literals(found), [])
        pairs += own
        for path_, line, text in halves:
            complain(path_, line, f'one language only: "{text}"')
        for k, token in others:
            if path.startswith(SHOWN_ROOMS) and is_sentence(found, k):
                complain(path, token.line, f'shown in one language only: "{token.text.strip()}"')
        for k, token in enumerate(found):
            said[token.text] += not token.literal
            # The last enumerator of another enumeration gives the size of a list. This is not a use of a text.
            counts = [part.text for part in found[max(0, k - 3):k - 1] + found[k + 2:k + 4]] == [">", "(", ")", "+"]
            if token.text == "::" and not counts:
                said["".join(part.text for part in found[k - 1:k + 2])] += 1
    french, of_word = {}, {pair.name: pair for pair in pairs if "::" in pair.name}
    fixed = published(path_tokens)
    for pair in pairs:
        def tell(what):
            complain(pair.path, pair.line, f'{what}: "{pair.english}" / "{pair.french}"')
        for text in (pair.english, pair.french):
            if not text.strip():
                tell("empty")
            if text.encode("cp1252", "replace").decode("cp1252") != text:
                tell("not to be had in Windows-1252")
        if places(pair.english) != places(pair.french):
            tell("places for values differ")
        if has_lost_choice(pair.english) or has_lost_choice(pair.french):
            tell("a choice without its value")
        if french.setdefault(pair.english, pair.french) != pair.french:
            tell(f'also translated as "{french[pair.english]}"')
        if pair.name and pair.name not in fixed and said[pair.name] < 2:
            tell(f"nothing says {pair.name}")
    for path, found in path_tokens.items():
        for name, line, values in values_given(found):
            if name in of_word and len(places(of_word[name].english)) != values:
                complain(path, line, f"{name} is said with {values} values")
    return complaints, len(pairs)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parents[1])
    complaints, count = check(root)
    print("\n".join([*complaints, f"{count} texts, {len(complaints)} complaints"]))
    return 1 if complaints or not count else 0


if __name__ == "__main__":
    sys.exit(main())
