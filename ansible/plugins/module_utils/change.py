"""Changes: what differs from what is wanted, tried or made, confirmed and saved."""

import time

from .errors import ConnectionFailed, Misused, ObxError, Refused
from .router import NO_SUCH_METHOD
from .values import HIDDEN, as_kept, is_same, is_secret, shown, to_text

AS_ONE = 60  # seconds after which the router takes back what was neither confirmed nor cancelled

CHANGING = {
    "confirm_within": {"type": "int"},
    "save": {"type": "bool", "default": False},
}


class Difference:
    """What must be set on a router so that it has the wanted {path: value}. `texts` is that; `before` is what there is."""

    def __init__(self, before, wanted, hidden_too=True):
        self.before = before
        texts = {path: to_text(path, value, before.get(path)) for path, value in wanted.items()}
        self.texts = {path: text for path, text in texts.items()
                      if path not in before or not is_same(before[path], text)}
        self.after = {path: as_kept(before.get(path, ""), text) for path, text in self.texts.items()}
        if not hidden_too and all(self._is_hidden(path) for path in self.texts):
            self.texts, self.after = {}, {}

    def _is_hidden(self, path):
        return is_secret(path) and self.before.get(path) == ""

    def settle(self, now):
        """Takes in what the router has after all was set; returns whether anything is another than before. A value that
        reads as empty although a text was set is hidden, and counts as changed."""
        for path, text in self.texts.items():
            self.after[path] = HIDDEN if now.get(path) == "" != text else now.get(path)
        return any(self.before.get(path) != value for path, value in self.after.items())

    def diff(self, title):
        """For people who asked for --diff."""
        return diff(title, {path: self.before[path] for path in self.texts if path in self.before}, self.after)


def diff(title, before, after):
    """Two {path: value} as --diff shows them."""
    return {
        "before_header": title, "after_header": title,
        "before": {path: shown(path, value) for path, value in before.items()},
        "after": {path: shown(path, value) for path, value in after.items()},
    }


def attempt(task, router, trial):
    """What `trial` gives, which a check mode calls to try what it does not do. Where the router cannot try, a warning and
    None."""
    if router.can_try():
        return trial()
    task.warnings.append("%s cannot try changes: values were compared, not checked" % router.client.peer)
    return None


def commit(task, router, change, as_one=False):
    """Calls `change` with the router and saves where the task wants that. Where it wants a confirmed change, and with
    `as_one`, the router takes back what was done when that fails. Returns the router, on another connection perhaps."""
    seconds = task.options["confirm_within"] or (AS_ONE if as_one else 0)
    if seconds:
        end = time.monotonic() + seconds
        identity = _begin(router, seconds)
        try:
            change(router)
        except ObxError:
            _cancel(router, identity)
            raise
        router = _confirm(task, identity, end)
    else:
        change(router)
    if task.options["save"]:
        router.save()
    return router


def _begin(router, seconds):
    try:
        return router.ask("BeginChange", {"Timeout": seconds}, ["Change"])["Change"]
    except Refused as refusal:
        if refusal.code == NO_SUCH_METHOD:
            raise Misused("%s knows no confirmed changes: nothing was changed" % router.client.peer) from refusal
        raise


def _cancel(router, identity):
    try:
        router.ask("CancelChange", {"Change": identity})
    except ObxError:
        pass  # the router takes it back by itself when the time is over


def _confirm(task, identity, end):
    """Confirms over a connection that was made after the change: so it has not locked anybody out."""
    while True:
        try:
            router = task.router()
            router.ask("ConfirmChange", {"Change": identity})
            return router
        except ConnectionFailed as error:
            if time.monotonic() + 1 > end:
                raise ConnectionFailed("after the change: %s; it was not confirmed, so the router takes it back" % error
                                       ) from error
            time.sleep(0.5)
