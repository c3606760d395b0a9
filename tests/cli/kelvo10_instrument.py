"""A Kelvo10 calibrator on a pseudo terminal, written from its command set alone."""

import re

from pty_instrument import PtyInstrument

UNANSWERED = re.compile(r"REM|LOC|MEAS RUN|OPER|OUT -?\d+\.\d{6}|RANGE_(IN|OUT) [A-Z0-9_,.+-]+")


class Kelvo10Instrument(PtyInstrument):
    def __init__(self, answers):
        usual = {"*IDN?": "KELVO10 SN 1234 V1.0", "CFG_IN?": "V50", "CFG_OUT?": "V50", "MEAS?": "12.345"}
        super().__init__(usual | answers, b"\n")

    def replies_to(self, command):
        return [] if UNANSWERED.fullmatch(command) else super().replies_to(command)
