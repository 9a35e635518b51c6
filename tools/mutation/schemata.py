"""Puts all mutants of a function into it: which of them runs is chosen when the program runs.

A function body with the mutants 17 and 18 becomes

    { switch (vorn_mutant) { case 17: BODY WITH 17 break; case 18: ... break; default: BODY } }

so that one build holds every mutant. `#line` gives each copy the file name `mutant/NUMBER/PATH`, by
which the compiler tells which of them it refuses.
"""
import re

from mutation.source_text import blank_out, function_bodies

MUTANT = re.compile(r"^mutant/(\d+)/\S+?:\d+:\d+:")
ERROR = re.compile(r"^\S+:\d+:\d+: (?:fatal )?error: ")
NOTE = re.compile(r"^\S+:\d+:\d+: note: ")
# What the compiler says of the errors that follow begins with one of these.
WHERE = re.compile(r"^\S+: (?:In|At) |^In file included from ")


def body_of(bodies, mutant):
    """The body that can hold the mutant; None if there is none."""
    for body in bodies:
        end = mutant.start + len(mutant.original)
        if body.start <= mutant.start and end <= body.end:
            return None if body.is_only_for_the_compiler or body.deduces_its_type else body
    return None


def holdable(path_texts, mutants):
    """The numbers of the mutants that a function body can hold."""
    bodies = {path: function_bodies(blank_out(text)) for path, text in path_texts.items()}
    return {n for n, mutant in enumerate(mutants) if body_of(bodies[mutant.path], mutant)}


def _copy(text, body, name):
    line = text.count("\n", 0, body.start) + 1
    return f'\n#line {line} "{name}"\n{text[body.start:body.end]}\n'


def _with_all(text, body, path, numbered):
    """The text of a body that holds the mutants."""
    cases = []
    for number, mutant in numbered:
        longer = len(mutant.replacement) - len(mutant.original)
        name = f"mutant/{number}/{path}"
        cases.append(f"case {number}:"
                     + _copy(mutant.apply(text), body._replace(end=body.end + longer), name)
                     + "break;\n")
    original = _copy(text, body, path)
    chosen = f"switch (vorn_mutant) {{\n{''.join(cases)}default:{original}}}\n"
    if body.is_constexpr:  # the compiler, where it calls the function, cannot choose
        chosen = f"if (__builtin_is_constant_evaluated()) {{{original}}} else {chosen}"
    after = text.count("\n", 0, body.end) + 1
    return f'{{\n{chosen}}}\n#line {after} "{path}"\n'


def with_mutants(path, text, numbered):
    """The text of a file that holds the mutants: pairs of a number, from 1, and a mutant."""
    bodies = function_bodies(blank_out(text))
    held = {}
    for number, mutant in numbered:
        held.setdefault(body_of(bodies, mutant), []).append((number, mutant))
    parts, offset = [], 0
    for body in bodies:
        if body in held:
            parts += [text[offset:body.start], _with_all(text, body, path, held[body])]
            offset = body.end
    return "".join([*parts, text[offset:]])


def refused(compiler_output):
    """(the numbers of the mutants that do not compile, those of which one does not compile)

    An error may lie in a template that a mutant uses; the lines before it name the mutant. Where the
    template has mutants as well, one cannot tell which is to blame.
    """
    certain, doubtful, users = set(), set(), set()
    for line in compiler_output.split("\n"):
        place = MUTANT.match(line)
        named = {int(place.group(1))} if place else set()
        if WHERE.match(line):
            users = set()
        elif ERROR.match(line):
            blamed = users | named
            (certain if len(blamed) == 1 else doubtful).update(blamed)
        elif not NOTE.match(line):
            users |= named
    return certain, doubtful - certain
