#!/usr/bin/env python3
"""Reads every #include below src/ and proves that the layers' arrows run downwards only."""

import pathlib
import re
import sys

# Each layer and its direct neighbours below; what these may include may be included too.
NEIGHBOURS = {
    "base": (),
    "net": ("base",),
    "stream": ("net",),
    "agent": ("stream",),
    "marshal": ("net",),
    "object": ("marshal",),
    "invoke": ("object",),
    "orb": ("invoke",),
    "adapter": ("orb",),
    "dynany": ("marshal",),
    "location": ("adapter", "agent"),
    "manage": ("adapter",),
    "modules.cpp": ("location", "manage", "dynany"),
}


def reachable(layer):
    below = set(NEIGHBOURS[layer])
    for neighbour in NEIGHBOURS[layer]:
        below |= reachable(neighbour)
    return below


INCLUDE = {
    "base": set(),
    "stream": {"base"},
    "agent": {"base", "stream"},
    "marshal": {"base"},
    "invoke": {"base", "marshal", "stream"},
    "orb": {"base", "marshal", "stream", "invoke"},
    "location": {"base", "stream", "agent", "marshal", "invoke", "orb"},
    "manage": {"base", "stream", "marshal", "invoke", "orb"},
    "tool": {"base", "stream", "agent", "marshal", "invoke", "orb", "location"},
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)


def faults(root):
    for source in sorted(root.rglob("*")):
        if source.suffix not in {".h", ".cpp"}:
            continue
        place = source.relative_to(root)
        layer = place.parts[0]
        if layer not in NEIGHBOURS:
            yield f"{place}: the folder {layer}/ has no place among the layers"
            continue
        names = INCLUDE.findall(source.read_text())
        own = str(place.with_suffix(".h"))
        if source.suffix == ".cpp" and (root / own).exists() and names[:1] != [own]:
            yield f"{place}: does not include its own header first"
        for name in names:
            target = name.split("/")[0]
            if not (root / name).exists():
                yield f'{place}: "{name}" is no path from the include root'
            elif target != layer and target not in reachable(layer):
                yield f"{place}: {layer}/ must not include {name}"


def main():
    root = pathlib.Path(sys.argv[1])
    found = list(faults(root))
    print("\n".join(found))
    count = sum(1 for _ in root.rglob("*.h"))
    if count == 0:
        found.append("no header found")
    sys.exit(1 if found else 0)


main()
