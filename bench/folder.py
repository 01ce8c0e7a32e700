"""A folder of a benchmark's own, in which the proxy's user may work, gone at its end."""

import contextlib
import pathlib
import tempfile

from engine import User


@contextlib.contextmanager
def working_folder():
    with tempfile.TemporaryDirectory(prefix="velmora-bench-") as name:
        folder = pathlib.Path(name)
        User().make_folder(folder)
        folder.chmod(0o755)
        yield folder
