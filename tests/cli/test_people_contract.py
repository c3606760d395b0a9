"""What users of `ulix` see at a terminal: the editing of a configuration, a live table, a report.

Run as: python3 test_people_contract.py PATH_TO_ULIX [unittest arguments]
"""

import csv
import fcntl
import math
import os
import re
import select
import signal
import statistics
import struct
import termios
import time
import unittest
import xml.etree.ElementTree

import contract
from contract import UNDER_WINE, ContractTest, main
from instruments import kelvo10
from serial_instrument import SILENCE, TEST_LIMIT

ESCAPES = re.compile(r"\x1b\[[0-9;]*[A-Za-z]")


class Terminal:
    """Runs a program on a terminal with the given number of columns, and types its input."""

    def __init__(self, test, *args, columns=80):
        master, slave = os.openpty()
        fcntl.ioctl(slave, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.pid = os.fork()
        if self.pid == 0:
            os.login_tty(slave)
            os.execve(contract.ULIX, [contract.ULIX, *map(str, args)], test.env | {"TERM": "xterm"})
        os.close(slave)
        self.master, self.shown = master, ""
        test.addCleanup(os.close, master)

    def wait_for(self, text, seconds=TEST_LIMIT):
        """Takes the output up to and including `text`."""
        end = time.monotonic() + seconds
        while text not in self.shown:
            if not select.select([self.master], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError(f"no {text!r} in {self.shown!r}")
            self.shown += ESCAPES.sub("", os.read(self.master, 65536).decode("utf-8", "replace"))
        before, _, self.shown = self.shown.partition(text)
        return before + text

    def answer(self, question, typed):
        asked = self.wait_for(question)
        os.write(self.master, typed.encode() + b"\n")
        return asked

    def end(self):
        """Exit status and the rest of the output."""
        rest = self.shown
        try:
            while data := os.read(self.master, 65536):
                rest += ESCAPES.sub("", data.decode("utf-8", "replace"))
        except OSError:
            pass
        return os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1]), rest


class Page:
    """The tables of a page under their headings, and every attribute."""

    def __init__(self, text):
        self.tables, self.attributes, heading = {}, [], ""
        for element in xml.etree.ElementTree.fromstring(text).iter():
            tag = element.tag.rpartition("}")[2]
            self.attributes += element.attrib.items()
            if tag in ("h1", "h2"):
                heading = "".join(element.itertext())
            if tag == "tr":
                self.tables.setdefault(heading, []).append(["".join(cell.itertext()) for cell in element])


@unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
class TerminalTest(ContractTest):
    def test_a_configuration_is_edited(self):
        kept, start = self.folder / "kept.cfg", self.folder / "start.cfg"
        self.succeed("config", "kelvo10", "show", "--set", "output-function=TC", "--save", start)
        edit = Terminal(self, "config", "kelvo10", "edit", "--config", start, "--save", kept)
        edit.answer("Serial port [COM1]: ", "elephant")
        edit.wait_for("Serial port: a port from COM1 to COM32767, or its number.")
        edit.answer("Serial port [COM1]: ", "7")
        self.assertIn("7) 19200", edit.answer("Speed (bds) [9600]: ", "7"))
        edit.answer("Data bits [8 Data Bits]: ", "<")
        edit.answer("Speed (bds) [19200]: ", "")
        edit.answer("Data bits [8 Data Bits]: ", ">")
        edit.answer("Input function [V50]: ", "tc")
        for nonsense in "99", "TYP_Z":
            edit.answer("Input connection [(none)]: ", nonsense)
            edit.wait_for("Choose one of the list.")
        edit.answer("Input connection [(none)]: ", "")
        edit.answer("Input sensor [TYP_K]: ", "")
        edit.answer("Input cold junction [JR_ON]: ", "JR_PROG")
        for nonsense, reason in ("warm", "This is not a number."), ("1e60", "is not in the range from "):
            edit.answer("temperature [0]: ", nonsense)
            edit.wait_for(reason)
        edit.answer("temperature [0]: ", "21.5")
        edit.answer("Output function [TC]: ", ">>")
        self.assertIn("Speed (bds): [9600] -> [19200]", edit.answer("Apply this? [y/n]: ", "oui"))
        status, rest = edit.end()
        self.assertEqual((status, kept.exists()), (0, True), rest)
        shown = self.succeed("config", "kelvo10", "show", "--config", kept)
        for line in ("input-function = TC (11)", "input-sensor = TYP_K (1)", "input-cold-junction = JR_PROG (2)", "output-function = TC (11)",
                     "input-cold-junction-temperature = 21.5", "COM 7:Kelvo10 (19200 bds"):
            self.assertIn(line, shown)

    def test_interrupted_edit_changes_nothing(self):
        kept = self.folder / "kept.cfg"
        edit = ["config", "kelvo10", "edit", "--lang", "fr", "--save", kept]
        for leave in "!", "\x04", "\x03", "no":
            with self.subTest(leave):
                terminal = Terminal(self, *edit)
                terminal.answer("Port série [COM1]: ", "9")
                terminal.answer("Vitesse (bds) [9600]: ", ">>" if leave == "no" else leave)
                if leave == "no":
                    terminal.answer("Appliquer ? [o/n]: ", "non")
                status, rest = terminal.end()
                self.assertEqual((status, kept.exists()), (1, False))
                self.assertIn("0x80004004 Annulé, rien n'a été modifié", rest)
        status, out, err = self.ulix(*edit)
        self.assertEqual((status, out, kept.exists()), (2, "", False))
        self.assertRegex(err, "edit: .*terminal")

    def test_a_live_table_fits_its_terminal(self):
        for columns, heads in (80, "VOIE VALEUR UNITÉ MIN MAX ÉC. TYPE TENDANCE"), (40, "VOIE VALEUR UNITÉ"):
            unit = self.plug_in(kelvo10({"MEAS?": ["1.5", "2.5", SILENCE]}))
            scan = Terminal(self, "scan", "kelvo10", *self.short_waits(unit), "--period", 150, "--count", 3, "--lang", "fr",
                            columns=columns)
            status, text = scan.end()
            self.assertEqual(status, 1, text)  # the last reading failed
            lines = [line for line in text.replace("\r", "").splitlines() if not line.startswith("ulix: ")]
            self.assertTrue(all(len(line) < columns for line in lines), text)
            self.assertTrue(" ".join(lines[0].split()).startswith(heads), lines[0])
            for shown in "2,500", "0x80044403 Imp", "3 relevés", "/s":
                self.assertIn(shown, text)


class ReportTest(ContractTest):
    def report(self, lang, identity="KELVO10"):
        values = [f"{math.sin(k):.3f}" for k in range(12)]
        unit = self.plug_in(kelvo10({"*IDN?": identity, "MEAS?": values[:5] + [SILENCE, SILENCE] + values[5:]}))
        page, rows = self.folder / "run.html", self.folder / "run.csv"
        self.succeed("report", "kelvo10", page, *self.short_waits(unit), "--period", 100, "--count", 12, "--csv",
                     rows, "--lang", lang, "--force")
        text = page.read_text("utf-8")
        lines = [line for line in rows.read_text(encoding="utf-8").splitlines() if not line.startswith("#")]
        return text, Page(text), list(csv.reader(lines))[1:]

    def test_a_scan(self):
        for lang, heading, mean, point in ("en", "Statistics", "Mean", "."), ("fr", "Statistiques", "Moyenne", ","):
            with self.subTest(lang):
                text, page, rows = self.report(lang)
                good = [float(value) for _, value, _ in rows if value]
                head, cells = page.tables[heading]
                number = dict(zip(head, (cell.replace(point, ".") for cell in cells)))
                self.assertEqual(cells[:4], ["IN", "V", str(len(rows)), str(len(rows) - len(good))])
                expected = [min(good), max(good), statistics.mean(good), statistics.stdev(good), good[0], good[-1]]
                for shown, wanted in zip(cells[4:10], expected):
                    self.assertAlmostEqual(float(shown.replace(point, ".")), wanted, 3)
                    self.assertIn(point, shown)
                self.assertAlmostEqual(float(number[mean]), statistics.mean(good), 4)
                readings = page.tables["Readings" if lang == "en" else "Lectures"][1:]
                self.assertEqual([row[1].split(" (")[0].replace(",", ".") for row in readings], [row[0].replace("T", " ") for row in rows])
                self.assertEqual([row[2] == "0x80044403" for row in readings], [not value for _, value, _ in rows])
                error, = page.tables["Errors" if lang == "en" else "Erreurs"][1:]
                self.assertEqual(f"{error[4]} {error[5]}", next(text for _, value, text in rows if not value))
                self.assertIn("<svg", text)

    def test_report_refers_to_nothing_outside_itself(self):
        text, page, _ = self.report("en", identity="KELVO10 <script src='x'>&\"</td>")
        self.assertIn(["Identification", "KELVO10 <script src='x'>&\"</td>"], page.tables["Instrument"])
        for outside in "://", "<script", "<link", "<img", "@import", "url(":
            self.assertNotIn(outside, text)
        self.assertFalse({name for name, _ in page.attributes} & {"href", "src", "srcset", "xlink:href", "onload"})
        self.assertIn(("content", "default-src 'none'; style-src 'unsafe-inline'"), page.attributes)

    def test_a_memory_block(self):
        page = self.folder / "block.html"
        self.succeed("report", "memolog", page, "--block", 1, "--port", "sim", "--max", 90)
        rows = self.succeed("memory", "memolog", "read", 1, "--port", "sim", "--max", 90).splitlines()
        tables = Page(page.read_text("utf-8")).tables
        self.assertEqual(sum(int(row[2]) for row in tables["Statistics"][1:]), len(rows))
        self.assertEqual(sorted({row.split()[1] for row in rows}), sorted(row[0] for row in tables["Statistics"][1:]))
        for args in ("--block", 1, "--period", 100), ("--max", 5, "--period", 100), ():
            status, _, err = self.ulix("report", "memolog", page, *args, "--port", "sim")
            self.assertEqual(status, 2, err)


if __name__ == "__main__":
    main()
