"""What the documents name of the project exists: presets in command lines, and paths.

    check_commands.py ROOT DOCUMENT...
"""

import json
import os
import re
import sys

KINDS = {"cmake": "configurePresets", "cmake --build": "buildPresets", "ctest": "testPresets", "cpack": "packagePresets"}
COMMAND = re.compile(r"\b(cmake --build|cmake|ctest|cpack) --preset (\w[\w-]*)")
PATH = re.compile(r"(?<![\w/.-])(?:cmake|docs|examples|include|samples|scripts|tests)/[\w/-]+\.[a-z]+\b")


def main():
    root, *documents = sys.argv[1:]
    with open(os.path.join(root, "CMakePresets.json"), encoding="utf-8") as file:
        presets = json.load(file)
    names = {command: {preset["name"] for preset in presets[kind]} for command, kind in KINDS.items()}
    wrong, commands, paths = [], 0, 0
    for document in documents:
        with open(document, encoding="utf-8") as file:
            text = file.read()
        for command, preset in COMMAND.findall(text):
            commands += 1
            if preset not in names[command]:
                wrong.append(f"{document}: {command} has no preset {preset}")
        for path in PATH.findall(text):
            paths += 1
            if not os.path.exists(os.path.join(root, path)):
                wrong.append(f"{document}: there is no {path}")
    if wrong:
        sys.exit("\n".join(wrong))
    if commands < 5 or paths < 10:
        sys.exit(f"Only {commands} command lines and {paths} paths were found")
    print(f"{commands} presets and {paths} paths exist")


main()
