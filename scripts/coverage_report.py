#!/usr/bin/env python3
"""Reads what the programs of build/coverage counted (through gcov) and prints the coverage of the library.

    coverage_report.py BUILD_FOLDER

A line counts as run when any function made from it ran. A branch is one way out of one condition. What
the compiler adds does not count, for nobody chose there: the edges that a call has for an exception,
the way on from such a call, and whatever branches on lines that show no condition (the guards of local
statics, the clean-up after an exception). A template, or an inline function of a header, counts once,
whichever of its instances took the branch.

scripts/coverage_left.txt lists the branches that no test takes, by file and text of the line, with the
reason. A branch that is neither taken nor listed is a failure, and so is a listed one that is taken. The
list is that of a processor with AVX2; the files of AVX-512, which run under an emulator only, are left out.
"""
import collections
import json
import pathlib
import re
import subprocess
import sys

FOLDERS = ("memory", "dib", "transform", "bilinear", "quantize", "image")

# Shown together: two folders, and whatever reads the header of a DIB or follows from its fields.
COMPLETE = ("memory/", "dib/", "transform/transfer_io", "transform/size_rules", "transform/size_query",
            "transform/output_data", "transform/kinds", "transform/buf_transfer", "bilinear/dib_param",
            "quantize/source_pixels")
OVERALL = 95.0  # percent of the branches of all six folders

CONDITION = re.compile(r"\b(if|for|while|switch|case)\b|\?|&&|\|\|")
GOES_ON = re.compile(r"(&&|\|\||\?|:)\s*$")  # a condition goes on in the next line

ROOT = pathlib.Path(__file__).resolve().parent.parent
LEFT = ROOT / "scripts" / "coverage_left.txt"


def read_counts(build):
    """{file: {line: {function: [(lines run, branch counts), ...]}}} for the files of the six folders."""
    notes = sorted((build / "CMakeFiles" / "dibprep_core.dir").rglob("*.gcno"))
    if not notes:
        sys.exit(f"{build} holds no counts: run scripts/coverage.sh")
    lines = collections.defaultdict(lambda: collections.defaultdict(list))
    for note in notes:
        counted = note.with_suffix(".gcda")
        answer = subprocess.run(["gcov", "--json-format", "--stdout", "--branch-probabilities",
                                 str(counted if counted.exists() else note)],
                                cwd=build, check=True, capture_output=True, text=True)
        for text in answer.stdout.splitlines():
            unit = json.loads(text)
            for entry in unit["files"]:
                path = (pathlib.Path(unit["current_working_directory"]) / entry["file"]).resolve()
                try:
                    name = path.relative_to(ROOT).as_posix()
                except ValueError:
                    continue
                if name.split("/")[0] in FOLDERS and not name.endswith(("avx512.cpp", "avx512.h")):
                    for line in entry["lines"]:
                        lines[name][line["line_number"]].append((line["count"], decisions(line["branches"])))
    return lines


def decisions(branches):
    """The counts without the pairs that a call makes: back to its caller, or away with an exception."""
    counts = []
    i = 0
    while i < len(branches):
        if i + 1 < len(branches) and (branches[i]["throw"] or branches[i + 1]["throw"]):
            i += 2
            continue
        if not branches[i]["throw"]:
            counts.append(branches[i]["count"])
        i += 1
    return counts


def has_condition(source, number):
    """Whether the line (from 1) shows a condition, or the end of one that an earlier line begins."""
    def code(n):
        return source[n - 1].split("//")[0] if 0 < n <= len(source) else ""
    return bool(CONDITION.search(code(number)) or GOES_ON.search(code(number - 1)))


def merge(instances):
    """(times run, [times taken of each branch]) of one line, over the functions made from it."""
    by_shape = {}
    for _, counts in instances:
        shape = by_shape.setdefault(len(counts), [0] * len(counts))
        for i, count in enumerate(counts):
            shape[i] += count
    return sum(run for run, _ in instances), [count for shape in by_shape.values() for count in shape]


def read_left():
    """{(file, text of the line): [branches left, reason]} of coverage_left.txt."""
    left = {}
    reason = None
    for number, text in enumerate(LEFT.read_text().splitlines(), 1):
        if not text.strip():
            reason = None
        elif text.startswith("#"):
            reason = text.lstrip("# ") if reason is None else f"{reason} {text.lstrip('# ')}"
        else:
            name, count, line = text.split(None, 2)
            if not reason:
                sys.exit(f"{LEFT}:{number}: no reason above it")
            left[name, line] = [int(count), reason]
    return left


def percent(part, whole):
    return 100.0 * part / whole if whole else 100.0


class Sum:
    def __init__(self):
        self.lines = self.run = self.branches = self.taken = 0

    def add(self, other):
        self.lines += other.lines
        self.run += other.run
        self.branches += other.branches
        self.taken += other.taken

    def show(self, name):
        print(f"{name:<36} {self.run:6d} of {self.lines:6d} {percent(self.run, self.lines):7.2f} "
              f"{self.taken:8d} of {self.branches:6d} {percent(self.taken, self.branches):7.2f}")


def main():
    counts = read_counts(pathlib.Path(sys.argv[1]).resolve())
    left = read_left()
    folders = {folder: Sum() for folder in FOLDERS}
    whole, complete = Sum(), Sum()
    missing = collections.defaultdict(list)  # (file, text): [line numbers]
    silent = []  # lines never run, for whoever writes the next test
    print(f"{'':<36} {'lines run':>16} {'%':>7} {'branches taken':>18} {'%':>7}")
    for folder in FOLDERS:
        for name in sorted(name for name in counts if name.startswith(folder + "/")):
            source = (ROOT / name).read_text().splitlines()
            file = Sum()
            for number in sorted(counts[name]):
                run, branches = merge(counts[name][number])
                if not has_condition(source, number):
                    branches = []
                file.lines += 1
                file.run += run != 0
                file.branches += len(branches)
                never = branches.count(0)
                file.taken += len(branches) - never
                text = source[number - 1].strip()
                missing[name, text] += [number] * never
                if run == 0:
                    silent.append(f"{name}:{number}: {text}")
            file.show(name)
            folders[folder].add(file)
            whole.add(file)
            if name.startswith(COMPLETE):
                complete.add(file)
    print()
    for folder, total in folders.items():
        total.show(folder)
    complete.show("memory, dib, readers of headers")
    whole.show("all")
    if silent:
        print("\nLines never run:")
        print("\n".join(silent))

    failures = []
    reasons = collections.defaultdict(list)
    for key, numbers in missing.items():
        if not numbers:
            continue
        name, text = key
        listed = left.get(key)
        where = f"{name}:{','.join(map(str, sorted(set(numbers))))}: {len(numbers)} of: {text}"
        if listed and listed[0] == len(numbers):
            reasons[listed[1]].append(where)
        else:
            failures.append(f"not taken, not listed: {where}")
    for (name, text), (count, _) in left.items():
        if len(missing.get((name, text), [])) != count:
            failures.append(f"listed with {count}, not taken are {len(missing.get((name, text), []))}: {name}: {text}")
    if reasons:
        print("\nBranches left, with the reason (scripts/coverage_left.txt):")
        for reason, places in reasons.items():
            print(f"- {reason}")
            for place in places:
                print(f"    {place}")
    if percent(whole.taken, whole.branches) < OVERALL:
        failures.append(f"{percent(whole.taken, whole.branches):.2f} % of all branches; the goal is {OVERALL} %")
    print("\n" + ("\n".join(failures) if failures else "Every goal is met."))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
