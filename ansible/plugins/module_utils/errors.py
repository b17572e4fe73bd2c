"""What can go wrong with a router. The text of each error is one line that names the router or the path."""


class ObxError(Exception):
    """Any of them."""


class Misused(ObxError):
    """An option that makes no sense, or a file of the controller that cannot be used."""


class ConnectionFailed(ObxError):
    """The exchange with the router failed: it is away, hangs, has the wrong certificate or is no obxd."""


class TimedOut(ConnectionFailed):
    """The router did not answer in time. What was asked for may have been done."""


class Closed(ConnectionFailed):
    """The router closed the connection. What was asked for may have been done."""


class ProtocolBroken(ConnectionFailed):
    """The router sent what is no message, or more than a message may hold."""


class Unreachable(ConnectionFailed):
    """No connection came about, so nothing was asked for."""


class Refused(ObxError):
    """The router answered with an error. `reasons` are its (path, code, text) of single parameters, `code` and
    `detail` those of the whole."""

    def __init__(self, method, error):
        self.code = error.get("code", 0)
        data = error.get("data")
        data = data if isinstance(data, dict) else {}
        self.detail = str(data.get("Detail") or "")
        self.reasons = [_reason(path, entry) for path, entry in data.items() if path != "Detail"]
        if self.reasons:
            text = "; ".join("%s: %s" % (path, reason) for path, dummy, reason in self.reasons)
        else:
            text = ": ".join(part for part in (method, str(error.get("message") or ""), self.detail) if part)
        super().__init__("refused [%s]: %s" % (self.code, text))


def _reason(path, entry):
    if isinstance(entry, dict):
        return path, entry.get("code", 0), str(entry.get("message", ""))
    return path, 0, str(entry)
