#!/usr/bin/env python3
"""The checks of the guide find what they are for: guide_checks_test.py ROOT-OF-THE-PROJECT."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(sys.argv.pop(1))
CATALOGUE = ROOT / "tests/data/log_lines.txt"
HEADER = ROOT / "common/ztk_common.h"
VIEW_HEADER = ROOT / "common/ztk_shared_view.h"
LOG_PAGE = ROOT / "docs/guide/log_lines.md"
STATUS_PAGE = ROOT / "docs/guide/status_codes.md"


def run(*command):
    return subprocess.run([str(part) for part in command], capture_output=True, text=True, check=False)


class InAFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def changed(self, source, old, new):
        text = source.read_text(encoding="utf-8")
        self.assertEqual(text.count(old), 1, old)
        copy = self.folder / source.name
        copy.write_text(text.replace(old, new), encoding="utf-8")
        return copy


class EntriesTest(InAFolder):
    def expect(self, complaint, what, source, page):
        result = run(sys.executable, ROOT / "tests/guide/check_entries.py", what, source, page)
        self.assertEqual(result.returncode, 1, result.stderr)
        self.assertIn(complaint, result.stderr)

    def test_a_new_line_has_no_entry(self):
        line = "0\tGetAvailableOSSize\t12\t[%s@%d]%s GetAvailableOSSize()\n"
        catalogue = self.changed(CATALOGUE, line, line + "4\tInit\t99\t[%s@%d]%s New\n")
        self.expect("has no entry for: Init@99 4 New", "log-lines", catalogue, LOG_PAGE)

    def test_an_entry_of_a_line_that_is_gone(self):
        catalogue = self.changed(CATALOGUE, "4\tInit\t45\t[%s@%d]%s Create exit event failed\n", "")
        self.expect("an entry too many: Init@45 4 Create exit event failed", "log-lines", catalogue, LOG_PAGE)

    def test_a_line_of_another_text_or_level(self):
        page = self.changed(LOG_PAGE, "    4 error    malloc Failed, size = %lu\n\n**What happened:** the system",
                            "    3 warning  malloc failed, size = %lu\n\n**What happened:** the system")
        self.expect("has no entry for: Malloc_OS@133 4 malloc Failed, size = %lu", "log-lines", CATALOGUE, page)

    def test_a_level_with_the_wrong_word(self):
        page = self.changed(LOG_PAGE, "3 warning  open Mapping", "3 error  open Mapping")
        self.expect("CloseShareMemory@622: level 3 is not error", "log-lines", CATALOGUE, page)

    def test_an_entry_without_words(self):
        next_entry = "\n\n### MapView_Linux@178"
        page = self.changed(LOG_PAGE, "**What to do:** mend the caller." + next_entry, "**What to do:**" + next_entry)
        self.expect("MapView_Linux@164: it does not say: What to do", "log-lines", CATALOGUE, page)

    def test_an_entry_that_links_do_not_find(self):
        page = self.changed(LOG_PAGE, "{#log_Init_64}", "{#log_Init_46}")
        self.expect("Init@64: its place in the page is called log_Init_46", "log-lines", CATALOGUE, page)

    def test_a_new_status(self):
        line = "#define ERR_BAD_HEADER UINT32_C(0x80100023)\n"
        header = self.changed(HEADER, line, line + "#define ERR_NEW UINT32_C(0x80100024)\n")
        self.expect("has no entry for: ERR_NEW 0x80100024", "status-codes", header, STATUS_PAGE)

    def test_a_status_of_another_value(self):
        page = self.changed(STATUS_PAGE, "\n    0x80100005\n", "\n    0x80100004\n")
        self.expect("has no entry for: ERR_BAD_LENGTH 0x80100005", "status-codes", HEADER, page)

    def test_a_new_view_status(self):
        last = "    ZTK_VIEW_NAME_MISMATCH  /**"
        header = self.changed(VIEW_HEADER, last, "    ZTK_VIEW_NEW,\n" + last)
        self.expect("has no entry for: ZTK_VIEW_NEW", "view-statuses", header, STATUS_PAGE)

    def test_a_view_status_of_another_text(self):
        header = self.changed(VIEW_HEADER, '"header bears another name"', '"another name"')
        self.expect("has no entry for: ZTK_VIEW_NAME_MISMATCH: another name", "view-statuses", header, STATUS_PAGE)


class LinksTest(InAFolder):
    def check(self, page):
        (self.folder / "other.html").write_text('<p id="here"></p>', encoding="utf-8")
        (self.folder / "page.html").write_text(page, encoding="utf-8")
        return run(sys.executable, ROOT / "docs/guide/check-links", self.folder)

    def test_good_links(self):
        result = self.check('<a href="other.html#here"></a><a href="other.html"></a>'
                            '<i id="a b"></i><a href="#a%20b"></a>')
        self.assertEqual((result.returncode, result.stdout), (0, "3 links in 2 pages, none broken\n"), result.stderr)

    def test_bad_links(self):
        for link, reason in (("no.html", "no such file"), ("other.html#there", "no such place in the file"),
                             ("#there", "no such place in the file"), ("https://example.org/", "leaves the guide"),
                             ("../../etc/passwd", "leads out of the folder")):
            result = self.check(f'<p>\n<a href="{link}"></a>')
            self.assertEqual(result.returncode, 1, link)
            self.assertIn(f"page.html:2: {link}: {reason}", result.stderr)

    def test_pictures_are_links(self):
        self.assertIn("no such file", self.check('<img src="no.svg">').stderr)
        self.assertIn("no such file", self.check('<object data="no.svg"></object>').stderr)

    def test_a_folder_without_links(self):
        self.assertEqual(self.check("").returncode, 1)


class HeaderFilterTest(unittest.TestCase):
    def shown(self, header):
        result = run(sys.executable, ROOT / "docs/guide/header-filter", header)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result.stdout

    def test_every_section_ends(self):
        for header in (HEADER, VIEW_HEADER):
            text = self.shown(header)
            self.assertTrue(text.startswith("/** @file\n * "), text[:40])
            self.assertGreater(text.count("@name"), 0)
            self.assertEqual(text.count("@{"), text.count("@}"))
            self.assertEqual(text.count("@cond"), text.count("@endcond"))

    def test_code_is_left_alone(self):
        lines = self.shown(HEADER).splitlines()
        for line in HEADER.read_text(encoding="utf-8").splitlines():
            if line.startswith(("ZTK_API", "#define", "extern")):
                self.assertIn(line, lines)


if __name__ == "__main__":
    unittest.main()
