#!/usr/bin/env python3
"""Reports the coverage that `llvm-cov export` wrote, and compares it with the list of places that
cannot be reached.

usage: coverage_report.py COVERAGE_JSON UNREACHABLE_LIST     (from the root of the repository)

A line or a side of a condition counts as taken when any instance of the code takes it: any
instantiation of a template, in any test program. The status is 0 only if the untaken places are
exactly the listed ones.
"""
import collections
import json
import os
import re
import sys

from folders import folders_of_the_program

FOLDERS = folders_of_the_program()
KEYS = ("file", "line", "condition", "never", "why")


class Source:
    """The text of a source file, by line and column as the coverage counts them, from 1."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.lines = file.read().split("\n")

    def line(self, number):
        return self.lines[number - 1].strip()

    def text(self, start_line, start_column, end_line, end_column):
        lines = self.lines[start_line - 1:end_line]
        lines[-1] = lines[-1][:end_column - 1]
        lines[0] = lines[0][start_column - 1:]
        return re.sub(r"\s+", " ", " ".join(lines)).strip()


class FileCoverage:
    """The counts of one file: lines by number, sides by (place, condition, side)."""

    def __init__(self, path):
        self.path = path
        self.source = Source(path)
        self.lines = collections.Counter()
        self.sides = collections.Counter()

    def add_segments(self, segments):
        """Gives each line the count of its busiest code, which starts on it or extends over it."""
        by_line = collections.defaultdict(list)
        for line, _, count, has_count, is_entry, is_gap in segments:
            by_line[line].append((count, has_count, is_entry and not is_gap))
        reaching, reaching_has_count = 0, False
        for number in range(1, len(self.source.lines) + 1):
            entries = [count for count, has_count, is_entry in by_line[number]
                       if has_count and is_entry]
            text = self.source.line(number)
            is_code = text.strip("};") and not text.startswith("//")
            if is_code and (entries or reaching_has_count):
                self.lines[number] += max([reaching if reaching_has_count else 0] + entries)
            if by_line[number]:
                reaching, reaching_has_count, _ = by_line[number][-1]

    def add_branch(self, branch):
        place = tuple(branch[:4])
        condition = self.source.text(*place)
        if condition == "true" or "= default;" in self.source.line(place[0]):
            return  # an endless loop has one side, and the compiler writes defaulted functions
        self.sides[place, condition, "true"] += branch[4]
        self.sides[place, condition, "false"] += branch[5]

    def missed(self):
        """Yields (line number, line text, condition, what never happens)."""
        for number, count in sorted(self.lines.items()):
            if count == 0:
                yield number, self.source.line(number), "", "run"
        for (place, condition, side), count in sorted(self.sides.items()):
            if count == 0 and self.lines[place[0]] > 0:
                yield place[0], self.source.line(place[0]), condition, side


def read_coverage(path):
    with open(path, encoding="utf-8") as file:
        data = json.load(file)["data"][0]
    root = os.getcwd() + os.sep
    files = {}

    def covered(name):
        short = name[len(root):] if name.startswith(root) else ""
        if os.path.dirname(short) not in FOLDERS:  # the simulated machine stands below platform/
            return None
        return files.setdefault(short, FileCoverage(short))

    for entry in data["files"]:
        if file := covered(entry["filename"]):
            file.add_segments(entry["segments"])
    for function in data["functions"]:
        for branch in function["branches"]:
            if file := covered(function["filenames"][branch[6]]):
                file.add_branch(branch)
    return [files[name] for name in sorted(files)]


def read_list(path):
    """The entries of the list, each a dictionary of KEYS and "at", its place in the list."""
    entries, entry = [], {}
    with open(path, encoding="utf-8") as file:
        for number, line in enumerate(file, start=1):
            line = line.rstrip()
            if line.startswith("#"):
                continue
            if not line:
                entry = {}
            elif line.startswith("  "):
                entry["why"] += " " + line.strip()
            else:
                key, _, value = line.partition(": ")
                if key not in KEYS or key in entry:
                    sys.exit(f"{path}:{number}: unknown or repeated key: {key}")
                if not entry:
                    entry = {"at": f"{path}:{number}"}
                    entries.append(entry)
                entry[key] = value
    for entry in entries:
        if set(entry) - {"condition"} != {"at", "file", "line", "never", "why"}:
            sys.exit(f"{entry['at']}: an entry needs file, line, never, why, and condition unless a whole line never runs")
    return entries


def unlisted(files, entries):
    """(the missed places that are not listed, whether the list is right); prints the list's faults."""
    excused = {(entry["file"], entry["line"], entry.get("condition", ""), entry["never"]): entry
               for entry in entries}
    used, misses = set(), []
    for file in files:
        for number, line, condition, never in file.missed():
            key = (file.path, line, condition, never)
            used.add(key)
            if key not in excused:
                misses.append((file.path, number, line, condition, never))
    stale = [entry for key, entry in excused.items() if key not in used]
    for entry in stale:
        print(f"{entry['at']}: is taken, or {entry['file']} has no such line: {entry['line']}")
    for key in excused.keys() & used:
        if taken_elsewhere(files, key):
            stale.append(excused[key])
            print(f"{excused[key]['at']}: matches several places, and one of them is taken")
    return misses, not stale


def taken_elsewhere(files, key):
    """Whether an entry also matches a place that is taken."""
    path, line, condition, never = key
    file = next(file for file in files if file.path == path)
    if never == "run":
        return any(count > 0 and file.source.line(number) == line
                   for number, count in file.lines.items())
    return any(count > 0 and (text, side) == (condition, never) and
               file.source.line(place[0]) == line
               for (place, text, side), count in file.sides.items())


def print_totals(files):
    totals = collections.defaultdict(lambda: [0, 0, 0, 0])
    for file in files:
        numbers = (sum(count > 0 for count in file.lines.values()), len(file.lines),
                   sum(count > 0 for count in file.sides.values()), len(file.sides))
        for name in (file.path.split("/")[0], "all"):
            totals[name] = [a + b for a, b in zip(totals[name], numbers)]
    print(f"{'folder':18}{'lines':>15}{'branches':>17}")
    for name, (ran, lines, taken, sides) in sorted(totals.items(),
                                                   key=lambda item: item[0] == "all"):
        print(f"{name:18}{ran:6} of {lines:5}{taken:8} of {sides:5}"
              f"  {100 * taken / sides if sides else 100:6.2f} %")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    files = read_coverage(sys.argv[1])
    entries = read_list(sys.argv[2])
    print_totals(files)
    misses, list_holds = unlisted(files, entries)
    print(f"{len(entries)} places cannot be reached, see {sys.argv[2]}")
    if misses:
        print("\nNot taken:")
    for path, number, line, condition, never in misses:
        what = f"`{condition}` is never {never}" if condition else f"never runs: {line}"
        print(f"  {path}:{number}  {what}")
    return 0 if list_holds and not misses else 1


sys.exit(main())
