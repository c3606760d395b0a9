"""An Additel ADT761 pressure calibrator on a pseudo terminal, written from its frames alone.

A frame is one byte of prefix, the text and a NUL. The answer is ":F:" and a text (accepted) or ":E:"
(refused), and a NUL.
"""

import re

from serial_instrument import CommandSet, SerialInstrument

PREFIX = "\x01"
ORDERS = re.compile(r":W:OKEYLOCK:0|:W:OIPMUNIT:1|:W:CSV:-?\d+\.\d\d|:W:SMAVAL:-?\d+\.\d{3}|"
                    r":W:(CVENT|SMAPOWER|O24POWER):[01]")


class Adt761Instrument(SerialInstrument):
    """`item` is the quantity that the instrument measures. `answers` maps a command to its answer. The commands are
    without the prefix, those that write also without the value. Any other command, such as
    the release of the keypad, is accepted."""

    def __init__(self, answers=(), item="V", prefix=PREFIX):
        usual = {":R:OTYPE": ":F:OTYPE:Additel 761", ":R:MITEM": ":F:MITEM:" + item, ":R:SITEM": ":F:SITEM:MA",
                 ":R:MVAL": ":F:MVAL:1.5:V", ":R:HPMVALUE": ":F:HPMVALUE:700.25:KPA",
                 ":R:LPMVALUE": ":F:LPMVALUE:-2.5:MBAR", ":R:EPMVALUE": ":F:EPMVALUE:14.7:PSI",
                 ":R:OATMO": ":F:OATMO:101.325:KPA", ":R:SMAVALUE": ":F:SMAVALUE:12.000:MA",
                 ":R:SMAPOWER": ":F:SMAPOWER:1", ":R:O24POWER": ":F:O24POWER:0", ":R:ORUNKIND": ":F:ORUNKIND:2",
                 ":R:CSV": ":F:250.00"}
        names = "OKEYLOCK OIPMUNIT CVENT SMAVAL SMAPOWER O24POWER CSV".split()
        usual |= {f":W:{name}:": f":F:{name}:OK" for name in names}
        self._prefix = prefix
        frames = CommandSet({}, end=b"\0", frame=rb"([^\0]*)\0")
        super().__init__(frames, {prefix + text: reply for text, reply in (usual | dict(answers)).items()})

    def _reply(self, command):
        if ORDERS.fullmatch(command[len(self._prefix):]):
            command = command[:command.rindex(":") + 1]
        return super()._reply(command)
