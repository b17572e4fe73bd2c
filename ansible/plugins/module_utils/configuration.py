"""What can be written on a router, what a file would change there, and making the router be as the file says."""

import re
from collections import namedtuple

from .config_file import rows_of, table_of
from .errors import Refused
from .router import NO_SUCH_NAME
from .values import is_same, is_secret

# What can be written below `path`: {name: value}, {row: None} and {table: whether rows can be added}, in the model's order.
State = namedtuple("State", "path values rows tables")
# A difference: `kind` is "added", "changed" or "removed", `path` as the file says, `name` as the router does: None in rows
# that are to be added.
Change = namedtuple("Change", "kind path name before after")


def taken(router, path):
    """The State of a router below a path."""
    path = "." if path in ("", ".") else path.rstrip(".") + "."
    names = router.listed("GetParameterNames", {"ParameterPath": path, "NextLevel": False}, "Writable")
    values = router.listed("GetParameterValues", {"ParameterNames": [path], "IgnoreAccessError": True})
    state = State(path, {}, {}, {})
    for name, writable in names.items():
        if re.search(r"\.\d+\.$", name):
            state.rows[name] = None
        elif name.endswith("."):
            state.tables[name] = writable
        elif writable and name in values:
            state.values[name] = values[name]
    return state


class Plan:
    """What a Configuration changes on a router in a State. A row of the file is the router's row of the same number; where
    there is none, a row of the same table that has the same values, or the same Alias: rows that were added from a file
    have other numbers than in it. `names` says what rows of the file are called on the router."""

    def __init__(self, configuration, state):
        self.state = state
        self.names = {}
        self.changes = []
        self._tables, self._values = {}, {"": {}}
        for path, text in configuration.entries:
            for row in rows_of(path):
                if row not in self._values:
                    self._values[row] = {}
                    self._tables.setdefault(table_of(row), []).append(row)
            if text is not None:
                self._values[_owner(path)][path] = text
        self._compare("", "")
        if configuration.scope is not None:
            self._remove("" if configuration.scope == "." else configuration.scope)

    def _compare(self, row, there):
        """The changes for a row of the file, "" for what lies in none; `there` is None for a row that is to be added."""
        for path, text in self._values[row].items():
            name = None if there is None else there + path[len(row):]
            before = self.state.values.get(name)
            if name is None and text == "" and is_secret(path):
                continue  # a hidden value, which nobody knows
            if name is None or before is None or not is_same(before, text):
                self.changes.append(Change("changed", path, name, before, text))
        for table, rows in self._tables.items():
            if _owner(table) == row:
                self._match(table, rows, None if there is None else there + table[len(row):])
                for each in rows:
                    if each not in self.names:
                        self.changes.append(Change("added", each, None, None, None))
                    self._compare(each, self.names.get(each))

    def _match(self, table, rows, there):
        free = [row for row in self.state.rows if there and table_of(row) == there]

        def same_number(row, candidate):
            return candidate[len(there):] == row[len(table):]

        def same_values(row, candidate):
            texts = self._values[row]
            return texts and all(is_same(self.state.values.get(candidate + path[len(row):]), text)
                                 for path, text in texts.items())

        def same_alias(row, candidate):
            alias = self._values[row].get(row + "Alias")
            return alias and alias == self.state.values.get(candidate + "Alias")

        for fits in (same_number, same_values, same_alias):
            for row in rows:
                found = [candidate for candidate in free if row not in self.names and fits(row, candidate)]
                if found:
                    self.names[row] = found[0]
                    free.remove(found[0])

    def _remove(self, scope):
        """Rows that the file is all of and does not have; what lies in them goes with them."""
        kept, gone = set(self.names.values()), set()
        for row in self.state.rows:
            if row in kept or row == scope or not row.startswith(scope) or self.state.tables.get(table_of(row)) is False:
                continue
            if _owner(row) not in gone:
                self.changes.append(Change("removed", row, row, None, None))
            gone.add(row)

    def attempt(self, router):
        """Tries the values of rows that are there."""
        texts = {change.name: self._reference(change.after) for change in self.changes
                 if change.kind == "changed" and change.name}
        if texts:
            router.set(texts, dry_run=True)

    def apply(self, router):
        """Adds rows, sets all values in one request, deletes rows. When it is refused, what was done before stays."""
        for change in self.changes:
            if change.kind == "added":
                self.names[change.path] = router.add(self._now(table_of(change.path)))
        texts = {self._now(change.path): self._reference(change.after) for change in self.changes
                 if change.kind == "changed"}
        if texts:
            router.set(texts)
        for change in self.changes:
            if change.kind == "removed":
                try:
                    router.delete(change.name)
                except Refused as refusal:
                    if refusal.code != NO_SUCH_NAME:  # it went with another one
                        raise

    def _now(self, path):
        """What a path of the file is called on the router."""
        for row in reversed(rows_of(path)):
            if row in self.names:
                return self.names[row] + path[len(row):]
        return path

    def _reference(self, text):
        """A value with the rows in it renamed, where it is a list of paths."""
        if not re.match(r"[A-Za-z][\w.-]*\.", text):
            return text
        return re.sub(r"[^,\s]+", lambda path: self._now(path.group() + ".")[:-1], text)


def _owner(path):
    """The innermost row that something lies in, or ""."""
    rows = [row for row in rows_of(path) if row != path]
    return rows[-1] if rows else ""
