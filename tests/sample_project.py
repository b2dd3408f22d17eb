"""Projects of a few files that the tests of scripts make, and what a script says about them."""
import pathlib
import subprocess
import sys
import tempfile


def write(root, files):
    """`files` is {path below root: content}; folders are made."""
    for name, content in files.items():
        file = pathlib.Path(root, name)
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(content)


def outcome(script, files, *arguments):
    """The exit status and the output of `script PROJECT ARGUMENTS...`, a Python program."""
    with tempfile.TemporaryDirectory() as root:
        write(root, files)
        done = subprocess.run([sys.executable, script, root, *arguments],
                              stdout=subprocess.PIPE, text=True, check=False)
        return done.returncode, done.stdout
