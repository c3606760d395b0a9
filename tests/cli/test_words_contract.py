"""The texts of `ulix` when it refuses, asks or finds nothing.

Run as: python3 test_words_contract.py PATH_TO_ULIX [unittest arguments]
"""

import json
import re
import unittest

from contract import UNDER_WINE, ContractTest, main
from instruments import kelvo10
from test_people_contract import Terminal

IDENTIFIABLE = ("kelvo10", "cmx310", "memolog", "kambic", "microk", "flukehydra", "jofrartcptc", "adt761")


class WordsTest(ContractTest):
    def refused(self, said, *args, status=2):
        got, out, err = self.ulix(*args)
        self.assertEqual((got, out), (status, ""), err)
        self.assertIn(said, err)
        self.assertEqual(err.count("\n"), 1, err)

    @unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
    def test_detect_finds_every_model_that_can_be_identified(self):
        def detect(model):
            port = self.read_line(self.start("simulate", model))
            out = self.succeed("detect", "--port", port, "--timeout", self.short_timeout())
            self.assertEqual(out.split()[0], model)
        self.side_by_side(detect, [(model,) for model in IDENTIFIABLE])

    def test_detect_is_for_lines(self):
        self.refused("--port: sim is the simulator of a model", "detect", "--port", "sim")

    def test_reading_without_an_input_is_refused(self):
        for verb in (["read"], ["scan", "--period", 100, "--count", 1]):
            self.refused("takes an input, and the instrument as it is set has none", *verb, "isotech", "--port", "sim")
        self.refused("n'en a pas", "read", "isotech", "--port", "sim", "--lang", "fr")

    def test_port_that_is_missing_or_wrong_is_told_in_words(self):
        self.refused("tcp://HOST:PORT, rfc2217://HOST:PORT or sim", "read", "kelvo10")
        self.refused("--port: manque", "read", "kelvo10", "--lang", "fr")
        self.env["ULIX_COM5"] = "bogus://bench:1"
        self.refused("bogus://bench:1: no URL of a port; takes tcp://HOST:PORT", "read", "kelvo10", "--port", "5", status=1)

    def test_wrong_usage_is_told_in_the_users_language(self):
        for said, args in (("n'est pas une voie ; attend un num\u00e9ro ou un nom : 0 IN", ["read", "kelvo10", "INN", "--port", "sim"]),
                           (" ; vouliez-vous dire 'IN' ?", ["read", "kelvo10", "INN", "--port", "sim"]),
                           ("'kelvo11' n'est pas un mod\u00e8le", ["read", "kelvo11", "--port", "sim"]),
                           ("input-function ne peut pas \u00eatre 'X' ; attend", ["config", "kelvo10", "show", "--set", "input-function=X"]),
                           ("'12;5' n'est pas une valeur", ["set", "kelvo10", "OUT", "12;5", "--port", "sim"]),
                           ("--period: 'soon' n'est pas accept\u00e9 ; attend un nombre entier de 1 \u00e0 86400000",
                            ["scan", "kelvo10", "--port", "sim", "--period", "soon"]),
                           ("--count: ne va pas avec --duration ; voir", ["scan", "kelvo10", "--port", "sim", "--period", 100,
                                                                          "--count", 1, "--duration", 1]),
                           ("--period: est donn\u00e9 trop de fois", ["scan", "kelvo10", "--port", "sim", "--period", 100,
                                                                     "--period", 200]),
                           ("extra: est un mot de trop", ["models", "extra"]),
                           ("--period: manque ; attend MS (entre les lectures", ["scan", "kelvo10", "--port", "sim"]),
                           ("VALUE: manque ; attend des ohms", ["convert", "pt100"]),
                           ("--fault: pas de d\u00e9faut \u00ab wind \u00bb", ["simulate", "kelvo10", "--fault", "wind"])):
            self.refused(said, *args, "--lang", "fr")

    def test_mistakes_of_a_plan_are_told_in_the_users_language(self):
        plan = self.folder / "plan.json"
        for text, english, french in (
                ('{"source": 1,}', "1: column 14: syntax error: '}' is not expected here; expected: a text in quotes",
                 "1: colonne 14 : erreur de syntaxe : on n'attend pas '}' ici ; on attend un texte entre guillemets"),
                ('{"title"', "syntax error: the end is not expected here; expected: ':'",
                 "erreur de syntaxe : on n'attend pas la fin ici ; on attend ':'"),
                ('{"title": 01}', "syntax error: a number is not expected here",
                 "erreur de syntaxe : on n'attend pas un nombre ici"),
                ('{"title": nul}', "the word is neither in quotes nor true, false or null",
                 "le mot n'est ni entre guillemets, ni true, false ou null")):
            plan.write_text(text)
            for language, wanted in (("en", english), ("fr", french)):
                status, _, err = self.ulix("calibrate", plan, "--dry-run", "--lang", language)
                self.assertEqual(status, 2)
                self.assertIn(wanted, err)

    def test_what_cannot_be_done_together_is_refused(self):
        scan = "scan", "kelvo10", "--port", "sim", "--period", 100, "--count", 1
        self.refused("--csv: '-' is standard output", *scan, "--csv", "-", "--json")
        self.refused("--min: 9 is above the --max of 5", "set", "kelvo10", "OUT", "7", "--min", "9", "--max", "5", "--port", "sim")

    def test_unknown_option_leads_to_the_help_of_its_verb(self):
        self.refused("see 'ulix scan --help'", "scan", "kelvo10", "--port", "sim", "--period", "soon")

    def test_program_that_cannot_be_read_is_named(self):
        none = self.folder / "none.p90"
        for args in (["program", "memolog", "check", none], ["config", "memolog", "send", "--port", "sim", "--set", f"program-file={none}"]):
            self.refused(f"{none}: no such file", *args, status=1)
        self.refused("program-file is missing", "config", "memolog", "send", "--port", "sim", "--set", "slave=1")

    def test_block_that_is_not_there_is_answered_by_those_that_are(self):
        said = "BLOCK: '99' is no block of the instrument; there are 0 name:1, 1 name:2"
        self.refused(said, "memory", "memolog", "read", 99, "--port", "sim")
        self.refused(said.replace("99", "9"), "report", "memolog", self.folder / "x.html", "--block", 9, "--port", "sim")

    def test_newest_records_are_read_also_where_no_time_mark_is_near(self):
        for count in (1, 3):
            out = json.loads(self.succeed("memory", "memolog", "read", 1, "--max", count, "--json", "--port", "sim"))
            self.assertEqual(len(out), count)

    def test_a_simulator_is_not_called_a_port(self):
        out = self.succeed("config", "kelvo10", "show", "--port", "sim")
        self.assertEqual(out.splitlines()[-1], "Kelvo10 (simulated instrument)")

    def test_report_of_a_bare_file_has_a_title(self):
        rows, page = self.folder / "rows.csv", self.folder / "page.html"
        rows.write_text("time,IN (V),IN error\n2026-01-31T10:11:12.345,1.5,\n")
        self.succeed("report", "--from", rows, page)
        self.assertRegex(page.read_text(), rf"<title>{re.escape(str(rows))}, scan</title>")

    def help_pages(self, language):
        """The page of each verb, and that of the program under ''."""
        program = self.succeed("help", "--lang", language)
        verbs = re.findall(r"^  ([a-z]+) ", re.split("(?m)^Ex[ae]mples$", program.replace("Examples", "Exemples"))[0], re.M)
        self.assertGreater(len(verbs), 20)
        return {"": program} | {verb: self.succeed(verb, "--help", "--lang", language) for verb in verbs}

    def test_help_fits_a_terminal(self):
        for language in ("en", "fr"):
            pages = self.help_pages(language)
            for verb, page in pages.items():
                self.assertEqual([line for line in page.splitlines() if len(line) > 80], [], verb)
            self.assertEqual([verb for verb, page in pages.items() if verb and "drip=MS" in page], [])
            self.assertRegex(pages[""], r"(?m)^  ulix models\n  ulix identify kelvo10 --port 5$")

    def test_help_is_in_the_users_language(self):
        def described(page):
            begins = [line[28:] for line in page.splitlines() if line[26:28] == "  " and line[28:29].strip()]
            return {text for text in begins if re.search("[a-z]{2,} [a-z]{2,}", text)}
        english, french = self.help_pages("en"), self.help_pages("fr")
        self.assertEqual(english.keys(), french.keys())
        for verb in english:
            self.assertGreater(len(described(french[verb])), 0, verb)
            self.assertEqual(described(english[verb]) & described(french[verb]), set(), verb)
            self.assertNotRegex(french[verb], r"Usage:|REQUIRED|Excludes|Print this help|Connection:", verb)
        self.env["LANG"] = "fr_FR.UTF-8"
        self.assertEqual(self.succeed("scan", "--help"), french["scan"])

    @unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
    def test_models_fit_a_terminal(self):
        status, shown = Terminal(self, "models").end()
        self.assertEqual((status, [line for line in shown.splitlines() if len(line) > 80]), (0, []))
        self.assertIn("CH10-CH17 in", shown)


@unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
class QuestionTest(ContractTest):
    def test_block_is_cleared_after_a_yes_only(self):
        where = ["--port", self.read_line(self.start("simulate", "memolog"))]
        def records():
            return json.loads(self.succeed("memory", "memolog", "list", *where, "--json"))[1]["records"]
        there = records()
        for answer, status, left in (("n", 1, there), ("maybe\nn", 1, there), ("y", 0, 0)):
            clear = Terminal(self, "memory", "memolog", "clear", "1", *where)
            clear.answer(f'Clear block 1 "2", {there} records? [y/n]: ', answer)
            self.assertEqual(clear.end()[0], status, answer)
            self.assertEqual(records(), left)

    def test_block_is_cleared_without_a_question_when_that_is_said(self):
        where = ["--port", self.read_line(self.start("simulate", "memolog"))]
        clear = Terminal(self, "memory", "memolog", "clear", "0", "--yes", *where)
        status, shown = clear.end()
        self.assertEqual(status, 0)
        self.assertNotIn("?", shown)

    def test_value_beyond_a_limit_is_set_after_a_yes_only(self):
        for answer, status, sent in (("n", 1, False), ("y", 0, True)):
            unit = self.plug_in(kelvo10())
            command = Terminal(self, "set", "kelvo10", "OUT", "9", "--max", "5", *unit.where)
            command.answer("OUT at 9.000 V is above the limit of 5.000 V. Set it anyway? [y/n]: ", answer)
            self.assertEqual(command.end()[0], status)
            self.assertEqual(b"OUT 9.000000" in unit.wire(), sent)

    def test_live_table_ends_without_a_time_that_is_left(self):
        scan = Terminal(self, "scan", "kelvo10", "--port", "sim", "--period", "100", "--count", "3")
        status, shown = scan.end()
        self.assertEqual(status, 0)
        self.assertNotIn("Ctrl-C", shown.rstrip().splitlines()[-1])


if __name__ == "__main__":
    main()
