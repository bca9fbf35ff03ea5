"""What runs on the board: one function a stage. Each returns the tests that ran there."""
import dataclasses
import pathlib
import random
import re
import subprocess
import sys

import boot
import hours
import initramfs
import page
import suite
from results import Test, check, tests_in

HERE = pathlib.Path(__file__).resolve().parent
BENCH = HERE.parent / "bench"
sys.path.append(str(BENCH))
import instruction_table  # noqa: E402 pylint: disable=wrong-import-position

CUTS = 3  # of the power, with each kind of /dev/shm


@dataclasses.dataclass
class Context:
    kernel: pathlib.Path
    base: pathlib.Path      # the initramfs with which every board boots
    builds: dict            # of the library with its tests: "plain", "asan", "tsan"; and with its "demo"
    work: pathlib.Path
    cache: pathlib.Path     # of downloaded packages
    has_heap: bool          # /dev/dma_heap: a kernel of our own
    timeout: float
    loud: bool = False

    @property
    def longest_test(self):
        """Seconds that one test may take: when it hangs, there is time left for the others."""
        return max(1, int(self.timeout / 3))

    def boot(self, parts, command, **options):
        setup = boot.Setup(self.kernel, [self.base, *parts], command, timeout=self.timeout, loud=self.loud)
        return boot.boot(dataclasses.replace(setup, **options))

    def pack(self, name, programs=(), script="", files=()):
        """An initramfs with programs, by the paths that they have here, and a script /board/<name>."""
        tree = initramfs.Tree(self.work / name)
        build = self.builds["plain"]
        for program in programs:
            tree.add(build / "tests" / "board" / program)
        for path in (*(build / "lib").glob("*.so"), *(build / "standins").glob("*.so")):
            tree.add(path)
        for source, place in files:
            tree.add(source, place)
        tree.write(f"/board/{name}", "#!/bin/sh\n" + script)
        return tree.pack(self.work / f"{name}.cpio")

    def program(self, name):
        return self.builds["plain"] / "tests" / "board" / name


# ---- the board itself --------------------------------------------------------------------------------------

def board(context):
    """Boots, runs a command, powers off; what goes wrong is noticed."""
    tests = []
    outcome = context.boot([], "/bin/true")
    tests.append(check("boots and powers off", outcome.exit_code == 0, outcome.text, outcome.seconds))
    outcome = context.boot([context.pack("fails", script="echo text >/results/a.txt; exit 3")], "/board/fails")
    tests.append(check("an exit code comes back", outcome.exit_code == 3, str(outcome.exit_code)))
    tests.append(check("a result file comes back", outcome.files == {"a.txt": b"text\n"}, str(outcome.files)))
    outcome = context.boot([context.pack("cut", script="echo @now; sleep 1000")], "/board/cut", cut_after="@now")
    tests.append(check("a cut is told from an end", outcome.cut and outcome.exit_code is None, str(outcome)))
    dies = "echo c >/proc/sysrq-trigger; sleep 1000"
    for name, script, word, options in (
            ("a board that hangs is ended", "sleep 1000", "hung", {"timeout": 8}),
            ("a kernel that dies is noticed", dies, "died", {}),
            ("a kernel that dies before it is cut is noticed", dies, "died", {"cut_after": "@now"}),
            ("a kernel that dies before the moment of its cut is noticed", f"echo @now; {dies}", "died",
             {"cut_after": "@now", "cut_delay": 30}),
            ("a board that is off too early is noticed", "poweroff -f; sleep 1000", "died", {})):
        try:
            context.boot([context.pack("broken", script=script)], "/board/broken", **options)
            tests.append(check(name, False, "it was taken for a success"))
        except boot.BoardError as error:
            tests.append(check(name, word in str(error), str(error)))
    return tests + _hanging_test(context)


def _hanging_test(context):
    """One that hangs costs its own time, and not the others' results."""
    script = """printf '%s\\t2\\t77\\t%s\\n' hangs 'sleep 1000' works true skips 'sh -c "exit 77"' >/tmp/list
/board/run-list /tmp/list
ended=$?
ps >/results/left
exit $ended
"""
    outcome = context.boot([context.pack("hangs", script=script)], "/board/hangs", cpus=2)
    found = {test.name: test.status for test in tests_in(outcome, programs=3)}
    left = b"sleep 1000" in outcome.files.get("left", b"sleep 1000")
    return [check("a test that hangs is ended, and the others are told",
                  found == {"hangs": "FAILED", "works": "ok", "skips": "skipped"} and not left, f"{found}\n{outcome}")]


# ---- the tests of the library --------------------------------------------------------------------------------

def _suite(context, variant, wanted=re.compile(""), **options):
    listed = context.builds["plain"]
    tests = suite.tests_of(listed, wanted)
    part = suite.pack(context.builds[variant], listed, tests, context.longest_test,
                      context.work / f"suite-{variant}.cpio")
    # As much contiguous memory as the stand-in gives out by default, and some for the kernel's own use.
    outcome = context.boot([part], "/tests/run", cpus=2, cma="320M", **options)
    return tests_in(outcome, programs=len(tests))


def tests(context):
    """The whole test suite, but for what needs a desk's tools."""
    return _suite(context, "plain", memory=2048)


def _finds(context, variant, defects):
    """That the sanitizer finds what is there to be found: defects by name, with what it says of each."""
    build = context.builds[variant]
    program = build / "tests" / "board" / "board_defect"
    tree = initramfs.Tree(context.work / f"defects-{variant}", keep_debug=True)
    tree.add(program)
    tree.add_libraries(suite.runtimes_of(build))
    tree.write("/board/defects", f"""#!/bin/sh
for defect in {" ".join(defects)}; do
    {program} $defect >/results/$defect 2>&1 && echo "it ended well" >>/results/$defect
    export ASAN_OPTIONS=detect_leaks=0  # see suite.py: only the first is a leak
done
exit 0
""")
    part = tree.pack(context.work / f"defects-{variant}.cpio")
    files = context.boot([part], "/board/defects", cpus=2, memory=1024).files
    said = {defect: files.get(defect, b"").decode("utf-8", "replace") for defect in defects}
    return [check(f"finds what is wrong: {defect}", word in text and "it ended well" not in text, text)
            for (defect, word), text in zip(defects.items(), said.values())]


def tests_asan(context):
    """Those of the built library with the address, leak and undefined-behaviour sanitizers."""
    defects = {"leak": "LeakSanitizer: detected memory leaks", "overflow": "AddressSanitizer: heap-buffer-overflow",
               "undefined": "signed integer overflow"}
    return _finds(context, "asan", defects) + _suite(context, "asan", suite.SANITIZED, memory=4096)


def tests_tsan(context):
    """Those of the built library with the thread sanitizer, and many threads on both pools."""
    defects = {"race": "ThreadSanitizer: data race"}
    return _finds(context, "tsan", defects) + _suite(context, "tsan", suite.SANITIZED, memory=4096) + _threads(context)


def _threads(context):
    """The torture campaign's, with the sanitizer on both sides."""
    build, seed = context.builds["tsan"], boot.random_seed()
    program = build / "torture" / "ztk_torture_threads"
    tree = initramfs.Tree(context.work / "threads", keep_debug=True)
    tree.add(program)
    tree.add_libraries(suite.runtimes_of(build))
    tree.write("/board/threads", f"#!/bin/sh\nexec {program} --seconds 20 --seed {seed}\n")
    outcome = context.boot([tree.pack(context.work / "threads.cpio")], "/board/threads", cpus=2, memory=2048)
    said = re.search(r'"runs": (\d+), "differences": 0', outcome.text)
    return [check(f"many threads on both pools (BOARD_SEED={seed})",
                  outcome.exit_code == 0 and said and int(said.group(1)) > 1000, outcome.text, outcome.seconds)]


# ---- what a desk cannot show ---------------------------------------------------------------------------------

def _gtest_outcome(context, name, program, environment="", others=(), **options):
    script = f"{environment} exec /board/each-test {context.longest_test} {context.program(program)}\n"
    return context.boot([context.pack(name, [program, *others], script)], f"/board/{name}", **options)


def _gtest(*arguments, **options):
    return tests_in(_gtest_outcome(*arguments, **options))


def mmz(context):
    """MMZ from /dev/dma_heap: physically contiguous, exhausted, whole again."""
    return _gtest(context, "mmz", "board_mmz_check", memory=1024)


def reserve(context):
    """The reserve of 350 MiB, on boards with little more and with less."""
    found = []
    # A small kernel leaves little more than the reserve of the first two; a large one takes more for itself.
    for memory, wanted in ((392 if context.has_heap else 448, "Border"), (448 if context.has_heap else 496, "Border"),
                           (368, "BelowTheReserve")):
        outcome = _gtest_outcome(context, "reserve", "board_reserve_check", f"""grep '^MemAvailable:' /proc/meminfo
GTEST_FILTER={wanted}.*""", memory=memory, cma="16M")
        found += [dataclasses.replace(test, name=f"{test.name} ({memory} MiB)") for test in tests_in(outcome)]
        told = re.search(rf"(\d+) MiB (?:available )?of {memory} MiB", page.PAGE.read_text(encoding="utf-8"))
        if told and context.has_heap:
            has = int(re.search(r"^MemAvailable: +(\d+) kB$", outcome.text, re.M).group(1)) / 1024
            found.append(check(f"{page.PAGE.name}: {told.group()}; here {has:.1f}", abs(has - int(told.group(1))) < 2))
    return found


def full_shm(context):
    """The board's own /dev/shm full."""
    return _gtest(context, "full-shm", "board_full_shm_check", shm="16M", memory=1024)


def hours_of_reclaimer(context):
    """Three hours of both reclaimers in virtual time; every line of the log."""
    script = f"""export ZTK_LOG_LEVEL=1 ZTK_LOG_FILE=/results/hours.log
exec {context.program("board_hours")}
"""
    outcome = context.boot([context.pack("hours", ["board_hours"], script)], "/board/hours", memory=2048,
                           virtual_time=True)
    log = outcome.files.get("hours.log", b"").decode("utf-8", "replace")
    (context.work / "hours.log").write_text(log, encoding="utf-8")
    ended = check("it ran to its end", outcome.exit_code == 0, outcome.text, outcome.seconds)
    difference = hours.difference(log)
    return [ended, check("three hours, line by line", not difference, difference)]


def killed(context):
    """Workers killed at random: the next load leaves nothing of them."""
    seed = boot.random_seed()
    found = _gtest(context, "killed", "board_killed_worker_check", f"BOARD_SEED={seed}", ["board_worker"], memory=1024)
    return [dataclasses.replace(test, name=f"{test.name} (BOARD_SEED={seed})") for test in found]


def power_cut(context):
    """The power cut in the middle of work; the next boot's load."""
    board_seed = boot.random_seed()
    chance = random.Random(board_seed)
    return [test for cut in range(CUTS) for name, outlives in (("memory", False), ("disk", True))
            for test in _cut(context, chance, outlives, f"(/dev/shm on {name}, {cut + 1}, BOARD_SEED={board_seed})")]


def _cut(context, chance, outlives, label):
    seed, line, delay = chance.randrange(1 << 31), chance.randrange(1, 12), chance.random()
    disk = context.work / "disk.img"
    disk.unlink(missing_ok=True)
    with open(disk, "wb") as file:
        file.truncate(256 << 20)
    subprocess.run(["/sbin/mke2fs", "-q", "-t", "ext2", disk], check=True)
    options = {"disk": disk, "disk_use": "shm" if outlives else "data", "memory": 1024}
    # A process id far from those of the next boot's first processes, which would keep the objects of such a one. It
    # is the child's: this shell has its own since before.
    burn = "i=0; while [ $i -lt 400 ]; do (true); i=$((i + 1)); done"
    work = context.pack("work", ["board_worker"],
                        f"{burn}\n{context.program('board_worker')} {seed} lines &\nwait\n")
    outcome = context.boot([work], "/board/work", cut_after=f"@work {100 * line}", cut_delay=delay, **options)
    found = [check(f"cut while it worked, {delay:.2f} s after step {100 * line} {label}",
                   outcome.cut and outcome.exit_code is None, outcome.text, outcome.seconds)]
    if outlives:
        # As a system does that mounts a disk at boot. A name whose inode was not written yet would end the scan.
        done = subprocess.run(["/sbin/e2fsck", "-fy", disk], check=False, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT)
        found.append(check(f"the disk can be repaired {label}", done.returncode in (0, 1), done.stdout))
    environment = "ZTK_SHM_OUTLIVES=1" if outlives else ""
    return found + [dataclasses.replace(test, name=f"{test.name} {label}")
                    for test in _gtest(context, "after", "board_after_cut_check", environment, **options)]


def instructions(context):
    """Instructions of the hot paths, twice the same, and no more than the table says."""
    rows = "\n".join(f'count {row} {live}' for row, live in instruction_table.ROWS)
    script = f"""echo "@kernel $(uname -r)"
mount --bind /board/meminfo /proc/meminfo
count() {{ echo "@count $1 $2 $(env -i ZTK_LOG_LEVEL=5 {context.program("board_instructions")} "$1" "$2" count)"; }}
{rows}
"""
    meminfo = (HERE / "target" / "meminfo", "/board/meminfo")
    part = context.pack("instructions", ["board_instructions"], script, [meminfo])
    runs = []
    for _ in range(2):
        outcome = context.boot([part], "/board/instructions", memory=1024, virtual_time=True,
                               same_addresses=True)
        runs.append([line.removeprefix("@count ") for line in outcome.lines if line.startswith("@count ")])
    found = [check(f"counted: {first}", len(first.split()) == 4 and first == second, f"then: {second}")
             for first, second in zip(*runs)]
    found.append(check("every row was counted", len(runs[0]) == len(runs[1]) == len(instruction_table.ROWS),
                       outcome.text, outcome.seconds))
    version = subprocess.run([boot.EMULATOR, "--version"], check=True, capture_output=True, text=True).stdout
    counts = context.work / "instructions.counted"
    # the kernel brings the code that reads the clock
    kernel = next((line.removeprefix("@kernel ") for line in outcome.lines if line.startswith("@kernel ")), "unknown")
    counts.write_text(f"# libc\t{initramfs.c_library()}\n# machine\taarch64, {boot.CPU}\n# kernel\t{kernel}\n"
                      f"# counted by\tperf_event, QEMU {version.split()[3]} -icount\n" + "\n".join(runs[0]) + "\n",
                      encoding="utf-8")
    done = subprocess.run([BENCH / "count-instructions", context.builds["plain"], "--board", counts, "--check"],
                          check=False, text=True, capture_output=True)
    status = {0: "ok", 77: "skipped"}.get(done.returncode, "FAILED")
    found.append(Test("no more than in bench/instructions.txt", status, 0, done.stdout + done.stderr))
    return found


def bring_up(context):
    """docs/board.md, followed to the letter."""
    return page.follow(context, check)


def demo(context):
    """The demo's programs, with Debian's arm64 libraries; not its videos, and not its drawings."""
    build, source = context.builds["demo"], HERE.parent / "examples" / "demo"
    sysroot = pathlib.Path(suite.cache_entry(build, "ZTK_SYSROOT"))
    libraries = [path for pattern in ("libpng16.so.16", "libz.so.1", "libturbojpeg.so.0", "libfmt.so.9")
                 for path in sysroot.rglob(pattern)]
    programs = [build / "examples" / name for name in ("demo_pipeline", "demo_camera", "demo_viewer", "demo_timeline")]
    files = [(path, None) for path in (*programs, *(build / "lib").glob("*.so"), *(build / "standins").glob("*.so"))]
    files += [(path, f"/lib/{path.name}") for path in libraries]
    files += [(path, f"/pictures/{path.name}") for path in source.glob("pictures/*.[jp][pn]g")]
    files.append((HERE / "target" / "demo", "/board/run-demo"))
    outcome = context.boot([context.pack("demo", (), f"exec /board/run-demo {build}/examples\n", files)], "/board/demo",
                           memory=1024, cpus=2)
    (context.work / "demo.out").write_text(outcome.text + "\n", encoding="utf-8")
    found = [check("it ran to its end, and left no shared object", outcome.exit_code == 0, outcome.text,
                   outcome.seconds)]
    said = {name: content.decode() for name, content in outcome.files.items()}
    # As on the desk: tests/demo/short_run.sh says why.
    for name, wanted in (("pipeline.json", '"pool_system_allocations": 10, "pool_served_by_reuse": 86'),
                         ("pipeline.json", '"frames": 16, "requests": 96'),
                         ("handover.json", '"pool": {"requests": 16, "served_by_reuse": 11, "segments_created": 5,'),
                         ("handover.json", '"fresh": {"requests": 16, "served_by_reuse": 0, "segments_created": 16,'),
                         ("logged.json", '"local_requests": 48, "shared_requests": 24, "segments_created": '),
                         ("log.json", '"heap": {"requests": 24,'), ("log.json", '"mmz": {"requests": 24,'),
                         ("log.json", '"shared": {"requests": 24,')):
        found.append(check(f"{name}: {wanted}", wanted in said.get(name, ""), said.get(name, "it is not there")))
    return found
