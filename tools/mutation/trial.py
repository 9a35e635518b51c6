"""Tries mutants on the tests that reach them."""
import collections
import threading

from mutation.workshop import EVERYTHING, FOLDER, PINS, Server, tests_of

KILLERS_REMEMBERED = 60
CHEAP_MILLISECONDS = 1000
UNREACHED = "no test reaches it"


class Trials:
    """What all benches share: the tests that recently killed mutants of a line, a function, a file."""

    def __init__(self, workshop, is_quick):
        self.workshop = workshop
        self.is_quick = is_quick  # whether only the cheap tests of a mutant are tried
        self.reach = workshop.reach
        self.numbers = {test.name: test.number for test in self.reach.tests.values()}
        self.killers = collections.defaultdict(list)
        self.all_killers = set()
        self.lock = threading.Lock()

    def remember(self, entries):
        for entry in entries:
            number = self.numbers.get(entry["by"].split(" ")[-1])
            if number is not None:
                self._remember(entry["mutant"][0], number)

    def _remember(self, path, test):
        killers = self.killers[path]
        if test in killers:
            killers.remove(test)
        killers.insert(0, test)
        del killers[KILLERS_REMEMBERED:]

    def killed_by(self, path, test):
        with self.lock:
            self._remember(path, test)
            self.all_killers.add(test)

    def in_order(self, path, tests):
        """The recent killers first, then the cheap ones; with the most CPU time that each may take."""
        with self.lock:
            recent = [test for test in self.killers[path] if test in tests]
        rest = sorted(tests - set(recent), key=lambda test: self.reach.tests[test].milliseconds)
        return [(test, self.reach.tests[test].most_milliseconds) for test in [*recent, *rest]]

    def cheap(self, limits):
        """How many of the tests, from the first, together take no longer than a compilation."""
        total = 0
        for count, (test, _) in enumerate(limits):
            total += self.reach.tests[test].milliseconds
            if total > CHEAP_MILLISECONDS:
                return count + 1
        return len(limits)

    def bench(self, number):
        return Bench(self, self.workshop.place / f"bench{number}")

    def check_killers(self, everything):
        """No test may fail that runs without a mutant."""
        chosen = set(self.reach.tests) if everything else self.all_killers
        server = Server(self.workshop.program, self.workshop.root)
        verdict, test = server.ask(0, self.in_order("", chosen))
        server.end()
        if verdict != "passed":
            raise SystemExit(f"tools/mutants: without a mutant: {verdict} {self.reach.tests[test].name}")


class Bench:
    """Tries one mutant after the other."""

    def __init__(self, trials, place):
        self.trials = trials
        self.workshop = trials.workshop
        self.place = place
        self.server = None

    def judge(self, n):
        """(the verdict, what decided it)"""
        mutant = self.workshop.mutants[n]
        if n in self.workshop.does_not_compile:
            return "does not compile", ""
        if n in self.workshop.held:
            verdict, by = self._judge_held(n, mutant)
            # The compiler may have called a function of a header, and the tests may have copies.
            if verdict != "survived" or not mutant.path.endswith(".h") or self.trials.is_quick(n):
                return verdict, by
        return self._judge_alone(mutant)

    def _judge_held(self, n, mutant):
        tests = self.trials.reach.tests_of_line(mutant.path, mutant.line)
        if not tests:
            return "survived", UNREACHED
        if self.server is None:
            self.server = Server(self.workshop.program, self.workshop.root)
        limits = self.trials.in_order(mutant.path, tests)
        cheap = self.trials.cheap(limits)
        verdict, by = self._ask(self.server, n + 1, mutant.path, limits[:cheap])
        if verdict == "passed" and self.workshop.is_same_when_optimised(mutant, self.place):
            return "equivalent", ""
        if verdict == "passed" and limits[cheap:] and not self.trials.is_quick(n):
            verdict, by = self._ask(self.server, n + 1, mutant.path, limits[cheap:])
        return ("survived", "") if verdict == "passed" else ("killed", by)

    def _ask(self, server, number, path, limits, usual=None):
        """`usual` are the usual numbers of the server's tests, if it has others."""
        if usual:
            own = {test: n for n, test in enumerate(usual)}
            limits = [(own[test], most) for test, most in limits]
        verdict, test = server.ask(number, limits)
        if verdict == "passed":
            return verdict, ""
        test = usual[test] if usual else test
        self.trials.killed_by(path, test)
        return "killed", f"{verdict} {self.trials.reach.tests[test].name}"

    def _judge_alone(self, mutant):
        """A changed header is tried with more and more of what includes it."""
        for scope in (PINS, FOLDER, EVERYTHING) if mutant.path.endswith(".h") else (EVERYTHING,):
            program = self.workshop.own_program(mutant, self.place, scope)
            if program is None:
                return "does not compile", ""
            verdict, by = self._run_alone(program, mutant, scope)
            if verdict != "passed":
                return verdict, by
            if scope == FOLDER and self.workshop.makes_the_same_logic(mutant.path, self.place):
                return "equivalent", ""
        same = by != UNREACHED and self.workshop.is_same_when_optimised(mutant, self.place)
        return ("equivalent", "") if same else ("survived", by)

    def _run_alone(self, program, mutant, scope):
        """With a changed header, there may be fewer tests, whose numbers are others."""
        usual, tests = None, self.trials.reach.tests_of_file(mutant.path)
        if scope == PINS:
            tests = self.trials.reach.tests_of_constants()
        elif mutant.path.endswith(".h"):
            usual = [self.trials.numbers[name] for name in tests_of(program)]
            tests = set(usual)
        if not tests:
            return "passed", UNREACHED
        server = Server(program, self.workshop.root)
        try:
            return self._ask(server, 0, mutant.path, self.trials.in_order(mutant.path, tests), usual)
        finally:
            server.end()

    def end(self):
        if self.server is not None:
            self.server.end()
