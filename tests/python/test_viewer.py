"""The example viewer, on frames of a real owner."""
from __future__ import annotations

import os
import subprocess
import sys
from pathlib import Path

import pytest
import ztkshm
from support import Owner, decode_png

numpy = pytest.importorskip("numpy")

HEIGHT, WIDTH = 30, 40


def view(*words: str) -> subprocess.CompletedProcess[str]:
    return subprocess.run([sys.executable, os.environ["ZTK_PYTHON_VIEWER"], *words], capture_output=True, text=True)


def frame(owner: Owner, folder: Path, channels: int) -> tuple[str, bytes]:
    """A block with a white square on black; its name and its pixels."""
    pixels = numpy.zeros((HEIGHT, WIDTH, channels), "uint8")
    pixels[10:20, 10:20] = 255
    path = folder / "frame"
    path.write_bytes(pixels.tobytes())
    return owner.ask(f"load {path}"), pixels.tobytes()


@pytest.mark.parametrize("channels", [1, 3])
def test_the_picture_is_the_frame_and_its_edges(owner: Owner, tmp_path: Path, channels: int) -> None:
    name, pixels = frame(owner, tmp_path, channels)
    result = view("--shape", f"{HEIGHT}x{WIDTH}x{channels}", "-o", str(tmp_path / "out.png"), name)
    assert (result.returncode, result.stderr) == (0, "")
    shape, bits, samples = decode_png((tmp_path / "out.png").read_bytes())
    assert (shape, bits) == ((HEIGHT, 2 * WIDTH, 3), 8)
    picture = numpy.frombuffer(samples, "uint8").reshape(shape)
    seen = numpy.frombuffer(pixels, "uint8").reshape(HEIGHT, WIDTH, channels)
    assert (picture[:, :WIDTH] == seen).all()
    edges = picture[:, WIDTH:, 0]
    # lines of two pixels, one on either side of the square's border
    ring = numpy.zeros((HEIGHT, WIDTH), bool)
    ring[9:21, 9:21] = True
    ring[11:19, 11:19] = False
    assert ((edges > 0) == ring).all()


def test_without_a_name_the_frame_written_last_is_taken(owner: Owner, tmp_path: Path) -> None:
    older, _ = frame(owner, tmp_path, 3)
    newer, _ = frame(owner, tmp_path, 3)
    owner.block(10)  # too small
    os.utime(f"/dev/shm/{newer}", ns=(0, 2 * 10**18))
    os.utime(f"/dev/shm/{older}", ns=(0, 10**18))
    result = view("--shape", f"{HEIGHT}x{WIDTH}x3", "-o", str(tmp_path / "out.png"))
    assert result.stdout.startswith(f"{newer}: {WIDTH} x {HEIGHT} pixels, mean 21.2, 21.2, 21.2;")


def test_what_cannot_be_viewed_is_told_in_one_line(owner: Owner, tmp_path: Path) -> None:
    name, _ = frame(owner, tmp_path, 1)
    output = str(tmp_path / "out.png")
    for words in ((f"{HEIGHT}x{WIDTH}x3", name), ("5x5x1", "gone"), ("9999x9999x3",)):
        result = view("-o", output, "--shape", *words)
        assert result.returncode == 1 and len(result.stderr.splitlines()) == 1
    for shape in ("5x5", "5x5x2", "2x5x1"):
        assert view("-o", output, "--shape", shape, name).returncode == 2
    assert not os.path.exists(output)
    assert ztkshm.attach(name).size == HEIGHT * WIDTH
