#!/usr/bin/env python3
"""Reads every #include of the tree and proves that they follow its layers.

usage: layers_test.py SOURCE_TREE
"""

import pathlib
import re
import sys

# Each folder below src/ and its direct neighbours below; what these may include, the folder may include too.
LIBRARY = {
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
    "harbolance": ("adapter", "agent", "dynany"),  # the public headers
}
# The IDL compiler knows nothing of the library. "." is what stands in harbidl/ itself.
COMPILER = {"syntax": (), "model": ("syntax",), "generate": ("model",), ".": ("generate",)}

QUOTED = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.MULTILINE)
# What the IDL compiler makes of our own interfaces includes the public headers, and so all layers below these.
GENERATED = re.compile(r"harbolance/(\w+)_(stub|skel)\.h")
ABOVE_GENERATED = {"location", "manage", "modules.cpp"}
PUBLIC = re.compile(r"^\s*#\s*include\s+<(harbolance/[^>]+)>", re.MULTILINE)


def reachable(layers, layer):
    below = {layer}
    for neighbour in layers[layer]:
        below |= reachable(layers, neighbour)
    return below


def sources(root):
    return [path for path in sorted(root.rglob("*")) if path.suffix in {".h", ".cpp"}]


def faults_of_layers(root, layers):
    """A folder whose files name each other from `root`, and only downwards."""
    for source in sources(root):
        place = source.relative_to(root)
        layer = place.parts[0]
        if layer not in layers:
            layer = "."
        if layer not in layers:
            yield f"{source}: the folder {place.parts[0]}/ has no place among the layers"
            continue
        names = QUOTED.findall(source.read_text())
        own = str(place.with_suffix(".h"))
        if source.suffix == ".cpp" and (root / own).exists() and names[:1] != [own]:
            yield f"{source}: does not include its own header first"
        for name in names:
            target = name.split("/")[0] if "/" in name else "."
            if not (root / name).exists():
                yield f'{source}: "{name}" is no path from {root.name}/'
            elif target not in reachable(layers, layer):
                yield f"{source}: {layer}/ must not include {name}"
        for name in PUBLIC.findall(source.read_text()):
            generated = GENERATED.fullmatch(name)
            definition = root.parent / "idl" / f"{generated[1]}.idl" if generated else None
            if not definition or not definition.exists() or layer not in ABOVE_GENERATED:
                yield f"{source}: must not include the public header {name}"


def faults_of_programs(root, library):
    """Programs, a folder each: they include their own files and the library, not each other."""
    for source in sources(root):
        program = source.relative_to(root).parts[0]
        for name in QUOTED.findall(source.read_text()):
            home = root if name.split("/")[0] == program else library
            if not (home / name).exists():
                yield f'{source}: "{name}" is neither a file of {program} nor of the library'


def faults_of_examples(root, library):
    """Examples show what users write: the public headers, their own files, and what is generated from their IDL."""
    for source in sources(root):
        for name in QUOTED.findall(source.read_text()):
            definition = re.sub(r"_(stub|skel)\.h$", ".idl", name)
            if not (source.parent / name).exists() and not any(root.rglob(definition)):
                yield f'{source}: "{name}" is no file of the example'
        for name in PUBLIC.findall(source.read_text()):
            if not (library / name).exists():
                yield f"{source}: there is no {name}"


def main():
    tree = pathlib.Path(sys.argv[1])
    library = tree / "src"
    found = list(faults_of_layers(library, LIBRARY))
    found += faults_of_layers(tree / "harbidl", COMPILER)
    found += faults_of_programs(tree / "tools", library)
    found += faults_of_programs(tree / "peers", library)
    found += faults_of_examples(tree / "examples", library)
    if len(sources(library)) < 100 or not sources(tree / "tools") or not sources(tree / "examples"):
        found.append(f"{tree}: no source tree")
    print("\n".join(found))
    sys.exit(1 if found else 0)


main()
