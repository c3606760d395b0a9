"""Replays recorded exchanges, one log per model, and compares the output of `ulix` to the letter.

Each FILE.log in wire_logs/ was written by `ulix ... --record` and has the command in its line '# command:'. FILE.out is
the output of the command. Run as: python3 test_wire_logs.py PATH_TO_ULIX [unittest arguments]
"""

import pathlib
import re
import shlex
import unittest

from contract import UNDER_WINE, ContractTest, main

LOGS = sorted((pathlib.Path(__file__).parent / "wire_logs").glob("*.log"))
MODELS = "adt760 adt761 cmx310 flukehydra hart isotech jofrartcptc kambic kelvo10 memolog microk".split()


@unittest.skipIf(UNDER_WINE, "it has no pseudo terminals")
class WireLogTest(ContractTest):
    def test_every_model_has_a_log(self):
        self.assertEqual({re.search(r"(?m)^# model: (\w+)$", log.read_text("utf-8"))[1] for log in LOGS}, set(MODELS))

    def test_what_a_log_says_is_what_is_printed(self):
        def play(log):
            text = log.read_text("utf-8")
            model = re.search(r"(?m)^# model: (\w+)$", text)[1]
            command = shlex.split(re.search(r"(?m)^# command: (.+)$", text)[1])
            line = self.start("simulate", model, "--replay", str(log))
            status, out, err = self.ulix(*command, "--port", self.read_line(line))
            self.assertEqual((status, out, err), (0, log.with_suffix(".out").read_text("utf-8"), ""))
            self.assertEqual(self.interrupt(line), (0, "", ""))  # no other query came
        self.side_by_side(play, [[log] for log in LOGS])


if __name__ == "__main__":
    main()
