"""Where tools/mutants builds and runs mutants: a copy of the sources, first built without one.

The program's logic is one shared library, so that a mutant costs one compilation and one link and
the test programs stay as they are. The simulated machine is compiled with optimisation, because
the tests spend their time there.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

from mutation.operators import FOLDERS

# Tests that run whole commands see what a folder's own tests overlook.
WHOLE_COMMANDS = ["install", "verify", "remove", "cli", "scenarios"]
PROGRAMS = WHOLE_COMMANDS + [name for name in FOLDERS if name not in WHOLE_COMMANDS]
SLOW_TEST_SECONDS = 0.5
# A test program that takes three times its usual CPU time hangs; a short one gets at least this.
LEAST_CPU_SECONDS = 4
MEMORY_KILOBYTES = 3_000_000

STANDARD_HEADERS = ["algorithm", "array", "functional", "map", "memory", "optional", "set",
                    "string", "string_view", "utility", "vector"]
CHECKED = ["-D_GLIBCXX_ASSERTIONS"]  # an access beyond a text or a list ends the program
FLAGS = ["-std=c++20", "-w", "-fPIC", "-fvisibility-inlines-hidden"]


def run(command, **options):
    return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", **options)


def linker():
    for name, option in (("ld.lld", "lld"), ("ld.gold", "gold")):
        if shutil.which(name):
            return [f"-fuse-ld={option}"]
    return []


class Workshop:
    def __init__(self, root):
        self.root = root
        self.place = root / "build" / "mutants"
        self.tree = self.place / "tree"
        self.built = self.place / "built"
        self.slow_tests = {}   # program: names
        self.quick_seconds = {}
        self.slow_seconds = {}
        self.dependents = {}   # header: sources
        self.parts = {}        # library or program: sources

    # --------------------------------------------------------------------------------------------
    # Once, without a mutant.

    def prepare(self):
        self._copy_sources()
        self._find_parts()
        self._build()
        self._read_dependents()
        self._time_the_tests()

    def _copy_sources(self):
        """Unchanged files keep their time stamps, so that little is rebuilt."""
        names = run(["git", "ls-files", "-co", "--exclude-standard"], cwd=self.root).stdout
        names = {name for name in names.split("\n") if name and (self.root / name).is_file()}
        for name in names:
            source, copy = self.root / name, self.tree / name
            if not copy.exists() or copy.read_bytes() != source.read_bytes():
                copy.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, copy)
        for copy in list(self.tree.rglob("*")):
            if copy.is_file() and str(copy.relative_to(self.tree)) not in names:
                copy.unlink()

    def _sources(self, folder):
        return sorted(str(path.relative_to(self.tree)) for path in (self.tree / folder).glob("*.cpp")
                      if path.name != "main.cpp")

    def _find_parts(self):
        self.parts = {
            "logic": [source for folder in FOLDERS for source in self._sources(folder)],
            "model": self._sources("platform/simulated"),
            "support": self._sources("tests/support") + self._sources("tests/invariants"),
        }
        for name in PROGRAMS:
            self.parts[name] = self._sources(f"tests/{name}")

    def _common_header(self, source):
        """Precompiles the standard headers, but not for the model, whose options differ."""
        if source.startswith("platform/"):
            return None
        return self.built / ("tests.h" if source.startswith("tests/") else "standard.h")

    def compile_command(self, source, target, search):
        """`search` lists the include folders, relative to where the compiler runs."""
        model = source.startswith("platform/")
        header = self._common_header(source)
        checked = CHECKED if header and header.name == "standard.h" else []
        return (["g++", *FLAGS, "-O2" if model else "-O0", *checked]
                + (["-include", header] if header else [])
                + [f"-I{folder}" for folder in search] + ["-c", source, "-o", target])

    def link_command(self, part, objects, target, folders):
        paths = [f"-L{folder}" for folder in folders]
        if part == "logic":
            return ["g++", "-shared", *linker(), "-o", target, *objects]
        if part == "model":
            return ["g++", "-shared", *linker(), "-o", target, *objects, "-lcrypto"]
        if part == "support":
            return ["g++", "-shared", *linker(), "-o", target, *objects]
        return ["g++", *linker(), "-o", target, *objects, *paths, "-Wl,--no-as-needed", "-lsupport", "-llogic", "-lmodel",
                "-lgtest_main", "-lgtest", "-lpthread"]

    def target_of(self, part, place):
        return place / (f"lib{part}.so" if part in ("logic", "model", "support")
                        else f"{part}_tests")

    def _build(self):
        self.built.mkdir(parents=True, exist_ok=True)
        standard = "".join(f"#include <{name}>\n" for name in STANDARD_HEADERS)
        for name, text in (("standard.h", standard),
                           ("tests.h", standard + "#include <gtest/gtest.h>\n")):
            if not (self.built / name).exists() or (self.built / name).read_text() != text:
                (self.built / name).write_text(text)
        lines = [f"builddir = {self.place}", "rule run", "  command = $do", "rule compile", "  command = $do -MMD -MF $out.d",
                 "  depfile = $out.d"]
        def build(target, rule, inputs, command, implicit=()):
            lines.append(f"build {target}: {rule} {' '.join(map(str, inputs))}"
                         + (" | " + " ".join(map(str, implicit)) if implicit else ""))
            lines.append("  do = " + " ".join(map(str, command)))
        for name in ("standard.h", "tests.h"):
            build(self.built / f"{name}.gch", "run", [self.built / name],
                  ["g++", *FLAGS, "-O0", *(CHECKED if name == "standard.h" else []), "-x", "c++-header", self.built / name,
                   "-o", self.built / f"{name}.gch"])
        for part, sources in self.parts.items():
            objects = [self.object_of(source) for source in sources]
            for source, target in zip(sources, objects):
                target.parent.mkdir(parents=True, exist_ok=True)
                build(target, "compile", [source], self.compile_command(source, target, ["."]),
                      [f"{header}.gch" for header in [self._common_header(source)] if header])
            library = part in ("logic", "model", "support")
            build(self.target_of(part, self.built), "run", objects,
                  self.link_command(part, objects, self.target_of(part, self.built), [self.built]),
                  [] if library else [self.target_of(name, self.built)
                                      for name in ("logic", "model", "support")])
        (self.place / "build.ninja").write_text("\n".join(lines) + "\n")
        built = run(["ninja", "-f", self.place / "build.ninja"], cwd=self.tree)
        if built.returncode != 0:
            sys.exit(built.stdout[-4000:])

    def object_of(self, source):
        return self.built / "objects" / (source + ".o")

    def _read_dependents(self):
        self.dependents = {}
        for part, sources in self.parts.items():
            if part == "model":  # the model is never mutated
                continue
            for source in sources:
                listed = pathlib.Path(str(self.object_of(source)) + ".d").read_text()
                for name in re.findall(r"[\w./-]+\.h\b", listed):
                    self.dependents.setdefault(name, []).append((part, source))

    def _time_the_tests(self):
        """Finds the slow tests and how long each program takes. All tests must pass."""
        for program in PROGRAMS:
            report = self.built / f"{program}.json"
            binary = self.target_of(program, self.built)
            libraries = [self.target_of(name, self.built) for name in ("logic", "model", "support")]
            if not report.exists() or report.stat().st_mtime < max(
                    path.stat().st_mtime for path in [binary, *libraries]):
                tested = run([binary, "--gtest_brief=1", f"--gtest_output=json:{report}"],
                             cwd=self.tree, env=self._environment(self.built))
                if tested.returncode != 0:
                    report.unlink(missing_ok=True)
                    sys.exit(f"tools/mutants: {program}_tests fail without any mutant\n"
                             + tested.stdout[-2000:])
            times = {f"{suite['name']}.{test['name']}": float(test["time"].rstrip("s"))
                     for suite in json.loads(report.read_text())["testsuites"]
                     for test in suite["testsuite"]}
            slow = sorted(name for name, time in times.items() if time > SLOW_TEST_SECONDS)
            self.slow_tests[program] = slow
            self.slow_seconds[program] = sum(times[name] for name in slow)
            self.quick_seconds[program] = sum(times.values()) - self.slow_seconds[program]

    # --------------------------------------------------------------------------------------------
    # For each mutant.

    def _environment(self, *folders):
        return {**os.environ, "LD_LIBRARY_PATH": ":".join(map(str, folders)), "GTEST_COLOR": "no"}

    def bench(self, number):
        return Bench(self, self.place / f"bench{number}")


class Bench:
    """One mutant at a time."""

    def __init__(self, shop, place):
        self.shop = shop
        self.place = place
        self.sources = place / "sources"
        self.mutant = None
        self.fresh = set()  # parts built here, used instead of the workshop's

    def lay(self, mutant):
        """Compiles the mutant: '', 'does not compile' or 'equivalent'."""
        shutil.rmtree(self.place, ignore_errors=True)
        mutated = self.sources / mutant.path
        mutated.parent.mkdir(parents=True)
        mutated.write_text(mutant.apply((self.shop.tree / mutant.path).read_text()))
        self.mutant = mutant
        self.fresh = set()
        self.objects = {}
        affected = [source for part, source in self._affected() if part == "logic"]
        if not self._compile(affected):
            return "does not compile"
        if all(self.objects[source].read_bytes() == self.shop.object_of(source).read_bytes()
               for source in affected) and not mutant.path.endswith(".h"):
            return "equivalent"
        return "" if self._link("logic") else "does not compile"

    def is_same_when_optimised(self):
        """Whether the optimiser turns mutant and original into the same code."""
        source = self.mutant.path
        if not source.endswith(".cpp"):
            return False
        made = []
        for folder, search in ((self.shop.tree, ["."]), (self.sources, [".", self.shop.tree])):
            target = self.place / f"optimised{len(made)}.o"
            command = ["g++", *FLAGS, "-O2", *[f"-I{place}" for place in search], "-c", source,
                       "-o", target]
            if run(command, cwd=folder).returncode != 0:
                return False
            made.append(target.read_bytes())
        return made[0] == made[1]

    def _affected(self):
        path = self.mutant.path
        return self.shop.dependents.get(path, []) if path.endswith(".h") else [("logic", path)]

    def _compile(self, sources):
        for source in sources:
            target = self.place / "objects" / (source + ".o")
            target.parent.mkdir(parents=True, exist_ok=True)
            self.objects[source] = target
            here = source == self.mutant.path
            command = self.shop.compile_command(
                source, target, [".", self.shop.tree] if here else [self.sources, "."])
            if run(command, cwd=self.sources if here else self.shop.tree).returncode != 0:
                return False
        return True

    def _link(self, part):
        objects = [self.objects.get(source) or self.shop.object_of(source)
                   for source in self.shop.parts[part]]
        self.fresh.add(part)
        return run(self.shop.link_command(part, objects, self.shop.target_of(part, self.place),
                                          [self.place, self.shop.built]),
                   cwd=self.shop.tree).returncode == 0

    def _has_program(self, program):
        """Rebuilds the tests that include a changed header."""
        for part in ("support", program):
            sources = [source for its_part, source in self._affected()
                       if its_part == part and source not in self.objects]
            if sources and not (self._compile(sources) and self._link(part)):
                return False
        return True

    def test(self, program, chosen, seconds):
        """None when the tests pass, else the test that failed or what else happened."""
        if not self._has_program(program):
            return "does not compile with it"
        binary = self.shop.target_of(program, self.place if program in self.fresh
                                     else self.shop.built)
        log = self.place / "log"
        limits = (f"ulimit -St {int(max(LEAST_CPU_SECONDS, 3 * seconds)) + 1}; "
                  f"ulimit -v {MEMORY_KILOBYTES}; ulimit -f 100000; exec \"$0\" \"$@\"")
        with open(log, "w") as output:
            ended = subprocess.run(
                ["bash", "-c", limits, binary, "--gtest_brief=1", "--gtest_fail_fast",
                 "--gtest_filter=" + chosen], stdout=output, stderr=output, cwd=self.shop.tree,
                env=self.shop._environment(self.place, self.shop.built)).returncode
        if ended == 0:
            return None
        if ended == -24:
            return "without end"
        failed = re.search(r"^\[  FAILED  \] ([\w./]+\.[\w/]+)", log.read_text(errors="replace"),
                           re.M)
        return failed.group(1) if failed else "crash"
