#!/usr/bin/env python3
"""Compares what tests found with the list of known differences.

usage: known_differences.py RESULTS.json|LOG...

RESULTS.json is what GoogleTest writes; of a LOG the lines count that begin with "differs: ".
"""
import json
import pathlib
import re
import sys


def differences(path):
    if path.suffix != ".json":
        return [line for line in path.read_text().splitlines() if line.startswith("differs: ")]
    suites = json.loads(path.read_text())["testsuites"]
    return [test["name"].partition("/")[0] + ": " + failure["failure"]
            for suite in suites for test in suite["testsuite"] for failure in test.get("failures", ())]


def main():
    known = pathlib.Path(__file__).with_suffix(".txt").read_text().splitlines()
    known = [line for line in known if line and not line.startswith("#")]
    found = [difference for path in sys.argv[1:] for difference in differences(pathlib.Path(path))]
    new = [text for text in found if not any(re.match(line, text, re.DOTALL) for line in known)]
    gone = [line for line in known if not any(re.match(line, text, re.DOTALL) for text in found)]
    for text in new:
        print(f"not known: {text}")
    for line in gone:
        print(f"no difference any more: {line}")
    print(f"{len(found)} differences, of which {len(new)} are new; {len(gone)} known ones have gone")
    return bool(new or gone)


sys.exit(main())
