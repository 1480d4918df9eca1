"""Every behaviour names the tests that hold it, and every test that is named exists.

    check_behaviours.py BEHAVIOURS TESTS

Each ### entry has a *Test:* line and each row of the refusals a last cell, both with nothing but
`Suite.Name`; a name counts when it is the TEST of a .cpp file under TESTS.
"""

import os
import re
import sys

TEST = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+)\s*,\s*(\w+)\s*\)", re.MULTILINE)
CITATIONS = re.compile(r"`\w+\.\w+`(?:,\s+`\w+\.\w+`)*")


def tests_under(folder):
    found = set()
    for path, _, files in os.walk(folder):
        for name in files:
            if name.endswith(".cpp"):
                with open(os.path.join(path, name), encoding="utf-8") as file:
                    found.update(f"{suite}.{test}" for suite, test in TEST.findall(file.read()))
    return found


def promises(text):
    """What is promised, each with the text that should cite its tests."""
    for part in re.split(r"^(?=#)", text, flags=re.MULTILINE):
        title, _, body = part.partition("\n")
        if title.startswith("### "):
            _, mark, cited = body.partition("*Test:*")
            yield title[4:], cited.strip().removesuffix(".") if mark else ""
        for row in re.findall(r"^\|(.*)\|$", body, flags=re.MULTILINE)[2:]:
            cells = row.split("|")
            yield cells[0].strip(), cells[-1].strip()


def main():
    document, folder = sys.argv[1:]
    with open(document, encoding="utf-8") as file:
        text = file.read()
    tests = tests_under(folder)
    wrong, names, count = [], set(), 0
    for promise, cited in promises(text):
        count += 1
        if not CITATIONS.fullmatch(cited):
            wrong.append(f"{promise}: no test is named, or something else beside tests")
        for name in re.findall(r"`([^`]+)`", cited):
            names.add(name)
            if name not in tests:
                wrong.append(f"{promise}: there is no test {name}")
    if wrong:
        sys.exit("\n".join(wrong))
    if count < 100 or len(names) < 150:
        sys.exit(f"Only {count} entries and {len(names)} tests were found in {document}")
    print(f"{count} behaviours in {document} name {len(names)} tests")


main()
