"""What a terminal was sent: nothing but text and what the shell itself uses."""

import re

# What the shell sends itself: colours, bracketed paste, erasing and moving while a line is edited,
# the line that tells of a wait.
OWN = re.compile(rb"\x1b\[(\d+(;\d+)*)?m|\x1b\[\?2004[hl]|\x1b\[\d*[KDCABP@]|\x1b\[J|\x1b[DM78]|\x1b\[H\x1b\[2?J")
STEERING = re.compile(rb"[\x00-\x06\x0b\x0c\x0e-\x1a\x1c-\x1f\x7f]|\x1b|\xc2[\x80-\x9f]")


def steering(raw):
    """The first bytes that steer the terminal, with what stands around them; empty where there are none."""
    text = OWN.sub(b"", raw)
    found = STEERING.search(text)
    return text[max(0, found.start() - 200):found.end() + 200] if found else b""
