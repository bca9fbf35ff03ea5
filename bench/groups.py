"""What is measured, and the tables and targets made of it."""
from measuring import Participant, run_row

SIZES = {"4 KiB": 4096, "64 KiB": 65536, "1 MiB": 1 << 20, "1080p NV12, 3.1 MB": 1920 * 1080 * 3 // 2,
         "4K RGB, 24.9 MB": 3840 * 2160 * 3}
TOUCHES = {"none": "untouched", "page": "one byte of each page written", "all": "every byte written"}
SEGMENT = SIZES["1080p NV12, 3.1 MB"]
SMALL = 512  # bytes of the many live blocks; mixed ones have up to 2 KiB more

LIVE_ROWS = {  # the least number is what the others are compared with
    "live-pair": ("hand out and return one idle block", 10),
    "live-any": ("return any block, take one of its size", 10),
    "release": ("return alone, any block", 10),
    "new": ("a new block", 10),
    "give-back": ("give one of n idle blocks back", 100),
}


def duration(ns):
    for unit, size in (("ms", 1e6), ("µs", 1e3)):
        if ns >= size:
            return f"{ns / size:.3g} {unit}" if ns < 1000 * size else f"{ns / size:.0f} {unit}"
    return f"{ns:.0f} ns"


def times(ratio):
    return f"{ratio:.2f}x" if ratio < 10 else f"{ratio:.0f}x"


def table(title, head, lines):
    print(f"\n{title}")
    widths = [max(len(line[column]) for line in [head, *lines]) for column in range(len(head))]
    for line in [head, *lines]:
        cells = [cell.rjust(width) for cell, width in zip(line[1:], widths[1:])]
        print("  " + "  ".join([line[0].ljust(widths[0]), *cells]))


class Bench:
    """Runs the groups, keeps their results and what was found against the targets."""

    def __init__(self, program, mallocs, effort, lives):
        self.program, self.mallocs, self.effort, self.lives = program, mallocs, effort, lives
        self.results = {}
        self.targets = []

    def run(self, key, row, base, others, effort=None):
        result = run_row(self.program, row, base, others, effort or self.effort)
        self.results[key] = result
        return result

    def target(self, text, figure, most=None, least=None):
        met = figure <= most if most is not None else figure >= least
        wanted = f"at most {most:g}" if most is not None else f"at least {least:g}"
        self.targets.append({"row": text, "measured": round(figure, 3), "wanted": wanted, "met": met})

    # ---- frames ----

    def frames(self):
        pool = Participant("pool", "pool")
        peers = [*self.mallocs, Participant("std::pmr", "pmr")]
        for touch, words in TOUCHES.items():
            floor = Participant("floor", "floor-lock" if touch == "none" else "floor-memory")
            lines, found = [], []
            for name, size in SIZES.items():
                result = self.run(f"frames/{touch}/{size}", {"row": "pair", "size": size, "touch": touch}, pool,
                                  [floor, *peers])
                ratio = result["ratio"]
                found.append((name, size, 1 / ratio["floor"]))
                lines.append([name, duration(result["ns"]["pool"]), f"{1 / ratio['floor']:.2f}",
                              *(times(ratio[peer.label]) for peer in peers)])
            table(f"One block handed out, {words}, and returned. Peers: times the pool's time, above 1 the pool is "
                  "faster.", ["size", "pool", "pool/floor", *(peer.label for peer in peers)], lines)
            self.frame_targets(touch, found)

    def frame_targets(self, touch, found):
        if touch == "none":
            name, _, worst = max(found, key=lambda entry: entry[2])
            self.target(f"untouched pair against floor (a), worst size ({name})", worst, most=1.25)
        elif touch == "all":
            name, _, worst = max((entry for entry in found if entry[1] >= 1 << 20), key=lambda entry: entry[2])
            self.target(f"frames of 1 MiB and more, every byte written, against floor (b), worst ({name})", worst,
                        most=1.05)

    def ring(self):
        peers = [*self.mallocs, Participant("std::pmr", "pmr")]
        result = self.run("ring", {"row": "ring", "touch": "page"}, Participant("pool", "pool"), peers,
                          self.effort.for_slow_rows())
        table("Eight frames from VGA to 4K taken, one byte of each page written, and all returned",
              ["", "pool", *(peer.label for peer in peers)],
              [["time for all eight", *(duration(result["ns"][label]) for label in result["ns"])],
               ["times the pool's", "", *(times(result["ratio"][peer.label]) for peer in peers)]])
        for label in ("glibc", "jemalloc", "mimalloc"):
            if label in result["ratio"]:
                self.target(f"ring of eight: {label} takes times the pool's time", result["ratio"][label], least=10)

    def threads(self):
        pool, floor = Participant("pool", "pool"), Participant("floor (a)", "floor-lock")
        mixes = [(2, "none", "2 threads, untouched"), (2, "work", "2 threads, a microsecond of other work"),
                 (8, "none", "8 threads, untouched"), (8, "work", "8 threads, a microsecond of other work")]
        lines = []
        for threads, touch, words in mixes:
            row = {"row": "threads", "threads": threads, "touch": touch, "size": SIZES["64 KiB"]}
            result = self.run(f"threads/{threads}/{touch}", row, pool, [floor])
            lines.append([words, *(duration(result[clock][label]) for clock in ("wall_ns", "ns")
                                   for label in ("pool", "floor (a)")), f"{1 / result['ratio']['floor (a)']:.2f}"])
        table("Threads with pairs of 64 KiB on one pool, one pair of one thread; floor (a) blocks at once where the "
              "pool looks again", ["", "pool", "floor (a)", "pool, CPU", "floor, CPU", "CPU ratio"], lines)
        row = {"row": "threads", "threads": 2, "size": SIZES["64 KiB"]}
        result = self.run("threads/peers", row, pool, [*self.mallocs, Participant("std::pmr", "pmr")])
        table("Two threads, untouched, beside general allocators (which neither lock one pool nor stamp)",
              ["", *result["ns"]], [["CPU time", *(duration(ns) for ns in result["ns"].values())],
                                    ["wall clock", *(duration(ns) for ns in result["wall_ns"].values())]])

    # ---- many live blocks ----

    def live(self):
        for mixed in (False, True):
            lines = []
            for row, (words, least) in LIVE_ROWS.items():
                counts = [live for live in self.lives if live >= least]
                participants = [Participant(str(live), "pool", extra={"live": live}) for live in counts]
                # a hundred thousand take a second to make
                effort = self.effort.for_slow_rows() if counts[-1] > 10000 else self.effort
                result = self.run(f"{row}/{'mixed' if mixed else 'one'}", {"row": row, "size": SMALL, "mixed": mixed},
                                  participants[0], participants[1:], effort)
                ratio = result["ratio"]["10000"]
                figures = {live: duration(result["ns"][str(live)]) for live in counts}
                lines.append([words, *(figures.get(live, "-") for live in self.lives), f"{ratio:.2f}"])
                self.live_targets(row, mixed, ratio)
            table(f"Time of one operation with so many blocks live, {'mixed sizes' if mixed else 'one size'}; last the "
                  "ratio of 10,000 to the least", ["", *(f"{live:,}" for live in self.lives), "ratio"], lines)
        self.live_peers()

    def live_targets(self, row, mixed, ratio):
        if row == "live-pair" and not mixed:
            self.target("hand out and return one idle block, one size: 10,000 live against 10", ratio, most=3)
        if row == "new" and mixed:
            self.target("new heap block, mixed sizes: 10,000 live against 10", ratio, most=1.5)
        if row == "give-back":
            self.target(f"giving back, {'mixed' if mixed else 'one size'}, per block: 10,000 idle against 100", ratio,
                        most=2)

    def live_peers(self):
        peers = [peer for peer in self.mallocs if peer.label in ("glibc", "jemalloc", "mimalloc", "tcmalloc")]
        lines = []
        for live in self.lives:
            row = {"row": "live-any", "size": SMALL, "mixed": True, "live": live}
            effort = self.effort.for_slow_rows() if live > 10000 else self.effort
            result = self.run(f"live-any/peers/{live}", row, Participant("pool", "pool"), peers, effort)
            lines.append([f"{live:,} live", *(duration(ns) for ns in result["ns"].values())])
        table("Return any block, take one of its size, mixed sizes, beside general allocators (which neither lock nor "
              "stamp)", ["", "pool", *(peer.label for peer in peers)], lines)

    # ---- shared memory ----

    def shared(self):
        peers = [Participant("fresh shm", "shm-fresh"), Participant("memfd", "memfd"), Participant("Boost", "boost")]
        pool = Participant("pool", "shm-pool")
        lines = []
        for key, row, words, others in (
                ("shared/pair", {"row": "pair", "touch": "all"}, "a block reused",
                 [Participant("floor (b)", "floor-memory"), *peers]),
                ("shared/new", {"row": "segment"}, "a new block, made and written", peers[:2]),
                ("shared/life", {"row": "segment-life"}, "a new block, made, written, given back", peers[:2])):
            result = self.run(key, {**row, "size": SEGMENT}, pool, others)
            cells = [duration(result["ns"]["pool"])]
            for label in ("floor (b)", "fresh shm", "memfd", "Boost"):
                known = label in result["ratio"]
                cells.append(f"{duration(result['ns'][label])} {times(result['ratio'][label])}" if known else "-")
            lines.append([words, *cells])
        table("Shared memory, 3.1 MB, every byte written; of the peers also times the pool's time",
              ["", "pool", "floor (b)", "fresh shm", "memfd", "Boost"], lines)
        self.target("new shared segment, 3.1 MB, made and written, against fresh shm",
                    1 / self.results["shared/new"]["ratio"]["fresh shm"], most=1)

    def print_targets(self):
        table("Against the targets (information: nothing fails here)", ["", "measured", "wanted", "met"],
              [[entry["row"], f"{entry['measured']:.2f}", entry["wanted"], "yes" if entry["met"] else "NO"]
               for entry in self.targets])
