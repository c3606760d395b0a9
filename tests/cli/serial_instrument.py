"""A serial instrument on a pseudo terminal, described by the table of its command set alone.

Every byte that arrives is kept with its time of arrival; every answer can be made late, slow, cut
short or missing.
"""

import os
import re
import select
import termios
import threading
import time
from typing import NamedTuple


class Reply(NamedTuple):
    """The bytes of one answer: the first is `delay` seconds late, the next ones `drip` seconds apart. With `vanish`
    the line then goes away."""
    data: bytes = b""
    delay: float = 0.0
    drip: float = 0.0
    vanish: bool = False


SILENCE = Reply()

# Options for a test in which every reply comes, even on a very slow machine.
PATIENT = ["--timeout", "20000"]
TEST_LIMIT = 60  # seconds; a test never waits that long


class CommandSet(NamedTuple):
    """An instrument's commands. `commands` maps the pattern of a whole command to the line that answers it, or to None
    when there is no answer. The named groups of a pattern are stored in the instrument's state. Braces in an answer are
    filled from that state. A command is the first group of `frame`."""
    commands: dict
    end: bytes = b"\n"  # the end of an answer
    frame: bytes = rb"([^\n]*)\n"
    state: dict = {}


class SerialInstrument:
    """Serves one pseudo terminal until closed. `answers` maps a command to a reply or to a list of replies: they are given
    in turn, and the last one is repeated. A text is a whole line. The terminal starts in cooked mode with echo."""

    def __init__(self, command_set, answers=None):
        self._answers = {command: list(replies) if isinstance(replies, list) else [replies]
                         for command, replies in (answers or {}).items()}
        self._set = command_set
        self._rows = [(re.compile(pattern, re.DOTALL), answer) for pattern, answer in command_set.commands.items()]
        self._frame = re.compile(command_set.frame, re.DOTALL)
        self.state = dict(command_set.state)
        self.commands = []  # (monotonic seconds, whole command)
        self.unknown = []  # commands that are not in the table
        self.speed, self.two_stop_bits = None, None  # settings of the terminal when the last bytes came
        self.line_settings = set()  # all pairs of these two so far
        self._received = []  # (monotonic seconds, bytes)
        self._outbox = []  # (due, bytes, vanish), in order of sending
        self._partial = b""
        self._idle_turns = 0
        self.idle_turns_to_end = 2  # turns without a byte, after which all bytes have come
        self._turned = threading.Condition()
        self._ended = False
        self._master, slave = os.openpty()
        self.device = os.ttyname(slave)
        os.close(slave)  # an open slave would hide how a program changes the line when it opens it
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    @property
    def where(self):
        """The options of a connection that waits for every reply."""
        return [*self.address, *PATIENT]

    @property
    def address(self):
        return ["--port", self.device]

    def close(self):
        self._ended = True
        self._thread.join(TEST_LIMIT)

    def wire(self):
        """All bytes received, after waiting until no more are on the line."""
        seen = self._idle_turns
        self._wait(lambda: self._idle_turns >= seen + self.idle_turns_to_end)
        return b"".join(data for _, data in self._received)

    def times(self, command):
        return [when for when, text in self.commands if text == command]

    def wait_for(self, command, count=1):
        """Waits until the command has arrived the given number of times."""
        self._wait(lambda: len(self.times(command)) >= count)

    def wait_sent(self):
        """Waits until every reply has been sent."""
        self._wait(lambda: not self._outbox)

    def _wait(self, condition):
        with self._turned:
            if not self._turned.wait_for(lambda: self._ended or condition(), TEST_LIMIT):
                raise TimeoutError("the instrument's thread is stuck")

    def _serve(self):
        poll = select.poll()
        poll.register(self._master, select.POLLIN)
        while not self._ended:
            ready = poll.poll(2)
            idle = not any(event & select.POLLIN for _, event in ready)
            if not idle:
                self._receive(os.read(self._master, 4096), time.monotonic())
            elif ready:  # no program has the line open: a poll returns at once
                time.sleep(0.001)
            while self._outbox and not self._ended and self._outbox[0][0] <= time.monotonic():
                os.write(self._master, self._outbox[0][1])
                self._ended = self._outbox.pop(0)[2] or self._ended
            with self._turned:
                self._idle_turns += idle
                self._turned.notify_all()
        os.close(self._master)

    def _receive(self, data, now):
        settings = termios.tcgetattr(self._master)
        self.speed, self.two_stop_bits = settings[4], bool(settings[2] & termios.CSTOPB)
        self.line_settings.add((self.speed, self.two_stop_bits))
        self._received.append((now, data))
        self._partial += data
        while match := self._frame.match(self._partial):
            self._partial = self._partial[match.end():]
            command = match[1].decode("latin-1")
            self.commands.append((now, command))
            self._order(self._reply(command), now)

    def _reply(self, command):
        if command in self._answers:
            replies = self._answers[command]
            return replies.pop(0) if len(replies) > 1 else replies[0]
        for pattern, answer in self._rows:
            if match := pattern.fullmatch(command):
                self.state |= match.groupdict()
                return SILENCE if answer is None else answer.format_map(self.state)
        self.unknown.append(command)
        return SILENCE

    def _order(self, reply, now):
        if isinstance(reply, str):
            reply = Reply(reply.encode("cp850") + self._set.end)
        pieces = [bytes([byte]) for byte in reply.data] if reply.drip else [reply.data]
        self._outbox += [(now + reply.delay + index * reply.drip, piece, reply.vanish and index == len(pieces) - 1)
                         for index, piece in enumerate(pieces)]
        self._outbox.sort(key=lambda entry: entry[0])
