"""python3 -m ztkshm: the blocks in shared memory, from a terminal. Needs neither NumPy nor the library."""
from __future__ import annotations

import argparse
import math
import os
import sys
from pathlib import Path
from typing import Sequence

from . import Error, __version__, attach, png, read_header, segments

_FORMATS = {"uint8": "B", "uint16": "H"}


def _shape(text: str) -> tuple[int, ...]:
    parts = text.lower().split("x")
    if len(parts) not in (2, 3) or not all(part.isascii() and part.isdigit() and int(part) > 0 for part in parts):
        raise argparse.ArgumentTypeError(f"{text!r} is no HEIGHTxWIDTH or HEIGHTxWIDTHxCHANNELS")
    return tuple(int(part) for part in parts)


def _ls(_: argparse.Namespace) -> None:
    found = segments()
    print(f"{'OWNER':>10}  {'ALIVE':5}  {'SIZE':>12}  {'RESIDENT':>12}  NAME")
    for each in found:
        alive = "yes" if each.alive else "no"
        print(f"{each.owner:>10}  {alive:5}  {each.size:>12}  {each.resident:>12}  {each.name}")
    print(f"{len(found)} segments, {sum(each.size for each in found)} bytes")


def _show(arguments: argparse.Namespace) -> None:
    header = read_header(arguments.name)
    print(f"data length    {header.data_length}")
    print(f"by MMZ         {header.by_mmz}")
    print(f"header length  {header.header_length}")
    print(f"name           {ascii(header.name)}")
    print(f"MMZ text       {ascii(header.raw_mmz)}")
    with attach(arguments.name) as view:
        start = view.read(0, min(view.size, 16))
        print(f"data           {view.size} bytes: {start.hex(' ')}{' ...' if view.size > len(start) else ''}")


def _save(arguments: argparse.Namespace) -> None:
    element = _FORMATS[arguments.dtype]
    length = math.prod(arguments.shape) * memoryview(bytes(8)).cast(element).itemsize
    with attach(arguments.name) as view:
        copy = view.read(arguments.offset, length)
    picture = png(memoryview(copy).cast(element, arguments.shape))
    Path(arguments.output).write_bytes(picture)
    print(f"written: {arguments.output}")


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="python3 -m ztkshm", description="Blocks of libZTKCommon in shared memory.")
    parser.add_argument("--version", action="version", version=f"ztkshm {__version__}")
    commands = parser.add_subparsers(required=True, metavar="COMMAND")
    ls = commands.add_parser("ls", help="list the blocks of all pools")
    ls.set_defaults(run=_ls)
    show = commands.add_parser("show", help="show the header of a block, and why it is refused if it is")
    show.add_argument("name")
    show.set_defaults(run=_show)
    save = commands.add_parser("save", help="save the pixels in a block as a PNG picture")
    save.add_argument("name")
    save.add_argument("--shape", type=_shape, required=True, metavar="HxW[xC]",
                      help="height, width, and channels: 1 gray, 2 gray and alpha, 3 RGB, 4 RGBA")
    save.add_argument("--dtype", choices=sorted(_FORMATS), default="uint8")
    save.add_argument("--offset", type=int, default=0, help="bytes between the header and the pixels")
    save.add_argument("-o", "--output", required=True, metavar="FILE.png")
    save.set_defaults(run=_save)
    return parser


def main(words: Sequence[str] | None = None) -> int:
    """Runs one command. Returns the exit status: 0, 1 for a failure (one line on standard error), 2 for bad usage."""
    arguments = _parser().parse_args(words)
    complaint: Exception | None = None
    try:
        arguments.run(arguments)
    except (Error, OSError) as error:
        complaint = error
    try:
        sys.stdout.flush()
    except OSError as error:
        complaint = complaint or error
        # When it ends, the interpreter tries once more what is left, and would complain in words of its own.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
    if complaint is None:
        return 0
    print(f"ztkshm: {complaint}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
