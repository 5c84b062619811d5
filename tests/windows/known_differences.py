#!/usr/bin/env python3
"""known_differences.py RESULTS.json: compares the failures of a GoogleTest run with known_differences.txt.

Prints the failures that the list lacks, and the lines of the list that no failure matches any more; either is an error.
"""
import json
import pathlib
import re
import sys

known = re.findall("^[^#\n].*", pathlib.Path(__file__).with_suffix(".txt").read_text(), re.MULTILINE)
suites = json.loads(pathlib.Path(sys.argv[1]).read_text())["testsuites"]
found = [test["name"].partition("/")[0] + ": " + failure["failure"]
         for suite in suites for test in suite["testsuite"] for failure in test.get("failures", ())]
new = [text for text in found if not any(re.match(line, text, re.DOTALL) for line in known)]
gone = [line for line in known if not any(re.match(line, text, re.DOTALL) for text in found)]
for line in ["not known: " + text for text in new] + ["no longer a difference: " + line for line in gone]:
    print(line)
sys.exit(bool(new or gone))
