#!/usr/bin/env python3
"""The judging parts of the board's programs: that they find what is wrong. No board is booted.

  desk_test.py FOLDER-OF-THE-BOARDS-PROGRAMS
"""
import base64
import io
import sys
import tarfile
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, sys.argv.pop(1))
import boot  # noqa: E402 pylint: disable=wrong-import-position
import hours  # noqa: E402 pylint: disable=wrong-import-position
import page  # noqa: E402 pylint: disable=wrong-import-position
import stages  # noqa: E402 pylint: disable=wrong-import-position
import suite  # noqa: E402 pylint: disable=wrong-import-position


def a_log():
    """What the model itself expects, as the stand-in writes it."""
    lines = sorted((line for said in hours.expected().values() for line in said), key=lambda line: line[0])
    return [f"2024-01-01T{second // 3600:02d}:{second // 60 % 60:02d}:{second % 60:02d}.000Z info    7 [{text}"
            for second, text in lines]


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

    def test_no_log_is_found(self):
        self.assertTrue(hours.difference(""))


def outcome(*lines, code=0, files=None):
    return boot.Outcome(code, list(lines), files or {}, 1.0)


class Results(unittest.TestCase):
    def test_every_test_has_its_status(self):
        found = stages.tests_in(outcome("@test ok 100ms a a.b", "noise", "@why no namespace", "@test skipped 200ms c c",
                                        "@test ok 1ms d"))
        self.assertEqual([(test.name, test.status, test.why) for test in found],
                         [("a a.b", "ok", ""), ("c", "skipped", "no namespace"), ("d", "ok", "")])

    def test_a_failure_brings_its_output(self):
        found = stages.tests_in(outcome("@test FAILED 100ms a/b 1", code=1, files={"a_b_1.log": b"said"}))
        self.assertEqual([(test.status, test.why) for test in found], [("FAILED", "said")])

    def test_fewer_tests_than_given_is_a_failure(self):
        self.assertEqual(stages.tests_in(outcome("@test ok 100ms a"), programs=2)[-1].status, "FAILED")
        self.assertEqual(stages.tests_in(outcome())[-1].status, "FAILED")

    def test_a_script_that_calls_what_is_not_there_is_a_failure(self):
        found = stages.tests_in(outcome("@test ok 100ms a", "/board/run-one: line 41: flock: not found"))
        self.assertEqual([test.status for test in found], ["ok", "FAILED"])

    def test_a_command_that_fails_without_a_failed_test_is_a_failure(self):
        self.assertEqual(stages.tests_in(outcome("@test ok 100ms a", code=123))[-1].status, "FAILED")


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

    def test_a_board_without_an_end_has_no_exit_code(self):
        self.assertIsNone(boot.interpret(["hello"])[0])


class Suite(unittest.TestCase):
    def test_what_a_desk_needs_is_left_out(self):
        self.assertEqual(suite.Test({"name": "t",
                                     "command": ["/usr/bin/qemu-aarch64", "-L", "/usr/x", "/b/t", "--f=a b"],
                                     "properties": [{"name": "TIMEOUT", "value": 60}]}).line(),
                         "t\t300\t77\t/b/t '--f=a b'")
        self.assertEqual(suite.Test({"name": "t", "command": ["/s/with-binfmt.sh", "--or-skip", "env", "-i",
                                                              "QEMU_LD_PREFIX=/usr/x", "/b/t"]}).line(),
                         "t\t300\t77\tenv -i /b/t")


class Page(unittest.TestCase):
    def test_blocks_and_their_output(self):
        text = "# t\n```sh desk\na\nb\n```\n\n```text\nout\n```\nwords\n```sh board\nc\n```\n```c\nint x;\n```\n"
        self.assertEqual([(block.where, block.commands, block.output, block.line) for block in page.blocks_of(text)],
                         [("desk", "a\nb\n", "out\n", 2), ("board", "c\n", None, 11)])

    def test_output_is_held_against_what_is_printed(self):
        self.assertTrue(page.matches("a\n...\nsize ... MiB\n", "a\nx\ny\nsize 12 MiB\n"))
        self.assertTrue(page.matches("a\n...\n", "a\n"))
        for printed in ("", "a\n", "a\nsize 12 KiB\n", "a\nsize 12 MiB\nmore\n"):
            self.assertFalse(page.matches("a\n...\nsize ... MiB\n", printed), printed)


if __name__ == "__main__":
    unittest.main()
