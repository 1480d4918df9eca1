"""Does what the head of an example says, and compares what is printed and written.

    run_example.py --width 32|64 --libraries FOLDER --tool TOOL --samples FOLDER [--programs FOLDER] EXAMPLE

The head holds command lines behind "$ " and, below each, its output. They run in a new folder with the
example and the sample pages; pkg-config and the loader look into FOLDER. For 32 bits the compilers get
-m32 unless they have it. With --programs, a compiler is not run: its program lies there already. Every
page written must have the size, depth, colours and pixels that the tool makes of the same page at 200
dpi. The tool puts the last header fields into its own form: resolution, size of the rows, colour counts.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile

COMPILER = re.compile(r"^(g\+\+|gcc) .*-o (?P<program>\w+)$")
PAGES = re.compile(r"(?P<source>page-\S+\.bmp) (?P<result>\S+\.bmp)")
LAST_FIELDS = slice(34, 54)


def commands_of(path):
    """[[command line, output], ...] of the comment or docstring at the top."""
    found = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            if re.match(r"\s*\*/|\"\"\"$|#include", line):
                break
            inside = re.match(r"(?://| \*)?\s{4,5}(\S.*)$", line)
            if inside and inside[1].startswith("$ "):
                found.append([inside[1][2:], ""])
            elif inside and found:
                found[-1][1] += inside[1] + "\n"
    return found


def page(path):
    with open(path, "rb") as file:
        content = bytearray(file.read())
    content[LAST_FIELDS] = bytes(20)
    return content


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--width", required=True, choices=("32", "64"))
    for name in ("--libraries", "--tool", "--samples"):
        parser.add_argument(name, required=True, type=os.path.abspath)
    parser.add_argument("--programs", type=os.path.abspath)
    parser.add_argument("example", type=os.path.abspath)
    arguments = parser.parse_args()

    commands = commands_of(arguments.example)
    written = 0
    with tempfile.TemporaryDirectory() as folder:
        shutil.copy(arguments.example, folder)
        for name in os.listdir(arguments.samples):
            os.symlink(os.path.join(arguments.samples, name), os.path.join(folder, name))
        environment = dict(os.environ, LD_LIBRARY_PATH=arguments.libraries,
                           PKG_CONFIG_LIBDIR=os.path.join(arguments.libraries, "pkgconfig"))
        for line, expected in commands:
            compiler = COMPILER.match(line)
            if compiler and arguments.programs:
                os.symlink(os.path.join(arguments.programs, compiler["program"]),
                           os.path.join(folder, compiler["program"]))
                continue
            if compiler and arguments.width == "32" and " -m32 " not in line:
                line = line.replace(compiler[1], compiler[1] + " -m32", 1)
            done = subprocess.run(["bash", "-c", line], cwd=folder, env=environment, text=True,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            lines = [" ".join(text.split()) for text in done.stdout.splitlines()]
            if done.returncode != 0 or lines != expected.splitlines():
                sys.exit(f"$ {line}\n{done.stdout}ended with {done.returncode}; the example shows\n{expected}")
            pages = PAGES.search(line)
            if pages:
                written += 1
                subprocess.run([arguments.tool, "resample", pages["source"], "expected.bmp", "--dpi", "200", "--force"],
                               cwd=folder, check=True)
                if page(os.path.join(folder, pages["result"])) != page(os.path.join(folder, "expected.bmp")):
                    sys.exit(f"$ {line}\n{pages['result']} is not the page that the tool makes")
    if written == 0:
        sys.exit(f"{arguments.example}: its head shows no command that writes a page")
    print(f"{len(commands)} command lines, {written} page")


main()
