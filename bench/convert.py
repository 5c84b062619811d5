#!/usr/bin/env python3
"""Compares `halden-host convert` with other programs that read the same file of 200 MB, or shows the memory that it takes.

All programs do the same job on the same lines. Each runs three times, in turns, and the run with the least processor time
counts. loadtxt and awk get a tenth of the file, and their times are multiplied by ten.

usage: convert.py HALDEN_HOST [memory]
"""
import os
import random
import resource
import subprocess
import sys
import tempfile
import time

COLUMNS = 8
SIZE = 200_000_000  # bytes
TURNS = 3
AWK = r"""BEGIN { FS = ";"; OFS = ","; for (i = 1; i <= 8; ++i) printf "%sColumn%d", (i > 1 ? "," : ""), i; print "" }
{ sub(/\r$/, ""); for (i = 1; i <= NF; ++i) $i += 0; print }"""


def block_of_lines():
    """Returns about 4 MB of lines, always the same, and their number."""
    chance = random.Random(1)
    lines = []
    for _ in range(70_000):
        steps = (chance.randrange(-32000, 32001) for _ in range(COLUMNS))
        lines.append(";".join(f"{step / 20:.2f}" for step in steps) + "\r\n")
    return "".join(lines).encode(), len(lines)


def write_file(path, size):
    block, lines = block_of_lines()
    with open(path, "wb") as file:
        for _ in range(size // len(block)):
            file.write(block)
    return size // len(block) * lines


def processor_time():
    used = [resource.getrusage(who) for who in (resource.RUSAGE_SELF, resource.RUSAGE_CHILDREN)]
    return sum(usage.ru_utime + usage.ru_stime for usage in used)


def jobs(host, folder):
    import numpy
    import pandas

    def output(name):
        path = f"{folder}/{name}"
        if os.path.exists(path):
            os.remove(path)
        return path

    def convert(*options):
        command = [host, "convert", f"{folder}/whole", "--quiet", *options]
        subprocess.run(command, check=True)

    def read():
        return pandas.read_csv(f"{folder}/whole", sep=";", header=None, dtype="float32", engine="c")

    def load_and_save():
        numpy.save(output("loadtxt.npy"), numpy.loadtxt(f"{folder}/tenth", delimiter=";", dtype="float32"))

    def awk():
        with open(output("awk.csv"), "wb") as file:
            subprocess.run(["awk", AWK, f"{folder}/tenth"], stdout=file, check=True)

    return {
        "convert --npy": lambda: convert("--npy", output("host.npy")),
        "convert --csv": lambda: convert("--csv", output("host.csv")),
        "pandas.read_csv alone": read,
        "pandas.read_csv and numpy.save": lambda: numpy.save(output("pandas.npy"), read().to_numpy()),
        "numpy.loadtxt and numpy.save (a tenth, times 10)": load_and_save,
        "awk to CSV (a tenth, times 10)": awk,
    }


def check_results(folder, lines):
    """Checks that all programs read the same numbers. Those of convert lack the lines used to recognise the device."""
    import numpy
    pandas, ours = numpy.load(f"{folder}/pandas.npy"), numpy.load(f"{folder}/host.npy")
    with open(f"{folder}/host.csv", "rb") as file:
        csv_lines = sum(1 for _ in file)
    lost = lines - len(ours)
    assert len(pandas) == lines and 0 < lost < 30 and csv_lines == len(ours) + 1, (len(pandas), len(ours), csv_lines)
    assert numpy.array_equal(ours, pandas[lost:]), "convert gives other numbers than pandas"
    print(f"{lines} lines of {COLUMNS} columns; convert's numbers are those of pandas, but for the first {lost} lines\n")


def compare(host):
    with tempfile.TemporaryDirectory() as folder:
        lines = write_file(f"{folder}/whole", SIZE)
        write_file(f"{folder}/tenth", SIZE // 10)
        megabytes = os.path.getsize(f"{folder}/whole") / 1e6
        runs, best = jobs(host, folder), {}
        for _ in range(TURNS):
            for name, run in runs.items():
                start, used = time.monotonic(), processor_time()
                run()
                times = time.monotonic() - start, processor_time() - used
                scale = 10 if "tenth" in name else 1
                best[name] = min(best.get(name, (1e9, 1e9)), tuple(scale * value for value in times), key=lambda x: x[1])
        check_results(folder, lines)
        unit = best["pandas.read_csv alone"]
        print(f"{'':50} {'elapsed':>8} {'processor':>10} {'MB/s':>6}   speed in units of pandas.read_csv alone")
        for name, (elapsed, used) in best.items():
            print(f"{name:50} {elapsed:6.2f} s {used:8.2f} s {megabytes / used:6.0f}   {unit[1] / used:.2f}")


def memory(host):
    """An hour at 2000 lines a second, and a tenth of it."""
    with tempfile.TemporaryDirectory() as folder:
        block, lines = block_of_lines()
        for seconds in (360, 3600):
            blocks = seconds * 2000 // lines
            with open(f"{folder}/hour", "wb") as file:
                for _ in range(blocks):
                    file.write(block)
            process = subprocess.Popen([host, "convert", f"{folder}/hour", "--quiet", "--line-rate", "2000", "--force",
                                        "--csv", f"{folder}/csv", "--npy", f"{folder}/npy"])
            _, code, used = os.wait4(process.pid, 0)
            assert code == 0
            sizes = " and ".join(f"{os.path.getsize(f'{folder}/{name}') / 1e6:.0f} MB" for name in ("csv", "npy"))
            print(f"{blocks * lines:8} lines of {COLUMNS} columns: {used.ru_maxrss:6} kB at most, files of {sizes}")


if __name__ == "__main__":
    if "memory" in sys.argv[2:]:
        memory(sys.argv[1])
    else:
        compare(sys.argv[1])
