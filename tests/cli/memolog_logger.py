"""A Memolog logger on TCP or on a pseudo terminal, written from its register conventions alone.

Every request is kept as (function, address, count or words); from a given request on, answers
can come late, short, with another transaction number, as an exception, or not at all.
"""

import os
import select
import socket
import struct
import threading
import time
import tty

from serial_instrument import PATIENT, TEST_LIMIT

LOCK, TEXT, FRAME, STATUS = 10016, 600, 44000, 44198
READ, WRITE_ONE, WRITE = 3, 6, 16


def crc16(data):
    crc = 0xFFFF
    for byte in data:
        crc ^= byte
        for _ in range(8):
            crc = crc >> 1 ^ (0xA001 if crc & 1 else 0)
    return struct.pack("<H", crc)


def words_of(data):
    return list(struct.unpack("<%dH" % (len(data) // 2), data))


def time_record(kind, seconds, fraction=0):
    body = struct.pack("<I", seconds)
    return struct.pack("<H", kind << 12) + (b"\0\0" + body if kind == 6 else b"\0" + body + bytes([fraction]))


def measurement(channel, step, value, kind=0):
    return struct.pack("<HBBf", kind << 12 | channel, step, 0, value)


def failure(channel, step, error):
    return struct.pack("<HBBhH", channel, step, 0x10, error, 0)


class Memolog:
    """Serves until closed. `fault` is (kind, number of the first request, count of requests). Kinds: "silent", "late",
    "other" (transaction), "short", "exception", "garbage", "vanish"."""

    def __init__(self, serial=False, slave=1, identity="ULIX,MEMOLOG90,77,V1", name="TEST"):
        self.slave, self.identity, self.name, self.serial = slave, identity, name, serial
        self.blocks = {}  # block number from 1: list of 8-byte records
        self.program = []  # lists of words
        self.incoming = None  # not None in program mode
        self.frozen, self.freezes = set(), []
        self.recording, self.freezes_itself = 0, 0
        self.lock_register = 0
        self.silent_init = False
        self.refuse = {}  # frame command: status
        self.requests = []
        self.fault = None
        self.fault_argument = 0.0
        self.sent_late = threading.Event()
        self._text, self._frame, self._reply, self._status = [0] * 50, [0] * 199, [0] * 199, 0
        self._ended = False
        self._guard = threading.Lock()
        if serial:
            self._fd, client = os.openpty()
            tty.setraw(client)
            self.device = os.ttyname(client)
            self._client = client
            self._listener = None
        else:
            self._listener = socket.create_server(("127.0.0.1", 0))
            self.port = self._listener.getsockname()[1]
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    @property
    def address(self):
        return ["--port", self.device] if self.serial else ["--host", "127.0.0.1", "--tcp-port", str(self.port)]

    @property
    def where(self):
        """The options of a connection that waits for every reply."""
        return [*self.address, *PATIENT]

    def wait_for(self, request):
        """Waits until the request has arrived."""
        end = time.monotonic() + TEST_LIMIT
        while request not in list(self.requests):
            if time.monotonic() > end:
                raise TimeoutError(f"no {request}")
            time.sleep(0.005)

    def close(self):
        self._ended = True
        self._thread.join(TEST_LIMIT)

    def order(self, kind, first, count=1, argument=0.0):
        self.requests.clear()
        self.sent_late.clear()
        self.fault, self.fault_argument = (kind, first, count), argument

    # --- bytes ---

    def _serve(self):
        if self.serial:
            self._converse(lambda: os.read(self._fd, 4096), lambda data: os.write(self._fd, data), self._fd)
            os.close(self._client)
            os.close(self._fd)
            return
        while not self._ended:
            if not select.select([self._listener], [], [], 0.02)[0]:
                continue
            connection, _ = self._listener.accept()
            connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            with connection:
                try:
                    self._converse(lambda: connection.recv(4096), connection.sendall, connection)
                except OSError:
                    pass
        self._listener.close()

    def _converse(self, receive, send, readable):
        pending = b""
        while not self._ended:
            if not select.select([readable], [], [], 0.02)[0]:
                continue
            data = receive()
            if not data:
                return
            pending += data
            while (length := self._length(pending)) and len(pending) >= length:
                frame, pending = pending[:length], pending[length:]
                if self._answer(frame, send):
                    return

    def _length(self, data):
        if not self.serial:
            return 6 + struct.unpack(">H", data[4:6])[0] if len(data) >= 6 else 0
        if len(data) < 7:
            return 0
        return 9 + data[6] if data[1] == WRITE else 8

    def _answer(self, frame, send):
        """True if the connection must be dropped."""
        head, unit, pdu = (b"", frame[0], frame[1:-2]) if self.serial else (frame[:4], frame[6], frame[7:])
        if self.serial and crc16(frame[:-2]) != frame[-2:]:
            self.requests.append(("bad check", frame))
            return False
        if unit != self.slave:
            return False
        reply = self._act(pdu)
        kind = None
        if self.fault:
            word, first, count = self.fault
            kind = word if first <= len(self.requests) - 1 < first + count else None
        if kind == "vanish":
            return True
        if kind == "silent" or reply is None:
            return False
        if kind == "exception":
            reply = bytes([pdu[0] | 0x80, int(self.fault_argument) or 4])
        if kind == "short":
            reply = reply[:max(len(reply) // 2, 2)] if not self.serial else reply[:-1]
        if kind == "other" and not self.serial:
            head = bytes([head[0] ^ 0x55]) + head[1:]
        data = bytes([unit]) + reply
        data = data + crc16(data) if self.serial else head + struct.pack(">H", len(data)) + data
        if kind == "garbage":
            data = bytes((byte * 7 + 129) & 0xFF for byte in data)
        if kind == "late":
            time.sleep(self.fault_argument)
        send(data)
        if kind == "late":
            self.sent_late.set()
        return False

    # --- registers ---

    def _act(self, pdu):
        function = pdu[0]
        if function == READ:
            address, count = struct.unpack(">HH", pdu[1:5])
            self.requests.append((READ, address, count))
            words = self._read(address, count)
            if words is None:
                return bytes([0x83, 2])
            return bytes([READ, 2 * count]) + struct.pack(">%dH" % count, *words)
        address, value = struct.unpack(">HH", pdu[1:5])
        if function == WRITE_ONE:
            self.requests.append((WRITE_ONE, address, value))
            if address != LOCK:
                return bytes([0x86, 2])
            self.lock_register = value
            return pdu[:5]
        words = list(struct.unpack(">%dH" % value, pdu[6:]))
        self.requests.append((WRITE, address, words))
        return self._write(address, words, pdu[:5])

    def _read(self, address, count):
        if (address, count) == (LOCK, 1):
            return [self.lock_register]
        if (address, count) == (STATUS, 1):
            return [self._status]
        if TEXT <= address and address + count <= TEXT + 50:
            return self._text[address - TEXT:][:count]
        if FRAME <= address and address + count <= FRAME + 199:
            return self._reply[address - FRAME:][:count]
        return None

    def _write(self, address, words, confirmation):
        if address == TEXT:
            command = b"".join(struct.pack(">H", word) for word in words).split(b"\0")[0].decode("ascii")
            if command == "INITOUI":
                return None if self.silent_init else confirmation
            reply = {"*IDN?": self.identity, "NOMPROG?": self.name}.get(command, "Illegal")
            self._text = list(struct.unpack(">50H", reply.encode("latin-1").ljust(100, b"\0")))
            return confirmation
        if not (FRAME <= address and address + len(words) <= FRAME + 199 and len(words) <= 60):
            return bytes([0x90, 2])
        self._frame[address - FRAME:address - FRAME + len(words)] = words
        if address == FRAME:
            self._status = self.refuse.get(words[0]) or self._execute(words[0], self._frame[2:2 + words[1]])
            if self._status:
                return bytes([0x90, 3])
        return confirmation

    def _say(self, command, data):
        self._reply = ([command, len(data)] + data + [0xAAAA] * 199)[:199]
        return 0

    def _execute(self, command, data):
        if command == 4:
            if data != words_of(b"ENTER PROG MODE...\0\0"):
                return 11
            self.incoming = []
            return 0
        if command == 5:
            if self.incoming is None:
                return 12
            self.incoming.append(list(data))
            return 0
        if command == 6:
            if self.incoming is not None:
                self.program, self.incoming = self.incoming, None
            return 0
        if command == 15:
            return self._say(15, [len(self.program)])
        if command in (7, 8):
            place = 0 if command == 7 else 1 + [record[:2] for record in self.program].index(data)
            return self._say(command, self.program[place] if place < len(self.program) else [])
        return self._memory(data) if command == 10 else 13

    def _memory(self, data):
        block = self.blocks.get(data[1])
        if block is None:
            return 14
        if data[0] == 19:
            item = bytes(6) + bytes([self.recording, self.freezes_itself]) + struct.pack("<H", len(block)) + bytes(2)
            return self._say(10, words_of(item))
        if data[0] == 20:
            self.freezes.append(data[2])
            (self.frozen.add if data[2] & 2 else self.frozen.discard)(data[1])
            return 0
        if data[0] == 21:
            first, count = data[2], data[3] & 0xFF
            if data[3] >> 8 or not 1 <= count <= 48 or first < 1 or first + count - 1 > len(block):
                return 15
            if not self.freezes_itself and data[1] not in self.frozen:
                return 16
            return self._say(10, data + words_of(b"".join(block[first - 1:first - 1 + count])))
        if data[0] == 22 and data[2] == 2:
            del block[:data[3] or len(block)]
            return 0
        return 17
