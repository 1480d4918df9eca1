"""Writes the C++ programs of the documents into files, when they differ from what is there.

    extract_examples.py FOLDER DOCUMENT...

A program is a block fenced with ```cpp behind the line <!-- program: NAME -->. Prints the names as a
CMake list. A cpp block without a name is an error, so that no example goes untested.
"""

import os
import re
import sys

BLOCK = re.compile(r"(?:<!-- program: (?P<name>[a-z_]+) -->\n)?```cpp\n(?P<code>.*?)^```$", re.DOTALL | re.MULTILINE)


def main():
    folder, documents = sys.argv[1], sys.argv[2:]
    os.makedirs(folder, exist_ok=True)
    names = []
    for document in documents:
        with open(document, encoding="utf-8") as file:
            text = file.read()
        for block in BLOCK.finditer(text):
            name = block["name"]
            if not name or name in names:
                line = text.count("\n", 0, block.start("code"))
                sys.exit(f"{document}:{line}: the program has no name of its own: <!-- program: NAME --> before it")
            names.append(name)
            path = os.path.join(folder, name + ".cpp")
            code = f"// From {os.path.basename(document)}.\n" + block["code"]
            if not os.path.exists(path) or open(path, encoding="utf-8").read() != code:
                with open(path, "w", encoding="utf-8") as file:
                    file.write(code)
    print(";".join(names), end="")


main()
