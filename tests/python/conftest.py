"""Every test has a /dev/shm of its own, and leaves nothing in it."""
from __future__ import annotations

import os
from typing import Callable, Iterator

import pytest

from support import SHM, Dialog, Owner


@pytest.fixture(autouse=True)
def clean_place() -> Iterator[None]:
    assert not os.listdir(SHM)
    yield
    for path in SHM.iterdir():
        path.rmdir() if path.is_dir() and not path.is_symlink() else path.unlink()


@pytest.fixture
def owner(clean_place: None) -> Iterator[Owner]:
    """Ends after the test, and must have given everything back by then."""
    process = Owner()
    yield process
    if process.process.poll() is None:
        assert process.end() == 0
        assert not [name for name in os.listdir(SHM) if name.startswith(f"ZTKTool-{process.process.pid}-")]


@pytest.fixture
def start_owner(clean_place: None) -> Iterator[Callable[[], Owner]]:
    """Starts owners that the test ends itself, in whatever way."""
    started: list[Owner] = []

    def start() -> Owner:
        started.append(Owner())
        return started[-1]

    yield start
    for each in started:
        if each.process.returncode is None:
            each.process.kill()
            each.process.wait()


@pytest.fixture(scope="session")
def consumer() -> Iterator[Dialog]:
    process = Dialog(os.environ["ZTK_PYTHON_CONSUMER"])
    yield process
    assert process.end() == 0
