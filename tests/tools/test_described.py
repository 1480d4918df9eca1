"""Manual pages and shell completions say what the table of commands says."""

import json
import os
import re
import shutil
import subprocess
import unittest

from tool_test import TOOL, ToolTest

# Types a command line into bash's completion and prints what it offers, a word a line.
ASK_BASH = r"""
source "$1"; shift
COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}
$(complete -p dibprep | sed 's/.*-F \([^ ]*\).*/\1/')
printf '%s\n' "${COMPREPLY[@]}"
"""


def names_of(option):
    return [name for name in (option["letter"], option["name"]) if name]


class Described(ToolTest):
    def setUp(self):
        super().setUp()
        self.table = json.loads(self.tool("--table"))
        self.tool("--generate-files", "share")
        self.file("page.bmp", b"")
        os.mkdir(self.path("pictures"))

    def text(self, place):
        return self.read("share/" + place).decode()

    def run_with(self, *command):
        done = subprocess.run(command, cwd=self.folder, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=60)
        return done.returncode, done.stdout.decode()

    def test_table_and_help_agree(self):
        for command in self.table:
            said = " ".join(self.tool(command["name"], "--help").split())
            self.assertIn(command["description"], said)
            for option in command["options"]:
                if not option["many"]:
                    self.assertIn(f"{option['name']} {option['value']}".strip() + " " + option["help"], said)
        said = " ".join(self.tool("help", "many").split())
        for option in next(command for command in self.table if command["many_pages"])["options"]:
            if option["many"]:
                self.assertIn(", ".join(names_of(option)) + f" {option['value']}".rstrip() + " " + option["help"], said)

    def plain(self, place):
        """A manual page without its markup."""
        text = re.sub(r"^\.\\\".*$", "", self.text(place), flags=re.MULTILINE)
        text = re.sub(r"\\f[BIR]", "", text).replace("\\-", "-").replace("\\e", "\\").replace("\\&", "")
        self.assertNotIn("\\", text)
        return text

    def test_manual_pages(self):
        self.assertEqual(sorted(os.listdir(self.path("share/man/man1"))),
                         sorted(["dibprep.1"] + [f"dibprep-{command['name']}.1" for command in self.table]))
        overview = self.plain("man/man1/dibprep.1")
        for command in self.table:
            self.assertIn(f".TP\ndibprep-{command['name']}(1)\n{command['summary']}.\n", overview)
            page = self.plain(f"man/man1/dibprep-{command['name']}.1")
            self.assertIn(f".SH NAME\ndibprep-{command['name']} - {command['summary']}\n", page)
            self.assertIn(".SH SYNOPSIS\n" + "\n.br\n".join(command["usage"]) + "\n", page)
            self.assertIn(f".SH EXAMPLE\n.nf\n{command['example']}\n.fi\n", page)
            options = re.search(r"\.SH OPTIONS\n(.*?)\.SH EXIT STATUS", page, re.DOTALL)
            items = options[1].split(".TP\n")[1:] if options else []
            expected = [", ".join(f"{name} {option['value']}".strip() for name in names_of(option)) + "\n" +
                        option["help"].replace("`", "") + "\n" for option in command["options"]]
            self.assertEqual(items, expected)

    def test_manual_pages_are_formatted_without_a_warning(self):
        tools = [tool for tool in ("groff", "mandoc") if shutil.which(tool)]
        if not tools:
            self.skipTest("neither groff nor mandoc is installed")
        for page in os.listdir(self.path("share/man/man1")):
            path = self.path("share/man/man1/" + page)
            if "groff" in tools:
                self.assertEqual(self.run_with("groff", "-man", "-ww", "-z", "-Tascii", path), (0, ""))
            if "mandoc" in tools:
                # Pages without a date come out the same whenever they are made.
                said = [line for line in self.run_with("mandoc", "-T", "lint", "-W", "warning", path)[1].splitlines()
                        if "missing date" not in line]
                self.assertEqual(said, [])

    def bash(self, *words):
        code, said = self.run_with("bash", "--norc", "-c", ASK_BASH, "bash", self.path(
            "share/bash-completion/completions/dibprep"), "dibprep", *words)
        self.assertEqual(code, 0, said)
        return [word for word in said.split("\n") if word]

    def test_bash(self):
        self.assertEqual(self.bash("re"), ["resample", "rescale"])
        self.assertEqual(self.bash(""), [command["name"] for command in self.table] + ["--help", "--version"])
        self.assertEqual(self.bash("help", "ma"), ["many"])
        self.assertEqual(self.bash("frobnicate", ""), [])
        for command in self.table:
            if command["name"] != "help":
                options = sum(map(names_of, command["options"]), []) + ["--help"]
                self.assertEqual(sorted(self.bash(command["name"], "-")), sorted(options))
                self.assertEqual(self.bash(command["name"], "pag"), ["page.bmp"])
            for option in command["options"]:
                for name in names_of(option):
                    offered = sorted(self.bash(command["name"], name, ""))
                    if option["kind"] == "choice":
                        self.assertEqual(offered, sorted(option["choices"]))
                    elif option["kind"] == "number" or name == "--shard":
                        self.assertEqual(offered, [])
                    elif option["name"] == "--output-dir":
                        self.assertEqual(offered, ["pictures", "share"])
                    elif option["value"] == "FILE" or option["kind"] == "flag":
                        self.assertEqual(offered, ["page.bmp", "pictures", "share"])
        self.assertEqual(self.bash("convert", "a", "b", "--depth", "2"), ["24"])

    def test_zsh(self):
        text = self.text("zsh/site-functions/_dibprep")
        self.assertTrue(text.startswith("#compdef dibprep\n"))
        for command in self.table:
            self.assertIn(f"'{command['name']}:{command['summary']}'", text)
            part = text.split(f"        {command['name']})\n")[1].split(";;")[0]
            for option in command["options"]:
                names = names_of(option)
                begin = f"'{names[0]}[" if len(names) == 1 else f"'({' '.join(names)})'{{{','.join(names)}}}'["
                self.assertIn(begin + option["help"].replace("'", "'\\''"), part)
                if option["kind"] == "choice":
                    self.assertIn(":(" + " ".join(option["choices"]) + ")", part)
        if shutil.which("zsh"):
            self.assertEqual(self.run_with("zsh", "-n", self.path("share/zsh/site-functions/_dibprep")), (0, ""))

    def test_fish(self):
        text = self.text("fish/vendor_completions.d/dibprep.fish")
        for command in self.table:
            self.assertIn(f"-n __fish_use_subcommand -a {command['name']} -d ", text)
            begin = f"complete -c dibprep -n '__fish_seen_subcommand_from {command['name']}' "
            lines = [line for line in text.splitlines() if line.startswith(begin + "-l")]
            self.assertEqual(len(lines), len(command["options"]))
            for line, option in zip(lines, command["options"]):
                self.assertTrue(line.startswith(begin + f"-l {option['name'][2:]}"), line)
                self.assertEqual(f" -s {option['letter'][1:]}" in line, option["letter"] != "")
                if option["kind"] == "choice":
                    self.assertIn(f" -x -a '{' '.join(option['choices'])}' ", line)
        if shutil.which("fish"):
            place = self.path("share/fish/vendor_completions.d/dibprep.fish")
            code, said = self.run_with("fish", "--no-config", "-c", f"source {place}; complete -C 'dibprep re'")
            self.assertEqual((code, [line.split("\t")[0] for line in said.splitlines()]), (0, ["resample", "rescale"]))
            said = self.run_with("fish", "--no-config", "-c",
                                 f"source {place}; complete -C 'dibprep convert --depth '")[1]
            self.assertEqual(sorted(line.split("\t")[0] for line in said.splitlines()), ["16", "24"])


if __name__ == "__main__":
    unittest.main()
