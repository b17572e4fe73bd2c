"""A router's model over a client: its requests, by what they are for."""

from .errors import Misused, Refused

NO_SUCH_METHOD = -32601
NO_SUCH_NAME = 9005


class Router:
    """The requests of one connection."""

    def __init__(self, client):
        self.client = client
        self._tries = None

    def values(self, names):
        """{path: value} of parameters, and of all below objects; "*" stands for every instance."""
        names = [name.replace("*", "#template") for name in names]
        if not names:
            return {}
        answer = self.client.call("GetParameterValues", {"ParameterNames": names})
        return {entry["Name"]: entry["Value"] for entry in answer["ParameterList"]}

    def value(self, path):
        """One parameter's value."""
        values = self.values([path])
        if list(values) != [path]:
            raise Misused("%s is no parameter" % path)
        return values[path]

    def select(self, selector):
        """{path: value, or the values below it} of what a selector names."""
        return self.client.call("Select", {"Selector": selector})["Matches"]

    def set(self, texts, dry_run=False):
        """Sets {path: text}, all or none."""
        params = {"ParameterList": [{"Name": path, "Value": text} for path, text in texts.items()]}
        self._change("RawSetParameterValues", params, dry_run)

    def add(self, table):
        """Adds a row to a table, whose path ends in "."; returns the row's."""
        return "%s%d." % (table, self._change("AddObject", {"ObjectName": table}, False)["InstanceNumber"])

    def try_add(self, table, values):
        """The path that a row with these {name: value} would get; refused as add() or set() would be."""
        first = [{"Name": name, "Value": value} for name, value in values.items()]
        answer = self._change("AddObject", {"ObjectName": table, "ParameterList": first}, True)
        return "%s%d." % (table, answer["InstanceNumber"])

    def delete(self, path, dry_run=False):
        self._change("DeleteObject", {"ObjectName": path}, dry_run)

    def save(self):
        self.client.call("SaveConfig")

    def attributes(self, path, level=0):
        """{path: attributes} of a node and, with level 1, of its children."""
        answer = self.client.call("GetParameterAttributes", {"ParameterNames": [path], "Level": level})
        return {entry["Name"]: entry["Attributes"] for entry in answer["ParameterList"]}

    def can_try(self):
        """Whether the daemon knows dry runs. One that does not would do what it is asked to try, so it is asked for
        something else of the same age first: a change that no daemon begins."""
        if self._tries is None:
            try:
                self.client.call("BeginChange", {"Timeout": 0})
                self._tries = False
            except Refused as refusal:
                self._tries = refusal.code != NO_SUCH_METHOD
        return self._tries

    def _change(self, method, params, dry_run):
        if dry_run:
            params["DryRun"] = True
        return self.client.call(method, params)
