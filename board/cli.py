"""What the board's programs have in common on their command lines."""
import argparse
import pathlib
import sys


class Parser(argparse.ArgumentParser):
    """Says in one line what is wrong; --help says the rest."""

    def __init__(self, description):
        super().__init__(description=description, formatter_class=argparse.RawDescriptionHelpFormatter)

    def error(self, message):
        print(f"{self.prog}: {message}", file=sys.stderr)
        sys.exit(2)


def existing(text):
    path = pathlib.Path(text).resolve()
    if not path.exists():
        raise argparse.ArgumentTypeError(f"{text} is not there")
    return path
