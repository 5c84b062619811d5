#!/usr/bin/env python3
"""Checks that files include only from layers below their own, and that no headers include each other in a cycle.

usage: check_includes.py [ROOT]
"""
import pathlib
import re
import sys

# The layers, each with those that it may include besides itself. A file belongs to the deepest folder listed here.
STREAM = {"platform", "model"}
LINK = STREAM | {"stream"}
UI = LINK | {"link", "settings"}
SHARED_BACKENDS = {"platform", "backends/text", "backends/registry", "backends/devices", "backends/toolkit"}
SYSTEM = SHARED_BACKENDS | {"backends/sim", "backends"}
PROGRAMS = SYSTEM | {"model", "driver", "backends/linux", "backends/windows"}
BELOW = {
    "platform": set(),
    "model": {"platform"},
    "stream": STREAM,
    "link": LINK,
    "settings": LINK,
    "ui": UI,
    "driver": UI | {"ui"},
    "backends/text": {"platform"},
    "backends/registry": {"platform", "backends/text"},
    "backends/devices": {"platform", "backends/text", "backends/registry"},
    "backends/toolkit": {"platform", "backends/text", "backends/registry"},
    "backends/sim": SHARED_BACKENDS,
    "backends": SHARED_BACKENDS,
    "backends/linux/registry": SYSTEM,
    "backends/linux/process": SYSTEM,
    "backends/linux/serial": SYSTEM | {"backends/linux/registry", "backends/linux/process"},
    "backends/linux/terminal": SYSTEM | {"backends/linux/process"},
    "backends/linux": SYSTEM | {f"backends/linux/{part}" for part in ("registry", "process", "serial", "terminal")},
    "backends/windows": SYSTEM,
    "com": PROGRAMS,
    "sdk": PROGRAMS,
    "host": PROGRAMS | {"sdk"},
}
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def layer_of(path):
    folder = path.rpartition("/")[0]
    while folder not in BELOW and "/" in folder:
        folder = folder.rpartition("/")[0]
    return folder


def read_includes(root):
    includes = {}
    for top in sorted({layer.partition("/")[0] for layer in BELOW}):
        for path in sorted((root / top).rglob("*")):
            if path.suffix in (".h", ".cpp", ".inc"):
                includes[path.relative_to(root).as_posix()] = INCLUDE.findall(path.read_text(encoding="utf-8"))
    return includes


def upward(includes):
    for path, targets in includes.items():
        layer = layer_of(path)
        for target in targets:
            if target not in includes:
                yield f"{path} includes {target}, which doesn't exist"
            elif layer_of(target) != layer and layer_of(target) not in BELOW[layer]:
                yield f"{path} includes {target}, but {layer}/ may not include from {layer_of(target)}/"


def circles(includes):
    done, trail = set(), []

    def visit(path):
        if path in trail:
            yield "circle: " + " -> ".join(trail[trail.index(path):] + [path])
            return
        if path in done:
            return
        trail.append(path)
        for target in includes.get(path, ()):
            yield from visit(target)
        trail.pop()
        done.add(path)

    for path in includes:
        yield from visit(path)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else ".")
    includes = read_includes(root)
    faults = [*upward(includes), *circles(includes)]
    print("\n".join(faults) if faults else f"includes: {len(includes)} files, all point downward")
    return bool(faults)


sys.exit(main())
