"""What tools/mutants relies on, tried on small sources: tools/mutants --self-test."""
import pathlib
import subprocess
import tempfile
import unittest

from mutation.explained import Entry
from mutation.operators import Mutant
from mutation.refusals import Effects, changes_of_refusals
from mutation.schemata import refused, with_mutants
from mutation.source_text import all_statement_lists, blank_out, function_bodies
from mutation.structure import changes_of_structure

SOURCE = """\
namespace shop {
constexpr int kPrices[] = {3, 4};
struct Purse {
  Purse(int coins) : coins_{coins} { Count(); }
  int coins_;
  void Count();
};
constexpr int Twice(int number) { return number * 2; }
consteval int Half(int number) { return number / 2; }
bool operator==(const Purse& left, const Purse& right) {
  // a brace in a comment {
  return left.coins_ == right.coins_;
}
int Pay(int price) {
  const auto taxed = [&](int tax) {
    return price + tax;
  };
  if (price < 0) return 0;
  for (int i = 0; i < 2; ++i) {
    price = taxed(i);
  }
  return price;
}
}  // namespace shop
"""


def mutant(original, replacement, source=SOURCE, kind="test"):
    start = source.index(original)
    return Mutant("shop.cpp", start, original, replacement, kind, source.count("\n", 0, start) + 1,
                  original, replacement)


def structural(source):
    return {(kind, original, replacement) for _, original, replacement, kind
            in changes_of_structure(blank_out(source), source)}


class Bodies(unittest.TestCase):
    def test_are_those_of_functions_alone(self):
        bodies = function_bodies(blank_out(SOURCE))
        self.assertEqual([body.head.split("(")[0].split()[-1] for body in bodies],
                         ["Purse", "Twice", "Half", "operator==", "Pay"])

    def test_know_what_the_compiler_calls(self):
        bodies = function_bodies(blank_out(SOURCE))
        self.assertEqual([body.is_constexpr for body in bodies],
                         [False, True, False, False, False])
        self.assertEqual([body.is_only_for_the_compiler for body in bodies],
                         [False, False, True, False, False])

    def test_consist_of_statements(self):
        code = blank_out(SOURCE)
        lists = list(all_statement_lists(code, function_bodies(code)[-1]))
        self.assertEqual([[one.kind for one in each] for each in lists],
                         [["plain", "if", "for", "return"], ["return"], ["return"], ["plain"]])


class StructuralChanges(unittest.TestCase):
    def test_drop_a_guard_whole(self):
        self.assertIn(("dropped if", "if (price < 0) return 0;", ";"), structural(SOURCE))

    def test_swap_two_calls_but_not_a_name_and_its_use(self):
        source = "void F() {\n  Open();\n  const int x = Read();\n  Close(x);\n}\n"
        swapped = [change for change in structural(source) if change[0] == "swapped statements"]
        self.assertEqual([original for _, original, _ in swapped],
                         ["Open();\n  const int x = Read();"])

    def test_drop_each_part_of_a_condition(self):
        source = "bool F(bool a, bool b, bool c) {\n  return a && (b || c);\n}\n"
        parts = {(original, replacement) for kind, original, replacement in structural(source)
                 if kind == "dropped part of a condition"}
        self.assertEqual(parts, {("a", "true"), ("(b || c)", "true"), ("b", "false"), ("c", "false")})

    def test_accept_another_error(self):
        source = "bool F(int e) {\n  return e == platform::ERROR_NOT_FOUND;\n}\n"
        accepted = {replacement for kind, _, replacement in structural(source)
                    if kind == "another error accepted"}
        self.assertIn("(e == platform::ERROR_NOT_FOUND || e == platform::ERROR_ACCESS_DENIED)",
                      accepted)


class ChangesAfterARefusal(unittest.TestCase):
    DECLARATIONS = "bool OpenDoor(int door);\nvoid CloseDoor(int door);\n"

    def changes(self, source):
        code = blank_out(source)
        effects = Effects([self.DECLARATIONS], [code])
        return {(kind, original, replacement) for _, original, replacement, kind
                in changes_of_refusals(code, source, effects)}

    def test_try_a_refused_call_again_or_do_not_heed_it(self):
        changes = self.changes("void F() {\n  if (!OpenDoor(1)) return;\n}\n")
        self.assertEqual(changes, {
            ("second try", "!OpenDoor(1)", "(!OpenDoor(1) && !OpenDoor(1))"),
            ("unheeded refusal", "!OpenDoor(1)", "(!OpenDoor(1) && false)")})

    def test_ask_again_what_said_no(self):
        changes = self.changes("bool F(int door) {\n  return door > 0 && OpenDoor(door);\n}\n")
        self.assertEqual(changes, {
            ("second try", "OpenDoor(door)", "(OpenDoor(door) || OpenDoor(door))"),
            ("unheeded refusal", "OpenDoor(door)", "(OpenDoor(door) || true)")})

    def test_know_which_functions_reach_the_platform(self):
        source = "bool G(int door) {\n  return OpenDoor(door);\n}\nbool H(int door) {\n  return door;\n}\n" \
                 "void F() {\n  if (!G(1)) return;\n  if (!H(1)) return;\n}\n"
        tried = {original for kind, original, _ in self.changes(source) if kind == "second try"}
        self.assertEqual(tried, {"OpenDoor(door)", "!G(1)"})

    def test_make_a_result_again_that_the_next_statement_refuses(self):
        source = "int F() {\n  const bool open = OpenDoor(1);\n  const int size = OpenDoor(2);\n" \
                 "  if (size == 0) return 0;\n  return size;\n}\n"
        tried = {replacement for kind, _, replacement in self.changes(source) if kind == "second try"}
        self.assertEqual(tried, {"const bool open = (OpenDoor(1)) || (OpenDoor(1));",
                                 "int size = OpenDoor(2); if (size == 0) size = OpenDoor(2);"})

    def test_make_a_call_twice(self):
        self.assertEqual(self.changes("void F() {\n  CloseDoor(1);\n}\n"),
                         {("doubled call", "CloseDoor(1);", "{ CloseDoor(1); CloseDoor(1); }")})

    def test_go_on_with_a_walk_or_leave_it(self):
        source = "int F(int doors) {\n  do {\n    if (doors == 3) return 0;\n  } while (--doors > 0);\n" \
                 "  return 1;\n}\n"
        self.assertEqual(self.changes(source), {("other jump", "return 0;", "continue;"),
                                                ("other jump", "return 0;", "break;")})


class Schemata(unittest.TestCase):
    MAIN = ("int vorn_mutant = 0;\n#include \"shop.cpp\"\n#include <cstdio>\n#include <cstdlib>\n"
            "void shop::Purse::Count() { std::printf(\"counted \"); }\n"
            "static_assert(shop::Twice(4) == 8);\n"
            "int main(int, char** words) {\n  vorn_mutant = std::atoi(words[1]);\n"
            "  shop::Purse purse(3);\n  volatile int four = 4;\n"
            "  std::printf(\"%d %d\", shop::Pay(10), shop::Twice(four));\n}\n")

    def compiled(self, place, numbered):
        (place / "shop.cpp").write_text(with_mutants("shop.cpp", SOURCE, numbered))
        (place / "main.cpp").write_text(self.MAIN)
        return subprocess.run(["g++", "-std=c++20", "-w", "-fmax-errors=0", place / "main.cpp", "-o",
                               place / "shop"], stderr=subprocess.PIPE, text=True)

    def test_hold_every_mutant_and_the_original(self):
        numbered = list(enumerate([mutant("i < 2", "i < 1"), mutant("number * 2", "number * 3"),
                                   mutant("price + tax", "price - tax"), mutant("Count(); }", "}")],
                                  start=1))
        with tempfile.TemporaryDirectory() as folder:
            place = pathlib.Path(folder)
            done = self.compiled(place, numbered)
            self.assertEqual(done.returncode, 0, done.stderr)
            said = [subprocess.run([place / "shop", str(number)], stdout=subprocess.PIPE,
                                   text=True).stdout for number in range(5)]
        self.assertEqual(said, ["counted 11 8", "counted 10 8", "counted 11 12", "counted 9 8",
                                "11 8"])

    def test_tell_which_mutants_do_not_compile(self):
        numbered = [(1, mutant("i < 2", "i < 1")), (2, mutant("price = taxed(i)", "price = u(i)")),
                    (3, mutant("return left.coins_", "return left.gold_"))]
        with tempfile.TemporaryDirectory() as folder:
            done = self.compiled(pathlib.Path(folder), numbered)
        self.assertEqual(refused(done.stderr), ({2, 3}, set()))

    def test_doubt_mutants_of_a_template_that_a_mutant_uses_wrongly(self):
        source = "template <class T>\nint Sum(T one) {\n  return one + 0;\n}\n" \
                 "struct Coin {};\nint Use() {\n  return Sum(1);\n}\n"
        numbered = [(1, mutant("one + 0", "one + 1", source)),
                    (2, mutant("Sum(1)", "Sum(Coin{})", source))]
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "shop.cpp"
            path.write_text("int vorn_mutant = 0;\n" + with_mutants("shop.cpp", source, numbered))
            done = subprocess.run(["g++", "-std=c++20", "-w", "-fsyntax-only", path],
                                  stderr=subprocess.PIPE, text=True)
        self.assertEqual(refused(done.stderr), ({2}, {1}))


class Explanations(unittest.TestCase):
    def test_of_a_kind_match_the_whole_line(self):
        entry = Entry("test", "sho*.cpp", "i < .*", "i < 1")
        self.assertTrue(entry.matches(mutant("i < 2", "i < 1")))
        self.assertFalse(entry.matches(mutant("i < 2", "i < 12")))
        self.assertFalse(entry.matches(mutant("i < 2", "i < 1", kind="other")))


def run():
    suite = unittest.defaultTestLoader.loadTestsFromName(__name__)
    return 0 if unittest.TextTestRunner(verbosity=0).run(suite).wasSuccessful() else 1
