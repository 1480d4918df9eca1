"""Runs a program here and on an emulated processor: the tier it names there must be the expected one,
and all it prints besides must be the same. Ends with 77, which CTest shows as skipped, without emulator.

    on_processor.py PROGRAM EMULATOR PROCESSOR TIER
"""
import shutil
import subprocess
import sys

program, emulator, processor, tier = sys.argv[1:]
if not shutil.which(emulator):
    print(f"SKIPPED: {emulator} is not installed (Debian: qemu-user)")
    sys.exit(77)


def lines_of(command):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    # The emulator warns of features it does not have.
    if done.returncode != 0:
        sys.exit(f"{command[0]} ended with {done.returncode}: {done.stderr.strip()[-400:]}")
    return done.stdout.splitlines()


here = lines_of([program])
there = lines_of([emulator, "-cpu", processor, program])
assert len(here) > 50, "the program says too little"
assert there[0] == tier, f"{processor} runs the tier {there[0]}, not {tier}"
different = [pair for pair in zip(here[1:], there[1:]) if pair[0] != pair[1]]
for pair in different[:10]:
    print("here: ", pair[0], "\nthere:", pair[1])
assert not different and len(here) == len(there), f"{processor} answers otherwise"
print(f"{len(here) - 1} calls answer alike on {processor}, with the tier {tier}")
