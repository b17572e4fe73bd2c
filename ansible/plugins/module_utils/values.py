"""Values as people write them: the texts that the daemon converts, and how they compare with what a router has."""

import json
import re

from .errors import Misused

HIDDEN = "(hidden)"
_SECRET_NAME = re.compile(r"(Password|Passphrase|Secret|SharedKey|WEPKey|PINCode)[^.]*$")

_INTEGERS = ("int", "unsignedInt", "long", "unsignedLong")
_SAMPLES = dict.fromkeys(_INTEGERS, 0)
_SAMPLES.update(boolean=False, flag=False, decimal=0.0, json={})


def to_text(path, value, current=None):
    """The text of a wanted value. A list is one with commas, unless the parameter holds JSON."""
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, dict) or (isinstance(value, list) and isinstance(current, (dict, list))):
        return json.dumps(value, sort_keys=True)
    if isinstance(value, (list, tuple)):
        return ",".join(to_text(path, item) for item in value)
    if value is None:
        raise Misused('%s: there is no value; an empty text is ""' % path)
    return str(value)


def as_kept(current, text):
    """The value that a text becomes in a parameter that has a value now; the text itself where it cannot be one."""
    try:
        if isinstance(current, bool):
            return {"true": True, "1": True, "false": False, "0": False}.get(text.lower(), text)
        if isinstance(current, int):
            return _integer(text)
        if isinstance(current, float):
            return float(text)
        if isinstance(current, (dict, list)):
            return json.loads(text)
    except ValueError:
        return text
    return _reference(text)


def sample(attributes):
    """A value of the kind that a parameter with these attributes holds."""
    return _SAMPLES.get(attributes.get("type"), attributes.get("default", ""))


def is_same(current, text):
    """Whether the value that a router has is the one that the text stands for."""
    return current == text or current == as_kept(current, text)


def is_secret(path):
    """Whether a parameter by this name is one that logs must not show, and that routers read as empty."""
    return bool(_SECRET_NAME.search(path))


def shown(path, value):
    """A value as logs may show it."""
    return HIDDEN if is_secret(path) and value != "" else value


def _integer(text):
    octal = re.fullmatch(r"([-+]?)0([0-7]+)", text)
    return int(octal.group(1) + octal.group(2), 8) if octal else int(text, 0)


def _reference(text):
    """The text as the router keeps it where it is one of references: without final "." and blanks."""
    items = [item.strip() for item in text.split(",")]
    if not all(item.startswith("Device.") for item in items):
        return text
    return ",".join(item[:-1] if item.endswith(".") else item for item in items)
