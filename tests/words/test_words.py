"""The texts of this tree pass check_words, and check_words finds each kind of fault in a copy of the tree."""

import pathlib
import shutil
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import check_words  # noqa: E402

TEXTS, KELVO10, FORMS = "resources/texts.cc", "drivers/calibrators/kelvo10/tables.h", "forms/instrument_forms.cc"
SCAN, PLANS, LOCK = "tools/ulix/scan_verb.cc", "calibration/plan_loader.cc", "links/lock_problem.cc"
# Each fault: file, text, replacement, expected complaint.
FAULTS = [
    (TEXTS, '"Voie %"', '"Voie"', "places for values differ"),
    (TEXTS, '"Voies"', '""', "empty"),
    (TEXTS, '{"Channels", "Voies"}', '{"Channels"}', "one language only"),
    (TEXTS, '"Voies"', '"Voies \u2192"', "not to be had in Windows-1252"),
    (TEXTS, '{"Data bits"', '{"Channels"', "also translated as"),
    (TEXTS, '    {TextId::kCancel,', '    {TextId::kNever, {"Never", "Jamais"}},\n    {TextId::kCancel,', "nothing says TextId::kNever"),
    (TEXTS, '"% {relevé|relevés}"', '"{relevé|relevés} %"', "a choice without its value"),
    (TEXTS, '"% {relevé|relevés}"', '"% {relevé|relevés"', "a choice without its value"),
    (TEXTS, '"%c bits de données"', '"%d bits de données"', "places for values differ"),
    (KELVO10, "namespace ulix", 'constexpr LocalizedText kNew = {"Newest", "Dernier"};\nnamespace ulix', "nothing says kNew"),
    (FORMS, "Localized(TextId::kNothingToSet, language)", 'std::string("Nothing to set here.")', "shown in one language only"),
    (FORMS, "Localized(TextId::kNothingToSet, language)", 'std::string("&Properties")', "shown in one language only"),
    (SCAN, "Shown(TextId::kHelpScanNotes)", '"It ends with Ctrl-C."', "shown in one language only"),
    (LOCK, "Localized(TextId::kLockHeld, language, {problem.object})", 'problem.object + " is held"', "shown in one language only"),
    (PLANS, "Bilingual(TextId::kPlanMinAboveMax)", '"min is above max"', "shown in one language only"),
    (FORMS, "{entered.At(kPortField).label, PortName(kMaxPort)}", "{PortName(kMaxPort)}",
     "TextId::kPortRange is said with 1 values"),
]


class Words(unittest.TestCase):
    def test_every_text_has_both_languages_and_is_used(self):
        complaints, count = check_words.check(ROOT)
        self.assertEqual(complaints, [])
        self.assertGreater(count, 150)

    def test_every_fault_is_reported(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for room in ("forms", "resources", "drivers", "links"):
                shutil.copytree(ROOT / room, root / room)
            for name in (SCAN, PLANS):
                (root / name).parent.mkdir(parents=True)
                shutil.copy(ROOT / name, root / name)
            before, _ = check_words.check(root)
            for name, right, wrong, what in FAULTS:
                with self.subTest(wrong):
                    source = (ROOT / name).read_text()
                    self.assertIn(right, source)
                    (root / name).write_text(source.replace(right, wrong, 1))
                    new = [line for line in check_words.check(root)[0] if line not in before and line.startswith(name)]
                    self.assertTrue(any(what in line for line in new), new)
                    (root / name).write_text(source)


if __name__ == "__main__":
    sys.exit(unittest.main(verbosity=2))
