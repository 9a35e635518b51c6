"""Reads C++ as text: comments and literals blanked, brackets, function bodies, statements.

It knows as much of the language as the project's formatted sources need, and no more.
"""
import re
import typing


def blank_out(text, keep_strings=False):
    """The text with comments blanked, and string literals unless kept; offsets stay the same."""
    def blank(match):
        found = match.group()
        if found.startswith("/"):
            return re.sub(r"[^\n]", " ", found)
        return found if keep_strings else found[0] + " " * (len(found) - 2) + found[-1]
    return re.sub(r"""//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"|'(?:[^'\\\n]|\\.)+'(?!\d)""", blank,
                  re.sub(r"(?<=\d)'(?=\d)", "_", text), flags=re.S)


def closing(code, start):
    """The offset after the bracket that closes the one at `start`; None if it does not close."""
    depth = 0
    for match in re.compile(r"[][(){}]").finditer(code, start):
        depth += 1 if match.group() in "([{" else -1
        if depth == 0:
            return match.end()
    return None


def end_of_statement(code, start):
    """The offset after the semicolon that ends the statement at `start`; None if none does."""
    offset = start
    while offset < len(code) and code[offset] != ";":
        if code[offset] in "([{":
            offset = closing(code, offset) or len(code)
        elif code[offset] in ")]}":
            return None
        else:
            offset += 1
    return offset + 1 if offset < len(code) else None


# ------------------------------------------------------------------------------------------------
# Function bodies.

class Body(typing.NamedTuple):
    """From the opening brace to behind the closing one."""
    start: int
    end: int
    head: str  # what stands before the brace, from the end of what precedes the function

    @property
    def is_constexpr(self):
        return re.search(r"\bconstexpr\b", self.head) is not None

    @property
    def is_only_for_the_compiler(self):
        return re.search(r"\bconsteval\b", self.head) is not None

    @property
    def deduces_its_type(self):
        return re.search(r"\bauto\s+\w+\(", self.head) is not None and "->" not in self.head

    @property
    def returns_nothing(self):
        """A constructor, a destructor or void."""
        return re.search(r"\bvoid\s+[\w:]+\s*\(", self.head) is not None or re.match(
            r"(?:(?:explicit|constexpr|consteval|inline|virtual)\s+)*(?:(\w+)::\1|[A-Z]\w*|(?:\w+::)?~\w+)\s*\(",
            self.head) is not None


def _without_groups(head):
    """The head without what is in round brackets."""
    depth, kept = 0, []
    for letter in head:
        if letter == "(":
            depth += 1
        if depth == 0:
            kept.append(letter)
        if letter == ")":
            depth -= 1
            if depth == 0:
                kept.append("()")
    return "".join(kept)


def function_bodies(code):
    """The outermost function bodies of a blanked text, in order."""
    bodies = []
    offset = begin = 0
    while offset < len(code):
        letter = code[offset]
        if letter == "(":
            offset = closing(code, offset) or len(code)
        elif letter == "#":
            offset = begin = code.find("\n", offset) + 1 or len(code)
        elif letter in ";}" or (letter == ":" and code[begin:offset].strip() in
                                ("public", "private", "protected")):
            offset = begin = offset + 1
        elif letter == "{":
            head = code[begin:offset].strip()
            plain = _without_groups(head)
            if re.match(r"(?:inline )?namespace\b|extern \"", plain) or (
                    re.match(r"(?:template <.*>\s+)?(?:class|struct|union)\b", plain, re.S)
                    and "()" not in plain and "=" not in plain):
                offset = begin = offset + 1
            elif "()" in plain and not re.search(r"(?<!operator) = |=$", plain) and not (
                    re.search(r"[\w>]$", code[:offset])):
                end = closing(code, offset)
                bodies.append(Body(offset, end, head))
                offset = begin = end
            else:  # an initialiser, or the names of an enumeration
                offset = closing(code, offset) or len(code)
        else:
            offset += 1
    return bodies


# ------------------------------------------------------------------------------------------------
# Statements.

class Statement(typing.NamedTuple):
    start: int
    end: int
    kind: str    # "if", "for", "while", "switch", "do", "else", "block", "return", "jump", "plain"
    inner: list  # the lists of statements of its blocks, also of its lambdas
    body: tuple  # (start, end) of what it governs


LAMBDA_BODY = re.compile(r"\](?:\s*\([^()]*(?:\([^()]*\)[^()]*)*\))?(?:\s*mutable)?(?:\s*->[^{;]*)?\s*\{")
WORD = re.compile(r"[A-Za-z_]\w*")


def statements(code, start, end):
    """The statements between two offsets: those of a block without its braces."""
    found = []
    offset = start
    while True:
        while offset < end and code[offset].isspace():
            offset += 1
        if offset >= end:
            return found
        label = re.compile(r"(?:case\b[^;{}]*?[^:]|default):(?!:)").match(code, offset)
        if label:
            offset = label.end()
            continue
        statement = statement_at(code, offset)
        if statement is None or statement.end > end:
            return found
        found.append(statement)
        offset = statement.end


def statement_at(code, start):
    if code[start] == "{":
        end = closing(code, start)
        return Statement(start, end, "block", [statements(code, start + 1, end - 1)], (start, end))
    word = WORD.match(code, start)
    kind = word.group() if word else ""
    if kind in ("if", "for", "while", "switch"):
        return _governing(code, start, kind)
    if kind == "do":
        return _do_loop(code, start)
    end = end_of_statement(code, start)
    if end is None:
        return None
    kind = "return" if kind == "return" else "jump" if kind in ("break", "continue") else "plain"
    return Statement(start, end, kind, list(_lambdas(code, start, end)), (start, end))


def _governing(code, start, kind):
    condition = code.index("(", start)
    after = closing(code, condition)
    while code[after].isspace():
        after += 1
    body = statement_at(code, after)
    if body is None:
        return None
    inner = [*_lambdas(code, condition, after),
             *(body.inner if body.kind == "block" else [[body]])]
    end = body.end
    otherwise = re.compile(r"\s*else\b\s*").match(code, end) if kind == "if" else None
    if otherwise:
        other = statement_at(code, otherwise.end())
        if other is None:
            return None
        inner += other.inner if other.kind == "block" else [[other]]
        return Statement(start, other.end, "else", inner, (body.start, body.end))
    return Statement(start, end, kind, inner, (body.start, body.end))


def _do_loop(code, start):
    body = statement_at(code, code.index("{", start))
    end = end_of_statement(code, body.end)
    return None if end is None else Statement(start, end, "do", body.inner, (body.start, body.end))


def _lambdas(code, start, end):
    offset = start
    while match := LAMBDA_BODY.search(code, offset, end):
        brace = match.end() - 1
        offset = closing(code, brace)
        yield statements(code, brace + 1, offset - 1)


def all_statement_lists(code, body):
    """Every list of statements of a function body, outer ones first."""
    waiting = [statements(code, body.start + 1, body.end - 1)]
    while waiting:
        current = waiting.pop(0)
        yield current
        for statement in current:
            waiting += statement.inner


def in_loops(code, body):
    """(statement, the innermost loop around it) of a function body."""
    waiting = [(statement, None) for statement in statements(code, body.start + 1, body.end - 1)]
    while waiting:
        statement, loop = waiting.pop(0)
        if loop:
            yield statement, loop
        loop = statement if statement.kind in ("for", "while", "do") else loop
        waiting += [(one, loop) for inner in statement.inner for one in inner]


# ------------------------------------------------------------------------------------------------
# Conditions.

def operands(code, start, end):
    """(operator, the spans of what it joins); parts in brackets are asked for in turn."""
    spans, operators, begin, offset = [], [], start, start
    while offset < end:
        if code[offset] in "([{":
            after = closing(code, offset)
            if code[offset] == "(" and re.search(r"(?:^|[!(&|]|\s)$", code[start:offset]):
                yield from operands(code, offset + 1, after - 1)
            offset = after
        elif code[offset:offset + 2] in ("||", "&&") and code[offset - 1].isspace():
            spans.append((begin, offset))
            operators.append(code[offset:offset + 2])
            offset = begin = offset + 2
        elif code[offset] in "?;":
            return
        else:
            offset += 1
    if operators:
        yield operators, [*spans, (begin, end)]


def stripped(code, span):
    """The span without the blanks at its ends."""
    start, end = span
    while code[start].isspace():
        start += 1
    while code[end - 1].isspace():
        end -= 1
    return start, end
