#!/usr/bin/env python3
"""Prints the share of branches that a profile has taken in each file of the driver and of the example host.

usage: branches.py PROFILE PROGRAM...

A branch is one outcome of a condition in the source. Each row ends with the line numbers of the conditions that have an
outcome that was never taken. backends/ and com/ aren't listed, because much of them can only run on other machines.
"""
import collections
import json
import os
import subprocess
import sys

FOLDERS = ("model", "stream", "link", "settings", "ui", "driver", "host")


def main():
    profile, program, *others = sys.argv[1:]
    command = ["llvm-cov-14", "export", f"-instr-profile={profile}", program]
    command += [word for other in others for word in ("-object", other)]
    files = json.loads(subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout)["data"][0]["files"]
    total = missing = 0
    for file in sorted(files, key=lambda each: each["filename"]):
        path = os.path.relpath(file["filename"])
        if not path.startswith(tuple(folder + os.sep for folder in FOLDERS)):
            continue
        outcomes = collections.Counter()
        for branch in file["branches"]:
            # Each instantiation of a template lists the same place again; an outcome taken in any of them counts.
            place, counts = tuple(branch[:4]), branch[4:6]
            for outcome, count in enumerate(counts):
                outcomes[place, outcome] += count
        untaken = sorted(place[0] for (place, _), count in outcomes.items() if count == 0)
        if not outcomes:
            continue
        total += len(outcomes)
        missing += len(untaken)
        share = 100 * (len(outcomes) - len(untaken)) / len(outcomes)
        print(f"{path:32} {len(outcomes):5} {share:6.1f} %  {' '.join(map(str, untaken))}")
    print(f"{total - missing} of {total} branches taken, {100 * (total - missing) / total:.1f} %")


main()
