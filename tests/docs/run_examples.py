"""Runs the command lines that a document shows and compares what they print.

    run_examples.py --width 32|64 --tool TOOL --programs FOLDER --samples FOLDER [--installed FOLDER]
                    [--update] DOCUMENT

Blocks fenced with ```console hold command lines behind "$ " and, below each, its output: standard
output and standard error together. Those of ```console 64-bit are left out in 32 bits. All of them run
in one new folder, in which there are the sample pages (also as build/samples/), the project's examples/,
`dibprep` on the path, the document's own programs as ./NAME, and the project's run.sh with a tool that
is built already. A block behind the line <!-- file: PATH --> lies there as that file. With --installed,
pkg-config, CMake and the loader find the installation whose libraries are in that folder, and the
compilers take the build's width. Times, such as "0.25 s", rates and memory may differ; nothing else
may. --update writes what is printed into the document instead of comparing it.
"""

import argparse
import difflib
import os
import re
import shutil
import stat
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BLOCK = re.compile(r"^```console(?P<wide> 64-bit)?\n.*?^```$", re.DOTALL | re.MULTILINE)
FILE = re.compile(r"^<!-- file: (?P<path>\S+) -->\n```\w+\n(?P<text>.*?)^```$", re.DOTALL | re.MULTILINE)
COMMAND = re.compile(r"^\$ (?P<line>.*)\n(?P<output>(?:(?!\$ |```$).*\n)*)", re.MULTILINE)
TIME = re.compile(r"\b\d+\.\d\d(?= s\b| seconds\b)|\b\d+\.\d(?= pages a second)|\b\d+(?= MB for a page)")


def script(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write("#!/bin/sh\n" + text)
    os.chmod(path, stat.S_IRWXU)


def furnish(folder, tool, programs, samples):
    """Fills the folder in which the commands run; the environment for them."""
    shutil.copytree(os.path.join(ROOT, "examples"), os.path.join(folder, "examples"))
    pages = os.path.join(folder, "build", "samples")
    os.makedirs(pages)
    for page in os.listdir(samples):
        if page.endswith(".bmp"):
            os.symlink(os.path.join(samples, page), os.path.join(pages, page))
            os.symlink(os.path.join(samples, page), os.path.join(folder, page))
    for program in os.listdir(programs):
        os.symlink(os.path.join(programs, program), os.path.join(folder, program))
    # run.sh finds everything installed and built.
    shutil.copy(os.path.join(ROOT, "run.sh"), folder)
    tools = os.path.join(folder, "build", "x86", "tools")
    os.makedirs(tools)
    os.symlink(tool, os.path.join(tools, "dibprep"))
    script(os.path.join(folder, "build", "x86", "build.ninja"), "")
    for name in ("scripts/install-dependencies.sh", "scripts/unpack-samples.sh"):
        script(os.path.join(folder, name), "exit 0\n")
    script(os.path.join(folder, "bin", "cmake"),
           f'case "$*" in *--preset*) exit 0 ;; esac\nexec {shutil.which("cmake")} "$@"\n')
    os.symlink(tool, os.path.join(folder, "bin", "dibprep"))
    return dict(os.environ, PATH=os.path.join(folder, "bin") + ":" + os.environ["PATH"], LC_ALL="C.UTF-8")


def find_installation(environment, folder, libraries, width):
    """Lets compilers, pkg-config, CMake and the loader take what is installed there."""
    environment.update(PKG_CONFIG_LIBDIR=os.path.join(libraries, "pkgconfig"), LD_LIBRARY_PATH=libraries,
                       CMAKE_PREFIX_PATH=os.path.dirname(libraries), CC="gcc", CXX="g++")
    for compiler in ("gcc", "g++"):
        script(os.path.join(folder, "bin", compiler), f'exec {shutil.which(compiler)} -m{width} "$@"\n')


def main():
    parser = argparse.ArgumentParser()
    for name in ("--tool", "--programs", "--samples"):
        parser.add_argument(name, required=True, type=os.path.abspath)
    parser.add_argument("--width", required=True, choices=("32", "64"))
    parser.add_argument("--installed", type=os.path.abspath)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("document")
    arguments = parser.parse_args()
    with open(arguments.document, encoding="utf-8") as file:
        text = file.read()

    ran = 0
    with tempfile.TemporaryDirectory() as folder:
        environment = furnish(folder, arguments.tool, arguments.programs, arguments.samples)
        if arguments.installed:
            find_installation(environment, folder, arguments.installed, arguments.width)
        for file in FILE.finditer(text):
            path = os.path.join(folder, file["path"])
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as written:
                written.write(file["text"])

        def run(command):
            nonlocal ran
            ran += 1
            answer = subprocess.run(["bash", "-c", command["line"]], cwd=folder, env=environment, text=True,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            return f"$ {command['line']}\n{answer.stdout}"

        def run_block(block):
            return block[0] if block["wide"] and arguments.width == "32" else COMMAND.sub(run, block[0])

        printed = BLOCK.sub(run_block, text)
    if ran == 0:
        sys.exit(f"{arguments.document}: no command line was found")
    if arguments.update:
        with open(arguments.document, "w", encoding="utf-8") as file:
            file.write(printed)
        return
    lines = [TIME.sub("T", whole).splitlines() for whole in (text, printed)]
    difference = list(difflib.unified_diff(*lines, "shown", "printed", lineterm=""))
    if difference:
        sys.exit(f"{arguments.document}: what it shows is not what is printed\n" + "\n".join(difference))
    print(f"{arguments.document}: {ran} command lines print what is shown")


main()
