"""What modules are run with, wherever they run: their options, the router, and how their errors are told."""

from .errors import ObxError, Refused, Unreachable
from .router import Router
from .settings import CONNECTION, Credentials, router_client


def argument_spec(**own):
    """The options of a module beside those of the connection."""
    return dict(CONNECTION, **own)


class Task:
    """One module's run for one router. `report` takes a line for who waits for a long task."""

    def __init__(self, options, check_mode=False, report=None):
        self.options = options
        self.check_mode = check_mode
        self.report = report or (lambda text: None)
        self.warnings = []
        self.credentials = None
        self._clients = []

    def router(self):
        """A new connection to the router, closed at the end of the task."""
        self.credentials = self.credentials or Credentials(self.options)
        client = router_client(self.options, self.credentials)
        self._clients.append(client)
        return Router(client)

    def secrets(self):
        return self.credentials.secrets() if self.credentials else set()

    def close(self):
        while self._clients:
            self._clients.pop().close()


def perform(run, task):
    """Runs a module to its result, whatever happens to the router."""
    try:
        result = run(task)
    except Unreachable as error:
        result = {"unreachable": True, "msg": str(error)}
    except Refused as refusal:
        reasons = [{"path": path, "code": code, "reason": reason} for path, code, reason in refusal.reasons]
        result = {"failed": True, "msg": str(refusal), "code": refusal.code, "errors": reasons}
    except ObxError as error:
        result = {"failed": True, "msg": str(error)}
    finally:
        task.close()
    if task.warnings:
        result["warnings"] = task.warnings
    return result


def module_main(module, run):
    """Runs a module that Ansible has started as a program of its own."""
    task = Task(module.params, module.check_mode)
    result = perform(run, task)
    module.no_log_values.update(task.secrets())
    if result.pop("unreachable", False) or result.get("failed"):
        module.fail_json(**result)
    module.exit_json(**result)
