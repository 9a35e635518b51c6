"""Where tools/mutants builds the program that holds every mutant, and finds out which tests reach what.

Two programs consist of the same tests, support and simulated machine, which CMake has compiled, of
runner.cpp, and of the logic in two forms. In the one, the compiler notes which places a test reaches.
The other holds the mutants. A mutant that no function body can hold gets a program of its own.
"""
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import threading

from mutation.operators import FOLDERS
from mutation.reach import Reach
from mutation.schemata import holdable, refused, with_mutants

TARGET = "vorn_mutation_parts"
# An access beyond a text or a list ends the program. The stack holds every copy of a function.
FLAGS = ["-std=c++20", "-w", "-O0", "-D_GLIBCXX_ASSERTIONS"]
BATCH_CHARACTERS = 2_000_000
STANDARD_HEADERS = ["algorithm", "array", "functional", "map", "memory", "optional", "set",
                    "string", "string_view", "utility", "vector"]
# What the compiler says of a mutant among others; a doubtful one gets a program of its own.
REFUSED, DOUBTFUL = "does not compile", "may not compile"

# What is built with a changed header. The tests of its folder alone, for those that only look at its
# constants; with them the logic; or every test.
PINS, FOLDER, EVERYTHING = "pins", "folder", "everything"


def run(command, **options):
    return subprocess.run([str(word) for word in command], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", **options)


def run_or_end(command, **options):
    done = run(command, **options)
    if done.returncode != 0:
        sys.exit(f"tools/mutants: {shlex.join(map(str, command))[:400]}\n{done.stdout[-4000:]}")
    return done.stdout


def linker():
    for name, option in (("ld.lld", "lld"), ("ld.gold", "gold")):
        if shutil.which(name):
            return [f"-fuse-ld={option}"]
    return []


def write_if_new(path, text):
    if not path.exists() or path.read_text() != text:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)


class Workshop:
    def __init__(self, root, mutants, cores, place, files=None):
        """Only what tests reach in these files is found out, or in all of them."""
        self.root = root
        self.host = root / "build" / "host"
        self.tests = root / "build" / "sanitized"  # only what the tests are linked with is instrumented
        self.place = place
        self.files = files
        self.tree = self.place / "tree"
        self.mutants = mutants
        self.cores = cores
        self.does_not_compile = set()
        self.held = set()       # the numbers of the mutants in the program
        self.program = self.place / "mutants_runner"
        self.headers = None     # the digest of all of them
        self.unchanged = threading.Lock()  # of the logic that makes_the_same_logic compares with
        self.begun = {}         # place: the mutant whose own program is built there

    def prepare(self, numbers):
        """Builds both programs; the second holds these mutants, as far as it can."""
        self._copy_sources()
        self._build_the_rest()
        self._build_reach()
        self._build_mutants(numbers)

    # --------------------------------------------------------------------------------------------
    # What does not change with a mutant.

    def _copy_sources(self):
        """The program's folders, so that they may be edited while mutants are tried."""
        names = {str(path.relative_to(self.root)) for folder in FOLDERS
                 for pattern in ("*.cpp", "*.h") for path in (self.root / folder).glob(pattern)}
        for name in names:
            write_if_new(self.tree / name, (self.root / name).read_text())
        for copy in list(self.tree.rglob("*.*")):
            if str(copy.relative_to(self.tree)) not in names:
                copy.unlink()
        self.sources = sorted((name for name in names if name.endswith(".cpp")
                               and not name.endswith("/main.cpp")),
                              key=lambda name: (FOLDERS.index(name.split("/")[0]), name))
        self.texts = {name: (self.tree / name).read_text() for name in names}
        self.watched = [name for name in self.sources if self.files is None or name in self.files]

    def _build_the_rest(self):
        for preset, target in (("host", "vorn_simulated"), ("sanitized", TARGET)):
            if not (self.root / "build" / preset / "build.ninja").exists():
                run_or_end(["cmake", "--preset", preset], cwd=self.root)
            run_or_end(["cmake", "--build", "--preset", preset, "--target", target], cwd=self.root)
        listed = (self.tests / f"{TARGET}.txt").read_text().split("\n")
        # Kept apart, so that another build does not change them while mutants are tried.
        kept = self.place / "parts"
        shutil.rmtree(kept, ignore_errors=True)
        kept.mkdir(parents=True)
        self.objects = {}   # object: where it was compiled
        for number, name in enumerate(line for line in listed if line):
            copy = kept / f"{number}-{pathlib.Path(name).name}"
            shutil.copy(self.tests / name, copy)
            self.objects[copy] = self.tests / name
        self.archives = [shutil.copy(self.host / "libvorn_simulated.a", kept)]
        self.runner = self.place / "runner.o"
        source = pathlib.Path(__file__).parent / "runner.cpp"
        digest = self.place / "runner.digest"
        its = hashlib.sha256(source.read_bytes()).hexdigest()
        if not self.runner.exists() or not digest.exists() or digest.read_text() != its:
            run_or_end(["g++", "-std=c++20", "-O1", "-w", "-c", source, "-o", self.runner])
            digest.write_text(its)
        self._precompile_standard_headers()

    def _precompile_standard_headers(self):
        standard = "".join(f"#include <{name}>\n" for name in STANDARD_HEADERS)
        write_if_new(self.place / "begin.h", standard + "extern int vorn_mutant;\n")
        write_if_new(self.place / "optimised" / "begin.h", standard)
        for header, options in ((self.place / "begin.h", []),
                                (self.place / "optimised" / "begin.h", ["-O2"])):
            made = header.with_suffix(".h.gch")
            if not made.exists() or made.stat().st_mtime < header.stat().st_mtime:
                run_or_end(["g++", *FLAGS, *options, "-x", "c++-header", header, "-o", made])

    def compile(self, source, target, search, options=()):
        target.parent.mkdir(parents=True, exist_ok=True)
        return run(["g++", *FLAGS, *options, "-include", self.place / "begin.h",
                    *[f"-I{folder}" for folder in search], "-c", source, "-o", target],
                   cwd=search[-1])

    def link(self, logic, target, objects=None):
        """The logic comes first: of an inline function in several objects, the linker takes the first."""
        listed = target.with_suffix(".objects")
        listed.write_text("\n".join(map(str, [*logic, self.runner, *(objects or self.objects),
                                              *self.archives])))
        return run(["g++", *linker(), "-Wl,--allow-multiple-definition", "-o", target,
                    f"@{listed}", "-lgtest", "-lcrypto", "-lpthread"])

    # --------------------------------------------------------------------------------------------

    def _batches(self, size_of):
        """What is watched, in groups of about equal size; each becomes one object."""
        total = sum(size_of(source) for source in self.watched)
        most = min(BATCH_CHARACTERS, total / self.cores)
        batches, size = [[]], 0
        for source in self.watched:
            if batches[-1] and size + size_of(source) / 2 > most:
                batches.append([])
                size = 0
            batches[-1].append(source)
            size += size_of(source)
        return batches

    def _compile_batches(self, batches, place, search, options=()):
        """(the objects, the compiler's output); what has not changed is not compiled again."""
        headers = self._digest_of(search, [name for name in self.texts if name.endswith(".h")])
        def one(numbered):
            number, batch = numbered
            source = place / f"batch{number}.cpp"
            target, digest = source.with_suffix(".o"), source.with_suffix(".digest")
            its = f"{headers} {self._digest_of(search, batch)} {options}"
            if target.exists() and digest.exists() and digest.read_text() == its:
                return target, ""
            digest.unlink(missing_ok=True)
            write_if_new(source, "".join(f'#include "{name}"\n' for name in batch))
            compiled = self.compile(source, target, search, options)
            if compiled.returncode == 0:
                digest.write_text(its)
            return target, compiled.stdout
        with concurrent.futures.ThreadPoolExecutor(self.cores) as pool:
            made = list(pool.map(one, enumerate(batches)))
        return [target for target, _ in made], "".join(output for _, output in made)

    def _digest_of(self, search, names):
        """Of the texts that the compiler finds under these names."""
        texts = [next(folder / name for folder in search if (folder / name).exists()).read_bytes()
                 for name in sorted(names)]
        return hashlib.sha256(b"\0".join(texts)).hexdigest()

    def _unwatched(self):
        """It comes first in a program, so that inline functions of all are those that nobody watches."""
        others = [source for source in self.sources if source not in self.watched]
        if not others:
            return []
        objects, output = self._compile_batches([others], self.place / "unwatched", [self.tree])
        if "error" in output:
            sys.exit(f"tools/mutants: the sources do not compile\n{output[-4000:]}")
        return objects

    def _build_reach(self):
        place = self.place / "reach"
        batches = self._batches(lambda source: len(self.texts[source]))
        objects, output = self._compile_batches(
            batches, place, [self.tree], ["-g1", "-fsanitize-coverage=trace-pc"])
        if "error" in output:
            sys.exit(f"tools/mutants: the sources do not compile\n{output[-4000:]}")
        program = place / "runner"
        failed = self.link([*self._unwatched(), *objects], program)
        if failed.returncode != 0:
            sys.exit(f"tools/mutants: the tests of all folders do not link\n{failed.stdout[-4000:]}")
        digest = hashlib.sha256(program.read_bytes()).hexdigest()
        record = place / f"{digest[:16]}.record"
        if not record.exists():
            for old in place.glob("*.record"):
                old.unlink()
            self._record(program, record)
        self.reach = Reach(program, record, self.texts)

    def _record(self, program, record):
        """Several processes share the tests."""
        def one(shard):
            part = record.with_suffix(f".{shard}")
            run_or_end([program, "--record", part], cwd=self.root, env={
                **os.environ, "GTEST_TOTAL_SHARDS": str(self.cores), "GTEST_SHARD_INDEX": str(shard)})
            return part
        with concurrent.futures.ThreadPoolExecutor(self.cores) as pool:
            parts = list(pool.map(one, range(self.cores)))
        whole = record.with_suffix(".new")
        whole.write_bytes(b"".join(part.read_bytes() for part in parts))
        whole.rename(record)

    def _build_mutants(self, numbers):
        """Leaves out what does not compile, or may not, and builds again without it."""
        place = self.place / "schemata"
        known = self._known_refused()
        self.held = holdable(self.texts, self.mutants) & set(numbers)
        self.does_not_compile = {n for n in self.held if known.get(self._digest(n)) == REFUSED}
        self.held -= {n for n in self.held if known.get(self._digest(n)) == DOUBTFUL}
        batches = None
        while True:
            texts = self._texts_with_mutants(place)
            batches = batches or self._batches(
                lambda source: len(texts.get(source, self.texts[source])))
            objects, output = self._compile_batches(batches, place, [place, self.tree],
                                                    ["-fmax-errors=0"])
            bad, doubtful = ({number - 1 for number in numbers} for numbers in refused(output))
            if not bad and not doubtful:
                break
            self.does_not_compile |= bad
            self.held -= doubtful
            known.update({self._digest(n): REFUSED for n in bad})
            known.update({self._digest(n): DOUBTFUL for n in doubtful})
            (self.place / "refused.json").write_text(json.dumps(known))
        if "error" in output:
            sys.exit(f"tools/mutants: does not compile with mutants\n{output[-4000:]}")
        objects = [*self._unwatched(), *objects]
        failed = self.link(objects, self.program)
        if failed.returncode != 0:
            sys.exit(f"tools/mutants: does not link with mutants\n{failed.stdout[-4000:]}")
        self.logic = objects

    def _texts_with_mutants(self, place):
        numbered = {}
        for n in sorted(self.held - self.does_not_compile):
            numbered.setdefault(self.mutants[n].path, []).append((n + 1, self.mutants[n]))
        texts = {path: with_mutants(path, self.texts[path], its) for path, its in numbered.items()}
        for old in [*place.rglob("*.h"), *place.glob("*/*.cpp")]:
            if str(old.relative_to(place)) not in texts:
                old.unlink()
        for path, text in texts.items():
            write_if_new(place / path, text)
        return texts

    def _digest(self, n):
        mutant = self.mutants[n]
        return hashlib.sha256(repr((mutant.path, mutant.start, mutant.original, mutant.replacement,
                                    self.texts[mutant.path])).encode()).hexdigest()[:24]

    def _known_refused(self):
        path = self.place / "refused.json"
        return json.loads(path.read_text()) if path.exists() else {}

    # --------------------------------------------------------------------------------------------
    # A mutant that needs a program of its own.

    def own_program(self, mutant, place, scope=EVERYTHING):
        """The program with one mutant; None if it does not compile. The scope tells what of it is
        built with a changed header."""
        if self.begun.get(place) is not mutant:  # a larger scope keeps what a smaller one compiled
            shutil.rmtree(place, ignore_errors=True)
            write_if_new(place / mutant.path, mutant.apply(self.texts[mutant.path]))
            self.begun[place] = mutant
        logic, objects = self.logic, self.objects
        if mutant.path.endswith(".cpp"):
            target = place / "mutant.o"
            if self.compile(place / mutant.path, target, [place, self.tree]).returncode != 0:
                return None
            logic = [target, *self.logic]
        else:
            objects = self._objects_with_header(mutant.path, place, scope)
            if objects is None:
                return None
            if scope != PINS:
                changed, output = self._compile_batches(
                    [self._sources_that_include(mutant.path)], place, [place, self.tree])
                if "error" in output:
                    return None
                logic = [*changed, *self.logic]
        program = place / "runner"
        return program if self.link(logic, program, objects).returncode == 0 else None

    def _objects_with_header(self, header, place, scope):
        """The tests and what supports them; what includes a changed header is compiled again."""
        depends = self._objects_that_include(header)
        commands = {}
        for entry in json.loads((self.tests / "compile_commands.json").read_text()):
            words = shlex.split(entry["command"])
            commands[words[words.index("-o") + 1]] = words
        own = f"/{header.split('/')[0]}_objects.dir/"
        objects = []
        for number, (copy, compiled) in enumerate(self.objects.items()):
            in_folder = own in str(compiled)
            if scope == FOLDER and not in_folder and "vorn_test_support" not in str(compiled):
                continue
            name = str(compiled.relative_to(self.tests))
            if name not in depends or (scope == PINS and not in_folder):
                objects.append(copy)
                continue
            target = place / f"test{number}.o"
            words = list(commands[name])
            words[words.index("-o") + 1] = str(target)
            words.insert(words.index("-o"), f"-I{place}")
            first = next(i for i, word in enumerate(words) if word.startswith("-I"))
            words.insert(first, f"-I{place}")
            if not target.exists() and run(words, cwd=self.tests).returncode != 0:
                return None
            objects.append(target)
        return objects

    def _sources_that_include(self, header):
        """Of the logic, in the order of its folders; directly or through other headers."""
        found, added = set(), {header}
        while added:
            found |= added
            included = re.compile("|".join(f'^#include "{re.escape(name)}"' for name in added), re.M)
            added = {name for name, text in self.texts.items() if included.search(text)} - found
        return [source for source in self.sources if source in found]

    def _objects_that_include(self, header):
        found, current = set(), ""
        for line in run(["ninja", "-C", self.tests, "-t", "deps"]).stdout.split("\n"):
            if line and not line.startswith(" "):
                current = line.split(": #deps")[0]
            elif line.strip().endswith("/" + header):
                found.add(current)
        return found

    # --------------------------------------------------------------------------------------------

    def makes_the_same_logic(self, header, place):
        """Whether a changed header, with which own_program has built the logic in `place`, has changed
        none of its code: the compiler alone calls what is changed, and still accepts the program."""
        unchanged = self.place / "unchanged" / header
        with self.unchanged:
            objects, _ = self._compile_batches([self._sources_that_include(header)], unchanged,
                                               [self.tree])
        return all((place / one.name).read_bytes() == one.read_bytes() for one in objects)

    def is_same_when_optimised(self, mutant, place):
        """Whether the optimiser turns mutant and original into the same code."""
        if not mutant.path.endswith(".cpp"):
            return False
        original = self.place / "optimised" / f"{self._digest_with_headers(mutant.path)}.o"
        place /= "optimised"  # apart from headers that another mutant has changed
        write_if_new(place / mutant.path, mutant.apply(self.texts[mutant.path]))
        for folder, search, target in ((self.tree, [self.tree], original),
                                       (place, [place, self.tree], place / "optimised.o")):
            if target == original and original.exists():
                continue
            target.parent.mkdir(parents=True, exist_ok=True)
            if run(["g++", *FLAGS, "-O2", "-include", self.place / "optimised" / "begin.h",
                    *[f"-I{one}" for one in search], "-c", mutant.path, "-o", target],
                   cwd=folder).returncode != 0:
                return False
        return original.read_bytes() == (place / "optimised.o").read_bytes()

    def _digest_with_headers(self, path):
        """Of a source and of every header, because any of them can be included."""
        if self.headers is None:
            headers = hashlib.sha256()
            for header in sorted(self.tree.rglob("*.h")):
                headers.update(header.read_bytes())
            self.headers = headers
        digest = self.headers.copy()
        digest.update(self.texts[path].encode())
        return digest.hexdigest()[:16]


def tests_of(program):
    """The names of the tests, in the order of their numbers."""
    return run_or_end([program, "--list"]).split()


class Server:
    """A program of tests that has loaded everything and tries one mutant after the other."""

    def __init__(self, program, cwd):
        self.process = subprocess.Popen(
            ["bash", "-c", 'ulimit -s 1000000; exec "$0" --serve', program], cwd=cwd, text=True,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def ask(self, mutant, limits):
        """('passed' or 'failed' or 'crashed' or 'endless', the number of the test)"""
        self.process.stdin.write(f"{mutant} " + " ".join(f"{test}:{most}" for test, most in limits) + "\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline().split()
        if not answer:
            sys.exit("tools/mutants: the program of the tests has ended")
        return answer[0], int(answer[1]) if len(answer) > 1 else -1

    def end(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()
