"""What is not attached, and why: always as the consumer in C has it."""
from __future__ import annotations

import errno
import os
import pickle
import random
import resource
import socket

import pytest
import ztkshm
from support import HEADER, SHM, Dialog, Owner, header, make, open_descriptors, patch, python
from ztkshm.header import check

DATA = 5000


def judged(name: str | bytes) -> tuple[str, int]:
    """The reason why the name is not attached, and the errno where one belongs to it."""
    before = open_descriptors()
    try:
        ztkshm.attach(name).close()
        return "opened", 0
    except ztkshm.AttachError as error:
        assert error.name == name
        assert open_descriptors() == before
        assert repr(name) in str(error) and error.reason in str(error)
        return error.reason, error.errno or 0 if isinstance(error, OSError) else 0


def agreed(consumer: Dialog, name: str | bytes) -> str:
    """The reason, on which the consumer in C must agree."""
    reason, code = judged(name)
    assert consumer.ask(name) == f"{reason}\t{code}", name
    return reason


def test_names_that_are_none(consumer: Dialog) -> None:
    for name in ("", "/", "//block", "a/b", "a/", "../etc/passwd", "n" * 256, "n" * 257, "/" + "n" * 256,
                 "\u00e9" * 128):
        assert agreed(consumer, name) == ztkshm.BadName.reason
    for name in ("n" * 255, "/" + "n" * 255, "\u00e9" * 127, "gone"):
        assert agreed(consumer, name) == ztkshm.Vanished.reason
    for name in (".", ".."):
        assert agreed(consumer, name) == ztkshm.NotAnObject.reason
    oddities: list[str | bytes] = ["block\0", "\ud800", b"\0"]
    for odd in oddities:
        assert judged(odd)[0] == ztkshm.BadName.reason
    with pytest.raises(TypeError):
        ztkshm.attach(None)  # type: ignore[arg-type]


def test_other_things_under_the_name(consumer: Dialog) -> None:
    make("target", DATA)
    os.mkdir(SHM / "directory")
    os.mkfifo(SHM / "pipe")
    os.symlink(SHM / "target", SHM / "link")
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(str(SHM / "socket"))
        for name in ("directory", "pipe", "link", "socket"):
            assert agreed(consumer, name) == ztkshm.NotAnObject.reason


def test_objects_too_short_for_a_header(consumer: Dialog) -> None:
    path = make("block", DATA)
    for size in (127, 1, 0):
        os.truncate(path, size)
        assert agreed(consumer, "block") == ztkshm.TooShort.reason


@pytest.mark.parametrize("object_size, data_length, good", [
    (128, 0, True), (128, 1, False), (129, 1, True), (129, 0, False), (129, 2, False), (4096, 3968, True),
    (4096, 3967, False), (4096, 3969, False), (4096, 4096, False), (4096, 2**64 - 1, False), (4096, 2**64 - 128, False),
    (4096, 3968 + 2**32, False), (4096, 2**63, False)])
def test_the_data_length_is_what_the_object_holds(consumer: Dialog, object_size: int, data_length: int,
                                                  good: bool) -> None:
    path = SHM / "block"
    path.write_bytes(header("block", data_length))
    os.truncate(path, object_size)
    assert agreed(consumer, "block") == ("opened" if good else ztkshm.WrongLength.reason)


@pytest.mark.parametrize("at, raw, error", [
    (14, b"\0\0", ztkshm.BadHeader), (14, b"\x7f", ztkshm.BadHeader), (14, b"\x81", ztkshm.BadHeader),
    (15, b"\1", ztkshm.BadHeader), (14, b"\0\x80", ztkshm.BadHeader), (0, bytes(HEADER), ztkshm.BadHeader),
    (0, b"\xff" * HEADER, ztkshm.BadHeader), (0, b"\x89PNG\r\n\x1a\n", ztkshm.WrongLength),
    (9, b"\1", ztkshm.MmzDescribed), (9, b"\x80", ztkshm.MmzDescribed), (16, b"x", ztkshm.NameMismatch),
    (16, bytes(80), ztkshm.NameMismatch), (95, b"x", ztkshm.NameMismatch), (20, b"\0", ztkshm.NameMismatch),
    (22, b"x", ztkshm.NameMismatch)])
def test_a_wrong_header(consumer: Dialog, at: int, raw: bytes, error: type[ztkshm.AttachError]) -> None:
    patch(make("block", DATA), at, raw)
    assert agreed(consumer, "block") == error.reason
    with pytest.raises(error):
        ztkshm.attach("block")


def test_reserved_bytes_and_an_unused_mmz_text_do_not_matter(consumer: Dialog) -> None:
    for at in (8, 10, 11, 12, 13, 96, 127):
        patch(make("block", DATA), at, b"\xff")
        assert agreed(consumer, "block") == "opened"


def test_a_name_may_fill_its_field_but_not_exceed_it(consumer: Dialog) -> None:
    for length, reason in ((79, "opened"), (80, "opened"), (81, ztkshm.NameMismatch.reason)):
        name = "n" * length
        (SHM / name).write_bytes(header(name[:80], 0))
        assert agreed(consumer, name) == reason


def test_any_byte_of_the_header_may_be_anything(consumer: Dialog) -> None:
    path = make("block", DATA)
    good = path.read_bytes()[:HEADER]
    for at in range(HEADER):
        for value in (0, 1, 0x7F, 0x80, 0xFF, good[at] ^ 1):
            patch(path, 0, good[:at] + bytes([value]) + good[at + 1:])
            agreed(consumer, "block")


def test_several_changed_bytes_together(consumer: Dialog) -> None:
    chance = random.Random(20)
    path = make("block", DATA)
    good = path.read_bytes()[:HEADER]
    reasons = set()
    for _ in range(500):
        raw = bytearray(good)
        for _ in range(chance.randrange(1, 4)):
            # the bytes that are looked at first are the likely ones
            raw[chance.choice((0, 1, 7, 9, 14, 15, 16, 20, 21, 95, chance.randrange(HEADER)))] = chance.randrange(256)
        patch(path, 0, raw)
        os.truncate(path, HEADER + DATA - chance.randrange(2))
        reasons.add(agreed(consumer, "block"))
        os.truncate(path, HEADER + DATA)
    assert reasons >= {each.reason for each in (ztkshm.BadHeader, ztkshm.MmzDescribed, ztkshm.WrongLength,
                                                ztkshm.NameMismatch)}


def test_an_owner_that_wrote_over_its_header(owner: Owner, consumer: Dialog) -> None:
    name = owner.block(DATA)
    owner.write(0, 14, 0)
    assert agreed(consumer, name) == ztkshm.BadHeader.reason
    assert ztkshm.read_header(name).name == name


def test_one_larger_than_any_address_space(consumer: Dialog) -> None:
    path = SHM / "huge"
    path.write_bytes(header("huge", (1 << 60) - HEADER))
    os.truncate(path, 1 << 60)  # sparse
    assert agreed(consumer, "huge") == ztkshm.SystemCallFailed.reason
    assert judged("huge")[1] == errno.ENOMEM


def test_no_descriptor_left() -> None:
    make("block", DATA)
    free = os.open("/dev/null", os.O_RDONLY)
    os.close(free)
    limits = resource.getrlimit(resource.RLIMIT_NOFILE)
    reached = []
    # none at all, then one for the object but none for its mapping
    for allowed in (free, free + 1):
        resource.setrlimit(resource.RLIMIT_NOFILE, (allowed, limits[1]))
        try:
            ztkshm.attach("block")
        except ztkshm.SystemCallFailed as error:
            reached.append(error.errno)
        finally:
            resource.setrlimit(resource.RLIMIT_NOFILE, limits)
    assert reached == [errno.EMFILE, errno.EMFILE]


def test_one_that_may_not_be_opened() -> None:
    os.chmod(make("block", DATA), 0)
    code = ("import errno, ztkshm\ntry: ztkshm.attach('block')\nexcept ztkshm.NotPermitted as error:"
            " print(isinstance(error, PermissionError), error.errno == errno.EACCES)")
    # without capabilities root, too, depends on permissions
    result = python(code, prefix=["setpriv", "--bounding-set=-all", "--inh-caps=-all"])
    assert (result.stdout, result.stderr) == ("True True\n", "")


def test_one_shortened_while_it_is_looked_at(monkeypatch: pytest.MonkeyPatch) -> None:
    path = make("block", DATA)
    fstat = os.fstat

    def fstat_then_cut(number: int) -> os.stat_result:
        info = fstat(number)
        os.truncate(path, HEADER - 1)
        return info

    monkeypatch.setattr(os, "fstat", fstat_then_cut)
    assert judged("block") == (ztkshm.TooShort.reason, 0)


def test_one_shortened_between_check_and_mapping(monkeypatch: pytest.MonkeyPatch) -> None:
    path = make("block", DATA)

    def check_then_cut(seen: ztkshm.Header, name: bytes, size: int) -> None:
        check(seen, name, size)
        os.truncate(path, HEADER)

    monkeypatch.setattr("ztkshm.view.check", check_then_cut)
    assert judged("block") == (ztkshm.WrongLength.reason, 0)


def test_errors_are_one_family() -> None:
    assert issubclass(ztkshm.AttachError, ztkshm.Error)
    families: list[tuple[type[Exception], type[Exception]]] = [
        (ztkshm.BadName, ValueError), (ztkshm.Vanished, FileNotFoundError), (ztkshm.NotPermitted, PermissionError),
        (ztkshm.SystemCallFailed, OSError), (ztkshm.Closed, ValueError), (ztkshm.DoesNotFit, ValueError),
        (ztkshm.BadPicture, ValueError), (ztkshm.NumpyMissing, ImportError), (ztkshm.Shrunk, Exception)]
    for error, other in families:
        assert issubclass(error, ztkshm.Error) and issubclass(error, other)


def test_errors_travel_between_processes() -> None:
    for name in ("gone", "a/b"):
        with pytest.raises(ztkshm.AttachError) as caught:
            ztkshm.attach(name)
        other = pickle.loads(pickle.dumps(caught.value))
        assert (type(other), other.name, str(other)) == (type(caught.value), name, str(caught.value))
        assert getattr(other, "errno", None) == getattr(caught.value, "errno", None)


def test_the_header_of_a_refused_block_can_be_read() -> None:
    path = make("block", DATA)
    patch(path, 9, b"\1")
    patch(path, 96, b"MMZ_4096_0x7f0000001000\0trailing")
    with pytest.raises(ztkshm.MmzDescribed, match="MMZ_4096_0x7f0000001000"):
        ztkshm.attach("block")
    assert ztkshm.read_header("block").mmz == ztkshm.MmzPlace(4096, 0x7F0000001000)
    with pytest.raises(ztkshm.Vanished):
        ztkshm.read_header("gone")


@pytest.mark.parametrize("text, place", [
    (b"MMZ_-1_0xff", (-1, 255)), (b"MMZ_1_Ff", (1, 255)), (b"MMZ_1_0xffffffffffffffff", (1, 2**64 - 1)),
    (b"MMZ_9223372036854775807_0xabcdef", (2**63 - 1, 0xABCDEF)),  # fills the field
    (b"MMZ_9223372036854775808_0x1", None), (b"MMZ_1_0x10000000000000000", None), (b"", None), (b"MMZ_1_", None),
    (b"MMZ_1_0x", None), (b"MMZ__0x1", None), (b"MMZ_1_0x1 ", None), (b"MMZ_1", None), (b"mmz_1_0x1", None)])
def test_what_an_mmz_text_says(text: bytes, place: tuple[int, int] | None) -> None:
    patch(make("block", 0), 96, text)
    assert ztkshm.read_header("block").mmz == place


def test_an_all_zero_header_is_noticed() -> None:
    (SHM / "block").write_bytes(bytes(HEADER))
    assert ztkshm.read_header("block").all_zero
    patch(SHM / "block", 127, b"x")
    assert not ztkshm.read_header("block").all_zero
