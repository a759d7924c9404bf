"""Adds up what the machines have counted and prints it by file.

coverage.py ROOT COUNTS     COUNTS/<machine>/<absolute path of an object>.gcda
"""
import collections
import gzip
import json
import pathlib
import subprocess
import sys
import tempfile

FOLDERS = ("app", "device", "info", "inventory", "team", "vlan")


def read_counts(gcda, notes):
    """What gcov makes of one file of counts and the compiler's notes of the same object."""
    with tempfile.TemporaryDirectory() as folder:
        for source in (gcda, notes):
            (pathlib.Path(folder) / source.name).symlink_to(source)
        subprocess.run(
            ["x86_64-w64-mingw32-gcov-posix", "--json-format", "--branch-probabilities", gcda.name],
            cwd=folder, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for answer in pathlib.Path(folder).glob("*.gcov.json.gz"):
            yield from json.loads(gzip.open(answer).read())["files"]


def main(root, counts):
    lines = collections.defaultdict(lambda: collections.defaultdict(int))
    branches = collections.defaultdict(lambda: collections.defaultdict(int))
    for gcda in sorted(counts.glob("*/**/*.gcda")):
        machine = counts / gcda.relative_to(counts).parts[0]
        notes = pathlib.Path("/") / gcda.relative_to(machine).with_suffix(".gcno")
        for file in read_counts(gcda, notes):
            path = (root / "build/coverage" / file["file"]).resolve()
            if root not in path.parents or path.relative_to(root).parts[0] not in FOLDERS:
                continue
            name = str(path.relative_to(root))
            for line in file["lines"]:
                lines[name][line["line_number"]] += line["count"]
                for index, branch in enumerate(line["branches"]):
                    branches[name][line["line_number"], index] += branch["count"]

    def share(counted):
        return f"{sum(map(bool, counted)):6} {len(counted):6}"

    print(f"{'file':36} {'lines ran':>9} {'of':>6} {'branches':>9} {'of':>6}")
    for name in sorted(lines):
        print(f"{name:36} {share(lines[name].values()):>16} {share(branches[name].values()):>16}")
    every = [[n for f in kind.values() for n in f.values()] for kind in (lines, branches)]
    print(f"{'all':36} {share(every[0]):>16} {share(every[1]):>16}")

    print("\nlines that no test reached:")
    for name in sorted(lines):
        text = (root / name).read_text().splitlines()
        for number in sorted(n for n, count in lines[name].items() if not count):
            print(f"{name}:{number}: {text[number - 1].strip()}")


main(pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve())
