"""What the board boots with: folders packed in the form that the kernel unpacks."""
import pathlib
import re
import shutil
import subprocess

HERE = pathlib.Path(__file__).resolve().parent
CROSS_LIBRARIES = pathlib.Path("/usr/aarch64-linux-gnu/lib")
# The loader, and what every C++ program needs; the sanitizers' runtimes are added by name.
C_LIBRARIES = ["ld-linux-aarch64.so.1", "libc.so.6", "libm.so.6", "libgcc_s.so.1", "libstdc++.so.6"]
STRIP = "aarch64-linux-gnu-strip"


class Tree:
    """A root folder in the making. Debug information would be most of the board's memory; it is kept for sanitizers,
    whose suppressions name functions that may be inlined."""

    def __init__(self, folder, keep_debug=False):
        self.root = pathlib.Path(folder)
        self.keep_debug = keep_debug
        shutil.rmtree(self.root, ignore_errors=True)
        self.root.mkdir(parents=True)

    def add(self, source, place=None):
        """A file under another path, or under the path that it has here: tests name each other's programs so."""
        source = pathlib.Path(source)
        target = self.root / str(place or source.absolute()).lstrip("/")
        if target.exists():
            return
        target.parent.mkdir(parents=True, exist_ok=True)
        if _is_elf(source) and not self.keep_debug:
            subprocess.run([STRIP, "--strip-debug", "-o", target, source], check=True)
            target.chmod(0o755)
        else:
            shutil.copy(source, target)

    def link(self, place, target):
        link = self.root / place.lstrip("/")
        link.parent.mkdir(parents=True, exist_ok=True)
        if not link.is_symlink():
            link.symlink_to(target)

    def add_libraries(self, names):
        for name in names:
            self.add(CROSS_LIBRARIES / name, f"/lib/{name}")

    def write(self, place, text, mode=0o755):
        target = self.root / place.lstrip("/")
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text, encoding="utf-8")
        target.chmod(mode)

    def pack(self, output):
        """Not compressed: to unpack takes the emulated processor longer than to copy."""
        listing = subprocess.run(["find", ".", "-mindepth", "1", "-print0"], cwd=self.root, check=True,
                                 capture_output=True).stdout
        with open(output, "wb") as file:
            subprocess.run(["cpio", "--quiet", "-0", "-o", "-H", "newc", "-R", "0:0"], cwd=self.root, check=True,
                           input=listing, stdout=file)
        return pathlib.Path(output)


def c_library():
    """The C library of the board, by its own words."""
    version = re.search(rb"release version ([0-9.]+[0-9])", (CROSS_LIBRARIES / "libc.so.6").read_bytes())
    return f"glibc {version.group(1).decode()}" if version else "unknown"


def _is_elf(path):
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def pack_base(work, busybox_package):
    """busybox, the first process, and the C and C++ libraries."""
    unpacked = work / "busybox"
    subprocess.run(["dpkg-deb", "-x", busybox_package, unpacked], check=True, capture_output=True)
    tree = Tree(work / "base")
    tree.add(unpacked / "bin/busybox", "/bin/busybox")
    tree.link("/bin/sh", "busybox")
    tree.add(HERE / "target" / "init", "/init")
    for script in ("run-list", "run-one", "each-test"):
        tree.add(HERE / "target" / script, f"/board/{script}")
    tree.add_libraries(C_LIBRARIES)
    tree.link("/usr/lib", "/lib")
    (tree.root / "dev").mkdir()
    return tree.pack(work / "base.cpio")
