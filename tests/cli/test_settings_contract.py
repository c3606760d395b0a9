"""Which settings `ulix` sends, shows, saves and takes units from: those of the instrument, of a file or of the user.

Run as: python3 test_settings_contract.py PATH_TO_ULIX [unittest arguments]
"""

import json
import re
import unittest

from contract import UNDER_WINE, ContractTest, main
from instruments import MICROK, SerialInstrument, kelvo10

READABLE, SENDABLE = {"kelvo10", "cmx310", "flukehydra", "memolog", "adt760"}, {"kelvo10", "cmx310", "memolog"}
NOT_NAMED = r"^ulix: --set does not name every setting; units and decimals that depend on the others are left out\n$"


class SettingsTest(ContractTest):
    def models(self):
        return [row["model"] for row in json.loads(self.succeed("models", "--json"))]

    def test_a_model_without_a_command_for_its_settings_is_sent_nothing(self):
        for model in set(self.models()) - SENDABLE:
            status, out, err = self.ulix("config", model, "send", "--port", "sim")
            self.assertEqual((status, out), (1, ""))
            self.assertIn(f"{model} has no command for its settings: nothing was sent", err)

    def test_a_model_that_cannot_be_asked_shows_no_settings_as_its_own(self):
        for model in self.models():
            status, out, err = self.ulix("config", model, "read", "--port", "sim")
            if model in READABLE:
                self.assertEqual((status, err), (0, ""), model)
                self.assertIn("as the instrument says", out)
                continue
            self.assertEqual((status, out), (1, ""))
            self.assertIn(f"{model} cannot be asked how it is set: nothing was read", err)
            self.assertIn("this model cannot be asked how it is set", self.succeed("config", model, "show", "--port", "sim"))

    def test_one_setting_of_an_instrument_is_changed_and_the_others_kept(self):
        unit = self.plug_in(kelvo10({"CFG_IN?": "TC,TYP_S,FAR,JR_RTD", "CFG_OUT?": "MV500"}))
        now = self.folder / "now.cfg"
        self.succeed("config", "kelvo10", "read", *unit.where, "--save", now)
        self.succeed("config", "kelvo10", "send", *unit.where, "--config", now, "--set", "input-sensor=TYP_K")
        self.assertIn(b"RANGE_IN TC,TYP_K,FAR,JR_RTD\nRANGE_OUT MV500\n", unit.wire())

    def test_unit_that_depends_on_a_setting_that_was_not_named_is_empty(self):
        unit = self.plug_in(kelvo10({"CFG_IN?": "TC,TYP_S,FAR,JR_RTD"}))
        for settings, shown, said in ((["input-function=V50"], "V", "^$"), (["temperature-unit=CEL"], "", NOT_NAMED),
                                      (["input-function=TC"], "", NOT_NAMED),
                                      (["input-function=TC", "temperature-unit=FAR"], "\u00b0F", "^$")):
            options = [part for setting in settings for part in ("--set", setting)]
            status, out, err = self.ulix("read", "kelvo10", *unit.where, "--json", *options)
            self.assertEqual((status, json.loads(out)[0]["unit"]), (0, shown), settings)
            self.assertRegex(err, said)
        self.assertEqual(unit.times("CFG_IN?"), [])
        unit = self.plug_in(SerialInstrument(MICROK))
        for options, shown in ((["model=0"], ""), (["model=0", "channel.0.kind=RESISTANCE"], "Ohms"), (["channel.0.unit=C"], "")):
            options = [part for setting in options for part in ("--set", setting)]
            out = self.ulix("read", "microk", "0", *unit.where, "--json", *options)[1]
            self.assertEqual(json.loads(out)[0]["unit"], shown, options)

    def test_reports_list_the_settings_that_are_known(self):
        unit, page, rows = self.plug_in(kelvo10()), self.folder / "page.html", self.folder / "rows.csv"
        scan = ["scan", "kelvo10", *unit.where, "--period", 100, "--count", 1, "--set", "input-function=V50"]
        self.succeed(*scan, "--csv", rows, "--report", page)
        self.assertEqual(re.findall(r"^# setting (\S+):", rows.read_text(), re.M), ["input-function"])
        again = self.folder / "again.html"
        self.succeed("report", "--from", rows, again)
        for text in page.read_text(), again.read_text():
            self.assertIn("unknown: the instrument was not asked", text)
            self.assertNotIn("Output: function", text)


class ConfigFileTest(ContractTest):
    def test_a_file_without_a_port_names_none(self):
        kept = self.folder / "kept.cfg"
        self.succeed("config", "kelvo10", "show", "--set", "input-function=V5", "--save", kept)
        status, _, err = self.ulix("read", "kelvo10", "--config", kept)
        self.assertEqual(status, 2)
        self.assertTrue(err.startswith("ulix: --port: is missing"), err)
        self.succeed("config", "kelvo10", "show", "--port", "31999", "--config", kept, "--save", kept)
        self.succeed("config", "kelvo10", "show", "--config", kept, "--save", kept)
        status, _, err = self.ulix("read", "kelvo10", "--config", kept)
        self.assertEqual(status, 1)
        self.assertIn("0x80044400", err)

    def test_a_file_with_a_network_address_names_the_instrument(self):
        kept = self.folder / "kept.cfg"
        self.succeed("config", "memolog", "show", "--host", "127.0.0.1", "--tcp-port", "1", "--save", kept)
        self.assertEqual(self.ulix("read", "memolog", "--config", kept)[0], 1)

    def test_files_of_hosts_that_cannot_be_the_models_are_refused(self):
        kept, other = self.folder / "kept.cfg", self.folder / "other.cfg"
        def refuse(model, data):
            other.write_bytes(data)
            status, out, err = self.ulix("config", model, "show", "--config", other)
            self.assertEqual((status, out), (1, ""), (model, len(data)))
            self.assertIn(f"{other} holds no configuration of {model}", err)
        for model in "kelvo10", "isotech", "microk":
            self.succeed("config", model, "show", "--save", kept, "--force")
            stream = kept.read_bytes().split(b"\nULIX {")[0]
            other.write_bytes(stream)
            self.succeed("config", model, "show", "--config", other)
            refuse(model, stream[:20])
            refuse(model, stream[:25])
        refuse("isotech", b"\x13\0" + bytes(4) + b"\x13\0" + bytes(4) + b"\x13\0\x63\0\0\0" * 12)


if __name__ == "__main__":
    main()
