"""The list of mutants that no test can kill or needs to, each with its reason.

An entry is four lines and an empty line:

    catalog/endpoint_sets.cpp
    - the line of the source, or the first line of a longer statement
    + the line with the mutant
    why no test can tell the two apart

Lines that begin with # are comments.
"""


def read_explained(path, mutants):
    """(the keys of the explained mutants, the faults of the list)"""
    known = {mutant.key() for mutant in mutants}
    explained, faults = set(), []
    text = path.read_text() if path.exists() else ""
    for block in text.split("\n\n"):
        lines = [line.strip() for line in block.split("\n")
                 if line.strip() and not line.startswith("#")]
        if not lines:
            continue
        if len(lines) < 4 or not lines[1].startswith("- ") or not lines[2].startswith("+ "):
            faults.append(f"not an entry: {lines[0]}")
            continue
        key = (lines[0], lines[1][2:], lines[2][2:])
        if key not in known:
            faults.append(f"no such mutant: {lines[0]}: {lines[2]}")
        elif key in explained:
            faults.append(f"listed twice: {lines[0]}: {lines[2]}")
        explained.add(key)
    return explained, faults
