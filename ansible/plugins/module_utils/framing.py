"""Cuts what a daemon sends into its messages: JSON objects, one behind the other, with any white space between."""

import json
import re

from .errors import ProtocolBroken

MAX_MESSAGE = 64 << 20  # bytes

_BLANKS = re.compile(rb"[ \t\r\n]*")
_TOKEN = re.compile(rb'"[^"\\]*(?:\\.[^"\\]*)*"|["{}]', re.S)  # a whole string, or one that has no end yet
_IN_STRING = re.compile(rb'["\\]')
_SURROGATE = re.compile(rb"\\u[dD][89a-fA-F]")


class Framer:
    """Takes bytes in as they come and gives whole messages. Each byte is looked at a bounded number of times."""

    def __init__(self):
        self.buffer = bytearray()
        self._at = 0  # what stands before it was looked at
        self._depth = 0
        self._in_string = False

    def feed(self, data):
        self.buffer += data

    def next(self):
        """The next message as (dict, length in bytes); None while it is not whole. Raises ProtocolBroken."""
        if not self._depth:
            del self.buffer[:_BLANKS.match(self.buffer).end()]
            self._at = 0
            if not self.buffer:
                return None
            if self.buffer[0] != ord("{"):
                raise ProtocolBroken("sent what is no message")
        end = self._end()
        if (end or len(self.buffer)) > MAX_MESSAGE:
            raise ProtocolBroken("sent a message of more than %d MiB" % (MAX_MESSAGE >> 20))
        if end is None:
            return None
        text = bytes(self.buffer[:end])
        del self.buffer[:end]
        self._at = 0
        return _decoded(text), end

    def _end(self):
        """Where the first object ends; None when that has not come yet."""
        while self._at < len(self.buffer):
            if self._in_string:
                self._leave_string()
                if self._in_string:
                    return None
            for token in _TOKEN.finditer(self.buffer, self._at):
                self._at = token.end()
                first = self.buffer[token.start()]
                if first == ord("{"):
                    self._depth += 1
                elif first == ord("}"):
                    self._depth -= 1
                    if not self._depth:
                        return self._at
                elif token.end() == token.start() + 1:
                    self._in_string = True
                    break
            else:
                self._at = len(self.buffer)
        return None

    def _leave_string(self):
        """Moves behind the end of the string, or to the end of what is there."""
        while True:
            found = _IN_STRING.search(self.buffer, self._at)
            if not found:
                self._at = len(self.buffer)
                return
            if self.buffer[found.start()] == ord('"'):
                self._at = found.end()
                self._in_string = False
                return
            if found.end() == len(self.buffer):  # what is escaped has not come yet
                self._at = found.start()
                return
            self._at = found.end() + 1


def _no_number(text):
    raise ValueError("%s is no number of JSON" % text)


def _decoded(text):
    try:
        message = json.loads(text.decode("utf-8"), parse_constant=_no_number)
        if _SURROGATE.search(text):
            json.dumps(message, ensure_ascii=False).encode("utf-8")  # halves of characters cannot be
    except (ValueError, RecursionError) as error:
        raise ProtocolBroken("sent what is no message") from error
    return message
