"""The options of the connection, from a task or a lookup and from the host's variables."""

from ansible_collections.ombrix.obx.plugins.module_utils.settings import CONNECTION, VARIABLE


def with_variables(given, variables, templar):
    """The given options, and those of the host where none is given."""
    options = dict(given)
    for name in CONNECTION:
        value = variables.get(VARIABLE % name)
        if options.get(name) is None and value is not None:
            options[name] = templar.template(value)
    if not options.get("address"):
        options["address"] = templar.template(variables.get("ansible_host") or variables.get("inventory_hostname"))
    return options
