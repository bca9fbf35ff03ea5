"""Which blocks there are."""
from __future__ import annotations

import os
import signal
from typing import Callable

import pytest
import ztkshm
from support import HEADER, SHM, Owner, make

DIGITS = "0123456789abcdef" * 2


def test_none() -> None:
    assert ztkshm.segments() == []


def test_the_blocks_of_pools(owner: Owner, start_owner: Callable[[], Owner]) -> None:
    other = start_owner()
    names = sorted([owner.block(1000), owner.block(50_000), other.block(0)])
    found = ztkshm.segments()
    assert [each.name for each in found] == names
    assert {each.owner for each in found} == {owner.process.pid, other.process.pid}
    assert sorted(each.size - HEADER for each in found) == [0, 1000, 50_000]
    for each in found:
        info = os.stat(SHM / each.name)
        assert each.alive and each.mode == 0o600 and each.user == os.geteuid()
        assert (each.modified, each.resident) == (info.st_mtime, 512 * info.st_blocks)
        assert ztkshm.attach(each.name).size == each.size - HEADER


def test_an_idle_block_is_listed(owner: Owner) -> None:
    name = owner.block(1000)
    assert owner.ask("free 0") == "ok"
    assert [each.name for each in ztkshm.segments()] == [name]


def test_what_a_killed_owner_left(start_owner: Callable[[], Owner]) -> None:
    owner = start_owner()
    name = owner.block(1000)
    owner.process.send_signal(signal.SIGKILL)
    os.waitid(os.P_PID, owner.process.pid, os.WEXITED | os.WNOWAIT)
    zombie = ztkshm.segments()
    owner.process.wait()
    dead = ztkshm.segments()
    assert [(each.name, each.alive) for each in zombie + dead] == [(name, False), (name, False)]
    assert ztkshm.attach(name).size == 1000


@pytest.mark.parametrize("name", [
    f"ZTKTool-01-{DIGITS}", f"ZTKTool-0-{DIGITS}", f"ZTKTool--1-{DIGITS}", f"ZTKTool-+1-{DIGITS}",
    f"ZTKTool-1-{DIGITS}0", f"ZTKTool-1-{DIGITS[1:]}",
    f"ZTKTool-1-{DIGITS.upper()}", f"ZTKTool-2147483648-{DIGITS}", f"xZTKTool-1-{DIGITS}",
    f"ZTKTool-1-{DIGITS}\n", f"ZTKTool-\u0661-{DIGITS}", "ZTKTool", "another", f"ztktool-1-{DIGITS}"])
def test_other_names_are_not_listed(name: str) -> None:
    (SHM / name).write_bytes(bytes(HEADER))
    assert ztkshm.segments() == []


def test_only_files_are_listed() -> None:
    for kind, process in ((os.mkdir, 1), (os.mkfifo, 2)):
        kind(SHM / f"ZTKTool-{process}-{DIGITS}")
    os.symlink("/etc/passwd", SHM / f"ZTKTool-3-{DIGITS}")
    name = f"ZTKTool-{os.getpid()}-{DIGITS}"
    make(name, 0)
    assert [(each.name, each.alive) for each in ztkshm.segments()] == [(name, True)]


def test_a_process_that_may_not_be_signalled_is_alive(monkeypatch: pytest.MonkeyPatch) -> None:
    def refuse(process: int, number: int) -> None:
        raise PermissionError

    make(f"ZTKTool-{os.getpid()}-{DIGITS}", 0)
    monkeypatch.setattr(os, "kill", refuse)
    assert [each.alive for each in ztkshm.segments()] == [True]


def test_a_block_that_vanishes_while_looking_is_left_out(monkeypatch: pytest.MonkeyPatch) -> None:
    monkeypatch.setattr(os, "listdir", lambda _: [f"ZTKTool-1-{DIGITS}"])
    assert ztkshm.segments() == []
