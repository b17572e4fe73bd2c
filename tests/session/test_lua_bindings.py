"""The bindings of Lua: reasons, time-outs, methods of objects, handlers of events, coroutines, and our modules."""

import json
import os
import threading
import time

import pytest

import harness
from harness import ScriptedDaemon


@pytest.fixture
def run_as_root(directory, tree_modules):
    """A function that runs a script on a daemon, as root and with the modules of this tree; returns its lines."""

    def run_script(daemon, text, *words, options=("-a", "root")):
        path = os.path.join(directory, "script.lua")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        done = harness.obxc(*options, "-S", path, *words, daemon=daemon)
        assert done.err == ""
        return done.out.replace(path, "SCRIPT").splitlines()
    return run_script


CLASH = ("Invalid arguments: nothing was set: %s.ExternalPort: "
         "has the same RemoteHost, ExternalPort, Protocol as TAKEN.")


def test_a_failure_names_the_first_reason(obxd, run_as_root):
    lines = run_as_root(obxd, """
local root = "Device.NAT.PortMapping."
local taken, other = ox.add(root, {ExternalPort = 48080}), ox.add(root, {ExternalPort = 48081})
local values = {ExternalPort = 48080}
local function show(message)
  message = tostring(message):gsub(root .. taken, "TAKEN"):gsub(root .. other, "OTHER"):gsub(root .. "%d+", "NEW")
  print(message)
end
show((select(2, ox.set(root .. other .. ".", values))))
show((select(2, ox.add(root, values))))
ox.strict = true
show((select(2, pcall(ox.set, root .. other .. ".", values))))
show((select(2, pcall(function() ox.object(root)[other] = values end))))
show((select(2, ox.try(ox.set, root .. other .. ".", values))))
print(select(2, pcall(ox.exec, "Device.IP.Diagnostics.IPPing", {Hos = "x"})))
""")
    assert lines[:2] == [CLASH % "OTHER", CLASH % "NEW"]
    assert lines[2] == "[9003] " + CLASH % "OTHER"
    assert lines[3].endswith(": [9003] " + CLASH % "OTHER")
    assert lines[4] == CLASH % "OTHER"
    assert lines[5].endswith("was not called: Hos: there is no such argument")


def test_reasons_of_other_daemons(scripted, run_as_root):
    answers = iter([{"A": "is bad", "B": "too"}, {"Detail": "why", "A": 7}, {"A": {"code": 1}}, {}, None])
    daemon = scripted(lambda request, connection: ScriptedDaemon.error(9003, "No", next(answers))
                      if request["method"] == "SetParameterValues" else ScriptedDaemon.result({}))
    lines = run_as_root(daemon, "for i = 1, 5 do print((select(2, ox.set('A', 1)))) end", options=())
    assert lines == ["No: A: is bad", "No: why", "No", "No", "No"]


def test_try_gives_failures_as_values(shared_obxd, run_as_root):
    lines = run_as_root(shared_obxd, """
ox.strict = true
print(ox.try(ox.get, "Device.NoSuchThing"))
print(ox.try(function(...) return ... end, 1, nil, 3))
print((select(3, ox.try(function() return ox.object("Device.").WiFi.Radio[1].Stats:Reset{Wrong = 1} end))))
print(pcall(ox.try, error, "mine", 0))
print(pcall(ox.try, error))
print(pcall(function() ox.try() end))
print(coroutine.wrap(function() return ox.try(coroutine.yield, "through") end)())
""")
    assert lines[0].startswith("nil\tInvalid parameter name") and "\t9005\t" in lines[0]
    assert lines[1:] == ["1\tnil\t3", "9003", "false\tmine", "false\tnil",
                         "false\tSCRIPT:8: bad argument #1 to 'try' (value expected)", "through"]


# Answers to GetParameterValues come after as many seconds as the path says: "Slow.0.5".
@pytest.fixture
def slow_values(scripted):
    def answer(request, connection):
        if request["method"] != "GetParameterValues":
            return ScriptedDaemon.result({})
        name = request["params"]["ParameterNames"][0]
        time.sleep(float(name[len("Slow."):]))
        return ScriptedDaemon.result({"ParameterList": [{"Name": name, "Value": "came"}]})
    return scripted(answer)


@pytest.mark.parametrize("options, path, expected", [
    (["-t", "1"], "Slow.4.5", "nil\t-11"),
    (["--timeout", "60"], "Slow.5.5", "came\tnil"),
    (["-g", "7"], "Slow.1.5", "came\tnil"),
])
def test_the_time_out_reaches_scripts(slow_values, run_as_root, options, path, expected):
    lines = run_as_root(slow_values, "local value, _, code = ox.get(...) print(value, code)", path, options=options)
    assert lines == [expected]


def test_a_time_out_for_each_call(slow_values, run_as_root):
    lines = run_as_root(slow_values, """
local function show(value, _, code) print(value, code) end
show(ox.get("Slow.1", {timeout = 0.2}))
show(ox.get("Slow.0.5"))
ox.timeout = 0.2
show(ox.get("Slow.1"))
show(ox.get("Slow.0.5", {timeout = math.huge}))
ox.timeout = nil
show(ox.get("Slow.0.5"))
for _, wrong in ipairs{0, -1, "1", 0/0} do
  ox.timeout = wrong
  print(select(2, pcall(ox.get, "Slow.0")))
end
ox.timeout = nil
print(select(2, pcall(function() ox.get("Slow.0", {timeout = 0}) end)))
print(select(2, pcall(function() ox.get("Slow.0", {timout = 1}) end)))
local options = {timeout = 3}
for i, call in ipairs{{ox.set, "A", 1}, {ox.set, {A = 1}}, {ox.add, "A.", {}}, {ox.add, "A.", nil}, {ox.del, "A."},
                      {ox.names, "A."}, {ox.names, "A.", true}, {ox.attrs, "A"}, {ox.config, "A."}, {ox.select, "A."},
                      {ox.exec, "A", {}}, {ox.exec, "A", nil}, {ox.call, "Any", {}}, {ox.call, "Any", nil}} do
  local count = ({[4] = 3, [12] = 3, [14] = 3})[i] or #call
  call[count + 1] = options
  assert(pcall(table.unpack(call, 1, count + 1)), i)
  call[count + 1] = {wrong = 1}
  local ok, message = pcall(table.unpack(call, 1, count + 1))
  assert(not ok and message:find("unknown option 'wrong'", 1, true), i)
end
""", options=())
    assert lines[:5] == ["nil\t-11", "came\tnil", "nil\t-11", "came\tnil", "came\tnil"]
    assert lines[5:9] == ["ox.timeout: a number of seconds above 0 expected"] * 4
    assert lines[9].endswith("bad argument #2 to 'get' (a timeout is a number of seconds above 0)")
    assert lines[10].endswith("bad argument #2 to 'get' (unknown option 'timout')")
    assert len(lines) == 11


def test_methods_of_objects(obxd, run_as_root):
    lines = run_as_root(obxd, """
local dev = ox.object("Device.")
local ping = {Host = "127.0.0.1", NumberOfRepetitions = 1}
print(type(dev.IP.Diagnostics:IPPing(ping)), type(dev.IP.Diagnostics.IPPing(ping)))
print(type(dev.WiFi.Radio[1].Stats:Reset()), type(dev.WiFi.Radio[1].Stats.Reset()))
print(pcall(function() dev.IP.Diagnostics.IPPing(dev.WiFi) end))
print(pcall(function() dev.IP.Diagnostics:IPPing("127.0.0.1") end))
print(pcall(function() dev.IP.Diagnostics:IPPing{Hos = "x"} end))
print(pcall(function() dev.IP.Diagnostics.IPPing{Hos = "x"} end))
print(pcall(function() return dev.NoSuch end))
print(select("#", ox.exec("Device.IP.Diagnostics.IPPing", {Hos = "x"})))
""")
    assert lines[:2] == ["table\ttable"] * 2
    assert lines[2].endswith("bad argument #1 to 'IPPing' (a table of arguments expected, not an object of ox.object)")
    assert "table expected, got string" in lines[3]
    assert lines[4].startswith("false\t") and "[9003] " in lines[4] and "Hos: there is no such argument" in lines[4]
    assert lines[5].startswith("false\t") and "[9003] " in lines[5]
    assert lines[6:] == ["true\tnil", "4"]


def test_what_tab_offers_of_an_object_works(obxd, terminal):
    session = terminal("-a", "root", daemon=obxd)
    session.prompt()
    session.send("lua\r")
    session.wait_line(r"\S*obxc-lua:\S*>")
    session.send('radio = ox.object("Device.WiFi.Radio.1.")\r')
    session.wait_line(r"\S*obxc-lua:\S*>")
    session.send("type(radio.Stats:Res\t")
    session.wait_for(r"radio\.Stats:Reset")
    session.send("{})\r")
    session.wait_for(r'_\[1\] = "table"')


def test_several_functions_for_a_group(obxd, run_as_root):
    lines = run_as_root(obxd, """
local log = {}
local function first() log[#log + 1] = "first" end
local function third() log[#log + 1] = "third" end
local function second() log[#log + 1] = "second" ox.off(4, second) ox.on(4, third) end
local function change() ox.add("Device.NAT.PortMapping.") ox.wait(0.2) print(table.concat(log, " ")) log = {} end
print(ox.on(4, first), ox.on(4, function() ox.off(4, first) log[#log + 1] = "once" end))
change()
ox.on(4, third) ox.on(4, third)
change()
ox.on(4, nil)
change()
ox.on(4, third) ox.off(4, print)
change()
ox.off(4)
change()
print(pcall(ox.off, 0), pcall(ox.off, 4, "x"))
""")
    assert lines[:6] == ["true\ttrue", "first once", "once third", "", "third", ""]
    assert lines[6].startswith("false\tfalse\t")


def test_coroutines_wait_side_by_side(obxd, run_as_root):
    lines = run_as_root(obxd, """
local log, start = {}, ox.now()
local function steps(name, pause)
  return function() for i = 1, 3 do log[#log + 1] = name pause(0.3) end end
end
local tasks = {steps("a", ox.wait), steps("b", ox.sleep), function() ox.run(steps("c", ox.wait)) end}
for i = 4, 30 do tasks[i] = steps("d", i % 2 == 0 and ox.wait or ox.sleep) end
ox.run(table.unpack(tasks))
print(table.concat(log):sub(1, 4), #log, ox.now() - start < 13)  -- 27 one after the other

-- resumed by hand
log, start = {}, ox.now()
local one, two = coroutine.create(steps("a", ox.wait)), coroutine.create(steps("b", ox.wait))
local cpu = os.clock()
while coroutine.status(one) ~= "dead" or coroutine.status(two) ~= "dead" do
  coroutine.resume(one) coroutine.resume(two)
end
print(table.concat(log):sub(1, 2), #log, os.clock() - cpu < (ox.now() - start) / 3)

-- an iterator gives its values only
for value in coroutine.wrap(function() for i = 1, 3 do ox.wait(0.05) coroutine.yield(i) end end) do io.write(value, " ") end
print()

-- events and predicates reach the one that waits for them
local added
ox.on(4, function(change) added = change.InstanceNumber end)
local number
ox.run(function() print("seen", ox.wait(function() return added end, 10) == number) end,
       function() ox.sleep(0.2) number = ox.add("Device.NAT.PortMapping.") end)
local wait = require "ombrix.wait"
start = ox.now()
local function never() return (select(2, wait.wait_until("Device.DeviceInfo.UpTime", -1, 0.5))) end
local told = {}
local function tell() local answer = never() told[#told + 1] = answer end
for i = 1, 30 do tasks[i] = tell end
ox.run(table.unpack(tasks))
print(#told, told[30], ox.now() - start < 7)  -- 15 one after the other
print(pcall(ox.run, function() error("of a task", 0) end))
print(pcall(function() ox.run(1) end))
ox.run()
""")
    assert lines[0] == "abcd\t90\ttrue"
    assert lines[1] == "ab\t6\ttrue"
    assert lines[2:] == ["1 2 3 ", "seen\ttrue", "30\ttime-out\ttrue", "false\tof a task",
                         "false\tSCRIPT:39: bad argument #1 to 'run' (function expected, got number)"]


def test_ctrl_c_leaves_coroutines_that_wait(shell):
    for statement in ("ox.run(function() ox.wait(60) end, function() ox.sleep(60) end)",
                      "local c = coroutine.create(ox.wait) while true do coroutine.resume(c, 60) end"):
        shell.send("lua %s\r" % statement)
        shell.settle(0.5)
        shell.interrupt()
        shell.prompt()
    assert shell.run("lua print(1)").endswith("\n1")


def test_wait_until_rides_over_a_restart(obxd, run_as_root):
    def restart():
        time.sleep(1)
        obxd.kill()
        time.sleep(1)
        obxd.start()
        time.sleep(0.5)
        client = obxd.client()
        client.login()
        client.set("Device.System.Contact", "back")
    thread = threading.Thread(target=restart)
    thread.start()
    lines = run_as_root(obxd, """
local wait = require "ombrix.wait"
print(wait.wait_until("Device.System.Contact", "back", 30))
ox.strict = true
print(wait.wait_until("Device.NoSuchThing", 1, 5))
print(wait.wait_until("Device.System.Contact", "never", 0.2))
print(wait.wait_until("Device.System.Contact", "back", 0))
""")
    thread.join()
    assert lines[0] == "back"
    assert lines[1].startswith("nil\tInvalid parameter name") and lines[1].endswith("\t9005")
    assert lines[2:] == ["nil\ttime-out\t-11", "back"]


def test_wait_until_ends_in_time_on_a_frozen_daemon(scripted, run_as_root):
    daemon = scripted(lambda request, connection: None if request["method"] == "GetParameterValues"
                      else ScriptedDaemon.result({}))
    lines = run_as_root(daemon, 'print(require("ombrix.wait").wait_until("A.B", 1, 1.5))', options=("-t", "1000"))
    assert lines == ["nil\ttime-out\t-11"]


SNAPSHOT = """
local snapshot = require "ombrix.snapshot"
ox.strict = arg[1] == "strict"
local function tell(undo, left, code)
  print(type(undo), code or "")
  if type(left) ~= "table" then print(left) return end
  local paths = {}
  for path, why in pairs(left) do paths[#paths + 1] = path .. ": " .. why end
  table.sort(paths)
  for _, line in ipairs(paths) do print(line) end
end
"""


@pytest.mark.parametrize("strict", ["strict", "lenient"])
def test_a_snapshot_renames_references(obxd, run_as_root, strict):
    lines = run_as_root(obxd, SNAPSHOT + """
local before = snapshot.take("Device.")
ox.set("Device.IP.Interface.2.Alias", "Device.IP.Interface.2")
before = snapshot.take("Device.")
ox.del("Device.IP.Interface.2.")
tell(snapshot.apply(before))
local after = snapshot.take("Device.")
for _, name in ipairs(snapshot.diff(before, after).added) do print("+" .. name) end
print(ox.get("Device.Routing.Router.1.IPv4Forwarding.3.Interface", "Device.IP.Interface.5.Alias",
             "Device.DHCPv4.Server.Pool.3.Interface"))
print(snapshot.apply(snapshot.take("Device.")) ~= nil)
""", strict)
    left = [line for line in lines if line.endswith(": gone from a read-only table")]
    assert len(left) == 8 and all(line.startswith("Device.DHCPv4.Server.Pool.1.Client.") for line in left)
    lines = [line for line in lines if line not in left]
    assert lines[0] == "function\t"
    assert "+Device.IP.Interface.5." in lines and "+Device.DHCPv4.Server.Pool.3." in lines
    assert lines[-2] == "Device.IP.Interface.5\tDevice.IP.Interface.2\tDevice.IP.Interface.5"
    assert lines[-1] == "true"


def test_a_snapshot_restores_an_order_and_a_key_that_was_taken(obxd, run_as_root):
    lines = run_as_root(obxd, SNAPSHOT + """
local rules = "Device.Firewall.Chain.1.Rule."
local before = snapshot.take(rules)
local function order()
  local names = {}
  for _, name in ipairs(ox.names(rules)) do names[ox.get(name .. "Order")] = ox.get(name .. "Alias") end
  return table.concat(names, " ")
end
local was = order()
ox.del(rules .. "3.")
ox.set(rules .. "8.Order", 1)
ox.set(rules .. "2.Order", 5)
ox.add(rules)
print(order() == was)
tell(snapshot.apply(before))
print(order() == was)

local mappings = "Device.NAT.PortMapping."
local number = ox.add(mappings, {ExternalPort = 48080, Description = "old"})
before = snapshot.take(mappings)
ox.del(mappings .. number .. ".")
ox.add(mappings, {ExternalPort = 48080, Description = "new"})
tell(snapshot.apply(before))
local found = ox.select("Device.NAT.PortMapping.[ExternalPort==48080]")
for _, mapping in pairs(found) do print(mapping.Description) end
""")
    assert lines == ["false", "function\t", "true", "function\t", "old"]


@pytest.mark.parametrize("strict", ["strict", "lenient"])
def test_a_snapshot_that_cannot_be_applied_changes_nothing(obxd, run_as_root, strict):
    lines = run_as_root(obxd, SNAPSHOT + """
local mappings = "Device.NAT.PortMapping."
local before = snapshot.take(mappings)
ox.del(mappings .. "1.")
ox.set(mappings .. "2.Description", "changed")
ox.add(mappings, {ExternalPort = 48080})
-- Numbers that were handed out are gone, whatever happens.
local function config() return (ox.json.encode(ox.config(mappings)):gsub('"max_instance":%d+', "")) end
local now = config()
before.values[mappings .. "2.ExternalPort"] = 70000
tell(snapshot.apply(before))
print(config() == now)
""", strict)
    assert lines[0] == "nil\t9003"
    assert "Device.NAT.PortMapping.2.ExternalPort: must be" in lines[1]
    assert lines[2] == "true"


def test_a_snapshot_leaves_read_only_tables_and_hidden_values_alone(obxd, run_as_root):
    lines = run_as_root(obxd, SNAPSHOT + """
local hosts = snapshot.take("Device.Hosts.")
local number
for name in pairs(hosts.instances) do number = number or name:match("^Device%.Hosts%.Host%.(%d+)%.$") end
-- As though one host had gone, and another had come.
local path = "Device.Hosts.Host." .. number .. "."
hosts.instances["Device.Hosts.Host.4711."] = hosts.instances[path]
for name in pairs(hosts.instances) do if name:sub(1, #path) == path then hosts.instances[name] = nil end end
tell(snapshot.apply(hosts))
local same = snapshot.take("Device.Hosts.Host.")
same.instances["Device.Hosts.Host.4711."] = 1
tell(snapshot.apply(same))

local users = "Device.Users.User."
local user = ox.add(users, {Username = "joe", Password = "secret", UserID = 4711})
local before = snapshot.take(users)
ox.set(users .. user .. ".Password", "other")
tell(snapshot.apply(before))
ox.del(users .. user .. ".")
tell(snapshot.apply(before))
print(ox.get(users .. (user + 1) .. ".Username"))
""")
    new = [line for line in lines if line.endswith(": new in a read-only table")]
    assert len(new) == 1 and new[0].startswith("Device.Hosts.Host.")
    lines.remove(new[0])
    assert lines[:4] == ["function\t", "Device.Hosts.Host.4711.: gone from a read-only table"] * 2
    assert lines[4:6] == ["function\t", "function\t"]
    assert lines[6].startswith("Device.Users.User.") and lines[6].endswith(".Password: a hidden value is not known")
    assert lines[7:] == ["joe"]


def test_a_snapshot_of_what_a_user_may_read(obxd, run_as_root):
    assert run_as_root(obxd, SNAPSHOT + """
local before = assert(snapshot.take("Device."))
print(before.values["Device.System.SupportKey"], before.values["Device.System.Contact"] ~= nil)
ox.set("Device.System.Contact", "changed")
tell(snapshot.apply(before))
print(ox.get("Device.System.Contact") == before.values["Device.System.Contact"])
""", options=("-a", "user:user")) == ["nil\ttrue", "function\t", "true"]


def test_a_snapshot_restores_an_order_that_no_parameter_shows(directory, run_as_root):
    def table(**more):
        return {"#attr": dict(more, multi=True, access="readWrite"),
                "Name": {"type": "string", "access": "readWrite", "default": ""}}
    model = os.path.join(directory, "model.json")
    with open(model, "w", encoding="utf-8") as file:
        json.dump({"schema": {"Device": {"Rule": table(ordered=True), "Plain": table()}}, "values": {}}, file)
    daemon = harness.Obxd(model=model)
    try:
        assert run_as_root(daemon, SNAPSHOT + """
for _, name in ipairs{"a", "b", "c", "d"} do
  ox.add("Device.Rule.", {Name = name})
  ox.add("Device.Plain.", {Name = name})
end
ox.set("Device.Rule.4.index", 1)
local before = snapshot.take("Device.")
local function order(path)
  local names = {}
  for i, name in ipairs(ox.names(path)) do names[ox.get(name .. "order") or i] = ox.get(name .. "Name") end
  return table.concat(names)
end
print(order("Device.Rule."), order("Device.Plain."))
ox.del("Device.Rule.1.") ox.del("Device.Plain.2.") ox.set("Device.Rule.3.index", 1)
ox.add("Device.Rule.", {Name = "new"})
print(order("Device.Rule."))
tell(snapshot.apply(before))
print(order("Device.Rule."), order("Device.Plain."))
""") == ["dabc\tabcd", "cdbnew", "function\t", "dabc\tacdb"]
    finally:
        daemon.close()


def test_a_snapshot_renames_references_in_lists(obxd, run_as_root):
    assert run_as_root(obxd, SNAPSHOT + """
local link
for _, name in ipairs(ox.names("Device.Ethernet.Link.")) do
  if ox.get("Device.IP.Interface.1.LowerLayers"):find(name:sub(1, -2), 1, true) then link = name end
end
ox.set("Device.IP.Interface.1.LowerLayers", "Device.Ethernet.Interface.1," .. link:sub(1, -2))
local before = snapshot.take(".")
ox.del(link)
print(ox.get("Device.IP.Interface.1.LowerLayers"))
local number = ox.add("Device.Ethernet.Link.")
ox.del("Device.Ethernet.Link." .. number .. ".")
tell(snapshot.apply(before))
print(ox.get("Device.IP.Interface.1.LowerLayers") == "Device.Ethernet.Interface.1,Device.Ethernet.Link." .. number + 1)
""") == ["Device.Ethernet.Interface.1", "function\t", "true"]


def test_a_snapshot_of_a_full_table(obxd, run_as_root):
    assert run_as_root(obxd, SNAPSHOT + """
local mappings, last = "Device.NAT.PortMapping."
repeat
  local number = ox.add(mappings, {ExternalPort = 48000 + #ox.object(mappings), Description = "filler"})
  last = number or last
until not number
local before = snapshot.take(mappings)
local count = #ox.object(mappings)
ox.del(mappings .. last .. ".")
ox.add(mappings, {Description = "other"})
tell(snapshot.apply(before))
print(#ox.object(mappings) == count, #select(2, ox.select("Device.NAT.PortMapping.[Description=='other']")))
""") == ["function\t", "true\t0"]
