"""Opening the objects in /dev/shm for reading. Trusts nothing that it finds there: anyone may put files into it."""
from __future__ import annotations

import os
import stat

from . import errors
from .header import HEADER_SIZE, Header, decode

DIRECTORY = "/dev/shm"
_NAME_MAX = 255


class Descriptor:
    """An open descriptor, closed when nobody refers to it any more: a reader that holds it is never left with a number
    that another thread has closed and that means another file since."""

    def __init__(self, number: int) -> None:
        self.number = number

    def close(self) -> None:
        """For the only holder: closes at once."""
        number, self.number = self.number, -1
        if number >= 0:
            os.close(number)

    __del__ = close


def bare(name: str | bytes) -> bytes:
    """The name as it stands in the directory, without the one slash in front that is accepted."""
    try:
        raw = os.fsencode(name)
    except UnicodeEncodeError:
        raise errors.BadName(name) from None
    raw = raw[1:] if raw.startswith(b"/") else raw
    if not 0 < len(raw) <= _NAME_MAX or b"/" in raw or b"\0" in raw:
        raise errors.BadName(name)
    return raw


def open_object(name: str | bytes) -> Descriptor:
    """Opens whatever bears that name."""
    # O_NONBLOCK: a pipe that bears the name must not block.
    flags = os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK | os.O_CLOEXEC
    path = os.path.join(os.fsencode(DIRECTORY), bare(name))
    try:
        return Descriptor(os.open(path, flags))
    except OSError as error:
        raise errors.error_of_open(name, error.errno or 0) from None


def header_of(file: Descriptor, name: str | bytes) -> tuple[Header, int]:
    """The header of a regular file that has room for one, and the size of the file.

    The header is copied exactly once, so that no peer can change it between check and use; and not through a mapping,
    so that an object that is shortened meanwhile is a short read, not SIGBUS.
    """
    try:
        info = os.fstat(file.number)
        if not stat.S_ISREG(info.st_mode):
            raise errors.NotAnObject(name)
        raw = os.pread(file.number, HEADER_SIZE, 0)
    except OSError as error:
        raise errors.SystemCallFailed(name, error.errno or 0) from None
    if len(raw) < HEADER_SIZE or info.st_size < HEADER_SIZE:
        raise errors.TooShort(name, f"{len(raw)} bytes")
    return decode(raw), info.st_size


def read_header(name: str | bytes) -> Header:
    """The header of a block as it stands, also one that attach() refuses. Raises AttachError if there is none."""
    file = open_object(name)
    try:
        return header_of(file, name)[0]
    finally:
        file.close()
