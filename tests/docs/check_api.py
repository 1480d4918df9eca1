"""Every exported name stands in the reference.

    check_api.py EXPORTS API

A member of a class must stand in a section whose heading names the class; everything else anywhere.
Names count only in `code`.
"""

import re
import subprocess
import sys


def names(code):
    """The words of the code spans, with conversion operators and the like as one word."""
    found = set()
    for span in re.findall(r"`([^`\n]+)`", code):
        found.update(re.findall(r"operator ?[^,()]+|~?\w+", span))
    return {name.replace("operator ", "operator").strip() for name in found}


def main():
    exports, reference = sys.argv[1:]
    with open(exports, encoding="utf-8") as file:
        symbols = [line.split()[0] for line in file if line.strip() and not line.startswith("#")]
    plain = subprocess.run(["c++filt"], input="\n".join(symbols), capture_output=True, text=True, check=True).stdout
    with open(reference, encoding="utf-8") as file:
        text = file.read()
    sections = [(names(part.split("\n", 1)[0]), names(part)) for part in re.split(r"^(?=#+ )", text, flags=re.MULTILINE)]
    everywhere = names(text)

    missing, checked = set(), 0
    for symbol in plain.splitlines():
        if re.match(r"(typeinfo|vtable)\b", symbol):
            symbol = symbol.split()[-1]  # stands for its class
        name = re.match(r"(?:(\w+)::)?(operator.*?(?=\()|~?\w+)", symbol)
        owner, member = name[1], name[2].replace("operator ", "operator")
        checked += 1
        if owner is None:
            good = member in everywhere
        else:
            good = any(owner in heading and member in words for heading, words in sections)
        if not good:
            missing.add(name[0])
    if missing:
        sys.exit("Not in the reference:\n" + "\n".join(sorted(missing)))
    if checked < 150:
        sys.exit(f"Only {checked} names were found in {exports}")
    print(f"{checked} exported names stand in {reference}")


main()
