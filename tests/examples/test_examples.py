"""The examples agree with the type library, and check_examples finds every fault that is put into an example."""

import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import check_examples  # noqa: E402

TYPES = check_examples.read_types()


def faults_of(text, suffix=".vbs"):
    return check_examples.faults(text, suffix, TYPES)[0]


class Examples(unittest.TestCase):
    def test_every_example_agrees_with_the_type_library(self):
        self.assertEqual(check_examples.main([]), 0)

    def test_unknown_member_is_found(self):
        for text in ("control.Conect", "x = control.GetChanName(0, 1)", "control.ConnectGroupChan group",
                     'setup.Serial("port", 1) = 5', 'control.Version = "2"', "control.GetChansVals ids, values, errors",
                     'Set control = CreateObject("Ulix.UlixInstrKelvo11Ctl.1")'):
            with self.subTest(text):
                self.assertEqual(len(faults_of(text)), 1)

    def test_known_member_is_accepted(self):
        for text in ("control.Connect ' twice, if need be", "x = control.GetChanName(0)", "control.SetChanVal 1, Max(a, b)",
                     'setup.Serial("port") = 5', "If control.IsConnected = 0 Then"):
            with self.subTest(text):
                self.assertEqual(faults_of(text), [])

    def test_each_language_passes_out_arguments_in_its_own_way(self):
        said = "// " + check_examples.NOT_RUN + "\n"
        self.assertEqual(faults_of(said + "control.GetChansVals(ids, out v, out e, out t);", ".cs"), [])
        self.assertEqual(len(faults_of(said + "control.GetChansVals(ids);", ".cs")), 1)
        said = "# " + check_examples.NOT_RUN + "\n"
        self.assertEqual(faults_of(said + "v, e, t = control.GetChansVals(ids)", ".py"), [])
        self.assertEqual(len(faults_of(said + "    def DataChange(self, group, ids):", ".py")), 1)

    def test_an_example_that_no_test_runs_says_so(self):
        self.assertEqual(len(faults_of("control.Connect();", ".cs")), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
