#!/usr/bin/env python3
"""Runs clang-tidy over the sources of the given folders, on all cores, with the flags of build/x64.

    scripts/lint_tidy.py FOLDER...

A source that was found clean is remembered in build/lint, with the sum of all that this rests on: its
text, the project's headers that it includes, its flags, .clang-tidy. It is looked at again when that sum
changes. Exits with 1 when something was found.
"""

import concurrent.futures
import hashlib
import json
import os
import pathlib
import shlex
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build" / "x64"
STATE = ROOT / "build" / "lint" / "tidy"


def commands(folders):
    """The compiler call of every source below the folders; the first, where targets share one."""
    found = {}
    for entry in json.loads((BUILD / "compile_commands.json").read_text()):
        path = pathlib.Path(entry["file"])
        if path.is_relative_to(ROOT) and path.relative_to(ROOT).parts[0] in folders:
            call = shlex.split(entry["command"])
            without_output = [word for i, word in enumerate(call) if word != "-o" and call[i - 1] != "-o"]
            found.setdefault(path.relative_to(ROOT), [word for word in without_output if word != "-c"][:-1])
    return found


def sum_of(call, version, files):
    text = hashlib.sha256(f"{call} {version}".encode())
    for name in [".clang-tidy", *files]:
        try:
            text.update((ROOT / name).read_bytes())
        except FileNotFoundError:
            return None
    return text.hexdigest()


def is_remembered(stamp, call, version):
    if not stamp.exists():
        return False
    known, *files = stamp.read_text().splitlines()
    return known == sum_of(call, version, files)


def check(path, call, version):
    """What clang-tidy says about a source that is not remembered; nothing when it is clean."""
    stamp = STATE / f"{'_'.join(path.parts)}.sum"
    if is_remembered(stamp, call, version):
        return ""
    rule = subprocess.run([*call, "-MM", str(path)], cwd=ROOT, capture_output=True, text=True)
    files = rule.stdout.replace("\\\n", " ").split()[1:]
    known = sum_of(call, version, files)
    run = subprocess.run(["clang-tidy", "--quiet", str(path), "--", *call[1:]], cwd=ROOT, capture_output=True, text=True)
    if run.returncode != 0:
        return run.stdout or run.stderr
    if rule.returncode == 0:
        stamp.write_text("\n".join([known, *files]) + "\n")
    return ""


def main():
    STATE.mkdir(parents=True, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True).stdout
    known = commands(sys.argv[1:])
    sources = {path.relative_to(ROOT) for folder in sys.argv[1:] for path in (ROOT / folder).rglob("*.cpp")}
    unknown = sorted(sources - known.keys())
    for path in unknown:
        print(f"{path}: not in build/x64, where the flags come from")
    failed = bool(unknown)
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        for said in pool.map(lambda item: check(*item, version), sorted(known.items())):
            if said:
                print(said, end="")
                failed = True
    return int(failed)


if __name__ == "__main__":
    sys.exit(main())
