"""What a user types at `ulix` for a Memolog, against a logger that shares no code with the program.

Run as: python3 test_memolog_contract.py PATH_TO_ULIX [unittest arguments]
"""

import json
import struct

import contract
from memolog_logger import (FRAME, LOCK, READ, STATUS, TEXT, WRITE, WRITE_ONE, Memolog, failure, measurement,
                            time_record, words_of)
from serial_instrument import TEST_LIMIT

IDN = [(WRITE, TEXT, [0x2A49, 0x444E, 0x3F00]), (READ, 649, 1), (READ, TEXT, 50)]
STATE = [(WRITE, FRAME, [10, 2, 19, 1]), (READ, FRAME, 8)]
CODES = {"invalid": "0x80041D07", "open": "0x80041D06", "locked": "0x80041D09", "not": "0x80041D00",
         "function": "0x80041D03", "address": "0x80041D04", "data": "0x80041D05"}


def freeze(flags):
    return (WRITE, FRAME, [10, 3, 20, 1, flags])


def read_records(first, count):
    words = 4 * count + 6
    reads = [(READ, FRAME, min(words, 125))] + ([(READ, FRAME + 125, words - 125)] if words > 125 else [])
    return [(WRITE, FRAME, [10, 4, 21, 1, first, count])] + reads


def frame_writes(words):
    """The block writes of one frame, last part first."""
    parts = [(WRITE, FRAME + at, words[at:at + 60]) for at in range(0, len(words), 60)]
    return parts[::-1]


def program_file(records, identity=b"ULIX,MEMOLOG90,77,V1", mark=b"PROGRAM FILE", tail=b""):
    head = bytes(9) + identity.ljust(80, b"\0") + mark.ljust(13, b"\0")
    body = b"".join(struct.pack("<%dH" % (len(record) + 1), len(record), *record) for record in records)
    return head.ljust(512, b"\0") + body + tail


def record_of(number, length):
    return [4, number] + [(number * 1000 + k) & 0xFFFF for k in range(length - 2)]


PROGRAM = [record_of(1, 2), record_of(2, 58), record_of(3, 59), record_of(4, 196), record_of(5, 100)]


def sixty_five():
    """A time base, 63 measurements half a second apart, and one that failed."""
    records = [time_record(1, 366 * 86400, 100)]
    records += [measurement(1 + k % 5, 64, k + 0.5) for k in range(63)]
    return records + [failure(7, 10, -3)]


class MemologTest(contract.ContractTest):
    def logger(self, **options):
        logger = Memolog(**options)
        if logger.serial:
            return self.plug_in(logger)
        self.addCleanup(logger.close)
        return logger

    def loggers(self, **options):
        yield self.logger(**options)
        if not contract.UNDER_WINE:
            yield self.logger(serial=True, **options)

    def fail_with(self, code, *args):
        status, out, err = self.ulix(*args)
        self.assertEqual((status, out), (1, ""), err)
        self.assertRegex(err, f"^ulix: {code}[^\n]*\n$")
        return err

    def test_identity(self):
        for logger in self.loggers(slave=7):
            out = self.succeed("identify", "memolog", *logger.where, "--slave", 7)
            self.assertEqual((out, logger.requests), ("ULIX,MEMOLOG90,77,V1\n", IDN + IDN))
        other = self.logger(identity="ULIX,MEMOLOG30,77,V1")
        self.fail_with(CODES["not"], "identify", "memolog", *other.where)

    def test_typed_request_has_its_reply_in_hexadecimal(self):
        for logger in self.loggers():
            logger.lock_register = 0x1234
            read, refused = (self.succeed("query", "memolog", typed, *logger.where) for typed in ("03 2720 0001", "0300050001"))
            self.assertEqual((read, refused), ("03 02 12 34\n", "83 02\n"))
            self.succeed("query", "memolog", "06 2720 0000", "--no-reply", *logger.where)
            logger.wait_for((WRITE_ONE, LOCK, 0))
            logger.requests.clear()
            status, out, err = self.ulix("query", "memolog", "*IDN?", *logger.where)
            self.assertEqual((status, out, logger.requests), (2, "", IDN))
            self.assertRegex(err, r"^ulix: TEXT: '\*IDN\?' is no Modbus request; takes bytes in hexadecimal, .*\n$")

    def test_program_there_and_back(self):
        for logger in self.loggers():
            logger.silent_init = logger.serial
            where = self.short_waits(logger) if logger.silent_init else logger.where
            data = program_file(PROGRAM)
            self.assertEqual(self.succeed("program", "memolog", "check", self.file(data)), "5 records\n")
            self.succeed("program", "memolog", "send", self.file(data), *where)
            sent = [frame_writes([4, 10] + words_of(b"ENTER PROG MODE...\0\0"))]
            sent += [frame_writes([5, len(record)] + record) for record in PROGRAM] + [frame_writes([6, 0])]
            init = (WRITE, TEXT, [0x494E, 0x4954, 0x4F55, 0x4900])
            self.assertEqual(logger.requests, IDN + [init] + sum(sent, []))
            # 60 registers go as one block. 61 go as two, the block of one register first.
            self.assertEqual([len(write[2]) for write in sent[2]], [60])
            self.assertEqual([(write[1], len(write[2])) for write in sent[3]], [(FRAME + 60, 1), (FRAME, 60)])
            self.assertEqual((logger.program, logger.incoming), (PROGRAM, None))

            logger.requests.clear()
            back = self.folder / "back.p90"
            self.succeed("program", "memolog", "read", back, *logger.where)
            self.assertEqual(back.read_bytes(), data)
            wanted = IDN + IDN + [(WRITE, FRAME, [15, 0]), (READ, FRAME, 3), (WRITE, FRAME, [7, 0]), (READ, FRAME, 2)]
            self.assertEqual(logger.requests[:len(wanted)], wanted)
            self.assertIn((WRITE, FRAME, [8, 2, 4, 4]), logger.requests)
            self.assertIn((READ, FRAME + 127, 71), logger.requests)
            self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["back.p90", "file.cfg"])
            back.unlink()

    def test_invalid_program_files_are_refused(self):
        logger = self.logger()
        good = program_file(PROGRAM)
        for data in (good[:511], program_file(PROGRAM, identity=b"MEMOLOG90"), program_file(PROGRAM, mark=b"PROGRAM"),
                     program_file(PROGRAM + [record_of(6, 197)]), good[:-1]):
            logger.requests.clear()
            self.fail_with(CODES["invalid"], "program", "memolog", "send", self.file(data), *logger.where)
            self.assertEqual(logger.requests, IDN)
            self.fail_with(CODES["invalid"], "program", "memolog", "check", self.file(data))
        for missing in self.folder / "none", self.folder:
            self.fail_with(CODES["open"], "program", "memolog", "send", missing, *logger.where)
        if not contract.UNDER_WINE:  # Wine's arguments are in the system's code page
            named = self.file(good).rename(self.folder / "é€.p90")
            self.succeed("config", "memolog", "send", "--set", f"program-file={named}", *logger.where)
            self.assertEqual(logger.program, PROGRAM)
            status, _, err = self.ulix("config", "memolog", "send", "--set", "program-file=日本.p90", *logger.where)
            self.assertRegex(f"{status} {err}", "2 ulix: --set: .*日本.p90'; takes a text in Windows-1252")
        # Every program file of the maker can be sent, with its mark in upper or lower case. The file dialog lists only
        # those of loggers.
        other = self.file(program_file([], identity=b"XULIX,OTHER", mark=b"Program File", tail=b"\0\0"))
        self.fail_with(CODES["invalid"], "program", "memolog", "check", other)
        logger.requests.clear()
        self.succeed("program", "memolog", "send", other, *logger.where)
        self.assertEqual([words[0] for _, address, words in logger.requests if address == FRAME], [4, 6])
        logger.refuse[5] = 0x21
        self.fail_with("0x80041C21 The instrument's own code 33", "program", "memolog", "send", self.file(good), *logger.where)
        self.assertEqual(logger.requests[-2:], [(READ, STATUS, 1), (WRITE, FRAME, [6, 0])])

    def test_reading_a_block(self):
        for logger in self.loggers():
            logger.blocks[1], logger.recording = sixty_five(), 1
            out = json.loads(self.succeed("memory", "memolog", "read", 0, *logger.where, "--json", "--no-config"))
            self.assertEqual(logger.requests, IDN + STATE + [(READ, LOCK, 1), freeze(3)] + read_records(1, 48) +
                             read_records(49, 17) + [freeze(1), (WRITE_ONE, LOCK, 0)])
            self.assertEqual(len(out), 64)
            # 100/128 s and half a second: the sum carries over into the seconds.
            self.assertEqual(out[0], {"channel": 0, "value": 0.5, "error": 0, "time": "1997-01-01T00:00:01.281"})
            self.assertEqual(out[62]["time"], "1997-01-01T00:00:32.281")
            self.assertEqual(out[63], {"channel": 6, "value": None, "error": 0xFFFFFFFD,
                                       "time": "1997-01-01T00:00:32.359"})
            self.assertEqual((logger.frozen, len(logger.blocks[1])), (set(), 65))
            plain = self.succeed("memory", "memolog", "read", 0, *logger.where, "--no-config")
            self.assertEqual(plain.splitlines()[63], "1997-01-01T00:00:32.359  CH7  logger's own code -3")

    def test_clear_removes_only_the_records_read(self):
        logger = self.logger()
        read = ["memory", "memolog", "read", 0, *logger.where, "--no-config"]
        logger.blocks[1] = [time_record(6, 86400)] * 7 + [time_record(6, 5)] + [measurement(2, 0, 1)] * 4
        self.assertEqual(self.succeed(*read, "--max", 5, "--clear"), "1996-01-01T00:00:05.000  CH2  1\n" * 4)
        self.assertIn(read_records(8, 5)[0], logger.requests)
        self.assertEqual(len(logger.blocks[1]), 12)
        logger.freezes_itself = 1
        logger.requests.clear()
        self.assertEqual(self.succeed(*read, "--max", 50, "--clear"), "1996-01-01T00:00:05.000  CH2  1\n" * 4)
        self.assertEqual(len(logger.blocks[1]), 12)
        self.assertEqual(logger.requests, IDN + STATE + [(READ, LOCK, 1)] + read_records(1, 12) +
                         [(WRITE_ONE, LOCK, 0)])
        self.succeed(*read, "--clear")
        self.assertEqual(logger.requests[-1], (WRITE, FRAME, [10, 4, 22, 1, 2, 12]))
        self.assertEqual(logger.blocks[1], [])
        logger.freezes_itself = 0
        logger.requests.clear()
        self.assertEqual(self.succeed(*read, "--json", "--clear"), "[]\n")
        self.assertEqual(logger.requests, IDN + STATE + [(READ, LOCK, 1), freeze(2), freeze(0), (WRITE_ONE, LOCK, 0)])

    def test_clearing(self):
        logger = self.logger()
        logger.blocks[100] = [measurement(1, 0, 1)] * 30
        for count, on_wire, left in ("010", 10, 20), (65536, 0, 0):
            self.succeed("memory", "memolog", "clear", 99, count, *logger.where)
            self.assertEqual(logger.requests[-1], (WRITE, FRAME, [10, 4, 22, 100, 2, on_wire]))
            self.assertEqual(len(logger.blocks[100]), left)
        logger.requests.clear()
        for args, complaint in [("clear 100", "BLOCK: '100' is no block; takes a number from 0 to 99, or name:NAME"),
                                ("list --csv a.csv", "--csv: list takes none"), ("clear 1 --max 0", "--max: clear takes none"),
                                ("read 1 --csv {0}/a --plot {0}/./a", "--csv: '{0}/a' is asked for twice; takes a file of its own")]:
            status, _, err = self.ulix("memory", "memolog", *args.format(self.folder).split(), *logger.where)
            self.assertEqual((status, err), (2, f"ulix: {complaint.format(self.folder)}\n"))
        self.assertEqual(logger.requests, [])

    def test_memory_locked_by_another_reader_is_refused(self):
        logger = self.logger()
        logger.blocks[1] = sixty_five()
        logger.lock_register = 2
        self.fail_with(CODES["locked"], "memory", "memolog", "read", 0, *logger.where, "--no-config")
        self.assertEqual(logger.requests, IDN + STATE + [(READ, LOCK, 1)])
        logger.lock_register = 1
        self.succeed("memory", "memolog", "read", 0, *logger.where)
        self.assertEqual(logger.requests[-1], (WRITE_ONE, LOCK, 1))
        for number, code in (1, "function"), (2, "address"), (3, "data"):
            logger.order("exception", 4, 1, number)
            self.fail_with(CODES[code], "memory", "memolog", "read", 0, *logger.where, "--no-config")

    def test_files_of_records(self):
        logger = self.logger()
        logger.blocks[1] = sixty_five()
        csv, plot = self.folder / "out.csv", self.folder / "out.svg"
        self.succeed("memory", "memolog", "read", 0, *logger.where, "--csv", csv, "--plot", plot)
        lines = [line for line in csv.read_text().split("\n") if not line.startswith("#")]
        self.assertEqual(lines[:2] + lines[64:], ["time,channel,value,error", "1997-01-01T00:00:01.281,0,0.5,",
                                                  "1997-01-01T00:00:32.359,6,,0xFFFFFFFD", ""])
        self.assertIn("CH5", plot.read_text())
        # If the file cannot be written, the logger keeps its records.
        status, _, err = self.ulix("memory", "memolog", "read", 0, *logger.where, "--clear", "--csv", "/dev/full/x")
        self.assertEqual((status, len(logger.blocks[1])), (1, 65), err)

    def fail_at_every_step(self, steps, args, check):
        """Tries every fault at each step of an operation. Then `check` runs without a fault. `{}` is a folder."""
        def damage(kind):
            logger, folder = self.logger(), self.folder / f"{kind}-{args[1]}-{args[2]}"
            folder.mkdir()
            logger.blocks[1], logger.program = sixty_five(), PROGRAM[:3]
            (folder / "back.p90").write_bytes(b"as it was")
            for step in steps:
                timeout = self.short_timeout()
                logger.order(kind, step)
                status, out, err = self.ulix(*(str(part).format(folder) for part in args), *logger.address, "--timeout", timeout)
                self.assertEqual((status, out), (1, ""), step)
                self.assertRegex(err, "^ulix: 0x80046B0[13] [^\n]*\n$", step)
                heard = list(logger.requests)
                logger.order("silent", 9999)
                check(logger, heard)
                self.assertEqual([path.name for path in folder.iterdir()], ["back.p90"])
                self.assertEqual((folder / "back.p90").read_bytes(), b"as it was")
        self.side_by_side(damage, [["silent"], ["vanish"], ["short"], ["garbage"], ["other"], ["exception"]])

    def test_every_step_of_a_read_can_fail(self):
        def check(logger, _):
            self.assertEqual((len(logger.blocks[1]), logger.frozen), (65, set()))
            self.assertEqual(len(json.loads(self.succeed("memory", "memolog", "read", 0, *logger.where, "--json"))), 64)
        args = ["memory", "memolog", "read", 0, "--csv", "{}/out.csv", "--clear", "--no-config"]
        self.fail_at_every_step(range(3, 14), args, check)

    def test_every_step_of_a_transfer_can_fail(self):
        sent = ["program", "memolog", "send", self.file(program_file(PROGRAM[:3]))]

        def check(logger, heard):
            self.assertEqual(heard[-1], (WRITE, FRAME, [6, 0]))
            logger.program = []
            self.succeed(*sent, *logger.where)
            self.assertEqual(logger.program, PROGRAM[:3])
        self.fail_at_every_step(range(4, 10), sent, check)
        self.fail_at_every_step(range(3, 16), ["program", "memolog", "read", "{}/back.p90", "--force"], lambda *_: None)

    def test_late_replies_are_discarded(self):
        for logger in self.loggers():
            logger.blocks[1] = sixty_five()
            for step in 6, 7, 8, 10:
                with self.subTest(step=step, serial=logger.serial):
                    timeout = self.short_timeout()  # milliseconds
                    logger.order("late", step, 1, 1.5 * timeout / 1000)
                    status, out, _ = self.ulix("memory", "memolog", "read", 0, *logger.address, "--timeout", timeout, "--no-config")
                    self.assertEqual((status, out, logger.frozen), (1, "", set()))
                    self.assertEqual(logger.requests[-2:], [freeze(0), (WRITE_ONE, LOCK, 0)])
                    self.assertTrue(logger.sent_late.wait(TEST_LIMIT))

    def test_interrupted_read_is_cancelled(self):
        logger = self.logger()
        logger.blocks[1] = [time_record(6, 86400)] + [measurement(1, 1, 1)] * 9999
        csv = self.folder / "out.csv"
        logger.order("late", 0, 99999, 0.01)
        process = self.start("memory", "memolog", "read", "0", *map(str, logger.where), "--no-config", "--clear", "--csv", str(csv))
        logger.wait_for(read_records(49, 48)[0])
        self.assertEqual(self.interrupt(process), (1, "", "ulix: 0x80004004 Cancelled\n"))
        self.assertEqual(logger.requests[-2:], [freeze(0), (WRITE_ONE, LOCK, 0)])
        self.assertEqual((len(logger.blocks[1]), list(self.folder.iterdir())), (10000, []))

    def test_settings_are_kept(self):
        config = self.folder / "logger.cfg"
        self.succeed("config", "memolog", "show", "--host", "10.1.2.3", "--slave", 9, "--tcp-port", 1502, "--save",
                     config)
        shown = self.succeed("config", "memolog", "show", "--config", config)
        self.assertEqual(shown.partition("\n")[2], "slave = 9\nprogram-file = \nEthernet:MEMOLOG@10.1.2.3#9\n")
        shown = self.succeed("config", "memolog", "show", "--config", config, "--port", 4, "--baud", 56000)
        self.assertEqual(shown.split("\n")[3], "COM 4:MEMOLOG#9 (56000 bds)")
        status, _, err = self.ulix("identify", "memolog", "--port", 4, "--baud", 57600)
        self.assertEqual((status, err), (2, "ulix: --baud: '57600' is no rate; takes one of 9600, 19200, 38400, "
                                            "56000\n"))


if __name__ == "__main__":
    contract.main()
