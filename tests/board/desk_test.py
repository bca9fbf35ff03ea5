#!/usr/bin/env python3
"""The judging parts of the board's programs: that they find what is wrong. No board is booted.

  desk_test.py FOLDER-OF-THE-BOARDS-PROGRAMS
"""
import base64
import io
import os
import pathlib
import re
import subprocess
import sys
import tarfile
import tempfile
import time
import unittest
import unittest.mock

sys.dont_write_bytecode = True
PROGRAMS = pathlib.Path(sys.argv.pop(1)).resolve()
BENCH = PROGRAMS.parent / "bench"
sys.path[:0] = [str(PROGRAMS), str(BENCH)]
import boot  # noqa: E402 pylint: disable=wrong-import-position
import hours  # noqa: E402 pylint: disable=wrong-import-position
import instruction_table  # noqa: E402 pylint: disable=wrong-import-position
import page  # noqa: E402 pylint: disable=wrong-import-position
import results  # noqa: E402 pylint: disable=wrong-import-position
import suite  # noqa: E402 pylint: disable=wrong-import-position


def a_log():
    """What the model itself expects, as the stand-in writes it."""
    lines = sorted((line for said in hours.expected().values() for line in said), key=lambda line: line[0])
    return [f"2024-01-01T{second // 3600:02d}:{second // 60 % 60:02d}:{second % 60:02d}.000Z " +
            text.replace(" ", "    7 ", 1) for second, text in lines]


class Hours(unittest.TestCase):
    def test_the_expected_log_is_accepted(self):
        self.assertEqual(hours.difference("\n".join(a_log())), "")

    def test_a_missing_line_is_found(self):
        log = a_log()
        for index in range(0, len(log), 97):
            self.assertIn("-", hours.difference("\n".join(log[:index] + log[index + 1:])), index)

    def test_another_number_is_found(self):
        log = "\n".join(a_log())
        self.assertTrue(hours.difference(log.replace(": 419430400 bytes, allow", ": 419430401 bytes, allow", 1)))

    def test_a_line_a_second_late_is_found(self):
        log = "\n".join(a_log())
        self.assertTrue(hours.difference(log.replace("T02:00:00.000Z", "T02:00:01.000Z", 1)))

    def test_another_level_is_found(self):
        for index in (0, 20, -1):
            log = a_log()
            log[index] = log[index].replace("Z info ", "Z error ")
            self.assertTrue(hours.difference("\n".join(log)), index)

    def test_no_log_is_found(self):
        self.assertTrue(hours.difference(""))


def outcome(*lines, code=0, files=None):
    return boot.Outcome(code, list(lines), files or {}, 1.0)


class Results(unittest.TestCase):
    def test_every_test_has_its_status(self):
        found = results.tests_in(outcome("@test ok 100ms a a.b", "noise", "@why no namespace",
                                         "@test skipped 200ms c c", "@test ok 1ms d"))
        self.assertEqual([(test.name, test.status, test.why) for test in found],
                         [("a a.b", "ok", ""), ("c", "skipped", "no namespace"), ("d", "ok", "")])

    def test_a_failure_brings_its_output(self):
        found = results.tests_in(outcome("@test FAILED 100ms a/b 1", code=1, files={"a_b_1.log": b"said"}))
        self.assertEqual([(test.status, test.why) for test in found], [("FAILED", "said")])

    def test_fewer_tests_than_given_is_a_failure(self):
        self.assertEqual(results.tests_in(outcome("@test ok 100ms a"), programs=2)[-1].status, "FAILED")
        self.assertEqual(results.tests_in(outcome())[-1].status, "FAILED")

    def test_a_script_that_calls_what_is_not_there_is_a_failure(self):
        found = results.tests_in(outcome("@test ok 100ms a", "/board/run-one: line 41: flock: not found"))
        self.assertEqual([test.status for test in found], ["ok", "FAILED"])

    def test_a_command_that_fails_without_a_failed_test_is_a_failure(self):
        self.assertEqual(results.tests_in(outcome("@test ok 100ms a", code=123))[-1].status, "FAILED")

    def test_a_garbled_line_is_a_failure(self):
        found = results.tests_in(outcome("@test ok 100ms a", "@test ok[ 12.3] something", "@test ok 1ms b"))
        self.assertEqual([test.status for test in found], ["ok", "ok", "FAILED"])

    def test_only_a_skip_that_is_listed_is_none(self):
        with tempfile.TemporaryDirectory() as folder:
            listed = pathlib.Path(folder, "list")
            listed.write_text("# why\ns\ta x\nt\tc\n", encoding="utf-8")
            expected = results.expected_skips("s", listed)
        skipped = [results.Test(name, "skipped", 1, "no namespace") for name in ("a x", "b", "c")]
        found = results.without_silent_skips([*skipped, results.Test("d", "ok")], expected)
        self.assertEqual([test.status for test in found], ["skipped", "FAILED", "FAILED", "ok"])
        self.assertIn("no namespace", found[1].why)

    def test_the_list_of_skips_can_be_read(self):
        self.assertTrue(results.expected_skips("tests-tsan"))
        self.assertFalse(results.expected_skips("tests"))


class Console(unittest.TestCase):
    def test_files_come_out_of_the_text(self):
        packed = io.BytesIO()
        with tarfile.open(fileobj=packed, mode="w:gz") as archive:
            entry = tarfile.TarInfo("./a/b.txt")
            entry.size = 3
            archive.addfile(entry, io.BytesIO(b"abc"))
        text = base64.encodebytes(packed.getvalue()).decode().splitlines()
        self.assertEqual(boot.interpret(["@board up 0.4", "hello", "@board results", *text, "@board results end",
                                         "@board exit 5"]), (5, ["hello"], {"a/b.txt": b"abc"}))

    def test_damaged_files_are_noticed(self):
        with self.assertRaises(boot.BoardError):
            boot.interpret(["@board results", "@@@", "@board results end"])

    def test_garbled_lines_are_noticed(self):
        packed = base64.b64encode(b"no archive").decode()
        for lines in (["@board exit 0[   12.3] something"], ["@board results end"], ["@board exit "],
                      ["@board results", packed, "@board results end"],
                      ["@board results", "\u00e9", "@board results end"]):
            with self.assertRaises(boot.BoardError, msg=lines):
                boot.interpret(lines)

    def test_a_board_without_an_end_has_no_exit_code(self):
        self.assertIsNone(boot.interpret(["hello"])[0])


class Boot(unittest.TestCase):
    """With a script in the emulator's place."""

    def boot(self, script, **options):
        with tempfile.TemporaryDirectory() as folder, unittest.mock.patch.object(tempfile, "tempdir", folder):
            emulator = pathlib.Path(folder, "emulator")
            emulator.write_text("#!/bin/sh\n" + script, encoding="utf-8")
            emulator.chmod(0o755)
            part = pathlib.Path(folder, "part")
            part.write_text("one\n", encoding="utf-8")
            with unittest.mock.patch.object(boot, "EMULATOR", str(emulator)):
                try:
                    return boot.boot(boot.Setup(pathlib.Path("kernel"), [part, part], "/bin/true", **options))
                finally:
                    self.assertEqual(sorted(os.listdir(folder)), ["emulator", "part"])

    def test_an_end_brings_its_code(self):
        found = self.boot('while [ "$1" != -initrd ]; do shift; done; cat "$2"; echo @board exit 3')
        self.assertEqual((found.exit_code, found.cut, found.lines[:2]), (3, False, ["one", "one"]))

    def test_an_emulator_that_does_not_start_is_no_cut(self):
        for script in ("exit 1", "echo '@work 200'", "echo @now; exit 1"):
            with self.assertRaisesRegex(boot.BoardError, "died", msg=script):
                self.boot(script, cut_after="@now", cut_delay=5)

    def test_a_cut_comes_after_its_delay(self):
        began = time.monotonic()
        found = self.boot("echo @now; echo later; exec sleep 100", cut_after="@now", cut_delay=2)
        self.assertEqual((found.exit_code, found.cut, found.lines), (None, True, ["@now", "later"]))
        self.assertTrue(2 <= time.monotonic() - began < 20)

    def test_a_work_that_ended_before_the_cut_is_told(self):
        found = self.boot("echo @now; echo @board exit 1; exec sleep 100", cut_after="@now", cut_delay=2)
        self.assertEqual(found.exit_code, 1)

    def test_only_a_number_is_a_seed(self):
        for seed in ("abc", "-1", "1.5", "4294967296", "\u0663"):
            with unittest.mock.patch.dict(os.environ, BOARD_SEED=seed), self.assertRaises(boot.BoardError):
                boot.random_seed()
        with unittest.mock.patch.dict(os.environ, BOARD_SEED="4294967295"):
            self.assertEqual(boot.random_seed(), 4294967295)


class Instructions(unittest.TestCase):
    """The checked-in table against counts that are its own, or nearly."""

    def check(self, head=None, factor=1.0):
        table = instruction_table.Table.read()
        kept = table.heads["board"]
        with tempfile.TemporaryDirectory() as folder:
            build = pathlib.Path(folder)
            (build / "CMakeFiles/x").mkdir(parents=True)
            version, build_type = kept["compiler"].removeprefix("gcc ").split(", ")
            (build / "CMakeCache.txt").write_text(f"CMAKE_BUILD_TYPE:STRING={build_type}\n", encoding="utf-8")
            (build / "CMakeFiles/x/CMakeCXXCompiler.cmake").write_text(
                f'set(CMAKE_CXX_COMPILER "{build}/gcc")\n', encoding="utf-8")
            (build / "gcc").write_text(f"#!/bin/sh\necho gcc {version}\n", encoding="utf-8")
            (build / "gcc").chmod(0o755)
            lines = [f"# {word}\t{value}" for word, value in {**kept, **(head or {})}.items() if word != "compiler"]
            for row in instruction_table.ROWS:
                figure = table.figures["board"][instruction_table.name_of(*row)]
                lines.append(f"{row[0]} {row[1]} 100 {100 * factor * figure:.0f}")
            (build / "counted").write_text("\n".join(lines) + "\n", encoding="utf-8")
            done = subprocess.run([BENCH / "count-instructions", build, "--board", build / "counted", "--check"],
                                  check=False, capture_output=True, text=True)
        return done.returncode, done.stdout

    def test_what_has_grown_is_found(self):
        self.assertEqual([self.check(factor=factor)[0] for factor in (0.5, 1, 1.04, 1.06)], [0, 0, 0, 1])

    def test_a_newer_kernel_or_emulator_is_compared_all_the_same(self):
        for head in ({"kernel": "6.1.999"}, {"counted by": "perf_event, QEMU 9"}):
            self.assertEqual(self.check(head, 1.06)[0], 1, head)
            code, said = self.check(head)
            self.assertEqual((code, "another" in said), (0, True), head)

    def test_another_c_library_is_told(self):
        code, said = self.check({"libc": "glibc 9"}, 1.06)
        self.assertEqual(code, 77)
        self.assertIn("renew it with --write", said.splitlines()[0])


class Suite(unittest.TestCase):
    def test_what_a_desk_needs_is_left_out(self):
        self.assertEqual(suite.Test({"name": "t",
                                     "command": ["/usr/bin/qemu-aarch64", "-L", "/usr/x", "/b/t", "--f=a b"],
                                     "properties": [{"name": "TIMEOUT", "value": 60}]}).line(400),
                         "t\t300\t77\t/b/t '--f=a b'")
        self.assertEqual(suite.Test({"name": "t", "command": ["/s/with-binfmt.sh", "--or-skip", "env", "-i",
                                                              "QEMU_LD_PREFIX=/usr/x", "/b/t"]}).line(400),
                         "t\t300\t77\tenv -i /b/t")

    def test_no_test_takes_all_of_a_boots_time(self):
        self.assertIn("\t200\t", suite.Test({"name": "t", "command": ["/b/t"],
                                             "properties": [{"name": "TIMEOUT", "value": 300}]}).line(200))


class Page(unittest.TestCase):
    def test_blocks_and_their_output(self):
        text = "# t\n```sh desk\na\nb\n```\n\n```text\nout\n```\nwords\n```sh board\nc\n```\n```c\nint x;\n```\n"
        self.assertEqual([(block.where, block.commands, block.output, block.line) for block in page.blocks_of(text)],
                         [("desk", "a\nb\n", "out\n", 2), ("board", "c\n", None, 11)])

    def test_blocks_in_a_list(self):
        found, = page.blocks_of("1. a\n\n   ```sh board\n   b\n     c\n   ```\n\n   ```text\n   ```\n")
        self.assertEqual((found.where, found.commands, found.output), ("board", "b\n  c\n", ""))

    def test_the_page_s_look_at_the_libraries_finds_what_is_missing(self):
        block = next(one for one in page.blocks_of(page.PAGE.read_text(encoding="utf-8"))
                     if "LD_TRACE_LOADED_OBJECTS" in one.commands)
        good = ["\tlibrockit.so => /lib/librockit.so (0x1)", "\tlibZTKSDKLogC.so => /lib/libZTKSDKLogC.so (0x2)",
                "\tlibc.so.6 => /lib/libc.so.6 (0x3)", "\t/lib/ld-linux-aarch64.so.1 (0x4)"]
        for lines, holds in ((good, True), ([*good[:1], "\tlibZTKSDKLogC.so => not found", *good[2:]], False),
                             ([*good, "undefined symbol: RK_MPI_MMZ_Alloc\t(/usr/lib/libZTKCommon.so)"], False)):
            with tempfile.TemporaryDirectory() as folder:
                loader = pathlib.Path(folder, "loader")
                loader.write_text("#!/bin/sh\ncat <<'END'\n" + "\n".join(lines) + "\nEND\n", encoding="utf-8")
                loader.chmod(0o755)
                commands = block.commands.replace("/tmp/", f"{folder}/")
                # the stub is run, not traced
                commands = re.sub(r"^.*/ld-linux-aarch64\.so\.1", str(loader), commands)
                printed, _ = page.run_within(60, commands)
            self.assertEqual(page.matches(block.output, printed), holds, printed)

    def test_commands_that_hang_are_ended_with_their_children(self):
        began = time.monotonic()
        printed, code = page.run_within(1, "echo started; sleep 100 & sleep 100; echo late")
        self.assertEqual((printed.splitlines()[0], code), ("started", "none"))
        self.assertNotIn("late", printed)
        self.assertLess(time.monotonic() - began, 50)

    def test_output_is_held_against_what_is_printed(self):
        self.assertTrue(page.matches("a\n...\nsize ... MiB\n", "a\nx\ny\nsize 12 MiB\n"))
        self.assertTrue(page.matches("a\n...\n", "a\n"))
        for printed in ("", "a\n", "a\nsize 12 KiB\n", "a\nsize 12 MiB\nmore\n"):
            self.assertFalse(page.matches("a\n...\nsize ... MiB\n", printed), printed)


if __name__ == "__main__":
    unittest.main()
