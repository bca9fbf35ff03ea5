"""Blocks as NumPy arrays."""
from __future__ import annotations

import gc
import os
from typing import Any

import pytest
import ztkshm
from support import HEADER, SHM, Owner, is_mapped, make, open_descriptors, pattern

numpy = pytest.importorskip("numpy")

DATA = 4096


def test_an_array_is_the_block_itself(owner: Owner) -> None:
    with ztkshm.attach(owner.block(24)) as view:
        frame = view.array((2, 4, 3))
        assert (frame.shape, frame.dtype, frame.flags.c_contiguous) == ((2, 4, 3), numpy.uint8, True)
        assert frame.tobytes() == pattern(24)
        owner.write(0, HEADER + 12, 99)
        assert frame[1, 0, 0] == 99


def test_without_a_shape_everything_is_taken() -> None:
    make("block", 11)
    with ztkshm.attach("block") as view:
        assert view.array().shape == (11,)
        assert view.array(dtype="uint16").shape == (5,)
        assert view.array(dtype="uint16", offset=1).shape == (5,)
        assert view.array(offset=11).shape == (0,)


def test_the_block_may_be_larger_than_the_array() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        assert view.array((2, 3), ">u4", 16).tobytes() == pattern(DATA)[16:40]
        assert view.array(7).tobytes() == pattern(7)
        assert view.array([]).shape == ()
        assert view.array(numpy.array([2, 2])).shape == (2, 2)


def test_an_array_that_fits_to_the_byte_and_one_that_does_not() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        assert view.array((64, 16), "float32").shape == (64, 16)
        for shape, dtype, offset in (((64, 16), "float32", 1), ((DATA + 1,), "uint8", 0), ((513,), "float64", 0),
                                     ((1,), "uint8", DATA), ((1 << 40, 1 << 40), "uint8", 0), ((1 << 80,), "uint8", 0)):
            with pytest.raises(ztkshm.DoesNotFit, match="4096 bytes of data"):
                view.array(shape, dtype, offset)


def test_impossible_arrays() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        shapes: list[int | tuple[int, ...]] = [-1, (2, -1), (1,) * 40, (1 << 70, 0)]
        for shape in shapes:
            with pytest.raises(ztkshm.DoesNotFit):
                view.array(shape)
        dtypes: list[Any] = ["O", [("a", "u1"), ("b", "O")]]
        for dtype in dtypes:
            with pytest.raises(ztkshm.DoesNotFit, match="cannot be in shared memory"):
                view.array(1, dtype)
        for offset in (-1, DATA + 1):
            with pytest.raises(ztkshm.DoesNotFit):
                view.array(offset=offset)
        with pytest.raises(TypeError):
            view.array(1.5)  # type: ignore[arg-type]
        with pytest.raises(TypeError):
            view.array((1, "2"))  # type: ignore[arg-type]


def test_arrays_without_elements() -> None:
    make("block", 0)
    with ztkshm.attach("block") as view:
        assert view.array().shape == (0,)
        assert view.array((0, 3), "float64").shape == (0, 3)
        assert view.array((5,), "V0").nbytes == 0
        with pytest.raises(ztkshm.DoesNotFit):
            view.array(1)


def test_structured_elements() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        points = view.array(3, [("x", "<u2"), ("y", "<u2")])
        assert points["y"][1] == int.from_bytes(pattern(8)[6:8], "little")


def test_an_array_cannot_be_written_to_nor_made_writable() -> None:
    path = make("block", DATA)
    with ztkshm.attach("block") as view:
        frame = view.array()
        with pytest.raises(ValueError):
            frame[0] = 1
        with pytest.raises(ValueError):
            frame.setflags(write=True)
        with pytest.raises(ValueError):
            frame[1:].flags.writeable = True
    assert path.read_bytes()[HEADER:] == pattern(DATA)


def test_elements_are_aligned() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        assert view.array().ctypes.data % HEADER == 0
        assert view.array(dtype="float64", offset=8).flags.aligned


def test_an_array_keeps_the_memory_mapped_after_close() -> None:
    make("block", DATA)
    gc.collect()
    before = open_descriptors()
    with ztkshm.attach("block") as view:
        frame = view.array((64, 64))
    part = frame[1:3, ::2]
    del view, frame
    os.unlink(SHM / "block")
    gc.collect()
    assert is_mapped("block")
    assert part.tobytes() == b"".join(pattern(DATA)[row * 64:(row + 1) * 64:2] for row in (1, 2))
    del part
    gc.collect()
    assert not is_mapped("block")
    assert open_descriptors() == before


def test_a_thousand_frames_leave_nothing_mapped(owner: Owner) -> None:
    name = owner.block(DATA)
    for _ in range(1000):
        with ztkshm.attach(name) as view:
            assert view.array((64, 64))[0, 0] == 3
    del view
    gc.collect()
    assert not is_mapped(name)
