"""What the pools of this machine have in /dev/shm."""
from __future__ import annotations

import os
import re
import stat
from dataclasses import dataclass

from .objects import DIRECTORY

# Exactly as the library makes them: process id, then 32 lower-case hexadecimal digits.
_POOL_NAME = re.compile(r"ZTKTool-([1-9][0-9]{0,9})-[0-9a-f]{32}")
_LARGEST_ID = (1 << 31) - 1


@dataclass(frozen=True)
class Segment:
    """A block in shared memory as its directory entry shows it; its content was not looked at."""

    name: str  #: what attach() takes
    size: int  #: bytes of the object, the header's 128 included
    resident: int  #: bytes of memory that it takes
    owner: int  #: id of the process that made it
    #: Whether a process of that id runs. It may be a stranger with a recycled id; and an owner in another pid
    #: namespace looks dead. Before anything is removed ask ztkmem, which knows better.
    alive: bool
    modified: float  #: seconds since 1970: when a process last began to write to it
    mode: int  #: permission bits
    user: int  #: id of the user it belongs to


def segments() -> list[Segment]:
    """The blocks of all pools on this machine, idle ones included, sorted by name.

    Only names exactly as pools make them are looked at; ztkmem lists the others, too. Blocks may come and go while
    this runs. Raises OSError if /dev/shm cannot be read.
    """
    found = (_look_at(name) for name in sorted(os.listdir(DIRECTORY)))
    return [segment for segment in found if segment is not None]


def owner_of(name: str) -> int | None:
    """The process id in the name, None if the name is not one that a pool makes."""
    match = _POOL_NAME.fullmatch(name)
    owner = int(match[1]) if match else 0
    return owner if 0 < owner <= _LARGEST_ID else None


def _look_at(name: str) -> Segment | None:
    owner = owner_of(name)
    if owner is None:
        return None
    try:
        info = os.lstat(os.path.join(DIRECTORY, name))
    except FileNotFoundError:
        return None
    if not stat.S_ISREG(info.st_mode):
        return None
    return Segment(name, info.st_size, info.st_blocks * 512, owner, _is_alive(owner), info.st_mtime,
                   stat.S_IMODE(info.st_mode), info.st_uid)


def _is_alive(process: int) -> bool:
    try:
        os.kill(process, 0)
    except ProcessLookupError:
        return False
    except PermissionError:
        pass
    return not _has_ended(process)


def _has_ended(process: int) -> bool:
    """Whether it is a zombie. One whose other threads still run is a process at work: only its first thread ended."""
    try:
        with open(f"/proc/{process}/stat", "rb") as file:
            # the command's name, in brackets, may itself hold brackets and blanks
            fields = file.read().rpartition(b")")[2].split()
    except OSError:
        return False
    return len(fields) > 17 and fields[0] in (b"Z", b"X") and int(fields[17]) <= 1
