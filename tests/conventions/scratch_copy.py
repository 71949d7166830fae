"""A scratch copy of the project's tracked files, in which a test can plant a mistake."""

import contextlib
import pathlib
import shutil
import subprocess
import tempfile


@contextlib.contextmanager
def scratch_copy(source):
    """A directory with the project's C++ files as they are in the working tree, under git as they are there."""
    listed = subprocess.run(
        ["git", "-C", source, "ls-files", "*.h", "*.cpp"], check=True, capture_output=True, text=True
    ).stdout.split()
    with tempfile.TemporaryDirectory() as place:
        root = pathlib.Path(place)
        for file in listed:
            if (source / file).exists():
                (root / file).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source / file, root / file)
        subprocess.run(["git", "init", "--quiet", root], check=True)
        yield root


def append(file, text):
    file.write_text(file.read_text() + text)


def run(check, root):
    """Exit status and output of a check."""
    done = subprocess.run([check, root], capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr
