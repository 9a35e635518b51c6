"""Changes of what happens after a refusal: the call is made once more, or nobody heeds it.

Only calls that reach the platform are worth a second try: the same pure function gives the same answer.
"""
import re

from mutation.source_text import (all_statement_lists, closing, function_bodies, in_loops, operands,
                                  stripped)

CALLED = re.compile(r"\b(\w+)\(")
NAMED_LAMBDA = re.compile(r"\bauto (\w+) = \[[^{};]*\{")
POINTER = re.compile(r"(?:Function|\)) (\w+) = nullptr;")
# What stands in a platform header too but calls nothing; a second look at the clock or the last error
# decides nothing.
WITHOUT_EFFECT = {"Get", "GetLastError", "GetTickCount64", "Invalid", "IsValid", "Receive",
                  "StandardError", "StandardOutput"}
REFUSED = re.compile(r"^!|^IsFailure\(|(?: != (?:\w+::)?\w+_(?:SUCCESS|OK)| == 0| < 0| == nullptr)$")
COMPARED = re.compile(r"[=!]=|[<>]")
DECLARED_BOOL = re.compile(r"^(?:const )?bool \w+ = ")
DECLARED_OR_ASSIGNED = re.compile(r"^(?:(?:const )?(?:[\w:]+(?:<[^;=()]*>)?) )?(\w+) = ")
DECLARED_IN_CONDITION = re.compile(r"^(?:const )?(?:[\w:]+(?:<[^;=()]*>)?[ &*]+)(\w+) = ")
ENDLESS = re.compile(r"while \(true\)|for \([^;]*;\s*;")
CALL = re.compile(r"(?:[A-Za-z_]\w*(?:::|\.|->))*[A-Za-z_]\w*\(")


class Effects:
    """The names of the functions that make a platform call, directly or through others."""

    def __init__(self, declarations, codes):
        """Of blanked texts: the platform's declarations and the logic."""
        self.names = {name for code in declarations for name in CALLED.findall(code)
                      if name[0].isupper()} - WITHOUT_EFFECT
        self.names |= {name for code in codes for name in POINTER.findall(code)}
        bodies = [(_name_of(body.head), set(CALLED.findall(code[body.start:body.end])))
                  for code in codes for body in function_bodies(code)]
        bodies += [(match.group(1), set(CALLED.findall(code[match.end():closing(code, match.end() - 1)])))
                   for code in codes for match in NAMED_LAMBDA.finditer(code)]
        grown = True
        while grown:
            reached = {name for name, called in bodies if called & self.names}
            grown = not reached <= self.names
            self.names |= reached

    def has(self, code):
        return any(name in self.names for name in CALLED.findall(code))


def _name_of(head):
    found = re.search(r"(~?\w+)\s*\(", head)
    return found.group(1) if found else ""


def changes_of_refusals(code, text, effects):
    """Yields (start, original, replacement, kind); offsets are those of the file."""
    for body in function_bodies(code):
        is_bool = re.search(r"\bbool\s+[\w:]+\s*\(", body.head) is not None
        for statements in all_statement_lists(code, body):
            for number, statement in enumerate(statements):
                following = statements[number + 1] if number + 1 < len(statements) else None
                yield from _of_conditions(code, text, statement, is_bool, effects)
                yield from _of_results(code, text, statement, following, effects)
                yield from _doubled_call(code, text, statement, effects)
        for statement, loop in in_loops(code, body):
            if statement.kind == "return":
                whole = code[statement.start:statement.end]
                yield statement.start, whole, "continue;", "other jump"
                # Behind a loop without an end there is no answer.
                if not ENDLESS.match(code, loop.start):
                    yield statement.start, whole, "break;", "other jump"


def _asked(code, statement):
    """(start, end, whether its answer can go unheeded) of each condition of a statement."""
    if statement.kind in ("if", "else", "while"):
        opened = code.index("(", statement.start)
        yield opened + 1, closing(code, opened) - 1, statement.kind != "while"
    elif statement.kind == "for":
        opened = code.index("(", statement.start)
        parts = code[opened + 1:closing(code, opened) - 1].split(";")
        if len(parts) == 3:
            start = opened + 1 + len(parts[0]) + 1
            yield start, start + len(parts[1]), False


def _of_conditions(code, text, statement, is_bool, effects):
    conditions = list(_asked(code, statement))
    if statement.kind == "return" and is_bool:
        conditions.append((statement.start + len("return "), statement.end - 1, True))
    for start, end, can_go_unheeded in conditions:
        if start >= end or not code[start:end].strip():
            continue
        joined = [span for _, spans in operands(code, start, end) for span in spans]
        for span in joined or [(start, end)]:
            begin, finish = stripped(code, span)
            asked, its = code[begin:finish], text[begin:finish]
            if ";" in asked or "?" in asked or not effects.has(asked):
                continue
            declared = DECLARED_IN_CONDITION.match(asked)
            if declared:
                made = its[declared.end():]
                yield (begin, asked, its[:declared.end()] + f"[&] {{ auto made = {made}; return made ? "
                       f"std::move(made) : {made}; }}()", "second try")
                continue
            if REFUSED.search(asked):
                yield begin, asked, f"({its} && {its})", "second try"
                if can_go_unheeded:
                    yield begin, asked, f"({its} && false)", "unheeded refusal"
            else:
                yield begin, asked, f"({its} || {its})", "second try"
                if can_go_unheeded:
                    yield begin, asked, f"({its} || true)", "unheeded refusal"


def _of_results(code, text, statement, following, effects):
    """A result that the next statement judges, or a truth."""
    whole, its = code[statement.start:statement.end], text[statement.start:statement.end]
    found = DECLARED_OR_ASSIGNED.match(whole)
    if statement.kind != "plain" or not found or not effects.has(whole):
        return
    made = its[found.end():-1]
    if DECLARED_BOOL.match(whole):
        yield statement.start, whole, f"{its[:found.end()]}({made}) || ({made});", "second try"
        return
    if following is None or following.kind not in ("if", "else"):
        return
    for start, end, _ in _asked(code, following):
        joined = [span for _, spans in operands(code, start, end) for span in spans]
        for span in joined or [(start, end)]:
            begin, finish = stripped(code, span)
            asked = code[begin:finish]
            if re.search(rf"\b{found.group(1)}\b", asked) and not effects.has(asked):
                refused = text[begin:finish]
                if not REFUSED.search(asked) and not COMPARED.search(asked):
                    refused = f"!{refused}"
                yield (statement.start, whole, f"{its.removeprefix('const ')} "
                       f"if ({refused}) {found.group(1)} = {made};", "second try")
                return


def _doubled_call(code, text, statement, effects):
    whole = code[statement.start:statement.end]
    called = CALL.match(whole)
    if statement.kind == "plain" and called and effects.has(whole) and \
            closing(whole, called.end() - 1) == len(whole) - 1:
        its = text[statement.start:statement.end]
        yield statement.start, whole, f"{{ {its} {its} }}", "doubled call"
