"""An opened block."""
from __future__ import annotations

import errno
import math
import mmap
import operator
import os
from typing import TYPE_CHECKING, Any, Iterable, NoReturn

from . import errors
from .header import HEADER_SIZE, Header, check
from .objects import Descriptor, bare, header_of, open_object

if TYPE_CHECKING:
    from types import TracebackType

    from numpy.typing import DTypeLike, NDArray


def attach(name: str | bytes) -> View:
    """Opens the block of this name (one slash in front is accepted) for reading.

    Nothing is handed out unless the whole header fits the object: header length 128, data here and not in an MMZ
    block, the data length equal to the object's size less the header, the name in the header the one that was opened.
    Raises one of the AttachErrors, the first check that fails.

    The object is opened with O_RDONLY and O_NOFOLLOW, and mapped with PROT_READ: nothing that holds the View can
    write to it.
    """
    file = open_object(name)
    try:
        header, size = header_of(file, name)
        check(header, bare(name), size)
        return View(header, file, _map(file, size, name))
    except BaseException:
        file.close()
        raise


class View:
    """A block that is open for reading; made by attach(). A context manager, which closes it.

    Sizes and offsets are in bytes and count from the first byte behind the header. One View may be used, and closed,
    by several threads at once. It costs two descriptors while it is open, and one for as long as it or a memoryview
    or array of it is there: Python's mappings keep one.
    """

    def __init__(self, header: Header, file: Descriptor, mapping: mmap.mmap) -> None:
        self._header = header
        self._size = header.data_length
        # Both in one tuple, so that close() takes them away in one step.
        self._open: tuple[Descriptor, mmap.mmap] | None = (file, mapping)

    @property
    def name(self) -> str:
        """The block's name, without a slash."""
        return self._header.name

    @property
    def header(self) -> Header:
        """The header as it was when the block was opened."""
        return self._header

    @property
    def size(self) -> int:
        """Bytes of data, 0 for a block that is all header. May be more than the owner asked for."""
        return self._size

    def __len__(self) -> int:
        return self._size

    @property
    def closed(self) -> bool:
        """Whether close() was called."""
        return self._open is None

    @property
    def data(self) -> memoryview:
        """The data itself, not a copy: read-only bytes that change when the owner writes. Stays valid, and keeps the
        memory mapped, after close(). For elements and shapes without NumPy see memoryview.cast()."""
        return memoryview(self._opened()[1])[HEADER_SIZE:]

    def array(self, shape: int | Iterable[int] | None = None, dtype: DTypeLike = "uint8",
              offset: int = 0) -> NDArray[Any]:
        """The data as a NumPy array, not a copy: read-only, C order, starting offset bytes into the data.

        Without a shape it has one dimension and as many elements as there is room for. The block may be larger than
        the array. The array stays valid, and keeps the memory mapped, after close(). With an offset that is a multiple
        of the element's size, elements of up to 128 bytes are aligned.

        Raises DoesNotFit if the block is too small or the shape is impossible, Closed, and NumpyMissing.
        """
        try:
            import numpy
        except ImportError as error:
            raise errors.NumpyMissing("arrays need NumPy (Debian: python3-numpy); View.data does not") from error
        data = self.data
        element = numpy.dtype(dtype)
        if element.hasobject:
            raise errors.DoesNotFit(f"elements of type {element} cannot be in shared memory")
        if not 0 <= offset <= self._size:
            raise errors.DoesNotFit(f"offset {offset}: the block has {self._size} bytes of data")
        dimensions = _dimensions(shape, (self._size - offset) // max(element.itemsize, 1))
        needed = math.prod(dimensions) * element.itemsize
        if needed > self._size - offset:
            raise errors.DoesNotFit(f"{dimensions} of {element} at offset {offset} ends at byte {offset + needed}: "
                                    f"the block has {self._size} bytes of data")
        try:
            return numpy.ndarray(dimensions, element, buffer=data, offset=offset)
        except ValueError as error:
            # more dimensions than NumPy has, or sizes whose product it cannot count
            raise errors.DoesNotFit(f"{dimensions} of {element}: {error}") from None

    def read(self, offset: int = 0, size: int | None = None) -> bytes:
        """A copy of size bytes from offset on, by default of everything from there.

        Reads the object, not the mapping: safe also if somebody shortens it, which raises Shrunk. The owner may write
        meanwhile; a copy is not a snapshot. Raises DoesNotFit if there are not that many bytes, and Closed.
        """
        file, _ = self._opened()
        size = self._size - offset if size is None else size
        if offset < 0 or size < 0 or offset + size > self._size:
            raise errors.DoesNotFit(f"{size} bytes at offset {offset}: the block has {self._size} bytes of data")
        # the kernel hands out at most 2 GiB in one go
        pieces: list[bytes] = []
        while size > 0:
            piece = os.pread(file.number, size, HEADER_SIZE + offset)
            if not piece:
                raise errors.Shrunk(f"{self.name!r}: was shortened after it was opened, ends at byte {offset}")
            pieces.append(piece)
            offset += len(piece)
            size -= len(piece)
        return b"".join(pieces)

    def __bytes__(self) -> bytes:
        return self.read()

    def close(self) -> None:
        """Lets go of the block. What was taken from data and array() stays valid, and keeps the memory mapped, for as
        long as it is there. Closing twice does nothing. The object itself is left alone."""
        self._open = None

    def __enter__(self) -> View:
        self._opened()
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self.close()

    def __repr__(self) -> str:
        return f"<ztkshm.View {self.name!r}, {self._size} bytes{', closed' if self.closed else ''}>"

    def __reduce__(self) -> NoReturn:
        raise TypeError("a View cannot be copied or pickled: send its name, and attach() there")

    def _opened(self) -> tuple[Descriptor, mmap.mmap]:
        opened = self._open
        if opened is None:
            raise errors.Closed(f"the View of {self.name!r} is closed")
        return opened


def _map(file: Descriptor, size: int, name: str | bytes) -> mmap.mmap:
    try:
        return mmap.mmap(file.number, size, access=mmap.ACCESS_READ)
    except ValueError:
        raise errors.WrongLength(name, "shortened while it was opened") from None
    except OverflowError:  # more than this machine can address
        raise errors.SystemCallFailed(name, errno.ENOMEM) from None
    except OSError as error:
        raise errors.SystemCallFailed(name, error.errno or 0) from None


def _dimensions(shape: int | Iterable[int] | None, room: int) -> tuple[int, ...]:
    if shape is None:
        return (room,)
    if isinstance(shape, Iterable):
        dimensions = tuple(operator.index(each) for each in shape)
    else:
        dimensions = (operator.index(shape),)
    if any(each < 0 for each in dimensions):
        raise errors.DoesNotFit(f"shape {dimensions}: sizes are not negative")
    return dimensions
