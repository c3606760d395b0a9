"""Pictures and reports made afterwards, from CSV files alone.

Run as: python3 test_pictures_contract.py PATH_TO_ULIX [unittest arguments]
"""

import re
import xml.etree.ElementTree

from contract import ContractTest, main
from instruments import kelvo10
from serial_instrument import SILENCE

SVG = "{http://www.w3.org/2000/svg}"
SCAN = """# model: kelvo10
# instrument: Kelvo10
# identification: ULIX,KELVO10,77,V1
# serial-number: 77
# utc-offset: +01:00
# operator: A. B.
# unit T <1>: \u00b0C
# setting input-function: TC
time{0}"T <1> (\u00b0C)"{0}T <1> error{0}I (mA){0}I error
2026-03-29T01:59:59.000{0}20.5{0}{0}4.02{0}
# utc-offset: +02:00
2026-03-29T03:00:00.000{0}20.75{0}no number in the reply{0}{0}0x80044403 Unable to read answer
2026-03-29T03:00:01.000{0}21{0}late 1.5 s{0}4.5{0}
"""
MEMORY = """# channel 0: OVEN
# unit OVEN: \u00b0C
time,channel,value,error
1997-01-01T01:01:20.250,0,198.5,
1997-01-01T01:01:20.500,6,,0xFFFFFFFD
1997-01-01T01:01:30.250,0,199.5,
"""


class PicturesTest(ContractTest):
    def kept(self, text, name="kept.csv"):
        path = self.folder / name
        path.write_text(text, encoding="utf-8")
        return path

    def texts(self, path):
        return [element.text for element in xml.etree.ElementTree.parse(path).iter(SVG + "text")]

    def test_a_plot_of_a_file(self):
        for separator in ",", ";", "\t":
            rows = self.kept(SCAN.format(separator))
            self.succeed("plot", rows, "--force")
            texts = self.texts(rows.with_suffix(".svg"))
            for text in ("Kelvo10, scan", "\u2190 \u00b0C", "mA \u2192", "T <1>", "I", "reading failed", "?", "02:00:00.0"):
                self.assertIn(text, texts)  # both offsets give the same time
        self.succeed("plot", self.kept(MEMORY), self.folder / "oven.svg", "--lang", "fr", "--title", "Four")
        self.assertLess({"Four", "OVEN", "CH7", "198,6"}, {*self.texts(self.folder / "oven.svg")})

    def test_a_report_of_a_file(self):
        page = self.folder / "page.html"
        self.succeed("report", "--from", self.kept(SCAN.format(",")), page, "--note", "done \u00e0 la main")
        text = page.read_text("utf-8")
        for part in ("ULIX,KELVO10,77,V1", ">77<", "A. B.", "done \u00e0 la main", "20.75?", "1.5 s late", "Unable to read answer",
                     "10 settings at their default"):
            self.assertIn(part, text)
        self.assertRegex(text, r"Input function</th><td>TC<")

    def test_what_is_no_measurement_is_refused(self):
        for text, why in (("", "line 1 holds no measurement"), ("a,b\n", "line 1 is no heading"),
                          ("time,IN (V),IN error\nyesterday,1,\n", "line 2 has no time: 'yesterday'"),
                          ("time,IN (V),IN error\n2026-01-31T10:11:12.345,1\n", "line 2 has 2 cells, not 3"),
                          ("time,IN (V),IN error\n2026-01-31T10:11:12.345,x,\n", "line 2 has no number: 'x'")):
            rows = self.kept(text)
            status, _, err = self.ulix("plot", rows)
            self.assertEqual(status, 2, err)
            self.assertIn(f"{rows}: {why}", err)
        self.assertEqual(self.ulix("plot", self.folder / "none.csv")[0], 1)
        self.assertEqual(self.ulix("plot", self.kept(MEMORY), "x.png")[0], 2)

    def test_a_scan_its_plot_and_that_of_its_csv_are_one(self):
        unit = self.plug_in(kelvo10({"MEAS?": ["1.5", "2.5", SILENCE, "3.5"]}))
        drawn, rows, again = self.folder / "a.svg", self.folder / "a.csv", self.folder / "b.svg"
        self.succeed("scan", "kelvo10", *self.short_waits(unit), "--period", 100, "--count", 5, "--plot", drawn, "--csv", rows)
        self.succeed("plot", rows, again)
        self.assertEqual(drawn.read_text("utf-8"), again.read_text("utf-8"))
        self.assertTrue(re.search(r'class="outage" fill="#0072b2"', drawn.read_text("utf-8")))


if __name__ == "__main__":
    main()
