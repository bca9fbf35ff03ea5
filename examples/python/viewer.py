#!/usr/bin/env python3
"""Saves a picture of a frame that another process has in shared memory, beside its edges.

    python3 viewer.py --shape 300x451x3 -o frame.png [NAME]

The name is the one that AllocatePoolSharedMemory() gave the frame's owner; without one the viewer takes the frame that
was written to last. Needs NumPy (Debian: python3-numpy).
"""
from __future__ import annotations

import argparse
import sys
from pathlib import Path
from typing import Any

import numpy
from numpy.typing import NDArray

import ztkshm


def newest(size: int) -> str:
    """The block with room for that many bytes of data that its owner wrote to last. An idle block keeps its name and
    its old frame: a program that has somebody to ask for the name does better to ask."""
    found = [each for each in ztkshm.segments() if each.alive and each.size >= size + ztkshm.HEADER_SIZE]
    if not found:
        raise SystemExit(f"viewer: no process has a block for a frame of {size} bytes")
    return max(found, key=lambda each: each.modified).name


def edges(frame: NDArray[Any]) -> NDArray[Any]:
    """How much the brightness changes from each pixel to its neighbours, as gray pixels of the same height and width:
    the Sobel filter, black at the border."""
    gray = frame.mean(axis=2)
    rows = gray[:-2] + 2 * gray[1:-1] + gray[2:]
    columns = gray[:, :-2] + 2 * gray[:, 1:-1] + gray[:, 2:]
    across = rows[:, 2:] - rows[:, :-2]
    down = columns[2:] - columns[:-2]
    result = numpy.zeros(gray.shape, "uint8")
    result[1:-1, 1:-1] = numpy.minimum(numpy.hypot(across, down), 255)
    return result


def side_by_side(frame: NDArray[Any]) -> NDArray[Any]:
    """The frame, and its edges right of it, as RGB."""
    colours = numpy.broadcast_to(frame, (*frame.shape[:2], 3))
    return numpy.hstack([colours, numpy.repeat(edges(frame)[:, :, None], 3, axis=2)])


def shape_of(text: str) -> tuple[int, int, int]:
    """Reads "300x451x3": height, width, and 1 or 3 channels."""
    try:
        height, width, channels = (int(part) for part in text.split("x"))
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!r} is not HEIGHTxWIDTHxCHANNELS") from None
    if height < 3 or width < 3 or channels not in (1, 3):
        raise argparse.ArgumentTypeError(f"{text!r}: at least 3x3 pixels with 1 or 3 channels are needed")
    return height, width, channels


def main() -> int:
    parser = argparse.ArgumentParser(description="Saves a frame in shared memory, beside its edges, as a PNG picture.")
    parser.add_argument("name", nargs="?", help="of the frame's block; default: the one written to last")
    parser.add_argument("--shape", type=shape_of, required=True, metavar="HxWxC")
    parser.add_argument("-o", "--output", type=Path, required=True, metavar="FILE.png")
    arguments = parser.parse_args()
    height, width, channels = arguments.shape
    try:
        name = arguments.name or newest(height * width * channels)
        with ztkshm.attach(name) as view:
            # A copy: the owner may go on to the next frame while we work on this one.
            frame = view.array(arguments.shape, "uint8").copy()
        arguments.output.write_bytes(ztkshm.png(side_by_side(frame)))
    except (ztkshm.Error, OSError) as error:
        print(f"viewer: {error}", file=sys.stderr)
        return 1
    means = ", ".join(f"{mean:.1f}" for mean in frame.mean(axis=(0, 1)))
    print(f"{name}: {width} x {height} pixels, mean {means}; written: {arguments.output}")
    return 0


if __name__ == "__main__":
    sys.exit(main())
