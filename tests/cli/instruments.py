"""The serial instruments, each as a table of commands and answers, written from its published command set alone."""

from serial_instrument import CommandSet, SerialInstrument

UNANSWERED = r"REM|LOC|MEAS RUN|OPER|OUT -?\d+\.\d{6}|RANGE_(IN|OUT) [A-Z0-9_,.+-]+"


def range_calibrator(name):
    return CommandSet({r"\*IDN\?": f"{name} SN 1234 V1.0", r"CFG_(IN|OUT)\?": "V50", r"MEAS\?": "12.345",
                       UNANSWERED: None})


KELVO10, CMX310 = range_calibrator("KELVO10"), range_calibrator("CMX310")

# Two protocols: one with addresses (the byte after ETX is the block check), one with lines (answers begin with STX).
ISOTECH = CommandSet({r"\x04(\d)\1(\d)\2\x02SL ?[ -]*\d+(?:\.\d)?\x03.": "\x06",
                      r"\x02ST0[+-]\d{5}\.\d{6}\r\n": "\x02ST\r\n", r"\x02OC\r\n": "\x02OC\r\n",
                      r"\x02CP\r\n": "\x02CP\r\n"},
                     end=b"", frame=rb"(\x04\d{4}\x02[^\x03]*\x03.|\x02[^\n]*\n)")

CR_FRAME = rb"([^\r]*)\r"
MICROK = CommandSet({r"\*IDN\?": "Isothermal, MicroK 400, 1234, Version 2.5",
                     r"read([123]|[1234][0-7])\?": "+1.0012345E+02"}, end=b"\r", frame=CR_FRAME)
MILLIK = CommandSet({r"\*IDN\?": "MilliK, 3.25, 1234", "REM": None, r"PROB:COUN\?": "2", r"PROB:NAM1\?": "WORK",
                     r"PROB:NAM2\?": "REFERENCE", r"MEAS:(RES|TEMP|VOLT)\d+\? \S.*": "21.5", r"MEAS:CURR\? ": "4.02"},
                    end=b"\r", frame=CR_FRAME)

# A result, if the command has one, then the prompt.
PROMPT = "=>"
FLUKEHYDRA = CommandSet({r"\*IDN\?": "FLUKE,2635A,0,M3.2 A1.0\r\n" + PROMPT, r"LAST\? \d+": "+0002.500E+0\r\n" + PROMPT,
                         r"FUNC\? \d+": "VDC,AUTO\r\n" + PROMPT, r"TEMP_CONFIG\?|RATE\?": "0\r\n" + PROMPT,
                         r"INTVL\?": "0,00,10\r\n" + PROMPT, "PRINT 0|SCAN [01]": PROMPT}, end=b"\r\n", frame=rb"([^\n]*)\r\n")

LIVE = ["0"] * 26
LIVE[0:2], LIVE[5], LIVE[15], LIVE[24] = ["<GetResponse", "LiveSensors"], "25.01", "24.87", "{target}"
JOFRA_RTC = CommandSet({r"ascii\+": "<ASCII protocol activated>", "ascii-": None,
                        r"CalibratorDevice\?": "<GetResponse CalibratorDevice 1 2 SN 1234 V1.0 RTC_157 B>",
                        "LogOn": "<CallResponse TelegramValue`1>", r"Isloggedon\?": "<GetResponse Isloggedon True>",
                        "LogOff": "<CallResponse LogOff>", r"LiveSensors\?": " ".join(LIVE) + ">",
                        r"Settemperature (?P<target>-?\d+\.\d\d)": "<SetResponse SETTemperature>",
                        r"Settemperature\?": "<GetResponse SETTemperature {target}>"},
                       end=b"\r", frame=CR_FRAME, state={"target": "25.00"})
REFUSED = "<Error Invalid command or argument(s)>"
JOFRA_CTC = CommandSet({r"\*CLS|REMOTE|LOCAL": None, r"ascii\+": REFUSED, r"\*IDN\?": "JOFRA, CTC-155, 1234, 1.20",
                        r"REMOTE_MODE\?": "REMOTE",
                        r"READINGS\?": "24.99, CEL, {target}, {unit}, 24.87, CEL, 0, 75.2, FAR",
                        r"SETTEMP (?P<target>-?\d+\.\d+) (?P<unit>KEL)": None, r"SETTEMP\?": "{target} {unit}"},
                       end=b"\r", frame=CR_FRAME, state={"target": "298.15", "unit": "KEL"})

KAMBIC = CommandSet({"IDENT": "ID=OB-22 V1.0\r", "TXD": "TSET= {target} T= 24.987\r",
                     r"SETTEMP=(?P<target>-?\d+\.\d{3})": "SETTEMP= {target}\r"}, state={"target": "25.000"})

HART = CommandSet({"lf=of|du=h|sa=0": None, "t": "t: 23.50", "s": "set: {target}",
                   r"s=(?P<target>-?\d+\.\d\d)": None}, end=b"\r", frame=CR_FRAME, state={"target": "20.00"})


def kelvo10(answers=None):
    return SerialInstrument(KELVO10, answers)
