"""Options of the modules that change configuration."""


class ModuleDocFragment:
    DOCUMENTATION = r"""
options:
  confirm_within:
    description:
      - The router takes the change back by itself unless it is confirmed within so many seconds, 1 to 3600. The module
        confirms it over a new connection, so a change that locks everybody out is undone, also when the router restarts
        meanwhile.
      - A router that knows no confirmed changes is left as it is, and the task fails.
    type: int
  save:
    description:
      - Whether the configuration is saved after a change. What is not saved is lost when the router restarts.
    type: bool
    default: false
"""
