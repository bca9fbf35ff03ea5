#!/usr/bin/env python3
"""The programs that drive the torture campaign and judge it: what they refuse, end, pass on and leave to somebody.

  driver_test.py FOLDER-OF-THE-CAMPAIGN
"""
import importlib.machinery
import importlib.util
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

sys.dont_write_bytecode = True
CAMPAIGN = pathlib.Path(sys.argv.pop(1)).resolve()


def load(path):
    """A program that has no .py in its name, as a module."""
    loader = importlib.machinery.SourceFileLoader(path.name.replace("-", "_"), str(path))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader(loader.name, loader))
    loader.exec_module(module)
    return module


sys.path.insert(0, str(CAMPAIGN / "mutants"))
faults = load(CAMPAIGN / "faults" / "single-faults")
mutants = load(CAMPAIGN / "mutants" / "conditions.py")


class Driver(unittest.TestCase):
    """A campaign of parts of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.place = pathlib.Path(folder.name)
        (self.place / "campaign" / "parts").mkdir(parents=True)
        shutil.copy(CAMPAIGN / "run-torture", self.place / "campaign")

    def part(self, name, shell, **more):
        script = self.place / f"{name}.sh"
        script.write_text(shell)
        described = {"name": name, "title": name, "command": ["sh", str(script)], "quick": 1} | more
        (self.place / "campaign" / "parts" / f"{name}.json").write_text(json.dumps(described))

    def good_part(self, name, **more):
        self.part(name, f'echo \'{{"part": "{name}", "runs": 3, "differences": 0, "seed": 1}}\'', **more)

    def start(self, *words):
        return subprocess.run([self.place / "campaign" / "run-torture", self.place / "builds", *words], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=False)

    def refused(self, *words):
        ended = self.start(*words)
        self.assertNotEqual(ended.returncode, 0)
        self.assertNotIn("Traceback", ended.stderr)
        return ended.stderr.strip().splitlines()[-1]

    def test_a_good_part_passes(self):
        self.good_part("good")
        ended = self.start()
        self.assertEqual(ended.returncode, 0, ended.stderr)
        self.assertIn("1 parts, no difference;", ended.stdout)

    def test_what_is_no_number_is_refused(self):
        self.good_part("good")
        for words in (["--minutes", "nan"], ["--minutes", "-1"], ["--minutes", "0"], ["--minutes", "x"],
                      ["--seed", "-5"], ["--seed", "1e3"], ["--seed", str(2**64)]):
            self.assertIn(words[0], self.refused(*words))
        self.assertIn("nobody", self.refused("nobody"))

    def test_differences_and_broken_parts_fail(self):
        for shell in ('echo \'{"part": "bad", "runs": 3, "differences": 1, "seed": 1}\'; exit 1',
                      'echo \'{"part": "bad", "runs": 3, "differences": 0, "seed": 1}\'; exit 1',
                      'echo \'{"part": "bad", "runs": 0, "differences": 0, "seed": 1}\'',
                      'echo \'{"part": "other", "runs": 3, "differences": 0, "seed": 1}\'', "true"):
            self.part("bad", shell)
            self.assertIn("bad.log", self.refused(), shell)

    def test_a_part_that_ran_with_another_seed_fails(self):
        shell = 'echo \'{"part": "part", "runs": 3, "differences": 0, "seed": \'"$1"\'}\''
        largest = str(2**63 - 1)
        script = str(self.place / "part.sh")
        self.part("part", shell, command=["sh", script, "{seed}"])
        self.assertEqual(self.start("--seed", largest).returncode, 0)
        self.part("part", shell, command=["sh", script, "2147483647", "{seed}"])
        self.assertIn("part.log", self.refused("--seed", largest))

    def test_the_end_of_a_failed_part_is_shown(self):
        self.part("bad", "seq 100; echo no such number >&2; exit 2")
        shown = self.start().stdout.splitlines()
        self.assertIn("no such number", shown)
        self.assertIn("100", shown)
        self.assertNotIn("50", shown)

    def test_what_was_not_run_is_told_at_the_end(self):
        self.good_part("good")
        self.part("elsewhere", 'echo \'{"part": "elsewhere", "skipped": "no such kernel"}\'')
        ended = self.start()
        self.assertEqual(ended.returncode, 0)
        self.assertIn("1 parts, no difference; NOT RUN HERE: elsewhere;", ended.stdout)

    def test_what_hangs_is_ended_with_all_that_it_started(self):
        self.part("hangs", f"sleep 987 & echo $! >{self.place}/child; wait", patience=1)
        self.assertIn("hangs.log", self.refused())
        child = int((self.place / "child").read_text())
        for _ in range(100):
            if not pathlib.Path(f"/proc/{child}").exists():
                return
            time.sleep(0.1)
        os.kill(child, 9)
        self.fail("the child lives on")

    def test_each_variant_is_built_once(self):
        self.good_part("one")
        self.good_part("two", target="all", quick=0)
        self.good_part("three", variant="tsan")
        self.assertEqual(self.start("--list-builds").stdout, "release:ztk_torture tsan:ztk_torture\n")
        self.assertEqual(self.start("--list-builds", "one", "two").stdout, "release:all\n")


class Faults(unittest.TestCase):
    CLEAN = (None, ["load = 0", "left: nothing"])
    KNOWN = ("close", 1, 0, "once")
    NEW = ("close", 2, 0, "once")

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        faults.FILE = pathlib.Path(folder.name) / "outcomes.txt"

    def bring_up_to_date(self, *outcomes):
        head, _, expected = faults.read_file()
        runs = {"load": [self.CLEAN, *outcomes]}
        faults.write_file(head or ["AS-IS: nothing comes of it."], runs, expected)
        return faults.compare(runs, whole_file=True)

    def judge(self):
        faults.FILE.write_text(faults.FILE.read_text().replace("UNEXPLAINED:", "AS-IS:"))

    def test_a_new_point_is_unexplained_even_if_it_looks_like_a_known_one(self):
        lines = self.CLEAN[1]
        self.assertEqual(len(self.bring_up_to_date((self.KNOWN, lines))), 1)
        self.judge()
        self.assertEqual(self.bring_up_to_date((self.KNOWN, lines)), [])
        found = self.bring_up_to_date((self.KNOWN, lines), (self.NEW, lines))
        self.assertEqual(len(found), 1)
        self.assertIn("close 2 once: UNEXPLAINED", found[0])

    def test_a_point_that_ends_otherwise_loses_its_reason(self):
        self.bring_up_to_date((self.KNOWN, self.CLEAN[1]))
        self.judge()
        found = self.bring_up_to_date((self.KNOWN, ["load = 0", "left: descriptors +1"]))
        self.assertEqual(len(found), 1)

    def test_a_point_that_is_gone_is_found(self):
        self.bring_up_to_date((self.KNOWN, self.CLEAN[1]), (self.NEW, self.CLEAN[1]))
        self.judge()
        runs = {"load": [self.CLEAN, (self.KNOWN, self.CLEAN[1])]}
        self.assertEqual(len(faults.compare(runs, whole_file=True)), 1)


class Conditions(unittest.TestCase):
    def turned(self, source):
        return [condition for _, condition in mutants.instrument(source, 1)[1]]

    def test_all_that_decides_is_found(self):
        self.assertEqual(self.turned("void F() {\n    if (a && (b == 1 || !c)) return;\n    while (d) G();\n}\n"),
                         ["a", "b == 1", "!c", "d"])
        self.assertEqual(self.turned("return n > 0 ? x : y;\n"), ["n > 0"])
        self.assertEqual(self.turned("for (int i = 0; i < n; ++i) F();\n"), ["i < n"])
        self.assertEqual(self.turned("const bool bGood = F() == 0;\n"), ["F() == 0"])

    def test_a_literal_stays_whole(self):
        text, found = mutants.instrument("if (c == '/') F(\"a && b\");\n", 1)
        self.assertEqual([condition for _, condition in found], ["c == '/'"])
        self.assertIn("!!(c == '/'))) F(\"a && b\")", text)

    def test_a_variable_of_an_if_is_a_condition(self):
        text, found = mutants.instrument("if (const auto n = Find(x)) F(*n);\n", 7)
        self.assertEqual([condition for _, condition in found], ["n"])
        self.assertIn("if (const auto n = Find(x); (ZtkMutant(7) != !!(n))) F(*n);", text)


if __name__ == "__main__":
    unittest.main(verbosity=0)
