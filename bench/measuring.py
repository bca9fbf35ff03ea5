"""Workers that take turns, and the ratios of neighbouring measurements."""
import json
import os
import re
import statistics
import subprocess

# Label, and what makes of a worker's malloc() that peer: a library to preload, or glibc's own settings.
MALLOCS = [
    ("glibc", None, {}),
    ("glibc raised", None, {"GLIBC_TUNABLES": "glibc.malloc.mmap_threshold=33554432:"
                                              "glibc.malloc.trim_threshold=4294967296:glibc.malloc.top_pad=67108864"}),
    ("jemalloc", "libjemalloc.so.2", {}),
    ("mimalloc", "libmimalloc.so.2", {}),
    ("tcmalloc", "libtcmalloc_minimal.so.4", {}),
    ("oneTBB", "libtbbmalloc_proxy.so.2", {}),
]


class NotHere(Exception):
    """A subject that was not built in."""


def installed_mallocs():
    """The participants with malloc() as they are on this machine, and the labels of those that are not."""
    paths = {}
    for folder in ("/sbin", "/usr/sbin", ""):
        try:
            listing = subprocess.run([os.path.join(folder, "ldconfig"), "-p"], text=True, capture_output=True,
                                     check=True)
        except (OSError, subprocess.CalledProcessError):
            continue
        paths = dict(reversed(pair) for pair in re.findall(r"=> (\S*/(\S+))$", listing.stdout, re.M))
        break
    found, missing = [], []
    for label, library, settings in MALLOCS:
        if library is None:
            found.append(Participant(label, "malloc", settings=settings))
        elif library in paths:
            found.append(Participant(label, "malloc", settings={"LD_PRELOAD": paths[library]}))
        else:
            missing.append(f"{label} ({library})")
    return found, missing


class Participant:
    """A subject with a setting of its own; extra are arguments that replace those of the row."""

    def __init__(self, label, subject, settings=None, extra=None):
        self.label, self.subject, self.settings, self.extra = label, subject, settings or {}, extra or {}


class Worker:
    """A process that measures one row with one subject, as often as it is asked."""

    def __init__(self, program, row, participant):
        arguments = {**row, **participant.extra, "subject": participant.subject}
        command = [program, "--serve"]
        for name, value in arguments.items():
            command += [f"--{name}"] if value is True else [] if value is False else [f"--{name}", str(value)]
        # Nothing is to be logged: some rows fail on purpose.
        self.process = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True,
                                        env={**os.environ, "ZTK_LOG_LEVEL": "5", **participant.settings})
        try:
            self.answer()  # that it is ready
        except NotHere:
            self.close()
            raise

    def answer(self):
        line = self.process.stdout.readline()
        if line:
            return json.loads(line)
        if self.process.wait() == 3:
            raise NotHere
        raise SystemExit(f"run-bench: {' '.join(self.process.args)} ended with {self.process.returncode}")

    def measure(self, milliseconds):
        self.process.stdin.write(f"{milliseconds}\n")
        self.process.stdin.flush()
        return self.answer()

    def close(self):
        self.process.stdin.close()
        self.process.wait()
        self.process.stdout.close()


class Effort:
    """How long and how often: the worker processes are made anew a few times, since where their pages come to lie
    makes a difference that further rounds do not even out."""

    def __init__(self, launches, rounds, milliseconds):
        self.launches, self.rounds, self.milliseconds = launches, rounds, milliseconds

    def for_slow_rows(self):
        """For rows that take a second to prepare, or a tenth to run."""
        return Effort(1, 2 * self.rounds, self.milliseconds)


def run_row(program, row, base, others, effort):
    """Measures base and each other in turn: base, first, base, second, ... and in every other round the other way
    round. Returns for each label its times and, but for base, its ratios to the base measured beside it."""
    times = {participant.label: [] for participant in [base, *others]}
    walls = {label: [] for label in times}
    ratios = {participant.label: [] for participant in others}
    missing = []

    def sample(label, workers):
        figures = workers[label].measure(effort.milliseconds)
        times[label].append(figures["ns"])
        walls[label].append(figures["wall_ns"])
        return figures["ns"]

    for _ in range(effort.launches):
        workers = {}
        try:
            for participant in [base, *others]:
                try:
                    workers[participant.label] = Worker(program, row, participant)
                except NotHere:
                    missing.append(participant.label)
            for turn in range(effort.rounds):
                for label in [label for label in workers if label != base.label]:
                    if turn % 2 == 0:
                        own = sample(base.label, workers)
                        ratios[label].append(sample(label, workers) / own)
                    else:
                        other = sample(label, workers)
                        ratios[label].append(other / sample(base.label, workers))
                if len(workers) == 1:
                    sample(base.label, workers)
        finally:
            for worker in workers.values():
                worker.close()
    return {"row": row, "base": base.label, "missing": sorted(set(missing)),
            "ns": {label: statistics.median(values) for label, values in times.items() if values},
            "wall_ns": {label: statistics.median(values) for label, values in walls.items() if values},
            "ratio": {label: statistics.median(values) for label, values in ratios.items() if values},
            "ratios": {label: [round(value, 4) for value in values] for label, values in ratios.items() if values}}
