"""A router's model over a client: its requests, by what they are for."""

from .errors import Misused, ProtocolBroken, Refused

NO_SUCH_METHOD = -32601
NO_SUCH_NAME = 9005


class Router:
    """The requests of one connection."""

    def __init__(self, client):
        self.client = client
        self._tries = None

    def ask(self, method, params=None, members=(), timeout=None):
        """The result of a request as a dict that has these members; Refused, or ProtocolBroken where it lacks one."""
        result = self.client.call(method, params, timeout)
        if not isinstance(result, dict) or any(result.get(name) is None for name in members):
            raise self._odd(method)
        return result

    def listed(self, method, params, member="Value", timeout=None):
        """{Name: that member} of the ParameterList that a request is answered with."""
        entries = self.ask(method, params, timeout=timeout).get("ParameterList", [])
        try:
            return {entry["Name"]: entry[member] for entry in entries}
        except (KeyError, TypeError) as error:
            raise self._odd(method) from error

    def values(self, names):
        """{path: value} of parameters, and of all below objects; "*" stands for every instance."""
        names = [name.replace("*", "#template") for name in names]
        return self.listed("GetParameterValues", {"ParameterNames": names}) if names else {}

    def value(self, path):
        """One parameter's value."""
        values = self.values([path])
        if list(values) != [path]:
            raise Misused("%s is no parameter" % path)
        return values[path]

    def select(self, selector):
        """{path: value, or the values below it} of what a selector names."""
        return self.ask("Select", {"Selector": selector}, ["Matches"])["Matches"]

    def set(self, texts, dry_run=False):
        """Sets {path: text}, all or none."""
        params = {"ParameterList": [{"Name": path, "Value": text} for path, text in texts.items()]}
        self._change("RawSetParameterValues", params, dry_run)

    def add(self, table):
        """Adds a row to a table, whose path ends in "."; returns the row's."""
        return self._row(table, {"ObjectName": table}, False)

    def try_add(self, table, values):
        """The path that a row with these {name: value} would get; refused as add() or set() would be."""
        first = [{"Name": name, "Value": value} for name, value in values.items()]
        return self._row(table, {"ObjectName": table, "ParameterList": first}, True)

    def delete(self, path, dry_run=False):
        self._change("DeleteObject", {"ObjectName": path}, dry_run)

    def save(self):
        self.ask("SaveConfig")

    def attributes(self, path, level=0):
        """{path: attributes} of a node and, with level 1, of its children."""
        return self.listed("GetParameterAttributes", {"ParameterNames": [path], "Level": level}, "Attributes")

    def can_try(self):
        """Whether the daemon knows dry runs. One that does not would do what it is asked to try, so it is asked for
        something else of the same age first: a change that no daemon begins."""
        if self._tries is None:
            try:
                self.ask("BeginChange", {"Timeout": 0})
                self._tries = False
            except Refused as refusal:
                self._tries = refusal.code != NO_SUCH_METHOD
        return self._tries

    def _row(self, table, params, dry_run):
        return "%s%s." % (table, self._change("AddObject", params, dry_run, ["InstanceNumber"])["InstanceNumber"])

    def _change(self, method, params, dry_run, members=()):
        if dry_run:
            params["DryRun"] = True
        return self.ask(method, params, members)

    def _odd(self, method):
        return ProtocolBroken("%s answered %s with what is no answer to it" % (self.client.peer, method))
