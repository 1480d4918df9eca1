"""The Debian packages: what is in them, and a host built against them from outside, in the width of
the build, by CMake and by pkg-config. Nothing is installed: they are unpacked into empty folders."""

import os
import re
import shutil
import struct
import subprocess
import tempfile
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
EXAMPLES = os.path.join(ROOT, "examples")
BUILD = os.environ["DIBPREP_BUILD"]
CMAKE = os.environ["DIBPREP_CMAKE"]
VERSION = os.environ["DIBPREP_VERSION"]
CONFIGURATION = "-" + os.environ["DIBPREP_CONFIGURATION"]
MAJOR = VERSION.split(".")[0]
WIDE = os.environ["DIBPREP_WIDTH"] == "64"
LIB = "usr/lib" if WIDE else "usr/lib32"
RUNTIME, DEVELOPMENT = ("libdibprep1", "libdibprep-dev") if WIDE else ("lib32dibprep1", "lib32dibprep-dev")
MACHINE_FLAG = [] if WIDE else ["-m32"]
OWN_VERSIONS = [f"{name}.so.{MAJOR}" for name in ("libdibhost", "libdibprep")]


def run(*command, fails=False, **options):
    """Runs the command, expects it to succeed or to fail, gives what it printed."""
    done = subprocess.run(command, text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, **options)
    if (done.returncode != 0) != fails:
        raise AssertionError(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


def files_below(folder):
    return {os.path.relpath(os.path.join(path, name), folder)
            for path, _, names in os.walk(folder) for name in names}


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="dibprep-packages-")
        cls.addClassCleanup(shutil.rmtree, cls.folder, True)
        made = cls.path("made")
        run(os.environ["DIBPREP_CPACK"], "-G", "DEB", "--config", os.path.join(BUILD, "CPackConfig.cmake"), "-B", made)
        cls.packages = {name.split("_")[0]: os.path.join(made, name) for name in os.listdir(made)
                        if name.endswith(".deb")}
        # Each alone, and those that a developer installs together.
        os.mkdir(cls.path("alone"))
        for name, package in cls.packages.items():
            run("dpkg-deb", "-x", package, cls.path("alone", name))
            run("dpkg-deb", "-x", package, cls.path("all"))
        if not WIDE:  # the headers of libdibprep-dev, on which lib32dibprep-dev depends
            run(CMAKE, "--install", BUILD, "--component", "headers", "--prefix", cls.path("all", "usr"))
        row = bytes(range(90)) + bytes(2)
        with open(cls.path("page.bmp"), "wb") as page:  # 30 x 20 pixels at 300 dpi
            page.write(struct.pack("<2sIIIIiiHHIIiiII", b"BM", 54 + 20 * 92, 0, 54,
                                   40, 30, 20, 1, 24, 0, 0, 11811, 11811, 0, 0) + 20 * row)

    @classmethod
    def path(cls, *names):
        return os.path.join(cls.folder, *names)

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.packages[package], name).strip()

    def run_host(self, program, **environment):
        return run(program, self.path("page.bmp"), self.path("out.bmp"), env=dict(os.environ, **environment))

    # ---- what is in them ------------------------------------------------------------------------

    def test_packages_are_these(self):
        self.assertEqual(set(self.packages), {RUNTIME, DEVELOPMENT, "dibprep"} if WIDE else {RUNTIME, DEVELOPMENT})
        for name in self.packages:
            self.assertEqual(self.field(name, "Package"), name)
            self.assertEqual(self.field(name, "Version"), VERSION)
            self.assertEqual(self.field(name, "Architecture"), "amd64")
            for line in self.field(name, "Description").splitlines():
                self.assertLess(len(line), 80)

    def test_sections_and_dependencies(self):
        self.assertEqual(self.field(RUNTIME, "Section"), "libs")
        self.assertEqual(self.field(DEVELOPMENT, "Section"), "libdevel")
        for library in ("libc6", "libstdc++6") if WIDE else ("libc6-i386", "lib32stdc++6"):
            self.assertRegex(self.field(RUNTIME, "Depends"), rf"(^|, ){re.escape(library)} \(>= ")
        self.assertIn(f"{RUNTIME} (= {VERSION})", self.field(DEVELOPMENT, "Depends"))
        if WIDE:
            self.assertEqual(self.field("dibprep", "Section"), "graphics")
            self.assertIn(f"{RUNTIME} (= {VERSION})", self.field("dibprep", "Depends"))
        else:
            self.assertIn(f"libdibprep-dev (= {VERSION})", self.field(DEVELOPMENT, "Depends"))

    def test_every_package_has_its_licence(self):
        with open(os.path.join(ROOT, "LICENSE"), encoding="utf-8") as file:
            licence = file.read()
        for name in self.packages:
            with open(self.path("alone", name, "usr/share/doc", name, "copyright"), encoding="utf-8") as file:
                self.assertEqual(file.read(), licence)

    def test_no_file_has_two_owners(self):
        owners = {}
        for name in self.packages:
            for file in files_below(self.path("alone", name)):
                self.assertNotIn(file, owners)
                owners[file] = name

    def test_runtime_package_holds_versioned_libraries(self):
        hint = "a build folder from before lib32 was chosen needs `cmake --preset x86` once"
        folder = self.path("alone", RUNTIME)
        documents = {f"usr/share/doc/{RUNTIME}/{name}" for name in ("copyright", "changelog.gz")}
        self.assertEqual(files_below(folder) - documents,
                         {f"{LIB}/{name}{more}" for name in OWN_VERSIONS for more in ("", VERSION[len(MAJOR):])}, hint)
        for name in OWN_VERSIONS:
            library = os.path.join(folder, LIB, name)
            self.assertEqual(os.readlink(library), name + VERSION[len(MAJOR):])
            self.assertIn(f"soname: [{name}]", run("readelf", "-d", library))
            self.assertIn("ELF64" if WIDE else "ELF32", run("readelf", "-h", library))
            self.assertNotIn(".symtab", run("readelf", "-S", library))
            self.assertNotIn("RUNPATH", run("readelf", "-d", library))

    def test_development_package_holds_what_programs_are_built_with(self):
        width = 64 if WIDE else 32
        expected = {f"{LIB}/{name}" for name in ("libdibprep.so", "libdibhost.so", "pkgconfig/dibprep.pc",
                                                 "pkgconfig/dibhost.pc")}
        expected |= {f"usr/lib/cmake/dibprep/dibprep-targets-{width}{more}.cmake" for more in ("", CONFIGURATION)}
        expected |= {f"usr/share/doc/{DEVELOPMENT}/{name}" for name in ("copyright", "changelog.gz")}
        shared = {"usr/lib/cmake/dibprep/dibprep-config.cmake", "usr/lib/cmake/dibprep/dibprep-config-version.cmake"}
        shared |= {f"usr/include/{name}" for name in files_below(os.path.join(ROOT, "include"))
                   if name.endswith(".h")}
        self.assertEqual(files_below(self.path("alone", DEVELOPMENT)), expected | shared if WIDE else expected)
        self.assertLessEqual(shared, files_below(self.path("all")))

    @unittest.skipUnless(WIDE, "the tool is packaged by the 64-bit build")
    def test_tool_package_holds_a_tool_that_runs(self):
        folder = self.path("alone", "dibprep")
        for file in files_below(folder):
            self.assertRegex(file, r"^usr/(bin/dibprep$|share/)")
        said = run(self.path("all", "usr/bin/dibprep"), "info", self.path("page.bmp"))
        self.assertIn("30 x 20 pixels, 24 bits per pixel", said)

    # ---- hosts built from outside ---------------------------------------------------------------

    def configure(self, build, *flags, fails=False):
        return run(CMAKE, "-G", "Ninja", "-S", EXAMPLES, "-B", build, "-DCMAKE_PREFIX_PATH=" + self.path("all", "usr"),
                   "-DCMAKE_BUILD_TYPE=Release", *(f"-DCMAKE_{language}_FLAGS={' '.join(flags)}"
                                                   for language in ("C", "CXX")), fails=fails)

    def test_cmake_finds_the_package_of_its_width(self):
        build = self.path("by-cmake")
        self.configure(build, *MACHINE_FLAG)
        run(CMAKE, "--build", build)
        self.assertEqual(self.run_host(os.path.join(build, "host")), "20 x 13 pixels, 24 bits\n")
        self.assertTrue(self.run_host(os.path.join(build, "plain")).endswith("20 x 13 pixels, depth 24\n"))
        # What runs needs the runtime package alone; this host finds it through the loader.
        alone = self.path("alone", RUNTIME, LIB)
        self.assertEqual(self.run_host(os.path.join(build, "own_layer"), LD_LIBRARY_PATH=alone).splitlines(),
                         ["Loaded libdibprep.so.1.", "20 x 13 pixels, 24 bits",
                          "Freed 0 blocks that the conversion left behind."])

    def test_cmake_is_told_when_the_other_width_is_missing(self):
        width, flag = (32, "-m32") if WIDE else (64, "-m64")
        said = " ".join(self.configure(self.path("other-width"), flag, fails=True).split())
        self.assertIn(f"This installation of dibprep has no {width}-bit library to link with.", said)

    def pkg_config(self, *arguments):
        environment = dict(os.environ, PKG_CONFIG_LIBDIR=self.path("all", LIB, "pkgconfig"))
        return run("pkg-config", *arguments, env=environment).split()

    def compile(self, source, program, *flags, fails=False):
        return run(os.environ["CXX"], *MACHINE_FLAG, "-std=c++17", os.path.join(EXAMPLES, source), *flags,
                   "-o", self.path(program), fails=fails)

    def test_pkg_config_gives_what_a_host_needs(self):
        self.assertEqual(self.pkg_config("--modversion", "dibprep", "dibhost"), [VERSION, VERSION])
        # As linkers do by default in some distributions: libdibhost must count as needed.
        flags = self.pkg_config("--cflags", "--libs", "dibprep", "dibhost")
        self.compile("host.cpp", "host", "-Wl,--as-needed", *flags)
        said = self.run_host(self.path("host"), LD_LIBRARY_PATH=self.path("alone", RUNTIME, LIB))
        self.assertEqual(said, "20 x 13 pixels, 24 bits\n")

    def test_host_with_its_own_functions_links_without_libdibhost(self):
        # Linked, the program's functions are exported to the library without -rdynamic.
        self.compile("own_layer.cpp", "linked", "-Wl,--no-as-needed", *self.pkg_config("--cflags", "--libs", "dibprep"),
                     "-ldl")
        needed = run("readelf", "-d", self.path("linked"))
        self.assertIn("[libdibprep.so.1]", needed)
        self.assertNotIn("libdibhost", needed)
        said = self.run_host(self.path("linked"), LD_LIBRARY_PATH=self.path("alone", RUNTIME, LIB))
        self.assertIn("20 x 13 pixels, 24 bits\n", said)

    def test_host_without_the_functions_is_refused_by_the_linker(self):
        said = self.compile("host.cpp", "nothing", *self.pkg_config("--cflags", "--libs", "dibprep"), fails=True)
        self.assertRegex(said, r"libdibprep\.so.*undefined reference to .GlobalFlags'")


if __name__ == "__main__":
    unittest.main()
