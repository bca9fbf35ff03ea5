"""The tests of a build folder, as ctest would run them, for the board."""
import json
import pathlib
import re
import shlex
import subprocess

import initramfs

SOURCE = pathlib.Path(__file__).resolve().parent.parent
# What the tests read beside their own programs.
DATA = [SOURCE / "tests" / "data" / "log_lines.txt"]
# The tests that a build with a sanitizer has: see dev.
SANITIZED = re.compile(r"library\.|(pevents|reclaimer)_test")
# Those of them that end with a search for leaks, which takes 20 seconds here: for addresses of 48 bits the sanitizer
# looks through a table of all places where memory could lie, several times. Not those with children, who would, too.
LOOKED_FOR_LEAKS = re.compile(r"library\.loads_with_board_found|library\.library_(full_shm|virtual_time)_test|"
                              r"(pevents|reclaimer)_test")
SANITIZER_RUNTIMES = {"thread": ["libtsan.so.2"], "address,undefined": ["libasan.so.8", "libubsan.so.1"]}


def cache_entry(build, name):
    match = re.search(rf"^{name}:\w+=(.*)$", (build / "CMakeCache.txt").read_text(encoding="utf-8"), re.M)
    return match.group(1) if match else ""


def runtimes_of(build):
    return SANITIZER_RUNTIMES.get(cache_entry(build, "ZTK_SANITIZE"), [])


class Test:
    """One test of ctest's list."""

    def __init__(self, entry):
        self.name = entry["name"]
        properties = {one["name"]: one["value"] for one in entry.get("properties", [])}
        self.labels = properties.get("LABELS", [])
        self.seconds = int(properties.get("TIMEOUT", 60))
        self.skip_code = properties.get("SKIP_RETURN_CODE", 77)
        self.environment = properties.get("ENVIRONMENT", [])
        self.command = entry.get("command", [])

    def line(self, longest):
        """For run-list. What a desk needs to start ARM64 programs is left out."""
        words = list(self.command)
        if words[0].endswith("with-binfmt.sh"):
            words = words[2:]  # --or-skip
        if "qemu-aarch64" in words[0]:
            words = words[3:]  # -L FOLDER
        words = [word for word in words if not word.startswith("QEMU_LD_PREFIX=")]
        environment = self.environment
        if LOOKED_FOR_LEAKS.match(self.name):
            words = [word.replace("detect_leaks=0", "detect_leaks=1") for word in words]
            environment = [*environment, "ASAN_OPTIONS=detect_leaks=1"]
        command = shlex.join(["env", *environment, *words] if environment else words)
        # Emulated twice as slowly, or worse, and on busy machines.
        return f"{self.name}\t{min(5 * self.seconds, longest)}\t{self.skip_code}\t{command}"


def tests_of(build, wanted=re.compile("")):
    """Those that run on a board and whose names begin as wanted."""
    listing = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], check=True, text=True,
                             capture_output=True).stdout
    tests = [Test(entry) for entry in json.loads(listing)["tests"]]
    return [test for test in tests if "desk" not in test.labels and wanted.match(test.name)]


def programs_of(build):
    """Programs and libraries for the board, at any depth."""
    for path in sorted(build.rglob("*")):
        if "CMakeFiles" in path.parts or path.suffix in (".o", ".a") or path.is_symlink() or not path.is_file():
            continue
        with open(path, "rb") as file:
            head = file.read(20)
        if head[:4] == b"\x7fELF" and head[18:20] == b"\xb7\x00":
            yield path


def pack(build, listed, tests, longest, output):
    """Tests from the list of one build folder with the programs of another: a program with a sanitizer cannot be asked
    for its tests on this machine. They are the same."""
    runtimes = runtimes_of(build)
    tree = initramfs.Tree(output.with_suffix(""), keep_debug=bool(runtimes))
    for path in programs_of(build):
        tree.add(path)
    for path in DATA:
        tree.add(path)
    lines = [test.line(longest).replace(f"{listed}/", f"{build}/") for test in tests]
    tree.write("/tests/list", "\n".join(lines) + "\n", mode=0o644)
    tree.write("/tests/run", "#!/bin/sh\nASAN_OPTIONS=detect_leaks=0 exec /board/run-list /tests/list\n")
    tree.add_libraries(runtimes)
    return tree.pack(output)
