"""The small changes that tools/mutants makes, found in the text of the sources."""
import re
import typing

from folders import folders_of_the_program
from mutation.refusals import Effects, changes_of_refusals
from mutation.source_text import blank_out, closing, end_of_statement
from mutation.structure import changes_of_structure

FOLDERS = folders_of_the_program()


class Mutant(typing.NamedTuple):
    """`original` becomes `replacement` at `start` of the file `path`."""
    path: str
    start: int
    original: str
    replacement: str
    kind: str
    line: int
    source_line: str   # stripped; the first one of a statement over several lines
    mutated_line: str  # stripped

    def key(self):
        """Identifies the change, whatever lines precede it in the file."""
        return (self.path, self.source_line, self.mutated_line)

    def apply(self, text):
        return text[:self.start] + self.replacement + text[self.start + len(self.original):]


SWAPS = [
    ("flipped comparison", r" (==) ", "!="),
    ("flipped comparison", r" (!=) ", "=="),
    ("bound off by one", r" (<) ", "<="),
    ("bound off by one", r" (<=) ", "<"),
    ("bound off by one", r" (>) ", ">="),
    ("bound off by one", r" (>=) ", ">"),
    ("other operator", r" (\+) ", "-"),
    ("other operator", r" (-) ", "+"),
    ("other operator", r" (&) ", "|"),
    ("and for or", r" (\|\|)\s", "&&"),
    ("or for and", r" (&&)\s", "||"),
    ("dropped negation", r"(?<=[( ])(!)(?=[A-Za-z_(])", ""),
    ("other answer", r"\breturn (true);", "false"),
    ("other answer", r"\breturn (false);", "true"),
    ("other flag", r"(?<=[(, ])(true)(?=[,)])", "false"),
    ("other flag", r"(?<=[(, ])(false)(?=[,)])", "true"),
    ("dropped flag", r"( \|\s+(?:platform::)?[A-Z][A-Z0-9_]+)\b", ""),
    ("dropped flag", r"\b((?:platform::)?[A-Z][A-Z0-9_]+ \|\s+)", ""),
    ("other jump", r"\b(continue);", "break"),
    ("other jump", r"\b(break);", "continue"),
    # A native status, an HRESULT and a length are often compared as if they had one sign only.
    ("other sign", r" (==) (?:0\b|(?:platform::)?(?:ERROR_SUCCESS|S_OK|CR_SUCCESS)\b)", "<="),
    ("other sign", r" (==) (?:0\b|(?:platform::)?(?:ERROR_SUCCESS|S_OK|CR_SUCCESS)\b)", ">="),
    ("other sign", r" (!=) (?:0\b|(?:platform::)?(?:ERROR_SUCCESS|S_OK|CR_SUCCESS)\b)", ">"),
    ("other sign", r" (!=) (?:0\b|(?:platform::)?(?:ERROR_SUCCESS|S_OK|CR_SUCCESS)\b)", "<"),
    ("other sign", r" (<) 0\b", "!="),
    ("other sign", r" (>=) 0\b", "=="),
    ("size off by one", r" (?:==|!=|<=|>) (sizeof [\w.]+|sizeof\([^()]*\)|[\w.]+(?:->\w+)*\.size\(\))", "{} + 1"),
    ("size off by one", r" (?:==|!=|<|>=) (sizeof [\w.]+|sizeof\([^()]*\)|[\w.]+(?:->\w+)*\.size\(\))", "{} - 1"),
    ("size off by one", r" (?:==|!=|<=|>) (\w*(?:[Bb]ytes|[Ss]ize|[Ll]ength|[Cc]ount|[Cc]apacity))(?=[;) ])", "{} + 1"),
    ("size off by one", r" (?:==|!=|<|>=) (\w*(?:[Bb]ytes|[Ss]ize|[Ll]ength|[Cc]ount|[Cc]apacity))(?=[;) ])", "{} - 1"),
    ("narrowed number", r"\bstd::(uint64_t)\b", "uint32_t"),
    ("narrowed number", r"\bstd::(int64_t)\b", "int32_t"),
    ("respected case", r"\b(EqualsIgnoringCase)\(", "std::equal_to<std::u16string_view>()"),
    ("respected case", r"\b(ToLowerAscii|ToUpperAscii)\(", ""),
    ("first for last", r"\.(front)\(\)", "back"),
    ("first for last", r"\.(back)\(\)", "front"),
    # Whether there is one at all, it matters not from where it is looked for.
    ("first for last", r"\.(find)\((?![^;]*npos)", "rfind"),
    ("first for last", r"\.(rfind)\((?![^;]*npos)", "find"),
    ("first for last", r"\.(find_last_of)\((?![^;]*npos)", "find_first_of"),
    ("first for last", r"\.(find_first_of)\((?![^;]*npos)", "find_last_of"),
    ("first for last", r"\.(starts_with)\(", "ends_with"),
    ("first for last", r"\.(ends_with)\(", "starts_with"),
    ("all for any", r"\bstd::(any_of)\(", "all_of"),
    ("all for any", r"\bstd::(all_of)\(", "any_of"),
    ("all for any", r"\bstd::(none_of)\(", "all_of"),
    ("all for any", r"\bstd::(min)\(", "max"),
    ("all for any", r"\bstd::(max)\(", "min"),
    ("other operator", r" (\+=) ", "="),
    ("other operator", r" (\|=) ", "="),
    ("other operator", r" (&=) ", "="),
]
SWAPS = [(kind, re.compile(pattern), replacement) for kind, pattern, replacement in SWAPS]

EXIT_STATUS = re.compile(r"\bkExit[A-Z]\w+")
PLATFORM_CONSTANT = re.compile(r"\b(?:platform::)?([A-Z][A-Z0-9]*_[A-Z0-9_]+)\b(?!\()")
ENUMERATOR = re.compile(r"\b([A-Z]\w+)::([A-Z]\w*)\b(?![(:{<])")
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d[\d']*)([uUlL]*)(?![\w.'])")
ZERO_AT_FIRST = re.compile(r"^\s*(?:const )?[\w:<>]+ \w+ = $")
MESSAGE = re.compile(r'u"((?:[^"\\\n]|\\.)+)"')
CHARACTER = re.compile(r"u'((?:[^'\\\n]|\\.)+)'")
CONDITION = re.compile(r"\b(?:if|while) \(")
CHOICE = re.compile(r"(?:(?<=return )|(?<=[^=!<>]= )|(?<=\()|(?<=, ))([A-Za-z_][\w.]*(?:->\w+)*(?:\(\))?) \? ")
STATEMENT = re.compile(
    r"(?:^[ \t]+|(?<=\) ))((?:[A-Za-z_]\w*(?:::|\.|->))*[A-Za-z_]\w*(?:\[[^\]\n]*\])?)"
    r"(\(| [+|&-]?= )|(?:^[ \t]+|(?<=\) ))((?:\+\+|--)[\w.]+;)", re.M)
KEYWORDS = {"return", "if", "while", "for", "switch", "delete", "sizeof", "using", "else", "do",
            "case", "co_return", "throw", "constexpr", "operator", "static_assert"}
LEFT_OUT = re.compile(r"static_assert\(.*?\);|^#.*?$|^ *using .*?;|^ *template <.*?>$|\[\[.*?\]\]|"
                      r"[\w.]+\.reserve\(.*?\);|^extern .*?;", re.S | re.M)


class Vocabulary:
    """Which constant or enumerator can replace another, and which functions reach the platform."""

    def __init__(self, platform_headers, logic):
        self.effects = Effects(map(blank_out, platform_headers), list(map(blank_out, logic)))
        self.constants = {}  # name: (type, value)
        for text in platform_headers:
            for match in re.finditer(r"inline constexpr ([\w:]+) (\w+) =\s*([^;{]+);",
                                     blank_out(text)):
                self.constants[match.group(2)] = (match.group(1), match.group(3).strip())
        self.enums = {}
        for text in logic:
            for match in re.finditer(r"enum class (\w+)[^{;]*\{([^}]*)\}", blank_out(text)):
                self.enums[match.group(1)] = re.findall(r"\b([A-Z]\w*)", match.group(2))
        self.statuses = {}
        for text in logic:
            for match in re.finditer(r"ExitStatus (kExit\w+) = (\d+);", text):
                self.statuses[match.group(1)] = match.group(2)

    def other_constant(self, name):
        if name not in self.constants:
            return None
        kind, value = self.constants[name]
        alike = sorted(other for other, (its_kind, its_value) in self.constants.items()
                       if its_kind == kind and its_value != value
                       and other.split("_")[0] == name.split("_")[0])
        return alike[sum(map(ord, name)) % len(alike)] if alike else None

    def other_status(self, name):
        others = sorted(other for other, value in self.statuses.items()
                        if value != self.statuses.get(name))
        return others[sum(map(ord, name)) % len(others)] if others else None

    def other_enumerator(self, enum, name):
        names = self.enums.get(enum, [])
        if name not in names or len(names) < 2:
            return None
        return names[(names.index(name) + 1) % len(names)]


def changes_of_words(code, vocabulary):
    for match in EXIT_STATUS.finditer(code):
        other = vocabulary.other_status(match.group())
        declared = code[match.end():match.end() + 3] == " = "
        if other and not declared:
            yield match.start(), match.group(), other, "swapped constant"
    for match in PLATFORM_CONSTANT.finditer(code):
        other = vocabulary.other_constant(match.group(1))
        if other:
            yield match.start(1), match.group(1), other, "swapped constant"
        elif match.group().startswith("platform::") and match.group(1) in vocabulary.constants:
            yield match.start(), match.group(), f"({match.group()} + 1)", "swapped constant"
    for match in ENUMERATOR.finditer(code):
        other = vocabulary.other_enumerator(match.group(1), match.group(2))
        if other:
            yield match.start(2), match.group(2), other, "swapped constant"
    for match in NUMBER.finditer(code):
        digits = match.group(1)
        value = int(digits.replace("'", "").replace("_", ""), 0 if "x" in digits else 10)
        line = code[code.rfind("\n", 0, match.start()) + 1:match.start()]
        if value == 0 and ZERO_AT_FIRST.match(line):
            continue
        more = f"0x{value + 1:X}" if "x" in digits else str(value + 1)
        yield match.start(1), digits, more, "number off by one"


def changes_of_statements(code):
    for match in STATEMENT.finditer(code):
        start = match.start(1) if match.group(1) else match.start(3)
        name = match.group(1) or ""
        before = code[:start].rstrip()[-1:]
        if name in KEYWORDS or before not in ";{}:)":
            continue
        if match.group(2) == "(":
            end = closing(code, match.end() - 1)
            if not end or code[end:end + 1] != ";":
                continue
            yield start, code[start:end + 1], ";", "dropped call"
        else:
            end = end_of_statement(code, start)
            if end:
                yield start, code[start:end], ";", "dropped assignment"


def changes_of_conditions(code):
    for match in CONDITION.finditer(code):
        end = closing(code, match.end() - 1)
        inner = code[match.end():end - 1] if end else ";"
        if not re.search(r"[=!<>]=|&&|\|\||[;!]| [<>] | = ", inner):
            yield match.end(), inner, f"!({inner})", "negated condition"
    for match in CHOICE.finditer(code):
        yield match.start(1), match.group(1), f"!({match.group(1)})", "negated condition"


def changes_of_texts(text):
    for match in MESSAGE.finditer(text):
        yield match.start(1), "", "~", "changed message"
    for match in CHARACTER.finditer(text):
        yield match.start(1), match.group(1), "~", "changed character"


def changes_of(text, vocabulary):
    """Yields (start, original, replacement, kind); offsets are those of the file."""
    code = blank_out(text)
    for kind, pattern, replacement in SWAPS:
        for match in pattern.finditer(code):
            yield match.start(1), match.group(1), replacement.format(match.group(1)), kind
    yield from changes_of_words(code, vocabulary)
    yield from changes_of_conditions(code)
    yield from changes_of_statements(code)
    yield from changes_of_structure(code, text)
    yield from changes_of_refusals(code, text, vocabulary.effects)
    yield from changes_of_texts(blank_out(text, keep_strings=True))


def mutants_of(path, text, vocabulary):
    left_out = [match.span() for match in LEFT_OUT.finditer(blank_out(text))]
    seen = set()
    for start, blanked, replacement, kind in sorted(changes_of(text, vocabulary)):
        if any(begin <= start < end for begin, end in left_out):
            continue
        original = text[start:start + len(blanked)]
        if kind == "negated condition":
            replacement = f"!({original})"
        mutated = text[:start] + replacement + text[start + len(original):]
        change = (start, len(original), replacement)
        if change in seen or mutated == text:
            continue
        seen.add(change)
        begin = text.rfind("\n", 0, start) + 1
        end = text.find("\n", start)
        end_in_mutated = mutated.find("\n", start + len(replacement))
        yield Mutant(path, start, original, replacement, kind, text.count("\n", 0, start) + 1,
                     text[begin:end].strip(), " ".join(mutated[begin:end_in_mutated].split()))


def all_mutants(root):
    """The mutants of every source and header of the logic, in the order of the files.

    The platform's declarations are left out: their numbers and layouts are the platform's, and a
    changed one would only set the program and the model at odds.
    """
    declarations = {"types.h"} | {path.stem + ".h"
                                  for path in (root / "platform" / "windows").glob("*.cpp")}
    files = sorted(path for folder in FOLDERS for pattern in ("*.cpp", "*.h")
                   for path in (root / folder).glob(pattern) if path.name != "main.cpp"
                   and not (folder == "platform" and path.name in declarations))
    texts = {str(path.relative_to(root)): path.read_text() for path in files}
    platform = [path.read_text() for path in sorted((root / "platform").glob("*.h"))]
    vocabulary = Vocabulary(platform, texts.values())
    return [mutant for path, text in texts.items() for mutant in mutants_of(path, text, vocabulary)]
