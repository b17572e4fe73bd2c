"""Documents as people have them: other versions, other roots, services, entities, blanks, and what is refused."""

import json
import re

import pytest

import harness
import published
from harness import fault
from published import document, obj, parameter, table

ROOT = obj("Device.", parameter("RootDataModelVersion")) + obj("Device.Services.")


@pytest.fixture
def write(tmp_path):
    """Writes a document; its path."""
    def write_one(text, name="model.xml"):
        path = tmp_path / name
        path.write_bytes(text if isinstance(text, bytes) else text.encode())
        return str(path)
    return write_one


def schema_of(path, *args):
    return dict(published.nodes(published.dump("--model", path, *args)["schema"]))


@pytest.mark.parametrize("version", ["1-0", "1-4", "1-14", "1-99"])
def test_any_version_of_the_format(write, version):
    path = write(document(ROOT, namespace="urn:broadband-forum-org:cwmp:datamodel-" + version))
    assert "Device.RootDataModelVersion" in schema_of(path)


def test_the_namespace_may_be_the_default_one(write):
    text = document(ROOT).replace("dm:document", "document").replace("xmlns:dm=", "xmlns=")
    assert "Device.RootDataModelVersion" in schema_of(write(text))


def test_what_is_unknown_or_foreign_is_passed_over(write):
    body = obj("Device.", '<novelty a="1"><parameter name="Not"/></novelty>'
               + '<x:parameter xmlns:x="urn:x" name="Nor"><syntax/></x:parameter>'
               + parameter("Yes", "<string><colour/><size maxLength='3'/></string>",
                           more='xmlns:x="urn:x" x:status="deleted" dmr:version="9" novel="1"'))
    schema = schema_of(write(document(body + '<profile name="P:1"><object ref="Device." requirement="present"/></profile>')))
    assert {"Device.Not", "Device.Nor"}.isdisjoint(schema)
    assert schema["Device.Yes"]["sizes"] == [{"max": 3}]
    assert "status" not in schema["Device.Yes"]


def test_names_are_trimmed(write):
    body = obj("\n  Device.\n", parameter("\n  Size \t", '<dataType ref=" Small&#9;"/>')) + obj("Device.A. ")
    types = '<dataType name="\n Small "><unsignedInt><range minInclusive=" 1" maxInclusive="5 "/></unsignedInt></dataType>'
    schema = schema_of(write(document(body, types)))
    assert schema["Device.Size"]["type"] == "Small" and schema["Device.Size"]["ranges"] == [{"min": 1, "max": 5}]
    assert "Device.A" in schema


def test_facets_of_the_same_kind_are_replaced_and_bases_are_followed(write):
    types = ('<dataType name="Word"><string><size maxLength="9"/><pattern value="[a-z]*"/></string></dataType>'
             '<dataType name="Short" base="Word"><size maxLength="4"/></dataType>')
    body = obj("Device.", parameter("A", '<dataType ref="Short"/>')
               + parameter("B", '<dataType base="Short"><pattern value="\\d+"/><units value="s"/></dataType>')
               + parameter("C", '<list maxItems="3"><size maxLength="20"/></list><dataType ref="Short"/>'))
    schema = schema_of(write(document(body, types)))
    shared = {key: schema["Device.A"][key] for key in ("sizes", "patterns")}
    assert shared == {"sizes": [{"max": 4}], "patterns": ["[a-z]*"]}
    assert (schema["Device.B"]["sizes"], schema["Device.B"]["patterns"]) == ([{"max": 4}], ["\\d+"])
    assert schema["Device.B"]["units"] == "s"
    assert (schema["Device.C"]["type"], schema["Device.C"]["maxCount"]) == ("Short[]", 3)
    assert (schema["Device.C"]["listSizes"], schema["Device.C"]["sizes"]) == ([{"max": 20}], [{"max": 4}])


@pytest.mark.parametrize("syntax,value", [
    ('<list/><string/><default type="object" value="[]"/>', ""),
    ('<list/><string/><default type="object" value="[a,b]"/>', "a,b"),
    ('<list/><unsignedInt/><default type="factory" value=" [1, 2] "/>', "1, 2"),
    ('<boolean/><default type="object" value="1"/>', True),
    ('<int/><default type="object" value="-5"/>', -5),
    ('<decimal/><default type="object" value="2.5"/>', 2.5),
    ('<string/><default type="object" value="[x]"/>', "[x]"),
    ('<unsignedInt><range minInclusive="1"/></unsignedInt><default type="object" value="0"/>', 0),  # its own default
])
def test_defaults(write, start_obxd, syntax, value):
    client = start_obxd(model=write(document(obj("Device.", parameter("X", syntax, "readWrite"))))).client()
    assert client.get("Device.X") == value
    client.close()


@pytest.mark.parametrize("syntax", [
    "<string/>", "<unsignedInt><range minInclusive='3' maxInclusive='9' step='3'/></unsignedInt>", "<dateTime/>",
    "<string><enumeration value='A' access='readOnly'/><enumeration value='B'/></string>",
    "<string><pattern value='\\d{3}-[a-f]+'/></string>", "<hexBinary><size minLength='4' maxLength='4'/></hexBinary>",
    "<list minItems='2' maxItems='3'/><unsignedInt/>", "<string><size minLength='6'/></string>", "<boolean/>",
])
def test_a_writable_parameter_without_default_gets_a_legal_one(write, start_obxd, syntax):
    client = start_obxd(model=write(document(obj("Device.", parameter("X", syntax, "readWrite"))))).client()
    value = client.get("Device.X")
    assert published.attributes(client, "Device.X", 0)["Device.X"]["default"] == value
    answer = client.request("SetParameterValues", {"ParameterList": [{"Name": "Device.X", "Value": value}]})
    assert "result" in answer, answer
    client.close()


def test_an_ordered_object(write, start_obxd):
    order = parameter("Order", '<dataType ref="Order"/>', "readWrite")
    types = '<dataType name="Order"><unsignedInt><range minInclusive="1"/></unsignedInt></dataType>'
    path = write(document(obj("Device.") + table("Device.Rule.{i}.", order)
                          + table("Device.Plain.{i}.", order.replace('name="Order"', 'name="Place"')), types))
    client = start_obxd(model=path).client()
    for _ in range(3):
        client.call("AddObject", {"ObjectName": "Device.Rule."})
    client.call("SetParameterValues", {"ParameterList": [{"Name": "Device.Rule.3.Order", "Value": 1}]})
    assert [client.get("Device.Rule.%d.Order" % row) for row in (1, 2, 3)] == [2, 3, 1]
    assert "ordered" not in published.attributes(client, "Device.Plain.", 0)["Device.Plain."]
    client.close()


def test_counters_and_keys(write, start_obxd):
    body = (obj("Device.", parameter("HowMany", "<unsignedInt/>"))
            + table("Device.Row.{i}.", '<uniqueKey functional="true"><parameter ref="Name"/></uniqueKey>'
                    + parameter("Enable", '<boolean/><default type="object" value="false"/>', "readWrite")
                    + parameter("Name", '<string/><default type="object" value=""/>', "readWrite"),
                    more='numEntriesParameter=" HowMany" enableParameter="Enable"'))
    client = start_obxd(model=write(document(body))).client()
    for _ in range(2):
        client.call("AddObject", {"ObjectName": "Device.Row."})
    assert client.get("Device.HowMany") == 2
    both = [{"Name": "Device.Row.%d.Name" % row, "Value": "same"} for row in (1, 2)]
    assert "result" in client.request("SetParameterValues", {"ParameterList": both})
    enable = [{"Name": "Device.Row.%d.Enable" % row, "Value": True} for row in (1, 2)]
    assert fault(client.request("SetParameterValues", {"ParameterList": enable}))[0] == 9003
    client.close()


def test_a_page_tells_what_refers_to_the_object(write, start_obxd):
    reference = parameter("Other", "<string><pathRef refType='strong' targetParent='.Row.' targetType='row'/></string>")
    body = obj("Device.", reference) + table("Device.Row.{i}.", parameter("Name") + reference)
    daemon = start_obxd("--rows", "1", model=write(document(body)))
    for path in ("Device.Row.", "Device.Row.1."):
        page = harness.obxc("-r", "lua", "print(ox.page('%s'))" % path, daemon=daemon).out
        assert "\n  Used by   Device.Other\n            Device.Row.{i}.Other\n" in page
    assert "Used by" not in harness.obxc("-r", "lua", "print(ox.page('Device.Other'))", daemon=daemon).out


def test_rows_of_the_top_object_are_any_rows(write, start_obxd):
    parent = parameter("Parent", "<string><pathRef refType='strong' targetParent='.' targetType='row'/></string>"
                       "<default type='object' value=''/>", "readWrite")
    body = obj("Device.") + table("Device.Row.{i}.", parent) + table("Device.Row.{i}.Below.{i}.", parent)
    client = start_obxd("--rows", "2", model=write(document(body))).client()
    client.login()
    for name in ("Device.Row.1.Parent", "Device.Row.2.Below.1.Parent"):
        assert client.get(name) == ""
        assert fault(client.set(name, "Device"))[0] == 9003
        assert "result" in client.set(name, "Device.Row.1.Below.2")
    client.call("DeleteObject", {"ObjectName": "Device.Row.1.Below.2."})
    assert client.get("Device.Row.1.Parent") == client.get("Device.Row.2.Below.1.Parent") == ""
    client.close()


def test_deleted_nodes_on_request_alone(write):
    body = (obj("Device.", parameter("Gone", more='status="deleted"') + parameter("Old", more='status="deprecated"'))
            + obj("Device.Lost.").replace("access=", 'status="deleted" access=') + obj("Device.Lost.Below."))
    path = write(document(body))
    assert {"Device.Gone", "Device.Lost", "Device.Lost.Below"}.isdisjoint(schema_of(path))
    shown = schema_of(path, "--deleted")
    assert {"Device.Gone", "Device.Lost", "Device.Lost.Below"} <= shown.keys()
    assert shown["Device.Gone"]["status"] == "deleted" and shown["Device.Old"]["status"] == "deprecated"


def test_a_long_listing_shows_what_is_deprecated(write, start_obxd):
    body = obj("Device.", parameter("Old", access="readWrite", more='status="deprecated"') + parameter("New"))
    shell = harness.Terminal(daemon=start_obxd(model=write(document(body))))
    shell.prompt()
    listing = [line.split("  ") for line in shell.run("ls -l :Device").splitlines()]
    perms = {line[-1].split()[-1]: [cell.strip() for cell in line if cell.strip()][2] for line in listing}
    assert perms["Old"] == "u/a deprecated" and perms["New"] == "user/-"
    shell.close()


def test_descriptions_are_plain_text(write):
    text = """
      The ''state'' of {{object|#.Host}}, see {{bibref|TR-069|Section 3}} for {{param}}. {{enum}}

      * It is {{empty}}.

      * Or {{true|x}},
        on two lines.
    """
    body = obj("Device.", parameter("State", "<string><enumeration value='Up'/><enumeration value='Down'/></string>")
               .replace("<description>D<", "<description>%s<" % text))
    assert schema_of(write(document(body)))["Device.State"]["description"] == (
        "The state of Host, see [TR-069, Section 3] for State. Enumeration of: Up, Down.\n\n"
        "* It is an empty string.\n* Or true, on two lines.")


def test_an_internet_gateway_device(write, start_obxd):
    body = (obj("InternetGatewayDevice.", parameter("LANDeviceNumberOfEntries", "<unsignedInt/>"))
            + obj("InternetGatewayDevice.DeviceInfo.", parameter("UpTime", "<unsignedInt/>"))
            + table("InternetGatewayDevice.LANDevice.{i}.", parameter("Name", access="readWrite"),
                    more='numEntriesParameter="LANDeviceNumberOfEntries"'))
    service = write(document(table("VoiceService.{i}.", parameter("Alias")), model="VoiceService:2.0"), "voice.xml")
    obxd = start_obxd("--service", service, model=write(document(body, model="InternetGatewayDevice:1.14")))
    client = obxd.client()
    assert client.get("DataModelVersion") == "1.14"
    assert client.call("AddObject", {"ObjectName": "InternetGatewayDevice.LANDevice."}) == {"InstanceNumber": 1}
    assert client.get("InternetGatewayDevice.LANDeviceNumberOfEntries") == 1
    assert "InternetGatewayDevice.Services.VoiceService." in published.attributes(client, ".")
    assert client.get("Device.Users.CurrentUser") == "root"
    client.close()
    shell = harness.Terminal(daemon=obxd)
    shell.prompt()
    assert shell.run("ls :InternetGatewayDevice.LANDevice.1").endswith(".Name")
    shell.close()


def test_an_internet_gateway_device_is_alive(write, start_obxd, tmp_path):
    """What is computed when it is read is so below either root."""
    names = {"DeviceInfo.": ("SoftwareVersion", "string", "9.1"), "DeviceInfo.MemoryStatus.": ("Total", "unsignedInt", 0),
             "Time.": ("CurrentLocalTime", "dateTime", "0001-01-01T00:00:00Z")}
    body = obj("InternetGatewayDevice.") + "".join(
        obj("InternetGatewayDevice." + name, parameter(leaf, "<%s/>" % kind)) for name, (leaf, kind, _) in names.items())
    values = tmp_path / "values.json"
    values.write_text(json.dumps({"InternetGatewayDevice." + name + leaf: value
                                  for name, (leaf, _, value) in names.items()}))
    model = write(document(body, model="InternetGatewayDevice:1.14"))
    client = start_obxd("--values", str(values), model=model).client()
    assert client.get("InternetGatewayDevice.DeviceInfo.MemoryStatus.Total") > 1000
    assert client.get("InternetGatewayDevice.Time.CurrentLocalTime") > "2020"
    assert [client.get(root + "DeviceInfo.SoftwareVersion") for root in ("InternetGatewayDevice.", "Device.")] == ["9.1"] * 2
    client.close()


def test_services_are_mounted(write, start_obxd):
    voice = write(document('<parameter name="VoiceServiceNumberOfEntries" access="readOnly"><syntax><unsignedInt/></syntax>'
                           '</parameter>'
                           + table("VoiceService.{i}.", parameter("Kind", '<dataType ref="Kind"/>'),
                                   more='numEntriesParameter="VoiceServiceNumberOfEntries"')
                           + table("VoiceService.{i}.Line.{i}.", parameter("Other", "<string><pathRef refType='strong' "
                                   "targetParent='#.Line.' targetType='row'/></string>", "readWrite")),
                           '<dataType name="Kind"><string><size maxLength="3"/></string></dataType>',
                           model="VoiceService:2.0"), "voice.xml")
    storage = write(document(table("StorageService.{i}.", parameter("Kind", '<dataType ref="Kind"/>')),
                             '<dataType name="Kind"><unsignedInt/></dataType>', model="StorageService:1.3"), "storage.xml")
    obxd = start_obxd("--service", voice, "--service", storage, model=write(document(ROOT)))
    client = obxd.client()
    client.call("AddObject", {"ObjectName": "Device.Services.VoiceService."})
    assert client.get("Device.Services.VoiceServiceNumberOfEntries") == 1
    rows = published.attributes(client, "Device.Services.")
    assert rows["Device.Services.VoiceService.#template.Kind"]["maxLength"] == 3
    assert "maxLength" not in rows["Device.Services.StorageService.#template.Kind"]
    line = "Device.Services.VoiceService.1.Line."
    for _ in range(2):
        client.call("AddObject", {"ObjectName": line})
    client.call("SetParameterValues", {"ParameterList": [{"Name": line + "2.Other", "Value": line + "1"}]})
    client.close()


def test_what_clients_need_is_there(write, start_obxd):
    obxd = start_obxd(model=write(document(ROOT, model="Device:2.17")))
    client = obxd.client()
    listed = published.attributes(client, ".")
    for name in ("Device.Users.CurrentUser", "Device.Users.SystemAccess", "Device.DeviceInfo.DeviceMode",
                 "Device.DeviceInfo.UpgradeStatus", "Device.DeviceInfo.UpgradeProgress", "Device.System.Debug"):
        assert name in listed
    assert client.get("DataModelVersion") == "2.17" and client.get("Device.Users.SystemAccess") is True
    client.close()
    shell = harness.Terminal(daemon=obxd)
    shell.prompt()
    assert "OK" in shell.run("save")
    shell.close()


def test_commands_with_and_without_parentheses(write, start_obxd):
    ping = ('<command name="IPPing()" async="true"><input>%s%s</input><output>%s</output></command>'
            % (parameter("Host", more='mandatory="true"'), parameter("NumberOfRepetitions", "<unsignedInt/>"),
               parameter("SuccessCount", "<unsignedInt/>")))
    path = write(document(ROOT + obj("Device.IP.") + obj("Device.IP.Diagnostics.", ping)))
    obxd = start_obxd(model=path)
    client = obxd.client()
    listed = published.attributes(client, "Device.IP.")
    assert listed["Device.IP.Diagnostics.IPPing()"] == {"type": "method", "access": "readWrite", "perms": "user/admin",
                                                        "async": True}
    refused = client.request("Execute", {"Path": "Device.IP.Diagnostics.IPPing"})
    assert fault(refused)[0] == 9003 and "Host" in refused["error"]["data"]
    client.close()
    shell = harness.Terminal(daemon=obxd)
    shell.prompt()
    for spelling in ("IPPing()", "IPPing", "ipping"):
        drawn = shell.run("execute :Device.IP.Diagnostics.%s Host=127.0.0.1 NumberOfRepetitions=1" % spelling)
        assert re.search("SuccessCount += 1\n", drawn), drawn
    shell.close()


def test_mandatory_arguments_are_named(write, start_obxd):
    """Those of the call, and those of every object and row of arguments of which something is given."""
    must = 'mandatory="true"'
    rows = '<object name="%s" minEntries="%d" maxEntries="unbounded">%s</object>'
    body = obj("Device.", '<command name="Do()"><input>%s%s%s%s%s</input></command>' % (
        parameter("Host", more=must), rows % ("Window.{i}.", 1, parameter("Mode", more=must) + parameter("Extra")),
        rows % ("Class.{i}.", 0, parameter("Number", more=must) + parameter("Extra")),
        rows % ("Class.{i}.Channel.{i}.", 0, parameter("Number", more=must)),
        obj("Restart.", parameter("Enable", more=must) + parameter("Extra")).replace('access="readOnly"', "")))
    client = start_obxd(model=write(document(body))).client()

    def missing(*given):
        arguments = [{"Name": name, "Value": ""} for name in given]
        error = client.request("Execute", {"Path": "Device.Do", "ParameterList": arguments})["error"]
        return set(error["data"]) - {"Detail"}
    assert missing() == {"Host", "Window.1.Mode"}
    assert missing("Host", "Window.4.Extra", "Window.5.Mode") == {"Window.4.Mode"}
    assert missing("Host", "Window.1.Mode", "Class.2.Extra", "Restart.Extra") == {"Class.2.Number", "Restart.Enable"}
    nested = missing("Host", "Window.1.Mode", "Class.2.Number", "Class.3.Channel.1.Number")
    assert nested == {"Class.3.Number"}
    assert missing("Host", "Window.1.Mode", "Class.2.Number", "Restart.Enable") == set()
    client.close()


def test_events_are_kept(write):
    event = '<event name="Boot!">%s<object name="Part.{i}." minEntries="0" maxEntries="unbounded">%s</object></event>'
    schema = published.dump("--model", write(document(obj("Device.", event % (parameter("Cause"), parameter("N"))))))
    boot = schema["schema"]["Device"]["#events"]["Boot!"]
    assert boot["Cause"]["type"] == "string" and boot["Part"]["#attr"]["multi"] and boot["Part"]["N"]["type"] == "string"


def test_entities_of_the_document_are_read(write):
    head = '<!DOCTYPE x [<!ENTITY who "Forum"><!ENTITY name "Name&#x41;">]>\n'
    body = obj("Device.", parameter("&name;").replace("<description>D<", "<description>The &who; &amp; co<"))
    schema = schema_of(write(document(body, head=head)))
    assert schema["Device.NameA"]["description"] == "The Forum & co"


def test_nothing_outside_of_the_document_is_read(write, tmp_path):
    secret = tmp_path / "secret"
    secret.write_text("SECRET")
    head = '<!DOCTYPE x SYSTEM "file://%s" [<!ENTITY out SYSTEM "file://%s">]>\n' % (secret, secret)
    body = obj("Device.", parameter("A").replace("<description>D<", "<description>It is &out; here<"))
    description = schema_of(write(document(body, head=head)))["Device.A"]["description"]
    assert "SECRET" not in description and description.startswith("It is")


@pytest.mark.parametrize("entities,use", [
    (['<!ENTITY a0 "lollollollol">'] + ['<!ENTITY a%d "%s">' % (n, ("&a%d;" % (n - 1)) * 10) for n in range(1, 10)], "&a9;"),
    (['<!ENTITY a "%s">' % ("x" * 100000)], "&a;" * 1000),
])
def test_entities_cannot_grow_without_end(write, entities, use):
    head = "<!DOCTYPE x [%s]>\n" % "".join(entities)
    body = obj("Device.", parameter("A").replace("<description>D<", "<description>%s<" % use))
    line = published.refusal(write(document(body, head=head)))
    assert line.startswith("model.xml:") and ("amplification" in line or "entities expand" in line)


BROKEN = [
    (document(ROOT).replace("</model>", ""), "model.xml:9: mismatched tag"),
    ("<a>", "model.xml:1: "),
    ("<document/>", 'model.xml:1: is no data model document: "document" in no namespace'),
    (document(ROOT).replace("cwmp:datamodel-1-14", "other"),
     'model.xml:2: is no data model document: "document" of "urn:broadband-forum-org:other"'),
    (document(ROOT).replace("<model", "<import file='tr-181.xml' spec='x'/><model"),
     'model.xml:3: is not flattened: it imports "tr-181.xml"; the "full" document is needed'),
    (document('<component ref="_X"/>'), 'model.xml:4: is not flattened: it uses component "_X"; the "full" document is needed'),
    (document(ROOT).replace('name="Device:2.99"', 'name="Device:2.99" base="Device:2.98"'),
     'model.xml:3: is not flattened: its model is based on "Device:2.98"; the "full" document is needed'),
    (document('<object base="Device.A."/>'),
     'model.xml:4: is not flattened: object "Device.A." is elsewhere; the "full" document is needed'),
    (document(obj("Device.", '\n<parameter base="X"/>')),
     'model.xml:5: is not flattened: parameter "X" is elsewhere; the "full" document is needed'),
    (document(obj("Device.", "\n" + parameter("A", '<dataType ref="No"/>'))), 'model.xml:5: A: there is no data type "No"'),
    (document(obj("Device.", parameter("A") + parameter("A"))), 'model.xml:5: A: "A" stands twice'),
    (document(ROOT + obj("Device.")), 'model.xml:7: "Device." stands twice'),
    (document(obj("Device..A.")), 'model.xml:4: bad name "Device..A."'),
    (document(obj("Device.") + obj("Device.X}.A.")), 'model.xml:5: bad name "X}"'),
    (document(obj("Device.", parameter("Users"))), 'model.xml:4: "Users" stands twice'),
    (document(obj("Device.", "<parameter/>")), "model.xml:4: parameter without a name"),
    (document(obj("Device.", parameter("A", "<string><pattern value='['/></string>"))), "model.xml:4: A: "),
    (document(obj("Device.", parameter("A", "<int><range minInclusive='x'/></int>"))), 'model.xml:4: A: "x" is no integer'),
    (document(ROOT).replace("<model", "<!--").replace("</model>", "-->"), "model.xml:9: holds no model"),
]


@pytest.mark.parametrize("text,line", BROKEN, ids=[line for _, line in BROKEN])
def test_what_is_wrong_is_told_with_its_line(write, text, line):
    assert published.refusal(write(text)).startswith(line)


def test_a_service_alone_and_in_a_json_model(write):
    voice = write(document(table("VoiceService.{i}.", parameter("Kind")), model="VoiceService:2.0"), "voice.xml")
    assert "Device.Services.VoiceService.Kind" in schema_of(voice)
    router = write('{"schema": {}}', "model.json")
    assert published.refusal(router, "--service", voice) == \
        "model.json: services are mounted into a model in XML alone"
