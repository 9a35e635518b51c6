"""The list of mutants that no test can kill or needs to, each with its reason.

An entry is four lines and an empty line:

    catalog/endpoint_sets.cpp
    - the line of the source, or the first line of a longer statement
    + the line with the mutant
    why no test can tell the two apart

An entry for many of a kind has the kind in front of the path, which may have the wildcard `*`, and
regular expressions that must match the whole lines:

    other sign: devnode/*.cpp
    - .* == platform::CR_SUCCESS.*
    + .* <= platform::CR_SUCCESS.*
    why no test can tell any of them from the original

Lines that begin with # are comments.
"""
import fnmatch
import re
import typing


class Entry(typing.NamedTuple):
    kind: str  # empty for a single mutant
    path: str
    source: str
    mutated: str

    def matches(self, mutant):
        if not self.kind:
            return mutant.key() == (self.path, self.source, self.mutated)
        return (mutant.kind == self.kind and fnmatch.fnmatchcase(mutant.path, self.path)
                and re.fullmatch(self.source, mutant.source_line) is not None
                and re.fullmatch(self.mutated, mutant.mutated_line) is not None)

    def __str__(self):
        return f"{self.kind + ': ' if self.kind else ''}{self.path}: {self.mutated}"


class Explanations:
    def __init__(self, path, mutants):
        self._faults = []
        entries = list(self._read(path.read_text() if path.exists() else ""))
        self._entries = {}   # key of a mutant: the entry that explains it
        self._survived = set()
        self._killed = {}
        for entry in entries:
            its = {mutant.key() for mutant in mutants if entry.matches(mutant)}
            if not its:
                self._faults.append(f"no such mutant: {entry}")
            for key in its:
                if key in self._entries:
                    self._faults.append(f"explained twice: {entry}")
                self._entries[key] = entry

    def _read(self, text):
        for block in text.split("\n\n"):
            lines = [line.strip() for line in block.split("\n")
                     if line.strip() and not line.startswith("#")]
            if not lines:
                continue
            if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+ "):
                self._faults.append(f"not an entry: {lines[0]}")
                continue
            kind, _, path = lines[0].rpartition(": ")
            yield Entry(kind, path, lines[1][2:], lines[2][2:])

    def of(self, mutant):
        return self._entries.get(mutant.key())

    def note(self, mutant, verdict, by):
        """What became of a mutant that is explained."""
        if verdict == "survived":
            self._survived.add(mutant.key())
        elif verdict == "killed":
            self._killed[mutant.key()] = by

    def faults(self):
        """Equal lines share an entry, so a killed one does not refute it while another survives."""
        return self._faults + [
            f"explained, but killed ({by}): {': '.join(key[:1])}: {key[2]}"
            for key, by in self._killed.items() if key not in self._survived]
