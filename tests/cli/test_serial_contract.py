"""What a user types at `ulix` for the other serial instruments, against instruments that share no code with it.

Run as: python3 test_serial_contract.py PATH_TO_ULIX [unittest arguments]
"""

import functools
import json
import operator
import re
import shlex
import time
from typing import NamedTuple

import instruments
from contract import ContractTest, main, sets
from range_calibrator_stream import RESET, record, word
from serial_instrument import SILENCE, Reply, SerialInstrument

GARBAGE = Reply(b"\xff\x01\xfe~\n\r\x1b[2J\n\r")


class Bench(NamedTuple):
    """A model with its settings, the instrument that answers it, and the bytes that Connect and Disconnect send.

    `ask` is what is sent before a value is read or written: how the instrument is set.
    """
    model: str
    instrument: str
    hello: str
    bye: str = ""
    settings: str = ""
    ask: str = ""


ASK_HYDRA = "".join(f"FUNC? {number}\r\n" for number in range(21)) + "TEMP_CONFIG?\r\nRATE?\r\nINTVL?\r\n"


BENCHES = {
    "cmx310": Bench("cmx310", "CMX310", "*IDN?\nREM\n", "LOC\n", ask="CFG_IN?\nCFG_OUT?\n"),
    "isotech": Bench("isotech", "ISOTECH", ""),
    "isotech object": Bench("isotech", "ISOTECH", "", settings="model=1"),
    "isotech line": Bench("isotech", "ISOTECH", "", settings="model=2"),
    "microk": Bench("microk", "MICROK", "*IDN?\r"),
    "millik": Bench("microk", "MILLIK", "*IDN?\rREM\r", settings="model=1"),
    "hydra": Bench("flukehydra", "FLUKEHYDRA", "*IDN?\r\n", ask=ASK_HYDRA),
    "rtc": Bench("jofrartcptc", "JOFRA_RTC", "ascii+\rCalibratorDevice?\rLogOn\rIsloggedon?\r", "LogOff\rascii-\r"),
    "ctc": Bench("jofrartcptc", "JOFRA_CTC", "*CLS\rascii+\r*IDN?\rREMOTE\rREMOTE_MODE?\r", "LOCAL\r", "model=1"),
    "kambic": Bench("kambic", "KAMBIC", "IDENT\n"),
    "hart": Bench("hart", "HART", "lf=of\rdu=h\rsa=0\r"),
}

# English and French.
NACK = ("Device Negative Acknowledge", "Acquittement négatif de l'appareil")
TOO_FAR = ("Setpoint temperature is out of range", "La température de consigne est hors limites")
NO_MEASURE = ("Measure not available", "Mesure non disponible")


def stranger(name):
    return f"Device connected is not a{'n' * (name[0] == 'I')} {name}", f"L'appareil connecté n'est pas un {name}"


TEXTS = {
    0x80043900: stranger("CMX310"), 0x80043903: ("Range not supported", "Calibre non supporté"),
    0x80043500: stranger("Isotech"), 0x80043501: NACK, 0x80043502: TOO_FAR,
    0x80045700: ("Device connected is not a MicroK thermometer", "L'appareil connecté n'est pas un thermomètre MicroK"),
    0x80045702: NO_MEASURE,
    0x80045703: ("Device connected is not a MilliK thermometer", "L'appareil connecté n'est pas un thermomètre MilliK"),
    0x80045706: ("User probe not found in the instrument database",
                 "Sonde utilisateur non trouvée dans la base de données de l'instrument"),
    0x80045707: ("A Scpi command was rejected by the instrument",
                 "Une commande Scpi a été rejetée par l'instrument"),
    0x80045708: ("Wrong internal configuration of a channel", "Mauvaise configuration interne d'une voie"),
    0x80045D00: stranger("Fluke Hydra"), 0x80045D01: NACK, 0x80045D02: ("Measure out of range", "Mesure hors limites"),
    0x80045D04: NO_MEASURE, 0x80045D05: ("Command syntax error", "Erreur de syntaxe dans la commande"),
    0x80045D06: ("Command execution error", "Erreur d'exécution de la commande"),
    0x80045D07: ("Open thermocouple", "Thermocouple ouvert"),
    0x80045B00: stranger("JOFRA RTC/PTC"), 0x80045B01: NACK, 0x80045B02: TOO_FAR, 0x80045B04: NO_MEASURE,
    0x80045B05: stranger("JOFRA CTC"),
    0x80046100: stranger("KAMBIC"), 0x80046101: TOO_FAR,
    0x80046102: ("Invalid channel number", "Numéro de voie incorrect"),
    0x80046103: ("Command refused by the device", "Commande refusée par l'appareil"),
    0x80046104: ("Incorrect answer from the device", "Réponse incorrecte de l'appareil"),
    0x80046300: ("Device connected is not an Adt760 calibrator", "L'appareil connecté n'est pas un calibrateur Adt760"),
    0x80046301: ("The set point is out of range", "La consigne est hors limites"),
    0x80046304: ("Scpi command error", "Erreur de commande Scpi"),
    0x80046501: ("Negative acknowledge", "Acquittement négatif"),
    0x80046502: ("The parameter or set point is out of range", "Le paramètre ou la consigne est hors limites"),
    0x80046503: ("Invalid channel number", "Numéro de voie incorrect"),
    0x80044B00: stranger("HART"), 0x80044B01: NACK, 0x80044B02: TOO_FAR,
    0x80044400: ("Unable to open communication", "Impossible d'ouvrir la communication"),
    0x80044401: ("Communication is closed", "Communication fermée"),
    0x80044402: ("Unable to send command", "Impossible d'émettre la commande"),
    0x80044403: ("Unable to read answer", "Impossible de lire la réponse"),
    0x80004001: ("with this configuration isotech hands its set points to an object of a host program; the command line has "
                 "none",
                 "avec cette configuration isotech remet ses consignes à un objet d'un programme hôte ; la ligne de commande "
                 "n'en a pas")}
# The short texts of error codes, and codes of other models.
SHORT_TEXTS = {0x80043501: "NEG_ACKNOLEDGE", 0x80045708: "WRONG_CHAN_CONFIG", 0x80045D07: "OPEN_TC",
               0x80046104: "BAD_RESP", 0x80044B01: "NEG_ACKNOWLEDGE", 0x80010105: "UNABLE_TO_READ_COMM",
               0x80046304: "SCPI_ERROR", 0x80046503: "WRONG_CHAN_NUM", 0x80045C05: "", 0x80046505: ""}
MODELS = {0x35: "isotech", 0x39: "cmx310", 0x57: "microk", 0x5C: "flukehydra", 0x5D: "flukehydra",
          0x5B: "jofrartcptc", 0x61: "kambic", 0x63: "adt760", 0x65: "adt761", 0x4B: "hart"}
NO_READ, BAD_CONFIG, NO_METHOD = 0x80044403, 0x80045708, 0x80004001


class Attempt(NamedTuple):
    result: object  # the values of a read, the lines of other verbs, or the code of a failure
    wire: bytes
    unknown: list
    text: str  # the text of the failure
    seconds: float


def addressed(address, text):
    """A set point for the controller at `address`: the block check covers the bytes between STX and itself."""
    tens, units = divmod(address, 10)
    body = f"SL{text}\x03".encode()
    return b"\x04%d%d%d%d\x02" % (tens, tens, units, units) + body + bytes([functools.reduce(operator.xor, body)])


def line(text):
    return b"\x02" + text.encode() + b"\r\n"


def prompted(*results, prompt="=>"):
    """The acquisition unit's reply to one command."""
    return Reply("".join(f"{text}\r\n" for text in (*results, prompt)).encode())


class SerialTest(ContractTest):
    def attempt(self, bench, args, answers=None, settings=(), where=lambda unit: unit.where):
        """One run of `ulix`: its output, and the bytes that the instrument received."""
        bench = BENCHES[bench]
        verb, *rest = args.split(" ", 1)
        rest = shlex.split(*rest) if rest else []
        unit = self.plug_in(SerialInstrument(getattr(instruments, bench.instrument), answers))
        options = [part for item in (*bench.settings.split(), *settings) for part in ("--set", item)]
        json_option = ["--json"] * (verb == "read")
        began = time.monotonic()
        status, out, err = self.ulix(verb, bench.model, *rest, *where(unit), *json_option, *options)
        seconds = time.monotonic() - began
        return self.judge(status, out, err, bool(json_option))._replace(wire=unit.wire(), unknown=unit.unknown,
                                                                        seconds=seconds)

    def judge(self, status, out, err, is_read):
        failure = re.fullmatch(r"ulix: 0x([0-9A-F]{8}) (.+)\n", err)
        if is_read and out:
            rows = json.loads(out)
            result = [row["value"] if row["error"] == 0 else row["error"] for row in rows]
            self.assertEqual(status, int(any(row["error"] for row in rows)), out)
            return Attempt(result, b"", [], rows[0]["text"], 0)
        self.assertTrue(status == 1 and failure if err else status == 0, f"{status} {out}{err}")
        return Attempt(int(failure[1], 16) if failure else out, b"", [], failure[2] if failure else "", 0)

    def assert_values(self, got, expected):
        self.assertEqual(len(got), len(expected), got)
        for value, wanted in zip(got, expected):
            self.assertAlmostEqual(value, wanted, delta=abs(wanted) * 1e-6)

    def test_bytes_of_every_input_and_output(self):
        scanner = [*range(1, 4), *range(10, 18), *range(20, 28), *range(30, 38), *range(40, 48)]
        for bench, args, body, expected in [
                ("cmx310", "identify", "*IDN?\n", "CMX310 SN 1234 V1.0\n"), ("cmx310", "read", "MEAS?\n", [12.345]),
                ("cmx310", "set OUT 100.1", "OUT 100.099998\nOPER\n", ""),
                ("cmx310", "set 1 -0.5", "OUT -0.500000\nOPER\n", ""), ("cmx310", "run", "", ""),
                ("cmx310", "stop", "", ""),
                ("isotech", "stop", "", ""), ("isotech line", "stop", line("CP"), ""),
                ("isotech object", "stop", "", ""),
                ("isotech", "set SETPOINT 25.5", addressed(0, "  25.5"[1:]), ""),
                ("isotech line", "set 0 25.5", line("ST0+00025.500000"), ""),
                ("isotech line", "set setpoint -3", line("ST0-00003.000000"), ""),
                ("microk", "read", "".join(f"read{number}?\r" for number in scanner), [100.12345] * 35),
                ("microk", "read 3", "read10?\r", [100.12345]),
                ("microk", "read 34 ch20", "read20?\rread47?\r", [100.12345] * 2),
                ("microk", "run", "", ""), ("microk", "stop", "", ""),
                ("millik", "read 0 1 2", "".join(f"MEAS:RES{number}? 115,NORM\r" for number in (1, 2, 3)), [21.5] * 3),
                ("hydra", "read", "".join(f"LAST? {number}\r\n" for number in range(21)), [2.5] * 21),
                ("hydra", "read CH20 0", "LAST? 0\r\nLAST? 20\r\n", [2.5, 2.5]),
                ("hydra", "run", "PRINT 0\r\nSCAN 1\r\n", ""), ("hydra", "stop", "SCAN 0\r\n", ""),
                ("rtc", "read 0", "LiveSensors?\r", [25.01]), ("rtc", "read 1", "LiveSensors?\r", [24.87]),
                ("rtc", "read 'TARGET TEMPERATURE'", "LiveSensors?\r", [25]),
                ("rtc", "set 'target temperature' -12.345", "Settemperature -12.35\rSettemperature?\r", ""),
                ("rtc", "set 2 100", "Settemperature 100.00\rSettemperature?\r", ""),
                ("rtc", "run", "", ""), ("rtc", "stop", "", ""),
                ("ctc", "read 0", "READINGS?\r", [24.87]), ("ctc", "read 1", "READINGS?\r", [24]),
                ("ctc", "read 2", "READINGS?\r", [25]), ("ctc", "read 3", "READINGS?\r", [24.99]),
                ("ctc", "set 2 30", "SETTEMP 303.15 KEL\rSETTEMP?\r", ""),
                ("ctc", "set 2 -10.5", "SETTEMP 262.65 KEL\rSETTEMP?\r", ""),
                ("kambic", "read", "TXD\nTXD\n", [24.987, 25]), ("kambic", "read SETPOINT", "TXD\n", [25]),
                ("kambic", "set SETPOINT 21.45678", "SETTEMP=21.457\n", ""),
                ("kambic", "set 1 -5", "SETTEMP=-5.000\n", ""),
                ("hart", "read", "t\rs\r", [23.5, 20]), ("hart", "read TEMPERATURE", "t\r", [23.5]),
                ("hart", "set SETPOINT 21.456", "s=21.46\rs\r", ""), ("hart", "set 1 -7", "s=-7.00\rs\r", "")]:
            with self.subTest((bench, args)):
                got, row = self.attempt(bench, args), BENCHES[bench]
                ask = row.ask if args.split()[0] in ("read", "set") else ""
                body = body.encode() if isinstance(body, str) else body
                sent = row.hello.encode() + ask.encode() + body + row.bye.encode()
                self.assertEqual((got.wire, got.unknown), (sent, []))
                (self.assertEqual if isinstance(expected, str) else self.assert_values)(got.result, expected)

    def test_identification(self):
        not_jofra, refused = 0x80045B00, instruments.REFUSED
        for bench, query, reply, expected in [
                ("cmx310", "*IDN?", "X CMX310 Y", "X CMX310 Y"), ("cmx310", "*IDN?", "CMX31 KELVO10", 0x80043900),
                ("cmx310", "*IDN?", GARBAGE, 0x80043900),
                ("microk", "*IDN?", "microsKanner version 1.2", "microsKanner"),
                ("microk", "*IDN?", "MicroK", "MicroK"),
                ("microk", "*IDN?", "MilliK, 3.25", 0x80045700), ("microk", "*IDN?", GARBAGE, 0x80045700),
                ("millik", "*IDN?", "MicroK, 3.25", 0x80045703), ("millik", "*IDN?", "millik, x", "millik, x"),
                ("hydra", "*IDN?", prompted("FLUKE,2635A,0"), "FLUKE,2635A"),
                ("hydra", "*IDN?", Reply(b"\n\nFLUKE,2635\r\n=>\r\n"), "FLUKE,2635"),
                ("hydra", "*IDN?", prompted("FLUKE,2625A,0"), 0x80045D00),
                ("hydra", "*IDN?", prompted("FLUKES,2635A"), 0x80045D00), ("hydra", "*IDN?", GARBAGE, 0x80045D00),
                ("rtc", "CalibratorDevice?", "<GetResponse CalibratorDevice 1 2 3 4 5 PTC_350 x>", "PTC_350"),
                ("rtc", "CalibratorDevice?", "<GetResponse CalibratorDevice 1 2 3 4 PTC_350 6 7>", not_jofra),
                ("rtc", "CalibratorDevice?", "<CallResponse CalibratorDevice 1 2 3 4 5 PTC_350>", not_jofra),
                ("rtc", "CalibratorDevice?", GARBAGE, not_jofra), ("rtc", "ascii+", "<ASCII>", not_jofra),
                ("rtc", "ascii+", refused, "RTC_157"), ("ctc", "ascii+", "<ASCII protocol activated>", "CTC-155"),
                ("rtc", "LogOn", refused, 0x80045B01),
                ("rtc", "Isloggedon?", "<GetResponse Isloggedon False>", 0x80045B01),
                ("ctc", "*IDN?", refused, 0x80045B05), ("ctc", "*IDN?", "JOFRA, RTC-155, 1", 0x80045B05),
                ("ctc", "*IDN?", "AMETEK, CTC-155, 1", 0x80045B05), ("ctc", "*IDN?", "JOFRA, CTC-140, 1\n", "CTC-140"),
                ("ctc", "REMOTE_MODE?", "LOCAL", 0x80045B01),
                ("kambic", "IDENT", "ID=OB-7\r", "OB-7"), ("kambic", "IDENT", "ID=OB50\r", "OB50"),
                ("kambic", "IDENT", "ID=OB\r", 0x80046100), ("kambic", "IDENT", "ID=ob-22\r", 0x80046100),
                ("kambic", "IDENT", GARBAGE, 0x80046100)]:
            with self.subTest((bench, query, reply)):
                got, (hello, bye) = self.attempt(bench, "identify", {query: reply}), BENCHES[bench][2:4]
                if isinstance(expected, int):
                    sent = hello[:hello.index(query) + len(query)]
                    self.assertEqual((got.result, got.wire.rstrip()), (expected, sent.encode()))
                else:
                    self.assertIn(expected, got.result)
                    self.assertTrue(got.wire.startswith(hello.encode()) and got.wire.endswith(bye.encode()), got.wire)
                self.assertEqual(got.unknown, [])

    def test_errors_of_the_instruments(self):
        resistance = "MEAS:RES1? 115,NORM"
        nan_rtc = " ".join(["<GetResponse LiveSensors"] + ["1.5"] * 3 + ["NaN"] + ["1.5"] * 20) + ">"
        for bench, args, answers, expected in [
                ("isotech", "set 0 -275.1", {}, 0x80043502), ("isotech", "set 0 10001", {}, 0x80043502),
                ("isotech line", "set 0 41", {}, 0x80043502), ("isotech line", "set 0 -101", {}, 0x80043502),
                ("isotech", "set 0 41", {}, ""), ("isotech", "set 0 -101", {}, ""),
                ("isotech", "set 0 20", {addressed(0, " 20.0").decode(): "\x15"}, 0x80043501),
                ("isotech", "set 0 20", {addressed(0, " 20.0").decode(): GARBAGE}, 0x80043501),
                ("isotech line", "set 0 20", {line("ST0+00020.000000").decode(): "\x02SU\r\n"}, 0x80043501),
                ("isotech line", "stop", {line("CP").decode(): "\x02GT any bytes\r\n"}, ""),
                ("isotech line", "stop", {line("CP").decode(): "\x02GX\r\n"}, 0x80043501),
                ("isotech object", "set 0 20", {}, NO_METHOD),
                ("microk", "read 0", {"read1?": "Channel Not Enabled"}, [0x80045702]),
                ("microk", "read 0", {"read1?": "not valid"}, [0x80045702]),
                ("microk", "read 0", {"read1?": " 1.5E+01 Ohms\n"}, [15]),
                ("millik", "read 0", {resistance: "Error -113"}, [0x80045707]),
                ("millik", "read 0", {resistance: "7.25, Ohms"}, [7.25]),
                ("millik", "read 3", {}, [0x80045702]),
                ("hydra", "read 0", {"LAST? 0": Reply(b"=?\r\n")}, [0x80045D06]),
                ("hydra", "read 0", {"LAST? 0": Reply(b"=!\r\n")}, [0x80045D04]),
                ("hydra", "read 0", {"LAST? 0": prompted("+002.500E+0", prompt="=!")}, [0]),  # a warning: no value stored
                ("hydra", "read 0", {"LAST? 0": prompted("+001.00E+9")}, [0x80045D02]),
                ("hydra", "read 0", {"LAST? 0": prompted("+009.00E+9")}, [0x80045D07]),
                ("hydra", "read 0", {"LAST? 0": prompted("+023.45E+0,VDC")}, [23.45]),
                ("hydra", "read 0", {"LAST? 0": prompted("+001.00E+9,C")}, [0x80045D02]),
                ("hydra", "run", {"PRINT 0": "=?"}, NO_READ), ("hydra", "run", {"SCAN 1": "=!"}, NO_READ),
                ("hydra", "stop", {"SCAN 0": "=?"}, NO_READ),
                ("rtc", "read 0", {"LiveSensors?": nan_rtc}, [0x80045B04]),
                ("rtc", "set 2 20", {"Settemperature 20.00": instruments.REFUSED}, 0x80045B01),
                ("rtc", "set 2 20", {"Settemperature?": "<GetResponse SETTemperature 20.00"}, 0x80045B01),
                ("ctc", "read 1", {"READINGS?": "1, CEL, 2, CEL, 3, CEL, 0, NaN, CEL"}, [0x80045B04]),
                ("ctc", "read 1", {"READINGS?": "1, CEL, 2, CEL, 3, CEL, 0, 68, FAR"}, [20]),
                ("ctc", "set 2 20", {"SETTEMP?": "20.04 CEL"}, ""), ("ctc", "set 2 20", {"SETTEMP?": "68.0 FAR"}, ""),
                ("ctc", "set 2 20", {"SETTEMP?": "20.2 CEL"}, 0x80045B01),
                ("ctc", "set 2 20", {"SETTEMP?": GARBAGE}, 0x80045B01),
                ("kambic", "read 0", {"TXD": "COMMAND ERROR\r"}, [0x80046103]),
                ("kambic", "read 0", {"TXD": "TSET= 25.0\r"}, [0x80046104]),
                ("kambic", "read 1", {"TXD": "T= 25.0\r"}, [0x80046104]),
                ("kambic", "read 0", {"TXD": "T=  hot\r"}, [0x80046104]),
                ("kambic", "read 0", {"TXD": "T= 25,912\r"}, [0x80046104]),
                ("kambic", "set 1 30.499", {"SETTEMP=30.499": "SETTEMP=30,499\r"}, 0x80046104),
                ("kambic", "set 1 20", {"SETTEMP=20.000": "COMMAND ERROR\r"}, 0x80046103),
                ("kambic", "set 1 20", {"SETTEMP=20.000": "OUT OF RANGE\r"}, 0x80046101),
                ("kambic", "set 1 20", {"SETTEMP=20.000": "COMMAND ERROR OUT OF RANGE\r"}, 0x80046103),
                ("kambic", "set 1 20.123", {"SETTEMP=20.123": "SETTEMP=20.1\r"}, 0x80046104),
                ("hart", "read 0", {"t": "sensor:23.5"}, [23.5]),
                ("hart", "read 0", {"t": "23.50"}, [NO_READ]), ("hart", "read 0", {"t": "T:23.50"}, [23.5]),
                ("hart", "read 0", {"t": "sensor:23.5"}, [23.5]),
                ("hart", "set 1 21.5", {"s": "set: 21.49 C"}, 0x80044B01),
                ("hart", "set 1 21.5", {"s": "set: 21.50 C"}, ""), ("hart", "set 1 21.5", {"s": "set: 21.5"}, "")]:
            with self.subTest((bench, args, answers)):
                got = self.attempt(bench, args, answers)
                (self.assert_values if isinstance(expected, list) else self.assertEqual)(got.result, expected)
                self.assertEqual(got.unknown, [])
                self.assertEqual(got.text, self.text_of(expected))
                self.assertTrue(got.wire.endswith(BENCHES[bench].bye.encode()), got.wire)

    def test_missing_replies_time_out(self):
        """No reply, or a reply that stops midway. Instruments with timeouts of minutes are left out."""
        for bench, args, command, reply, expected, wait in [
                ("cmx310", "read", "MEAS?", b"1", [NO_READ], 1),
                ("isotech", "set 0 20", addressed(0, " 20.0").decode(), SILENCE, NO_READ, 0.1),
                ("isotech line", "stop", line("CP").decode(), b"\x02GT 12", NO_READ, 2),
                ("isotech line", "set 0 20", line("ST0+00020.000000").decode(), b"\x02S", 0x80043501, 1),
                ("kambic", "set 1 20", "SETTEMP=20.000", SILENCE, NO_READ, 3),
                ("hart", "set 1 20", "s", b"s:20.00", 0x80044B01, 1)]:
            with self.subTest((bench, args)):
                began = time.monotonic()
                got = self.attempt(bench, args, {command: Reply(reply) if isinstance(reply, bytes) else reply},
                                   where=lambda unit: unit.address)
                self.assertEqual((got.result, got.text), (expected, self.text_of(expected)))
                self.assert_took(began, wait * 0.9)

    def test_a_trace_has_the_times_of_the_exchange(self):
        delay, timeout = 0.3, 5
        unit = self.plug_in(SerialInstrument(instruments.HART, {"t": Reply(b"t: 23.50\r", delay=delay), "s": SILENCE}))
        _, _, trace = self.ulix("read", "hart", *unit.address, "--timeout", timeout * 1000, "--trace")
        lines = [line.split(" ", 1) for line in trace.splitlines() if re.match(r"[\d:.]+ [<>] ", line)]
        self.assertEqual([text for _, text in lines],
                         ["> lf=of<CR>", "> du=h<CR>", "> sa=0<CR>", "> t<CR>", "< t: 23.50<CR>", "> s<CR>"])
        seconds = [float(stamp.rsplit(":", 1)[1]) for stamp, _ in lines]
        self.assertGreater((seconds[4] - seconds[3]) % 60, 0.9 * delay, trace)
        self.assertLess((seconds[5] - seconds[4]) % 60, timeout, trace)

    def text_of(self, expected):
        return TEXTS.get(expected[0] if isinstance(expected, list) else expected, [""])[0]

    def test_isotech_frames(self):
        for address, value, text in [(0, 999.9, " 999.9"), (7, 1000, " 1000"), (99, 10000, " 10000"), (42, 7, "  7.0"),
                                     (1, -3, " -3.0"), (123, -275, "-275.0"), (5, 999.95, " 1000.0"), (6, 0, "  0.0")]:
            got = self.attempt("isotech", f"set 0 {value}", settings=[f"address={address}"])
            self.assertEqual((got.result, got.wire, got.unknown), ("", addressed(min(address, 99), text), []))
        for bench, mode, wire in [("isotech", 1, addressed(0, " 30.0")), ("isotech", 2, b""),
                                  ("isotech line", 1, line("ST0+00030.000000")), ("isotech line", 2, line("OC"))]:
            got = self.attempt(bench, "run", settings=[f"start-mode={mode}", "start-set-point=30"])
            self.assertEqual((got.result, got.wire), ("", wire))
        got = self.attempt("isotech line", "run", settings=["start-mode=1", "start-set-point=41"])
        self.assertEqual((got.result, got.wire), (0x80043502, b""))
        self.assertGreaterEqual(self.attempt("isotech line", "stop").seconds, 2)

    def test_millik_channels(self):
        kinds = {"RESISTANCE": "MEAS:RES", "PRT": "MEAS:TEMP", "VOLTAGE": "MEAS:VOLT", "THERMOCOUPLE": "MEAS:TEMP"}
        rows = [(12, kind, settings, f"{kinds[kind]}21? {options}") for kind, settings, options in [
            ("RESISTANCE", "range=460 current=ROOT2", "460,ROOT2"), ("RESISTANCE", "range=500000", "500000,NORM"),
            ("PRT", "wiring=3-WIRE unit=K range=460", "IEC60751(3-WIRE),K,460,NORM"),
            ("PRT", "wiring=4-WIRE unit=F current=ROOT2", "IEC60751(4-WIRE),F,115,ROOT2"),
            ("VOLTAGE", "junction=INT", "INT"), ("VOLTAGE", "junction=NON", "NON"),
            *(("THERMOCOUPLE", f"sub-kind={name} unit={unit} junction={junction}", f"TYPE {name},{unit},{junction}")
              for name, unit, junction in zip("B E J K L N R S T AU-PT PT-PD".split(), "KCFKCFKCFKC",
                                              ("INT", "NON") * 6))]]
        rows += [(2, "CURRENT", "", "MEAS:CURR? ")]
        for channel, kind, settings, command in rows:
            with self.subTest(command):
                fields = [f"channel.{channel}.{item}" for item in ("enabled=on", f"kind={kind}", *settings.split())]
                got = self.attempt("millik", f"read {channel}", settings=fields)
                self.assertEqual((got.wire, got.unknown), (f"*IDN?\rREM\r{command}\r".encode(), []))
                self.assertEqual(len(got.result), 1)
        asked = "*IDN?\rREM\rPROB:COUN?\rPROB:NAM1?\rPROB:NAM2?\r"
        for channel, kind, command in [(12, "PRT", "MEAS:TEMP21? 2,C,115,NORM\r"), (2, "CURRENT", "MEAS:TEMP3? 2,C\r")]:
            fields = [f"channel.{channel}.{item}" for item in ("enabled=on", f"kind={kind}", "sub-kind=USER-PROBE",
                                                               "probe=REFERENCE")]
            got = self.attempt("millik", f"read {channel}", settings=fields)
            self.assertEqual((got.wire, got.unknown, got.result), ((asked + command).encode(), [], [21.5]))
            got = self.attempt("millik", f"read {channel}", settings=fields[:-1] + [f"channel.{channel}.probe=LOST"])
            self.assertEqual((got.wire, got.result), (asked.encode(), [0x80045706]))
        got = self.attempt("millik", "read 0", settings=["channel.0.kind=PRT", "channel.0.sub-kind=K"])
        self.assertEqual((got.wire, got.result), (b"*IDN?\rREM\r", [BAD_CONFIG]))

    def test_hydra_scales(self):
        factors = {1: [1, 1000, 1, 1, 1, 1000, 1000], 2: [1, 1000, 1, 1, 1], 3: [1, 1, 1e-3, 1e-3, 1e-3, 1e-6, 1e-6],
                   4: [1, 1, 1e-3, 1e-3, 1e-3, 1e-6], 9: [1, 1]}
        for function, row in factors.items():
            for index, factor in enumerate(row):
                fields = [f"channel.7.function={function}", f"channel.7.range={index}"]
                got = self.attempt("hydra", "read 7", settings=fields)
                self.assert_values(got.result, [2.5 * factor])

    def test_cmx310_configuration(self):
        voltages = "V50 V30 V5 MV500 MV50 V_AUTO".split()
        others = "MA50 MA24 OHM5000 OHM500 OHM_AUTO".split()
        wires = "WIRE2 WIRE3 TXP TXA".split()
        sensors = ["TYP_" + name for name in "K T J E N U L S R B C PL MO PT100 PT200 PT500 PT1000".split()]
        rows = [(dict(input_function=code, input_connection=1, output_function=name), name, name)
                for code, name in enumerate(voltages, 1)]
        rows += [(dict(input_function=name, input_connection=code % 4 + 1, output_function=code, output_connection=2),
                  f"{name},{wires[code % 4]}", name) for code, name in enumerate(others, 7)]
        for code, sensor in enumerate(sensors, 1):
            unit, junction = "CEL FAR K".split()[code % 3], "JR_ON JR_OFF JR_RTD".split()[code % 3]
            rows.append((dict(input_function="RT", input_connection=wires[code % 4], input_sensor=sensor,
                              temperature_unit=unit, output_function="TC", output_connection=1, output_sensor=code,
                              output_cold_junction=junction), f"RT,{wires[code % 4]},{sensor},{unit}",
                         f"TC,{sensor},{unit},{junction}"))
        rows.append((dict(input_function=12, input_sensor=1, input_cold_junction="JR_PROG",
                          input_cold_junction_temperature=20.5), "TC,TYP_K,CEL,JR_PROG,20.5", "V50"))

        def check(fields, words_in, words_out):
            got = self.attempt("cmx310", "config send", settings=sets(**fields)[1::2])
            body = f"REM\nRANGE_IN {words_in}\nRANGE_OUT {words_out}\nMEAS RUN\n"
            self.assertEqual((got.wire, got.result), (f"*IDN?\nREM\n{body}LOC\n".encode(), ""))
        self.side_by_side(check, rows)
        no_range, first = 0x80043903, "RANGE_IN V50\n"
        for body, fields in [("", dict(in_word=0)), ("", dict(in_word=14)), ("", dict(in_word=word(7, 5))),
                             ("", dict(in_word=word(13, 1, 18))), ("", dict(in_word=word(12, 7, 1))),
                             ("", dict(in_word=word(13, 1, 1), unit=3)), (first, dict(out_word=14)),
                             (first, dict(out_word=word(12, 0, 18)))]:
            with self.subTest(fields):
                config = self.file(RESET[:2] + record(**fields) + RESET[9:])
                got = self.attempt("cmx310", f"config send --config {config}")
                self.assertEqual((got.wire, got.result), (f"*IDN?\nREM\nREM\n{body}LOC\n".encode(), no_range))

    def test_texts(self):
        rows = [(code, text, options) for code, texts in TEXTS.items() for text, options in zip(texts, ([], ["--lang", "fr"]))]
        for code, text, options in rows + [(code, text, ["--short"]) for code, text in SHORT_TEXTS.items()]:
            if code == NO_METHOD:  # a code of the system, not of a model
                continue
            with self.subTest((hex(code), options)):
                model = MODELS.get(code >> 8 & 0xFF, "hart")
                status, out, err = self.ulix("error", hex(code), "--model", model, *options)
                self.assertEqual((status, out.strip()), (0 if text else 1, text), err)
        got = self.attempt("isotech object", "set 0 1 --lang fr")
        self.assertEqual((got.result, got.text), (NO_METHOD, TEXTS[NO_METHOD][1]))


if __name__ == "__main__":
    main()
