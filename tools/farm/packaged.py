"""The files for administrators, which this farm is made with too."""

import pathlib

FOLDER = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "farm"


def filled_in(name, **values):
    """A file with each @word@ in it replaced."""
    text = (FOLDER / f"{name}.in").read_text()
    for word, value in values.items():
        text = text.replace(f"@{word}@", str(value))
    return text
