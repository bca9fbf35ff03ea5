"""Pixels as a PNG file, with nothing but the standard library."""
from __future__ import annotations

import struct
import sys
import zlib
from array import array
from typing import TYPE_CHECKING, Any, cast

from . import errors

if TYPE_CHECKING:
    from numpy.typing import NDArray

# PNG's colour type by channels: gray, gray and alpha, RGB, RGBA.
_COLOUR_TYPES = {1: 0, 2: 4, 3: 2, 4: 6}
_BYTES = {"B": 1, "H": 2}
_LARGEST_SIDE = (1 << 31) - 1


def png(pixels: memoryview | NDArray[Any]) -> bytes:
    """The bytes of a PNG file that shows these pixels.

    The shape is (height, width) or (height, width, channels) with 1 (gray), 2 (gray, alpha), 3 (red, green, blue) or
    4 channels (and alpha); the elements are 8 or 16 bits without a sign. Raises BadPicture on anything else.

    Copy what lies in a block before (View.read(), or array.copy()): its owner may write while this runs.
    """
    try:
        view = memoryview(cast(memoryview, pixels))  # not every type checker knows that arrays are buffers
    except (TypeError, ValueError) as error:
        raise errors.BadPicture(f"no pixels: {error}") from None
    height, width, channels = _extents(view)
    order, kind = ("@", view.format) if len(view.format) == 1 else (view.format[0], view.format[1:])
    if kind not in _BYTES or order not in "@=<>!":
        raise errors.BadPicture(f"elements of format {view.format!r}: 8 or 16 bits without a sign are needed")
    samples = view.tobytes()
    if kind == "H":
        samples = _big_endian(samples, order)
    stride = width * channels * _BYTES[kind]
    # every row says how it was transformed: not at all
    rows = b"".join(b"\0" + samples[at:at + stride] for at in range(0, height * stride, stride))
    head = struct.pack(">IIBBBBB", width, height, 8 * _BYTES[kind], _COLOUR_TYPES[channels], 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + _chunk(b"IHDR", head) + _chunk(b"IDAT", zlib.compress(rows))
            + _chunk(b"IEND", b""))


def _extents(view: memoryview) -> tuple[int, int, int]:
    shape = view.shape or ()
    height, width, channels = shape if len(shape) == 3 else (*shape, 1) if len(shape) == 2 else (0, 0, 0)
    if channels not in _COLOUR_TYPES or not 0 < height <= _LARGEST_SIDE or not 0 < width <= _LARGEST_SIDE:
        raise errors.BadPicture(f"shape {shape}: height, width and at most 4 channels are needed")
    return height, width, channels


def _big_endian(samples: bytes, order: str) -> bytes:
    if order in ">!" or (order in "@=" and sys.byteorder == "big"):
        return samples
    words = array("H", samples)
    words.byteswap()
    return words.tobytes()


def _chunk(kind: bytes, body: bytes) -> bytes:
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))
