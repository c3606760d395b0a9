"""An instrument on a pseudo terminal: the line, without a word of any instrument's language.

Every byte that arrives is kept with its time of arrival; every answer can be ordered: late, dripped, cut, missing.
"""

import os
import select
import termios
import threading
import time
from typing import NamedTuple


class Reply(NamedTuple):
    """One answer byte for byte: `delay` seconds before the first, `drip` between them; `vanish` pulls the line then."""
    data: bytes = b""
    delay: float = 0.0
    drip: float = 0.0
    vanish: bool = False


SILENCE = Reply()


class PtyInstrument:
    """Serves one pseudo terminal until closed. `answers` maps a query to a reply, or to replies given in turn, of which
    the last one stays; text stands for a whole one, its end included. Queries come and go up to `end`. The line starts
    as any terminal does: cooked, with echo."""

    def __init__(self, answers, end):
        self._end = end
        self._answers = {query: list(replies) if isinstance(replies, list) else [replies]
                         for query, replies in answers.items()}
        self.unknown = []  # what no such instrument knows
        self.speed = None  # of the terminal when the last bytes came
        self._received = []  # (monotonic seconds, bytes)
        self._commands = []  # (monotonic seconds, whole command)
        self._outbox = []  # (due, bytes, vanish), in order of sending
        self._partial = b""
        self._idle_turns = 0
        self._turned = threading.Condition()
        self._ended = False
        self._master, slave = os.openpty()
        self.device = os.ttyname(slave)
        os.close(slave)  # held open, it would hide what a program does to the line on opening it
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def replies_to(self, command):
        """The list of replies, empty for a command that has none; None for one that the instrument does not know."""
        return self._answers.get(command)

    def close(self):
        self._ended = True
        self._thread.join(5)

    def wire(self):
        """Every byte received, once none is left on the way."""
        seen = self._idle_turns
        self._wait(lambda: self._idle_turns >= seen + 2)
        return b"".join(data for _, data in self._received)

    def times(self, command):
        return [when for when, text in self._commands if text == command]

    def wait_sent(self):
        """Until every ordered reply has left."""
        self._wait(lambda: not self._outbox)

    def _wait(self, condition):
        with self._turned:
            if not self._turned.wait_for(lambda: self._ended or condition(), 5):
                raise TimeoutError("the instrument's thread is stuck")

    def _serve(self):
        poll = select.poll()
        poll.register(self._master, select.POLLIN)
        while not self._ended:
            ready = poll.poll(2)
            idle = not any(event & select.POLLIN for _, event in ready)
            if not idle:
                self._receive(os.read(self._master, 4096), time.monotonic())
            elif ready:  # nobody has the line open, which a poll reports at once
                time.sleep(0.001)
            while self._outbox and not self._ended and self._outbox[0][0] <= time.monotonic():
                os.write(self._master, self._outbox[0][1])
                self._ended = self._outbox.pop(0)[2] or self._ended
            with self._turned:
                self._idle_turns += idle
                self._turned.notify_all()
        os.close(self._master)

    def _receive(self, data, now):
        self.speed = termios.tcgetattr(self._master)[4]
        self._received.append((now, data))
        *commands, self._partial = (self._partial + data).split(self._end)
        for command in (text.decode("latin-1") for text in commands):
            self._commands.append((now, command))
            replies = self.replies_to(command)
            if replies is None:
                self.unknown.append(command)
            elif replies:
                self._order(replies, now)

    def _order(self, replies, now):
        reply = replies.pop(0) if len(replies) > 1 else replies[0]
        if isinstance(reply, str):
            reply = Reply(reply.encode("cp850") + self._end)
        pieces = [bytes([byte]) for byte in reply.data] if reply.drip else [reply.data]
        self._outbox += [(now + reply.delay + index * reply.drip, piece, reply.vanish and index == len(pieces) - 1)
                         for index, piece in enumerate(pieces)]
        self._outbox.sort(key=lambda entry: entry[0])
