"""The folders of the program, as floors.txt lists them."""
import pathlib

ROOT = pathlib.Path(__file__).resolve().parent.parent


def folders_of_the_program(root=ROOT):
    """From the top floor down."""
    lines = (root / "floors.txt").read_text(encoding="utf-8").splitlines()
    return [line.split()[0] for line in lines if line and not line.startswith("#")]
