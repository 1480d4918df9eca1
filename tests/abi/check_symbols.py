#!/usr/bin/env python3
"""Compares the dynamic symbols of libdibprep with the lists of what it exports and imports.

exports.txt holds mangled names, one a line; a name that differs between the widths is marked with
"x86" or "x64" behind it. imports.txt holds the host's functions; beside them only the C and C++
runtime may be undefined. A library that needs anything but the runtime fails too.
"""
import argparse
import re
import subprocess
import sys

RUNTIME_LIBRARIES = {
    "x86": {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6", "ld-linux.so.2"},
    "x64": {"libstdc++.so.6", "libm.so.6", "libgcc_s.so.1", "libc.so.6", "ld-linux-x86-64.so.2"},
}
FILE_FORMAT = {"x86": ("ELF32", "Intel 80386"), "x64": ("ELF64", "X86-64")}


def read_list(path, width):
    names = set()
    for line in open(path, encoding="ascii"):
        words = line.split("#")[0].split()
        if words and (len(words) == 1 or words[1] == width):
            names.add(words[0])
    return names


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def dynamic_symbols(library):
    defined, versioned, undefined = set(), {}, set()
    for line in run("readelf", "--dyn-syms", "--wide", library).splitlines():
        fields = line.split()
        if len(fields) < 8 or not fields[0].rstrip(":").isdigit():
            continue
        name, _, version = fields[7].partition("@")
        if fields[6] == "UND":
            undefined.add(name)
            versioned[name] = version
        else:
            defined.add(name)
    return defined, undefined, versioned


def report(title, names):
    for name in sorted(names):
        print(f"{title}: {name}")
    return bool(names)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--library", required=True)
    parser.add_argument("--width", choices=("x86", "x64"), required=True)
    parser.add_argument("--exports", required=True)
    parser.add_argument("--imports", required=True)
    arguments = parser.parse_args()

    defined, undefined, versions = dynamic_symbols(arguments.library)
    exports = read_list(arguments.exports, arguments.width)
    imports = read_list(arguments.imports, arguments.width)
    # What carries a version belongs to the runtime; the rest of the runtime's names are weak hooks.
    runtime = {n for n in undefined if re.match(r"(GLIBC|GLIBCXX|CXXABI|GCC)_", versions[n])}
    hooks = {"__gmon_start__", "_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable"}

    failed = report("exported but not listed", defined - exports)
    failed |= report("listed but not exported", exports - defined)
    failed |= report("imported but neither the host's nor the runtime's", undefined - imports - runtime - hooks)
    failed |= report("a function of the host's that is never used", imports - undefined)

    header = run("readelf", "-h", arguments.library)
    for expected in FILE_FORMAT[arguments.width]:
        if expected not in header:
            failed = report("not in the file header", {expected})
    dynamic = run("readelf", "-d", arguments.library)
    needed = set(re.findall(r"NEEDED.*\[(.*)\]", dynamic))
    failed |= report("needs", needed - RUNTIME_LIBRARIES[arguments.width])
    if re.findall(r"SONAME.*\[(.*)\]", dynamic) != ["libdibprep.so.1"]:
        failed = report("wrong soname", {"expected libdibprep.so.1"})
    if "SYMBOLIC" in dynamic:
        failed = report("exported data would not stay one copy", {"SYMBOLIC"})
    if re.search(r"PROTECTED", run("readelf", "--dyn-syms", "--wide", arguments.library)):
        failed = report("exported data would not stay one copy", {"protected visibility"})
    if "TEXTREL" in dynamic:
        failed = report("needs relocation of its code", {"TEXTREL"})
    print(f"{len(defined)} exported names, {len(undefined & imports)} functions of the host, needs {sorted(needed)}")
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
