"""python3 -m ztkshm, and pictures."""
from __future__ import annotations

import os
import subprocess
import sys
from array import array
from pathlib import Path
from typing import Any

import pytest
import ztkshm
from support import Owner, decode_png, make, patch, pattern
from ztkshm.__main__ import main


def run(*words: str) -> subprocess.CompletedProcess[str]:
    # -S: no site-packages, and so no NumPy
    return subprocess.run([sys.executable, "-S", "-m", "ztkshm", *words], capture_output=True, text=True)


def test_ls(owner: Owner) -> None:
    name = owner.block(1000)
    lines = run("ls").stdout.splitlines()
    assert lines[1].split() == [str(owner.process.pid), "yes", "1128", "4096", name]
    assert lines[2] == "1 segments, 1128 bytes"


def test_show(owner: Owner) -> None:
    result = run("show", owner.block(1000))
    assert result.returncode == 0
    assert "data length    1000\n" in result.stdout
    assert result.stdout.endswith("data           1000 bytes: " + pattern(16).hex(" ") + " ...\n")


def test_show_of_a_refused_block_tells_why_and_spoils_no_terminal() -> None:
    path = make("block", 10)
    patch(path, 16, b"\x1b[2J\n")
    result = run("show", "block")
    assert result.returncode == 1
    assert r"\x1b[2J\n" in result.stdout and "\x1b" not in result.stdout + result.stderr
    assert result.stderr.startswith("ztkshm: 'block': header bears another name")
    assert len(result.stderr.splitlines()) == 1


def test_save(owner: Owner, tmp_path: Path) -> None:
    name = owner.block(100)
    result = run("save", name, "--shape", "4x5x3", "--offset", "7", "-o", str(tmp_path / "a.png"))
    assert (result.returncode, result.stdout) == (0, f"written: {tmp_path}/a.png\n")
    assert decode_png((tmp_path / "a.png").read_bytes()) == ((4, 5, 3), 8, pattern(100)[7:67])
    assert run("save", name, "--shape", "5x10", "--dtype", "uint16", "-o", str(tmp_path / "b.png")).returncode == 0
    samples = array("H", pattern(100))
    samples.byteswap()
    assert decode_png((tmp_path / "b.png").read_bytes()) == ((5, 10, 1), 16, samples.tobytes())


def test_failures_are_one_line_and_leave_no_file(tmp_path: Path) -> None:
    make("block", 10)
    picture = tmp_path / "a.png"
    for words, status in ((["save", "block", "--shape", "4x3"], 1), (["save", "gone", "--shape", "1x1"], 1),
                          (["save", "block", "--shape", "1x1x5"], 1),
                          (["save", "block", "--shape", "1x1", "--offset", "-1"], 1)):
        result = run(*words, "-o", str(picture))
        assert (result.returncode, len(result.stderr.splitlines()), result.stdout) == (status, 1, ""), words
        assert result.stderr.startswith("ztkshm: ")
    result = run("save", "block", "--shape", "1x1", "-o", str(tmp_path / "no" / "folder.png"))
    assert (result.returncode, len(result.stderr.splitlines())) == (1, 1)
    for shape in ("1", "0x1", "1x1x1x1", "-1x2", "axb", "1x", "\u0661x1"):
        with pytest.raises(SystemExit, match="2"):
            main(["save", "block", "--shape", shape, "-o", str(picture)])
    assert run().returncode == 2
    assert not picture.exists()


def test_what_did_not_reach_a_full_disk_is_a_failure() -> None:
    with open("/dev/full", "w") as full:
        # as it is for a user, who buffers the output
        buffered = {name: value for name, value in os.environ.items() if name != "PYTHONUNBUFFERED"}
        result = subprocess.run([sys.executable, "-S", "-m", "ztkshm", "ls"], stdout=full, stderr=subprocess.PIPE,
                                env=buffered)
    assert (result.returncode, len(result.stderr.splitlines())) == (1, 1)


def test_version() -> None:
    assert run("--version").stdout == f"ztkshm {ztkshm.__version__}\n"


@pytest.mark.parametrize("shape", [(1, 1), (3, 2), (3, 2, 1), (3, 2, 2), (3, 2, 3), (3, 2, 4)])
def test_pictures_of_every_kind(shape: tuple[int, ...]) -> None:
    full = (*shape, 1)[:3]
    count = full[0] * full[1] * full[2]
    pixels = memoryview(pattern(count)).cast("B", shape)
    assert decode_png(ztkshm.png(pixels)) == (full, 8, pattern(count))
    deep = array("H", range(1000, 1000 + count))
    expected = b"".join(value.to_bytes(2, "big") for value in deep)
    assert decode_png(ztkshm.png(memoryview(deep).cast("B").cast("H", shape))) == (full, 16, expected)


def test_what_is_no_picture() -> None:
    for pixels in (memoryview(b"abc"), memoryview(b"").cast("B"), memoryview(bytes(5)).cast("B", (1, 1, 5)),
                   memoryview(bytes(8)).cast("I", (1, 2)), memoryview(bytes(8)).cast("b", (2, 4)),
                   memoryview(bytes(8)).cast("?", (2, 4)), memoryview(bytes(8)).cast("f", (1, 2))):
        with pytest.raises(ztkshm.BadPicture):
            ztkshm.png(pixels)
    with pytest.raises(ztkshm.BadPicture):
        ztkshm.png("text")  # type: ignore[arg-type]


def test_arrays_need_numpy_and_say_so(monkeypatch: pytest.MonkeyPatch) -> None:
    make("block", 10)
    modules: dict[str, Any] = sys.modules
    monkeypatch.setitem(modules, "numpy", None)  # what is imported from now on is not there
    with ztkshm.attach("block") as view, pytest.raises(ztkshm.NumpyMissing, match="python3-numpy"):
        view.array()
