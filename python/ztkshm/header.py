"""The 128 bytes at the start of every shared block: taken apart, and judged against the object that holds them."""
from __future__ import annotations

import os
import re
import struct
from dataclasses import dataclass
from typing import NamedTuple

from . import errors

#: Bytes of header in front of the data.
HEADER_SIZE = 128

_NAME_SIZE = 80
# Data length, reserved, MMZ mark, reserved, header length, name, MMZ text; in the machine's byte order, as their
# writer's was.
_LAYOUT = struct.Struct(f"=QBB4sH{_NAME_SIZE}s32s")
_MMZ_TEXT = re.compile(rb"MMZ_(-?[0-9]+)_(?:0[xX])?([0-9a-fA-F]+)")


class MmzPlace(NamedTuple):
    """Where a described MMZ block is."""

    physical: int
    virtual: int


@dataclass(frozen=True)
class Header:
    """A header as it stands, good or not."""

    data_length: int  #: bytes behind the header
    by_mmz: int  #: not 0: describes an MMZ block, the data is not here
    header_length: int  #: 128
    raw_name: bytes  #: up to the zeros that fill the field
    raw_mmz: bytes  #: up to the first zero
    all_zero: bool  #: not stamped yet, or cleared by its owner

    @property
    def name(self) -> str:
        """The name that the header bears, decoded as file names are."""
        return os.fsdecode(self.raw_name)

    @property
    def mmz(self) -> MmzPlace | None:
        """The place that the MMZ text names, None if it names none."""
        match = _MMZ_TEXT.fullmatch(self.raw_mmz)
        if match is None:
            return None
        place = MmzPlace(int(match[1]), int(match[2], 16))
        fits = -(1 << 63) <= place.physical < 1 << 63 and place.virtual < 1 << 64
        return place if fits else None


def decode(raw: bytes) -> Header:
    """Takes 128 bytes apart; any are valid input."""
    data_length, _, by_mmz, _, header_length, name, mmz = _LAYOUT.unpack(raw)
    return Header(data_length, by_mmz, header_length, name.rstrip(b"\0"), mmz.partition(b"\0")[0], not any(raw))


def check(header: Header, bare_name: bytes, object_size: int) -> None:
    """Raises unless the header is that of a readable block of this name and size.

    The data length must be equal to what the object holds, not merely within: the owner sizes and stamps a block in
    one go and never resizes it. The reserved bytes are not looked at.
    """
    name = os.fsdecode(bare_name)
    if header.header_length != HEADER_SIZE:
        raise errors.BadHeader(name, f"header length is {header.header_length}, not {HEADER_SIZE}")
    if header.by_mmz != 0:
        raise errors.MmzDescribed(name, header.raw_mmz.decode("ascii", "backslashreplace"))
    if header.data_length != object_size - HEADER_SIZE:
        raise errors.WrongLength(name, f"{header.data_length} in the header, {object_size - HEADER_SIZE} there")
    # Without a terminator a name may fill the field; a longer one cannot be in it.
    if header.raw_name != bare_name:
        raise errors.NameMismatch(name, repr(header.name))
