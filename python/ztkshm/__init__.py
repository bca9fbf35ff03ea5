"""The shared memory blocks of libZTKCommon, seen from Python: found, opened by name, read without a copy.

    import ztkshm

    for segment in ztkshm.segments():
        print(segment.name, segment.size, segment.owner, segment.alive)

    with ztkshm.attach(name) as view:
        frame = view.array((1080, 1920, 3), "uint8")   # NumPy; shares the block's memory
        first = view.data[0]                           # a memoryview, without NumPy
        saved = view.read()                            # bytes, a copy

Ownership. The block belongs to the pool of the process that made it. This package only reads: it never creates,
resizes, clears, writes or unlinks. (multiprocessing.shared_memory.SharedMemory is no substitute: it removes an object
that it has merely opened when the interpreter exits, and so takes the block's name from its owner.) A memoryview or
an array keeps the memory mapped, also after its View is closed, after the owner has given the block back, and after
the owner has ended; the memory returns to the system with the last of them.

Traps.
 - Nothing synchronises with the owner. After it frees the block, its pool may hand the same memory to the next caller
   while you still look at it: agree on who is done before the owner frees.
 - A freed block keeps its name and content while it idles in the owner's pool. That a name opens does not mean that
   the block is in use; and a reused block may be larger than what its owner asked for.
 - An owner that writes its data from the block's first byte, instead of behind the header, destroys the header, and
   the block is refused.
 - Whoever shortens the object while it is mapped turns the next access behind its new end into SIGBUS, which ends the
   process: Python cannot catch it. Pools never do that. View.read() is safe even then.
 - Other processes can write into the block at any time: what you decide on, copy first.

Threads. All functions, and one View, may be used from several threads at once.

Everything that is raised here on purpose is a ztkshm.Error.
"""
from .errors import (AttachError, BadHeader, BadName, BadPicture, Closed, DoesNotFit, Error, MmzDescribed, NameMismatch,
                     NotAnObject, NotPermitted, NumpyMissing, Shrunk, SystemCallFailed, TooShort, Vanished, WrongLength)
from .header import HEADER_SIZE, Header, MmzPlace
from .objects import read_header
from .picture import png
from .segments import Segment, segments
from .view import View, attach

__version__ = "1.0.0"

__all__ = [
    "AttachError", "BadHeader", "BadName", "BadPicture", "Closed", "DoesNotFit", "Error", "HEADER_SIZE", "Header",
    "MmzDescribed", "MmzPlace", "NameMismatch", "NotAnObject", "NotPermitted", "NumpyMissing", "Segment", "Shrunk",
    "SystemCallFailed", "TooShort", "Vanished", "View", "WrongLength", "attach", "png", "read_header", "segments",
]
