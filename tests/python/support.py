"""What the tests share: a real owner, a consumer in C, made-up objects, and a reader of pictures."""
from __future__ import annotations

import os
import struct
import subprocess
import sys
import zlib
from pathlib import Path
from typing import Sequence

SHM = Path("/dev/shm")
HEADER = 128


class Dialog:
    """A process that answers each line with one line."""

    def __init__(self, program: str) -> None:
        self.process = subprocess.Popen([program], stdin=subprocess.PIPE, stdout=subprocess.PIPE)

    def ask(self, line: str | bytes) -> str:
        assert self.process.stdin and self.process.stdout
        self.process.stdin.write(os.fsencode(line) + b"\n")
        self.process.stdin.flush()
        answer = self.process.stdout.readline()
        assert answer.endswith(b"\n"), f"no answer to {line!r}"
        return os.fsdecode(answer[:-1])

    def end(self) -> int:
        """Tells it that there is nothing more, and waits for its exit status."""
        assert self.process.stdin and self.process.stdout
        self.process.stdin.close()
        self.process.stdout.close()
        return self.process.wait()


class Owner(Dialog):
    """A process with blocks of a real pool."""

    def __init__(self) -> None:
        super().__init__(os.environ["ZTK_PYTHON_OWNER"])

    def block(self, size: int) -> str:
        return self.ask(f"block {size}")

    def write(self, index: int, at: int, value: int) -> None:
        assert self.ask(f"write {index} {at} {value}") == "ok"


def pattern(size: int) -> bytes:
    """What a block of the owner, or a made-up one, holds."""
    return bytes((7 * at + 3) & 0xFF for at in range(size))


def header(name: str, data_length: int) -> bytearray:
    """As an owner writes it: put together here apart from the code under test."""
    raw = bytearray(HEADER)
    raw[0:8] = data_length.to_bytes(8, sys.byteorder)
    raw[14:16] = (HEADER).to_bytes(2, sys.byteorder)
    raw[16:16 + len(name)] = name.encode()
    return raw


def make(name: str, size: int) -> Path:
    """A good block that no pool made."""
    path = SHM / name
    path.write_bytes(header(name, size) + pattern(size))
    return path


def patch(path: Path, at: int, raw: bytes) -> None:
    with path.open("r+b") as file:
        file.seek(at)
        file.write(raw)


def is_mapped(name: str) -> bool:
    """Whether this process has a mapping of the object, also when its name is gone."""
    return f"{SHM}/{name}" in Path("/proc/self/maps").read_text()


def open_descriptors() -> set[str]:
    return set(os.listdir("/proc/self/fd"))


def python(code: str, *arguments: str, prefix: Sequence[str] = ()) -> subprocess.CompletedProcess[str]:
    """Runs code in an interpreter of its own."""
    return subprocess.run([*prefix, sys.executable, "-c", code, *arguments], capture_output=True, text=True)


def decode_png(raw: bytes) -> tuple[tuple[int, int, int], int, bytes]:
    """Height, width and channels, bits of a sample, and the samples, big-endian, of a picture without transformed rows.
    Checks every check sum."""
    assert raw[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, at = [], 8
    while at < len(raw):
        length, kind = struct.unpack_from(">I4s", raw, at)
        body = raw[at + 8:at + 8 + length]
        assert struct.unpack_from(">I", raw, at + 8 + length)[0] == zlib.crc32(kind + body)
        chunks.append((kind, body))
        at += 12 + length
    assert [kind for kind, _ in chunks] == [b"IHDR", b"IDAT", b"IEND"]
    width, height, bits, colour, compression, transform, interlace = struct.unpack(">IIBBBBB", chunks[0][1])
    assert (compression, transform, interlace) == (0, 0, 0)
    channels = {0: 1, 4: 2, 2: 3, 6: 4}[colour]
    stride = 1 + width * channels * bits // 8
    rows = zlib.decompress(chunks[1][1])
    assert len(rows) == height * stride
    assert not any(rows[::stride])
    return (height, width, channels), bits, b"".join(rows[n * stride + 1:(n + 1) * stride] for n in range(height))
