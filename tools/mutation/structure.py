"""Changes of statements, conditions, arguments and whole functions, as a careful breaker tries them."""
import re

from mutation.source_text import all_statement_lists, closing, function_bodies, operands, stripped

CALL = re.compile(r"\w\(")
DECLARED = re.compile(r"^(?:const )?[\w:<>, ]+[ &*](\w+)(?:$|;| = |\(|\{)")
COMPARED = re.compile(r"((?:[\w:]+(?:\.|->))*[\w:]+(?:\(\))?) (==|!=) ((?:platform::)?)((?:ERROR|STATUS)_\w+)")
ARGUMENT = re.compile(r"[&*]?[A-Za-z_][\w.:]*(?:->\w+)*(?:\(\))?(?:\[\w+\])?|\d\w*")
SYMMETRIC = ("EqualsIgnoringCase", "min", "max", "swap")
# What means "not there", and what does not although it may look alike.
ABSENT = ["ERROR_FILE_NOT_FOUND", "ERROR_PATH_NOT_FOUND", "ERROR_NOT_FOUND", "ERROR_NO_MORE_ITEMS"]
NOT_ABSENT = "ERROR_ACCESS_DENIED"
COUNTED_LOOP = re.compile(r"\bfor \([^;]*; [\w.]+ (?:<|!=) ([^;&|]+);")


def changes_of_structure(code, text):
    """Yields (start, original, replacement, kind); offsets are those of the file."""
    yield from _changed_errors(code)
    yield from _shorter_loops(code)
    for body in function_bodies(code):
        yield from _dropped_body(code, body)
        yield from _exchanged_arguments(code, text, body)
        for statements in all_statement_lists(code, body):
            yield from _swapped_statements(code, text, statements)
            for statement in statements:
                yield from _dropped_statement(code, text, statement)
                yield from _ended_loop(code, text, statement)
                yield from _empty_answer(code, text, statement)
                yield from _changed_conditions(code, text, statement)


def _dropped_body(code, body):
    inner = code[body.start:body.end]
    if body.is_only_for_the_compiler or not inner[1:-1].strip():
        return
    empty = "{}" if body.returns_nothing else "{ return {}; }"
    if " ".join(inner.split()) != empty:
        yield body.start, inner, empty, "dropped body"


def _swapped_statements(code, text, statements):
    for first, second in zip(statements, statements[1:]):
        if first.kind != "plain" or second.kind != "plain":
            continue
        texts = [code[one.start:one.end] for one in (first, second)]
        if not all(CALL.search(one) for one in texts):
            continue
        declared = DECLARED.match(texts[0])
        if declared and re.search(rf"\b{declared.group(1)}\b", texts[1]):
            continue
        between = text[first.end:second.start]
        swapped = text[second.start:second.end] + between + text[first.start:first.end]
        yield first.start, code[first.start:second.end], swapped, "swapped statements"


def _dropped_statement(code, text, statement):
    """A guard, an early way out, or an object that works by its life alone."""
    whole = code[statement.start:statement.end]
    if statement.kind in ("if", "for", "while"):
        yield statement.start, whole, ";", f"dropped {statement.kind}"
    elif statement.kind == "else":
        yield statement.body[1], code[statement.body[1]:statement.end], "", "dropped else"
    elif whole == "return;":
        yield statement.start, whole, ";", "dropped return"
    elif statement.kind == "plain" and re.match(r"(?:const )?[\w:]+(?:<[^;=()]*>)? \w+(?:\([^;=]*\))?;$", whole):
        yield statement.start, whole, ";", "dropped object"


def _ended_loop(code, text, statement):
    if statement.kind not in ("for", "while"):
        return
    start, end = statement.body
    inner = text[start + 1:end - 1] if code[start] == "{" else text[start:end]
    head = text[statement.start:start]
    yield (statement.start, code[statement.start:end], f"{head}{{ {inner} break; }}",
           "only the first round")


def _shorter_loops(code):
    for match in COUNTED_LOOP.finditer(code):
        yield match.start(1), match.group(1), f"{match.group(1)} - 1", "loop ends early"


def _empty_answer(code, text, statement):
    if statement.kind != "return":
        return
    answer = code[statement.start + len("return"):statement.end - 1].strip()
    if answer not in ("", "{}", "std::nullopt", "false", "true", "nullptr", "0", "kExitOk"):
        yield statement.start, code[statement.start:statement.end], "return {};", "empty answer"


def _changed_errors(code):
    """Another error that is accepted, or one that stands for an accepted one."""
    for match in COMPARED.finditer(code):
        compared, operator, scope, error = match.groups()
        if error == "ERROR_SUCCESS" or error.startswith("STATUS"):
            continue
        line = code[code.rfind("\n", 0, match.start()) + 1:code.find("\n", match.start())]
        others = [NOT_ABSENT if error != NOT_ABSENT else ABSENT[0]]
        others += [other for other in ABSENT if other != error][:2]
        joined = "||" if operator == "==" else "&&"
        for other in (one for one in others if one not in line):
            yield (match.start(), match.group(),
                   f"({match.group()} {joined} {compared} {operator} platform::{other})",
                   "another error accepted")


def _conditions(code, statement):
    """(start, end) of what is asked in an if or a while, or answered by a return."""
    if statement.kind in ("if", "while", "else"):
        opened = code.index("(", statement.start)
        yield opened + 1, closing(code, opened) - 1
    elif statement.kind == "return":
        yield statement.start + len("return "), statement.end - 1


def _changed_conditions(code, text, statement):
    for start, end in _conditions(code, statement):
        for operators, spans in operands(code, start, end):
            spans = [stripped(code, span) for span in spans]
            for n, (begin, finish) in enumerate(spans):
                neutral = "true" if "&&" in (operators[n - 1:n + 1] if n else operators[:1]) else "false"
                yield begin, code[begin:finish], neutral, "dropped part of a condition"
            for (first, second), operator in zip(zip(spans, spans[1:]), operators):
                one, other = (text[slice(*span)] for span in (first, second))
                if _may_have_effects(one) and _may_have_effects(other) and len(set(operators)) == 1:
                    yield (first[0], code[first[0]:second[1]], f"{other} {operator} {one}",
                           "swapped parts of a condition")


PURE = re.compile(r"\b(?:empty|size|find|Is\w*|Has\w*|starts_with|ends_with|GetLastError|Equals\w*|"
                  r"value_or|substr|Get|Handle|Size|end|begin|back|front|EndsWith\w*|StartsWith\w*)\(")


def _may_have_effects(text):
    return CALL.search(PURE.sub("", text)) is not None


def _exchanged_arguments(code, text, body):
    for match in re.compile(r"(\w*)[\w>](\(|\{)(?=[^(){};]*,)").finditer(code, body.start, body.end):
        if match.group().rstrip("({") in SYMMETRIC:
            continue
        opened = match.start(2)
        end = closing(code, opened) - 1
        spans = [stripped(code, span) for span in _arguments(code, opened + 1, end)
                 if code[slice(*span)].strip()]
        for first, second in zip(spans, spans[1:]):
            one, other = (code[slice(*span)] for span in (first, second))
            if one != other and ARGUMENT.fullmatch(one) and ARGUMENT.fullmatch(other):
                yield (first[0], code[first[0]:second[1]], f"{other}, {one}",
                       "exchanged arguments")


def _arguments(code, start, end):
    begin = offset = start
    while offset < end:
        if code[offset] in "([{":
            offset = closing(code, offset)
        elif code[offset] == ",":
            yield begin, offset
            offset = begin = offset + 1
        else:
            offset += 1
    yield begin, end
