"""What an attached block is good for."""
from __future__ import annotations

import copy
import gc
import os
import pickle
import signal
import threading
from typing import Callable

import pytest
import ztkshm
from support import HEADER, SHM, Owner, is_mapped, make, open_descriptors, patch, pattern, python

DATA = 5000


def test_a_block_of_a_pool_shows_its_data(owner: Owner) -> None:
    name = owner.block(DATA)
    with ztkshm.attach(name) as view:
        assert (view.name, view.size, len(view)) == (name, DATA, DATA)
        assert bytes(view.data) == view.read() == bytes(view) == pattern(DATA)
        assert view.header == ztkshm.Header(DATA, 0, HEADER, name.encode(), b"", False)
        assert view.header.mmz is None


def test_the_view_shows_what_the_owner_writes_later(owner: Owner) -> None:
    with ztkshm.attach(owner.block(DATA)) as view:
        data = view.data
        owner.write(0, HEADER + 10, 0xAB)
        assert data[10] == view.read(10, 1)[0] == 0xAB


def test_names_are_accepted_with_one_slash_and_as_bytes() -> None:
    make("some-block", 1)
    names: list[str | bytes] = ["some-block", "/some-block", b"some-block", b"/some-block"]
    for name in names:
        assert ztkshm.attach(name).name == "some-block"


def test_a_name_that_is_no_utf8_is_found() -> None:
    name = b"block-\xff"
    raw = bytearray(HEADER)
    raw[14:16] = b"\x80\0"
    raw[16:16 + len(name)] = name
    (SHM / os.fsdecode(name)).write_bytes(raw)
    assert os.fsencode(ztkshm.attach(name).name) == os.fsencode(ztkshm.attach(os.fsdecode(name)).name) == name


def test_a_block_that_is_all_header_has_no_data(owner: Owner) -> None:
    with ztkshm.attach(owner.block(0)) as view:
        assert (view.size, len(view.data), view.read(), bytes(view)) == (0, 0, b"", b"")


def test_nothing_can_write_through_a_view() -> None:
    path = make("block", DATA)
    with ztkshm.attach("block") as view:
        data = view.data
        assert data.readonly
        with pytest.raises(TypeError):
            data[0] = 1
        with pytest.raises(TypeError):
            memoryview(data.obj)[HEADER] = 1
        maps = [line for line in open("/proc/self/maps") if str(path) in line]
        assert [line.split()[1] for line in maps] == ["r--s"]
    assert path.read_bytes()[HEADER:] == pattern(DATA)


def test_reading_copies_the_bytes_asked_for() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        assert view.read(10, 20) == pattern(DATA)[10:30]
        assert view.read(DATA - 1) == pattern(DATA)[-1:]
        assert view.read(DATA) == view.read(0, 0) == b""
        for offset, size in ((-1, 1), (0, DATA + 1), (DATA + 1, 0), (DATA + 1, None), (5, -1), (1 << 70, 1)):
            with pytest.raises(ztkshm.DoesNotFit):
                view.read(offset, size)


def test_a_closed_view_shows_nothing_more() -> None:
    make("block", DATA)
    view = ztkshm.attach("block")
    assert not view.closed
    view.close()
    view.close()
    assert view.closed and view.size == DATA and view.name == "block" and "closed" in repr(view)
    for use in (lambda: view.data, view.read, lambda: bytes(view), view.array, view.__enter__):
        with pytest.raises(ztkshm.Closed):
            use()
    assert not is_mapped("block")


def test_descriptors_are_given_back() -> None:
    make("block", DATA)
    gc.collect()
    before = open_descriptors()
    with ztkshm.attach("block") as view:
        assert len(open_descriptors()) == len(before) + 2
        data = view.data
    assert len(open_descriptors()) == len(before) + 1
    del data
    gc.collect()
    assert open_descriptors() == before


def test_a_memoryview_keeps_the_memory_mapped() -> None:
    make("block", DATA)
    with ztkshm.attach("block") as view:
        part = view.data[100:200]
    os.unlink(SHM / "block")
    assert is_mapped("block")
    assert bytes(part) == pattern(DATA)[100:200]
    del part
    assert not is_mapped("block")


def test_a_forgotten_view_is_closed() -> None:
    make("block", DATA)
    gc.collect()
    before = open_descriptors()
    ztkshm.attach("block")
    gc.collect()
    assert open_descriptors() == before and not is_mapped("block")


def test_data_outlives_its_owner(start_owner: Callable[[], Owner]) -> None:
    owner = start_owner()
    name = owner.block(DATA)
    with ztkshm.attach(name) as view:
        data = view.data
        assert owner.end() == 0
        with pytest.raises(ztkshm.Vanished):
            ztkshm.attach(name)
        assert bytes(data) == view.read() == pattern(DATA)


def test_a_freed_block_stays_readable_and_may_be_reused(owner: Owner) -> None:
    name = owner.block(DATA)
    with ztkshm.attach(name) as view:
        assert owner.ask("free 0") == "ok"
        assert view.read() == pattern(DATA)
        assert owner.block(DATA - 1000) == name
        assert ztkshm.attach(name).size == DATA


def test_the_object_survives_readers_that_end(owner: Owner) -> None:
    name = owner.block(DATA)
    code = "import sys, ztkshm; view = ztkshm.attach(sys.argv[1]); data = view.data; print(data[1])"
    for _ in range(2):
        assert python(code, name).stdout == "10\n"
    owner.write(0, HEADER + 1, 77)
    assert ztkshm.attach(name).data[1] == 77


def test_a_copy_of_a_shortened_object_fails_and_says_so() -> None:
    path = make("block", 3 * 4096)
    with ztkshm.attach("block") as view:
        os.truncate(path, HEADER + 4096)
        assert view.read(0, 4096) == pattern(4096)
        with pytest.raises(ztkshm.Shrunk, match="ends at byte 4096"):
            view.read()
        with pytest.raises(ztkshm.Shrunk):
            bytes(view)


def test_touching_memory_that_was_cut_off_ends_the_process() -> None:
    path = make("block", 3 * 4096)
    code = ("import os, sys, ztkshm; view = ztkshm.attach('block'); os.truncate(sys.argv[1], 128); print('cut');"
            "sys.stdout.flush(); view.data[8192]; print('alive')")
    result = python(code, str(path), prefix=["prlimit", "--core=0"])
    assert (result.returncode, result.stdout) == (-signal.SIGBUS, "cut\n")


def test_reading_and_closing_at_once_gives_data_or_an_error() -> None:
    make("block", DATA)
    expected = pattern(DATA)
    wrong: list[object] = []

    def read(view: ztkshm.View) -> None:
        try:
            while True:
                if view.read() != expected or bytes(view.data) != expected:
                    wrong.append("other data")
        except ztkshm.Closed:
            pass
        except BaseException as error:
            wrong.append(error)

    for _ in range(50):
        view = ztkshm.attach("block")
        threads = [threading.Thread(target=read, args=(view,)) for _ in range(3)]
        for thread in threads:
            thread.start()
        view.read()
        view.close()
        os.close(os.open("/dev/null", os.O_RDONLY))  # takes the lowest number that is free
        for thread in threads:
            thread.join()
    assert not wrong


def test_a_view_is_neither_copied_nor_pickled() -> None:
    make("block", DATA)
    view = ztkshm.attach("block")
    uses: list[Callable[[object], object]] = [copy.copy, copy.deepcopy, pickle.dumps]
    for use in uses:
        with pytest.raises(TypeError, match="attach"):
            use(view)


def test_bytes_behind_the_header_are_not_the_headers() -> None:
    path = make("block", DATA)
    patch(path, HEADER, b"\xEE")
    assert ztkshm.attach("block").data[0] == 0xEE


def test_the_version_is_the_librarys() -> None:
    assert ztkshm.__version__ == os.environ["ZTK_VERSION"]
