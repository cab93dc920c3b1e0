#!/usr/bin/env python3
"""Our own definitions mean what is written down in own_interfaces.txt: names, ids, members, and operations in the order
of their slots, attributes as the operations that they are on the wire."""

import pathlib
import re
import subprocess
import sys

LINE = re.compile(r'( *)(?:(readonly attribute|\w+) (\w+) "([^"]*)"(.*)|(\w+): (.*)|(\d+) = (\w+))$')


def entries(dump):
    """Each declaration as [its first line, the lines of what it contains]; those it contains follow it."""
    found, open_scopes = [], []
    for line in dump.splitlines():
        match = LINE.match(line)
        if not match:
            continue
        indent, word, name, repository_id, rest, member, member_type, _, enumerator = match.groups()
        del open_scopes[len(indent) // 2:]
        parent = open_scopes[-1][1] if open_scopes else None
        if member:
            parent[1].append(f"{member}: {member_type}")
        elif enumerator:
            parent[1].append(enumerator)
        elif word == "operation":
            arguments, result = re.match(r" \((.*)\) -> (.*?)(?: (?:oneway|raises|context).*)?$", rest).groups()
            types = [re.match(r"in (.*) \w+$", one).group(1) for one in arguments.split(", ") if one]
            parent[1].append(f"{name}({', '.join(types)}): {result}")
        elif word.endswith("attribute"):
            parent[1].append(f"_get_{name}(): {rest[2:]}")
            if word == "attribute":
                parent[1].append(f"_set_{name}({rest[2:]}): void")
        else:
            scoped = "::".join([scope[0] for scope in open_scopes] + [name])
            entry = [f"{word} {scoped} {repository_id}" + re.sub(r" \[.*\]$", "", rest), []]
            open_scopes.append((name, entry))
            if word not in ("module", "native"):
                found.append(entry)
    return found


def written(entry, module):
    first, inner = entry
    word, scoped, repository_id = first.split(" ")[:3]
    rest = first[len(word) + len(scoped) + len(repository_id) + 2:].replace(f"{module}::", "")
    if word == "enum":
        inner, rest = [], rest + " " + (" ".join(inner) if module == "CORBA" else f"{len(inner)} values")
    lines = [f"{word} {scoped} {repository_id}{rest}"]
    return lines + ["  " + line.replace(f"{module}::", "") for line in inner]


def main():
    compiler, folder, table = sys.argv[1], pathlib.Path(sys.argv[2]), pathlib.Path(sys.argv[3])
    failed = False
    for part in table.read_text().split("== ")[1:]:
        name, _, expected = part.partition("\n")
        dump = subprocess.run([compiler, "--dump-model", folder / name], capture_output=True, text=True, check=True).stdout
        all_entries = entries(dump)
        module = all_entries[0][0].split(" ")[1].split("::")[0]
        lines = [line for entry in all_entries for line in written(entry, module)]
        for line in sorted(set(expected.splitlines()) ^ set(lines)) or [None] * (expected.splitlines() != lines):
            print(f"{name}: {line or 'in another order'}")
            failed = True
    sys.exit(failed)


main()
