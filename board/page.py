"""Follows docs/board.md to the letter: its commands for the desk are run here, those for the board on the emulated
one, and what they print is held against what the page says.

A block of commands begins with ```sh desk or ```sh board; a block ```text right behind it is its output. There a line
`...` stands for any number of lines, and `...` within a line for any text.
"""
import dataclasses
import os
import re
import shutil
import signal
import subprocess

import initramfs
import suite

PAGE = suite.SOURCE / "docs" / "board.md"


@dataclasses.dataclass
class Block:
    where: str      # desk or board
    commands: str
    output: str | None
    line: int


def blocks_of(text):
    """They may be indented, as parts of a list."""
    pattern = re.compile(r"^( *)```sh (desk|board)\n(.*?)^\1```\n(?:\n?^\1```text\n(.*?)^\1```\n)?", re.M | re.S)
    found = []
    for match in pattern.finditer(text):
        indent, where, *parts = match.groups()
        parts = [part and re.sub(f"^{indent}", "", part, flags=re.M) for part in parts]
        found.append(Block(where, *parts, text.count("\n", 0, match.start()) + 1))
    return found


def matches(expected, printed):
    """Line by line, with `...` for what differs from board to board."""
    pattern = ""
    for line in expected.splitlines():
        pattern += r"(?:.*\n)*" if line == "..." else re.escape(line).replace(re.escape("..."), ".*") + r" *\n"
    return re.fullmatch(pattern, printed if printed.endswith("\n") or not printed else printed + "\n") is not None


def run_within(seconds, commands, **options):
    """Exit code and output of shell commands; after the time all that they started is ended, too."""
    with subprocess.Popen(["bash", "-e", "-c", commands], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          start_new_session=True, **options) as process:
        try:
            return process.communicate(timeout=seconds)[0], process.returncode
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            return f"{process.communicate()[0]}\nnot done after {seconds} s", "none"
        except BaseException:
            os.killpg(process.pid, signal.SIGKILL)
            raise


class Desk:
    """A copy of the tree, a folder as a vendor's SDK, and an scp that copies into what the board will boot with."""

    def __init__(self, work, builds, cache):
        self.work = work
        shutil.rmtree(work, ignore_errors=True)
        self.tree, self.sdk, self.board = work / "tree", work / "sdk", work / "board"
        self.board.mkdir(parents=True)
        self._copy_tree()
        self._make_sdk(builds["plain"], cache)
        tools = work / "tools"
        tools.mkdir()
        (tools / "scp").write_text('#!/bin/sh\nfor last; do :; done\nwhile [ $# -gt 1 ]; do\n'
                                   f'    mkdir -p "{self.board}${{last#*:}}" && '
                                   f'cp "$1" "{self.board}${{last#*:}}" || exit 1\n'
                                   '    shift\ndone\n', encoding="utf-8")
        (tools / "scp").chmod(0o755)
        self.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "SDK": str(self.sdk), "LC_ALL": "C",
                            "BOARD": "root@board", "CROSS": "aarch64-linux-gnu-"}

    def _copy_tree(self):
        """What git knows or would take; of a tree that is not git's, all but what is built."""
        try:
            names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                                   cwd=suite.SOURCE, capture_output=True, text=True).stdout.split("\0")
        except (OSError, subprocess.CalledProcessError):
            shutil.copytree(suite.SOURCE, self.tree, ignore=lambda folder, names: (
                {"build"} & set(names) if folder == str(suite.SOURCE) else set()))
            return
        for name in filter(None, names):
            if (suite.SOURCE / name).is_file():
                (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(suite.SOURCE / name, self.tree / name)

    def _make_sdk(self, build, cache):
        sysroot = self.sdk / "sysroot"
        subprocess.run([suite.SOURCE / "board" / "make-sysroot", cache, sysroot], check=True)
        for name in ("librockit.so", "libZTKSDKLogC.so"):
            shutil.copy(build / "standins" / name, sysroot / "usr/lib" / name)
        (self.sdk / "toolchainfile.cmake").write_text("""set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/sysroot)
set(CMAKE_FIND_ROOT_PATH ${CMAKE_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
""", encoding="utf-8")

    def run(self, commands):
        return run_within(600, commands, cwd=self.tree, env=self.environment)


# Done to the board after the page, and what the page's check of the libraries must then print.
BROKEN = {"a library that is missing": ("mv /lib/libZTKSDKLogC.so /lib/away", "not found"),
          "a library without what it must have": ("mv /lib/away /lib/libZTKSDKLogC.so\n"
                                                  "cp /lib/libm.so.6 /lib/librockit.so", "undefined symbol")}


def follow(context, check):
    """Returns the checks: one for each block of the page."""
    blocks = blocks_of(PAGE.read_text(encoding="utf-8"))
    desk = Desk(context.work / "page", context.builds, context.cache)
    found = []
    tree = initramfs.Tree(context.work / "page-board")
    for name in ("librockit.so", "libZTKSDKLogC.so"):  # they are on the board before anything is copied there
        tree.add(desk.sdk / "sysroot/usr/lib" / name, f"/lib/{name}")
    on_board = [block for block in blocks if block.where == "board"]
    for block in blocks:
        if block.where == "desk":
            printed, code = desk.run(block.commands)
            found.append(_judge(block, code, printed, check))
    for path in sorted(desk.board.rglob("*")):
        if path.is_file():
            place = "/" + str(path.relative_to(desk.board))
            tree.add(path, place.replace("/usr/lib/", "/lib/"))  # one folder here, as on many boards
    for index, block in enumerate(on_board):
        tree.write(f"/board/page-{index}", "set -e\n" + block.commands)
    script = "".join(f"sh /board/page-{index} >/results/{index}.txt 2>&1; echo $? >/results/{index}.code\n"
                     for index in range(len(on_board)))
    loads = next(index for index, block in enumerate(on_board) if "LD_TRACE_LOADED_OBJECTS" in block.commands)
    for index, (damage, _) in enumerate(BROKEN.values()):
        script += f"{damage}\nsh /board/page-{loads} >/results/broken-{index}.txt 2>&1\n"
    tree.write("/board/page", "#!/bin/sh\ncd /root\n" + script)
    outcome = context.boot([tree.pack(context.work / "page-board.cpio")], "/board/page", memory=1024)
    for index, block in enumerate(on_board):
        code = outcome.files.get(f"{index}.code", b"-1 (never run)").decode().strip()
        found.append(_judge(block, code, _text(outcome, index), check))
    for index, (name, (_, word)) in enumerate(BROKEN.items()):
        printed = _text(outcome, f"broken-{index}")
        found.append(check(f"{PAGE.name} finds {name}",
                           word in printed and not matches(on_board[loads].output, printed), printed))
    return found


def _text(outcome, name):
    return outcome.files.get(f"{name}.txt", b"").decode("utf-8", "replace")


def _judge(block, code, printed, check):
    name = f"{PAGE.name}:{block.line} ({block.where})"
    if str(code) != "0":
        return check(name, False, f"exit code {code}:\n{printed}")
    if block.output is not None and not matches(block.output, printed):
        return check(name, False, f"the page says:\n{block.output}\nprinted was:\n{printed}")
    return check(name, True)
