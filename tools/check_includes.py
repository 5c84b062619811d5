#!/usr/bin/env python3
"""Checks that includes point from a layer to those below it only, and that no headers include each other in a circle.

usage: check_includes.py [ROOT]
"""
import pathlib
import re
import sys

# What each layer may include beside itself.
MODEL = {"platform"}
STREAM = MODEL | {"model"}
SHARES = STREAM | {"stream"}
UI = SHARES | {"link", "settings"}
BELOW = {
    "platform": set(),
    "model": MODEL,
    "stream": STREAM,
    "link": SHARES,
    "settings": SHARES,
    "ui": UI,
    "driver": UI | {"ui"},
    "com": {"platform", "model", "driver"},
    "host": {"platform", "model", "driver"},
}
INCLUDE = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def read_includes(root):
    includes = {}
    for layer in BELOW:
        for path in sorted((root / layer).rglob("*")):
            if path.suffix in (".h", ".cpp", ".inc"):
                includes[path.relative_to(root).as_posix()] = INCLUDE.findall(path.read_text(encoding="utf-8"))
    return includes


def upward(includes):
    for path, targets in includes.items():
        layer = path.partition("/")[0]
        for target in targets:
            other = target.partition("/")[0]
            if other != layer and other not in BELOW[layer]:
                yield f"{path} includes {target}, which is not below it"
            elif target not in includes:
                yield f"{path} includes {target}, which is not there"


def circles(includes):
    done, trail = set(), []

    def visit(path):
        if path in trail:
            yield " -> ".join(trail[trail.index(path):] + [path]) + " is a circle"
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
