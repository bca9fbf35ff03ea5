"""One boot of the emulated board: started, listened to, and ended in any case."""
import base64
import binascii
import contextlib
import dataclasses
import io
import os
import pathlib
import random
import re
import selectors
import signal
import subprocess
import sys
import tarfile
import tempfile
import time
import zlib

EMULATOR = "qemu-system-aarch64"
# A model of its own: the C library chooses its string functions by it.
CPU = "cortex-a76"


class BoardError(Exception):
    """The board did not do its work to the end."""


@dataclasses.dataclass
class Setup:
    """What the board is made of, and what it does."""
    kernel: pathlib.Path
    initramfs: list
    command: str
    memory: int = 512          # MiB
    cpus: int = 1
    cma: str = "64M"           # the kernel's default area of contiguous memory
    shm: str = "50%"           # size of /dev/shm
    same_addresses: bool = False  # in every run of a program: counts depend on where it lies
    virtual_time: bool = False  # the clock follows the instructions; a sleep takes no time
    disk: pathlib.Path | None = None
    disk_use: str = ""
    timeout: float = 300
    cut_after: str = ""        # the power is cut behind the line that begins with this
    cut_delay: float = 0       # seconds after that line
    loud: bool = False


@dataclasses.dataclass
class Outcome:
    """What the board said. A board whose power was cut has no exit code."""
    exit_code: int | None
    lines: list
    files: dict
    seconds: float
    cut: bool = False

    @property
    def text(self):
        return "\n".join(self.lines)


def command_line(setup, initramfs):
    words = [f"board_run={setup.command}", f"board_shm={setup.shm}"]
    if setup.disk_use:
        words.append(f"board_disk={setup.disk_use}")
    if setup.same_addresses:
        words.append("norandmaps")
    options = [EMULATOR, "-M", "virt", "-cpu", CPU, "-smp", str(setup.cpus), "-m", str(setup.memory),
               "-nographic", "-no-reboot", "-nodefaults", "-serial", "stdio", "-monitor", "none",
               "-kernel", str(setup.kernel), "-initrd", str(initramfs), "-append",
               f"console=ttyAMA0 cma={setup.cma} panic=-1 quiet loglevel=1 rdinit=/init {' '.join(words)}"]
    if setup.virtual_time:
        options += ["-icount", "shift=0,sleep=off"]
    if setup.disk:
        # A cut must find on the disk what the board wrote, as far as this machine is concerned.
        options += ["-drive", f"file={setup.disk},format=raw,if=none,id=disk,cache=writethrough",
                    "-device", "virtio-blk-device,drive=disk"]
    return options


def _end_with_me():
    """Linux: whoever kills this program kills the board, too."""
    import ctypes  # pylint: disable=import-outside-toplevel
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


def _listen(process, setup):
    """Reads the console until the board is off, cut or too late. Returns the lines, and whether it was cut."""
    deadline = time.monotonic() + setup.timeout
    cut_at = None
    lines, rest = [], b""
    with selectors.DefaultSelector() as selector:
        selector.register(process.stdout, selectors.EVENT_READ)
        while True:
            left = (cut_at or deadline) - time.monotonic()
            if left <= 0 or not selector.select(left):
                if cut_at:
                    return lines, True
                raise BoardError(f"the board hung: it was still on after {setup.timeout:.0f} s\n" + _tail(lines))
            piece = os.read(process.stdout.fileno(), 65536)
            if not piece:
                return lines, False
            *whole, rest = (rest + piece).split(b"\n")
            for line in (one.rstrip(b"\r").decode("utf-8", "replace") for one in whole):
                lines.append(line)
                if setup.loud:
                    print(f"  | {line}", flush=True)
                if setup.cut_after and not cut_at and line.startswith(setup.cut_after):
                    cut_at = time.monotonic() + setup.cut_delay


def _tail(lines):
    return "\n".join(f"  | {line}" for line in lines[-30:])


def interpret(lines):
    """Parts what the board's init says from what the command wrote."""
    said, files, packed, code = [], {}, None, None
    for line in lines:
        if line == "@board results":
            packed = []
        elif line == "@board results end":
            if packed is None:
                raise BoardError("the console is garbled: results end that never began")
            files = _unpack("".join(packed))
            packed = None
        elif packed is not None:
            packed.append(line)
        elif line.startswith("@board exit "):
            code = _exit_code(line)
            break  # the kernel has a last word of its own
        elif not line.startswith("@board up "):
            said.append(line)
    return code, said, files


def _exit_code(line):
    match = re.fullmatch(r"@board exit (\d+)", line)
    if not match:
        raise BoardError(f"the console is garbled: {line}")
    return int(match.group(1))


def _unpack(text):
    try:
        with tarfile.open(fileobj=io.BytesIO(base64.b64decode(text, validate=True))) as archive:
            return {member.name.removeprefix("./"): archive.extractfile(member).read()
                    for member in archive.getmembers() if member.isfile()}
    except (binascii.Error, tarfile.TarError, OSError, EOFError, ValueError, zlib.error) as error:
        raise BoardError(f"the result files came back damaged: {error}") from error


@contextlib.contextmanager
def _joined(parts):
    """One file of several, without a name: nothing is left of it, however this program ends."""
    with tempfile.TemporaryFile() as file:
        for part in parts:
            file.write(pathlib.Path(part).read_bytes())
        file.flush()
        yield file.fileno()


def boot(setup):
    """Boots, runs the command, and returns the outcome; raises BoardError if the board never came to its end."""
    started = time.monotonic()
    with _joined(setup.initramfs) as initramfs:
        try:
            process = subprocess.Popen(command_line(setup, f"/proc/self/fd/{initramfs}"), stdin=subprocess.DEVNULL,
                                       stdout=subprocess.PIPE, stderr=subprocess.STDOUT, pass_fds=[initramfs],
                                       preexec_fn=_end_with_me)
        except FileNotFoundError as error:
            raise BoardError(f"{EMULATOR} is not installed") from error
        try:
            lines, cut = _listen(process, setup)
        finally:
            process.kill()
            process.wait()
            process.stdout.close()
    code, said, files = interpret(lines)
    if code is None and not cut:
        raise BoardError("the board died before its command had ended:\n" + _tail(lines))
    return Outcome(code, said, files, time.monotonic() - started, cut)


def random_seed():
    """A seed that is told, so that the plan of a run can be had again: BOARD_SEED."""
    told = os.environ.get("BOARD_SEED")
    if not told:
        return random.SystemRandom().randrange(1, 1 << 31)
    # the tests on the board read it as 32 bits
    if not re.fullmatch(r"[0-9]{1,10}", told) or int(told) >= 1 << 32:
        raise BoardError(f"BOARD_SEED must be a number below {1 << 32}, not {told}")
    return int(told)


def end_on_sigterm():
    """Lets a terminated program end its board on the way."""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(128 + signal.SIGTERM))
