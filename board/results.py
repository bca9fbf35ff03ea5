"""What came of the tests on the board, and which of them may be skipped there."""
import dataclasses
import pathlib
import re

EXPECTED_SKIPS = pathlib.Path(__file__).resolve().parent / "expected_skips.txt"


@dataclasses.dataclass
class Test:
    name: str
    status: str        # ok, FAILED, skipped
    seconds: float = 0
    why: str = ""      # what it said when it failed, or why it was skipped


def tests_in(outcome, programs=1):
    """What run-one told. A board that tells of fewer programs than it was given has failed."""
    tests, why, garbled = [], "", []
    for line in outcome.lines:
        match = re.fullmatch(r"@test (ok|FAILED|skipped) (\d+)ms (\S.*)", line)
        if line.startswith("@why "):
            why = line[5:]
        elif match:
            status, took, name = match.groups()
            if status == "FAILED":
                log = name.replace("/", "_").replace(" ", "_") + ".log"
                why = outcome.files.get(log, b"").decode("utf-8", "replace")
            program, _, test = name.partition(" ")
            tests.append(Test(program if test == program else name, status, int(took) / 1000, why))
            why = ""
        elif line.startswith("@test "):
            garbled.append(line)
    told = {test.name.split(" ")[0] for test in tests}
    missing = [line for line in outcome.lines if line.startswith("/board/") and line.endswith(": not found")]
    if missing:
        tests.append(Test("the board has all that its scripts call", "FAILED", 0, missing[0]))
    if garbled:
        tests.append(Test("the console is whole", "FAILED", 0, "\n".join(garbled)))
    if len(told) < programs:
        tests.append(Test("all tests were run", "FAILED", 0, f"{len(told)} of {programs}:\n" + outcome.text[-3000:]))
    elif outcome.exit_code != 0 and not any(test.status == "FAILED" for test in tests):
        tests.append(Test("the board's command succeeded", "FAILED", 0,
                          f"exit code {outcome.exit_code}:\n" + outcome.text[-3000:]))
    return tests


def check(name, holds, why="", seconds=0.0):
    return Test(name, "ok" if holds else "FAILED", seconds, why)


def expected_skips(stage, path=EXPECTED_SKIPS):
    """The names of the tests that may be skipped: what else is skipped was to be tested."""
    lines = (line.split("\t") for line in path.read_text(encoding="utf-8").splitlines() if not line.startswith("#"))
    return {name for one, name in lines if one == stage}


def without_silent_skips(tests, expected):
    """Tests that are skipped, but not expected to be, have failed."""
    return [dataclasses.replace(test, status="FAILED", why=f"skipped, but not in {EXPECTED_SKIPS.name}: {test.why}")
            if test.status == "skipped" and test.name not in expected else test for test in tests]
