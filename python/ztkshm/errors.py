"""What can go wrong, as one family of exceptions.

    Error
      AttachError            a block was not opened; .name is the name that was asked for
        BadName              also a ValueError
        Vanished             also a FileNotFoundError
        NotPermitted         also a PermissionError
        SystemCallFailed     also an OSError; .errno says why
        NotAnObject, TooShort, BadHeader, MmzDescribed, WrongLength, NameMismatch
      Closed, DoesNotFit, BadPicture    also ValueErrors
      Shrunk
      NumpyMissing           also an ImportError

The classes below AttachError are the statuses of ztk_shared_view.h, which opens blocks in C, checked in its order.
"""
from __future__ import annotations

import errno
import os


class Error(Exception):
    """Everything that this package raises on purpose."""


class AttachError(Error):
    """A block was not opened."""

    reason = "not opened"

    def __init__(self, name: str | bytes, detail: str = "") -> None:
        super().__init__(name, detail)
        self.name = name
        self.detail = detail

    def __str__(self) -> str:
        detail = f" ({self.detail})" if self.detail else ""
        return f"{self.name!r}: {self.reason}{detail}"


class BadName(AttachError, ValueError):
    """Empty, longer than 255 bytes, or with a slash (other than one in front) or a zero in it."""

    reason = "not a name of a shared block"


class _SystemError(AttachError, OSError):
    """One that has the errno of a system call."""

    def __init__(self, name: str | bytes, code: int) -> None:
        super().__init__(name, os.strerror(code))
        self.args = (name, code)
        self.errno = code
        self.strerror = os.strerror(code)


class Vanished(_SystemError, FileNotFoundError):
    """No object has this name (any more)."""

    reason = "no shared block has this name"


class NotPermitted(_SystemError, PermissionError):
    """The object is another user's, usually."""

    reason = "no permission to open the shared block"


class SystemCallFailed(_SystemError):
    """A system call failed; errno says why."""

    reason = "a system call failed"


class NotAnObject(AttachError):
    """A directory, pipe, socket or link bears the name."""

    reason = "what bears this name is not a shared-memory object"


class TooShort(AttachError):
    """The object is shorter than the 128 bytes of a header; perhaps it is being made just now."""

    reason = "shorter than a block's header"


class BadHeader(AttachError):
    """The header length is not 128: no such block, not stamped yet, or overwritten by its owner."""

    reason = "no block header, or overwritten by its owner"


class MmzDescribed(AttachError):
    """The header describes an MMZ block; there is no data here."""

    reason = "describes an MMZ block, which cannot be opened by name"


class WrongLength(AttachError):
    """The data length is not the object's size less the header."""

    reason = "data length does not fit the object"


class NameMismatch(AttachError):
    """The header bears another name."""

    reason = "header bears another name"


class Closed(Error, ValueError):
    """The View was used after close()."""


class DoesNotFit(Error, ValueError):
    """The block is too small for what was asked of it, or the shape or element type is impossible."""


class Shrunk(Error):
    """Somebody made the object shorter after it was opened. Memory mapped from it must not be touched any more."""


class BadPicture(Error, ValueError):
    """These elements are no picture."""


class NumpyMissing(Error, ImportError):
    """NumPy is not installed (Debian: python3-numpy)."""


def error_of_open(name: str | bytes, code: int) -> AttachError:
    """What an open() of the object that failed with this errno comes to."""
    if code == errno.ENOENT:
        return Vanished(name, code)
    if code in (errno.EACCES, errno.EPERM):
        return NotPermitted(name, code)
    # a link, a socket, a directory
    if code in (errno.ELOOP, errno.ENXIO, errno.EISDIR, errno.EINVAL):
        return NotAnObject(name)
    return SystemCallFailed(name, code)
