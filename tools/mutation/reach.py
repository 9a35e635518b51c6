"""Which tests reach which line of the logic, and how long each takes.

The compiler calls a function at the start of every basic block (`-fsanitize-coverage=trace-pc`). What
lies between two such calls in the machine code is one block, and the table of line numbers tells
which lines it stems from. A test reaches a line if it reaches a block of it.
"""
import bisect
import re
import subprocess
import typing

LEAST_MILLISECONDS = 500
TIMES_USUAL = 8
FUNCTION_OR_CALL_OF_TRACE = re.compile(
    r"^([0-9a-f]+) <.*>:$|^\s*([0-9a-f]+):.*\bcall.*<__sanitizer_cov_trace_pc", re.M)
BYTES_OF_CALL = 5


class Test(typing.NamedTuple):
    number: int
    name: str
    milliseconds: float

    @property
    def most_milliseconds(self):
        """More means that it does not end."""
        return int(LEAST_MILLISECONDS + TIMES_USUAL * self.milliseconds)


def _beginnings_of_blocks(program):
    """[(where a block begins, where its call returns to, as the runner records it)], by address.

    The first block of a function begins with the function, although the call comes a little later.
    The logic is linked first, so all of it lies before the runner's own functions.
    """
    names = subprocess.run(["nm", program], stdout=subprocess.PIPE, text=True, check=True).stdout
    behind = next(line.split()[0] for line in names.split("\n")
                  if line.endswith(" __sanitizer_cov_trace_pc"))
    listed = subprocess.run(["objdump", "-d", "--no-show-raw-insn", f"--stop-address=0x{behind}",
                             program], stdout=subprocess.PIPE, text=True, check=True).stdout
    blocks, function = [], None
    for match in FUNCTION_OR_CALL_OF_TRACE.finditer(listed):
        if match.group(1):
            function = int(match.group(1), 16)
        else:
            call = int(match.group(2), 16)
            blocks.append((call if function is None else function, call + BYTES_OF_CALL))
            function = None
    return blocks


def _lines_by_address(program, paths):
    """(addresses, (path, line) of each) of the logic, by address."""
    listed = subprocess.run(["objdump", "--dwarf=decodedline", program],
                            stdout=subprocess.PIPE, text=True, check=True).stdout
    rows, path = [], None
    for line in listed.split("\n"):
        if line.endswith(":") or line.endswith(":[++]"):
            name = line.rstrip(":[+]")
            path = next((one for one in ("/".join(name.split("/")[-2:]),) if one in paths), None)
        elif path:
            words = line.split()
            if len(words) >= 3 and words[1].isdigit() and words[2].startswith("0x"):
                rows.append((int(words[2], 16), (path, int(words[1]))))
    return sorted(rows)


class Reach:
    def __init__(self, program, record, texts):
        self.tests = {}
        self.of_line = {}    # (path, line): the numbers of the tests that reach it
        self.lines = {}      # path: its lines that have code, in order
        failing = []
        lines_of_place = self._blocks(program, texts)
        for entry in record.read_text().split("\n"):
            if not entry:
                continue
            number, name, verdict, milliseconds, places = entry.split("\t")
            number = int(number)
            self.tests[number] = Test(number, name, float(milliseconds))
            if verdict != "passed":
                failing.append(name)
            reached = set()
            for place in places.split():
                reached.update(lines_of_place.get(int(place), ()))
            for line in reached:
                self.of_line.setdefault(line, set()).add(number)
        if failing:
            raise SystemExit("tools/mutants: fail without a mutant: " + ", ".join(failing))

    def _blocks(self, program, texts):
        """The lines of the block behind each call of the trace."""
        blocks = sorted(_beginnings_of_blocks(program))
        lines_of_place = {}
        for address, line in _lines_by_address(program, texts):
            block = bisect.bisect_right(blocks, (address, float("inf"))) - 1
            if block >= 0:
                lines_of_place.setdefault(blocks[block][1], set()).add(line)
            path, number = line
            self.lines.setdefault(path, set()).add(number)
        self.lines = {path: sorted(numbers) for path, numbers in self.lines.items()}
        return lines_of_place

    def tests_of_line(self, path, line):
        """The tests that reach a line, or the nearest ones before and after it if it has no code."""
        lines = self.lines.get(path, [])
        after = bisect.bisect_left(lines, line)
        if after < len(lines) and lines[after] == line:
            near = [line]
        else:
            near = lines[max(after - 1, 0):after + 1]
        return set().union(*(self.of_line.get((path, one), ()) for one in near))

    def tests_of_constants(self):
        """Those that reach no line of the logic."""
        return set(self.tests).difference(*self.of_line.values())

    def tests_of_file(self, path):
        return set().union(*(self.of_line.get((path, line), ()) for line in self.lines.get(path, [])))
