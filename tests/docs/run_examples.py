"""Runs the command lines that a document shows and compares what they print.

    run_examples.py --tool TOOL --programs FOLDER --samples FOLDER [--update] DOCUMENT

Blocks fenced with ```console hold command lines behind "$ " and, below each, its output: standard
output and standard error together. All of them run in one new folder, in which there are the sample
pages (also as build/samples/), `dibprep` on the path, the document's own programs as ./NAME, and the
project's run.sh with a tool that is built already. Times, such as "0.25 s", rates and memory may
differ; nothing else may. --update writes what is printed into the document instead of comparing it.
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
BLOCK = re.compile(r"(?<=^```console\n).*?(?=^```$)", re.DOTALL | re.MULTILINE)
COMMAND = re.compile(r"^\$ (?P<line>.*)\n(?P<output>(?:(?!\$ ).*\n)*)", re.MULTILINE)
TIME = re.compile(r"\b\d+\.\d\d(?= s\b| seconds\b)|\b\d+\.\d(?= pages a second)|\b\d+(?= MB for a page)")


def script(path, text):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w", encoding="utf-8") as file:
        file.write("#!/bin/sh\n" + text)
    os.chmod(path, stat.S_IRWXU)


def furnish(folder, tool, programs, samples):
    """Fills the folder in which the commands run; the environment for them."""
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
    for name in ("scripts/install-dependencies.sh", "scripts/unpack-samples.sh", "bin/cmake"):
        script(os.path.join(folder, name), "exit 0\n")
    os.symlink(tool, os.path.join(folder, "bin", "dibprep"))
    return dict(os.environ, PATH=os.path.join(folder, "bin") + ":" + os.environ["PATH"], LC_ALL="C.UTF-8")


def main():
    parser = argparse.ArgumentParser()
    for name in ("--tool", "--programs", "--samples"):
        parser.add_argument(name, required=True, type=os.path.abspath)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("document")
    arguments = parser.parse_args()
    with open(arguments.document, encoding="utf-8") as file:
        text = file.read()

    ran = 0
    with tempfile.TemporaryDirectory() as folder:
        environment = furnish(folder, arguments.tool, arguments.programs, arguments.samples)

        def run(command):
            nonlocal ran
            ran += 1
            answer = subprocess.run(["bash", "-c", command["line"]], cwd=folder, env=environment, text=True,
                                    stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            return f"$ {command['line']}\n{answer.stdout}"

        printed = BLOCK.sub(lambda block: COMMAND.sub(run, block[0]), text)
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
