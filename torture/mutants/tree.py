"""A copy of the tree in which something is changed."""
import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


def put(source, target, content):
    """Writes what has changed, so that only that is built again."""
    target.parent.mkdir(parents=True, exist_ok=True)
    if not target.exists() or target.read_bytes() != content:
        target.write_bytes(content)
        shutil.copymode(source, target)


def copy_tree(tree, change):
    """change(name, text): the file's new text, or None if it stays as it is."""
    files = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, text=True,
                           stdout=subprocess.PIPE, check=True).stdout.split()
    for path in {path for path in tree.rglob("*") if path.is_file()} - {tree / name for name in files}:
        path.unlink()
    for name in sorted(files):
        content = (ROOT / name).read_bytes()
        if name.endswith((".cpp", ".h", ".hpp")):
            text = change(name, content.decode())
            content = content if text is None else text.encode()
        put(ROOT / name, tree / name, content)
