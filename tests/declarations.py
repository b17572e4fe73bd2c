"""What C++ sources declare and define: as much of the language as this tree is written in."""

import re

# Specifiers that may stand before a declaration and say nothing about its name.
NOISE = re.compile(r"\[\[[^\]]*\]\]|__attribute__\s*\(\(.*?\)\)|\balignas\s*\([^)]*\)")
RECORD = re.compile(r"^(?:template\s*<.*>\s*)?(?:struct|class|union)\s+(\w+)[^()=;]*$", re.S)
NAMED_SCOPE = re.compile(r'^(?:inline\s+)?namespace\b[^=]*$|^extern\s+""\s*$', re.S)
FUNCTION = re.compile(r"((?:\w+\s*::\s*)*(?:~\s*)?(?:operator\s*[^\s(\w]+|operator\s+[\w:]+|\w+))\s*\(")
NO_NAMES = {"decltype", "sizeof", "noexcept", "return", "if", "while", "for", "switch"}


def bare(text):
    """The text without comments, literals' contents and preprocessor lines."""
    text = re.sub(r"\\\n", " ", text)
    text = re.sub(r'R"(\w*)\(.*?\)\1"', '""', text, flags=re.S)
    keep = r'"(?:\\.|[^"\\\n])*"|(?<![0-9a-fA-F])\'(?:\\.|[^\'\\\n])*\''
    text = re.sub(r"//[^\n]*|/\*.*?\*/|" + keep, lambda m: '""' if m.group(0)[0] in "\"'" else " ", text, flags=re.S)
    return re.sub(r"(?m)^[ \t]*#.*$", "", text)


def statements(text):
    """(head, body) of each statement at the outermost level; body is None where a ";" ends it."""
    start = at = 0
    depth = 0
    while at < len(text):
        char = text[at]
        if char in "([":
            depth += 1
        elif char in ")]":
            depth -= 1
        elif char == ";" and depth == 0:
            yield text[start:at].strip(), None
            start = at + 1
        elif char == "{" and depth == 0:
            end, level = at + 1, 1
            while end < len(text) and level:
                level += {"{": 1, "}": -1}.get(text[end], 0)
                end += 1
            yield text[start:at].strip(), text[at + 1:end - 1]
            start, at = end, end - 1
        at += 1


def function_name(head):
    """The name of the function that a head declares, or None: variables, types, pointers to functions."""
    head = NOISE.sub(" ", head).strip()
    if re.match(r"(typedef|using|static_assert|friend|enum|namespace)\b", head):
        return None
    for found in FUNCTION.finditer(head):
        before = head[:found.start()]
        if before.count("<") > before.count(">"):  # std::function<void()> and the like
            continue
        name = re.sub(r"\s+", "", found.group(1))
        if "=" in before or re.match(r"\s*\*", head[found.end():]) or name in NO_NAMES:
            return None
        return "::".join(name.split("::")[-2:])
    return None


def names(text, scope=""):
    """(declared, defined): names of functions and of extern variables; members carry their type in front."""
    declared, defined = set(), set()
    for head, body in statements(bare(text) if not scope else text):
        head = re.sub(r"^(?:(?:public|private|protected)\s*:\s*)+", "", head)
        if body is not None and NAMED_SCOPE.match(head):
            below = names(body, scope or "::")
            declared |= below[0]
            defined |= below[1]
            continue
        record = RECORD.match(NOISE.sub(" ", head)) if body is not None else None
        if record:
            if not head.startswith("template"):
                below = names(body, record.group(1))
                declared |= below[0]
                defined |= below[1]
            continue
        member = scope + "::" if scope not in ("", "::") else ""
        name = function_name(head)
        if name and body is not None or name and re.search(r"\)[^()]*=\s*(0|default|delete)$", head):
            defined.add(member + name)
        elif name and not head.startswith("template"):
            declared.add(member + name)
        elif not name and not member:
            variable = re.search(r"(\w+)\s*(?:\[[^\]]*\]\s*)*(?:=.*)?$", NOISE.sub(" ", head), re.S)
            if variable and head.startswith("extern ") and "=" not in head and body is None:
                declared.add(variable.group(1))
            elif variable and not re.match(r"(struct|class|union|enum|using|typedef|template|extern)\b", head):
                defined.add(variable.group(1))
    return declared - defined, defined
