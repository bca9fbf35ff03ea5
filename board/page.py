"""Follows docs/board.md to the letter: its commands for the desk are run here, those for the board on the emulated
one, and what they print is held against what the page says.

A block of commands begins with ```sh desk or ```sh board; a block ```text right behind it is its output. There a line
`...` stands for any number of lines, and `...` within a line for any text.
"""
import dataclasses
import os
import re
import shutil
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
    pattern = re.compile(r"^```sh (desk|board)\n(.*?)^```\n(?:\n?^```text\n(.*?)^```\n)?", re.M | re.S)
    return [Block(match.group(1), match.group(2), match.group(3), text.count("\n", 0, match.start()) + 1)
            for match in pattern.finditer(text)]


def matches(expected, printed):
    """Line by line, with `...` for what differs from board to board."""
    pattern = ""
    for line in expected.splitlines():
        pattern += r"(?:.*\n)*" if line == "..." else re.escape(line).replace(re.escape("..."), ".*") + r" *\n"
    return re.fullmatch(pattern, printed if printed.endswith("\n") or not printed else printed + "\n") is not None


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
        names = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], check=True,
                               cwd=suite.SOURCE, capture_output=True, text=True).stdout.split("\0")
        for name in filter(None, names):
            if (suite.SOURCE / name).is_file():
                (self.tree / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(suite.SOURCE / name, self.tree / name)

    def _make_sdk(self, build, cache):
        sysroot = self.sdk / "sysroot"
        subprocess.run([suite.SOURCE / "board" / "make-sysroot", cache, sysroot], check=True)
        for name in ("librockit.so", "libZTKSDKLogC.so"):
            shutil.copy(build / "standins" / name, sysroot / "usr/lib" / name)

    def run(self, commands):
        return subprocess.run(["bash", "-e", "-c", commands], cwd=self.tree, env=self.environment, text=True,
                              check=False,
                              timeout=600, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)


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
            done = desk.run(block.commands)
            found.append(_judge(block, done.returncode, done.stdout, check))
    for path in sorted(desk.board.rglob("*")):
        if path.is_file():
            place = "/" + str(path.relative_to(desk.board))
            tree.add(path, place.replace("/usr/lib/", "/lib/"))  # one folder here, as on many boards
    for index, block in enumerate(on_board):
        tree.write(f"/board/page-{index}", "set -e\n" + block.commands)
    script = "".join(f"sh /board/page-{index} >/results/{index}.txt 2>&1; echo $? >/results/{index}.code\n"
                     for index in range(len(on_board)))
    tree.write("/board/page", "#!/bin/sh\ncd /root\n" + script)
    outcome = context.boot([tree.pack(context.work / "page-board.cpio")], "/board/page", memory=1024)
    for index, block in enumerate(on_board):
        code = outcome.files.get(f"{index}.code", b"-1 (never run)").decode().strip()
        printed = outcome.files.get(f"{index}.txt", b"").decode("utf-8", "replace")
        found.append(_judge(block, code, printed, check))
    return found


def _judge(block, code, printed, check):
    name = f"{PAGE.name}:{block.line} ({block.where})"
    if str(code) != "0":
        return check(name, False, f"exit code {code}:\n{printed}")
    if block.output is not None and not matches(block.output, printed):
        return check(name, False, f"the page says:\n{block.output}\nprinted was:\n{printed}")
    return check(name, True)
