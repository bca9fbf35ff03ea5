"""What the log of board_hours has to be: the plan of hours_main.cpp, told by a small model of the two pools."""
import datetime
import difflib
import re

MIB = 1 << 20
LIMIT = 300 * MIB
IDLE_AGE = 30
MINUTES = 180
HEAP, MMZ = 0, 1

# (minute, second, pool, blocks, size, kind): taken together and freed together
PLAN = [(10, 10, "local", 4, 100 * MIB, HEAP), (20, 40, "local", 2, 151 * MIB, HEAP),
        (30, 10, "local", 3, 100 * MIB, HEAP), (60, 10, "local", 1, 4096, HEAP),
        (70, 10, "shared", 2, 151 * MIB, HEAP), (80, 10, "local", 1, 8 * MIB, MMZ),
        (90, 10, "local", 3, 100 * MIB, HEAP)]
for _minute in range(100, 160):
    PLAN += [(_minute, 10, "local", 1, 10 * MIB, HEAP), (_minute, 10, "shared", 1, 4096, HEAP)]


class Pool:
    """Its idle blocks, and what it writes."""

    def __init__(self, name):
        self.name, self.lines, self.takers, self.blocks = name, [], [], []  # blocks: [kind, size, idle since]

    def leave_idle(self, second, count, size, kind):
        free = [block for block in self.blocks if block[:2] == [kind, size]][:count]
        for _ in range(count - len(free)):
            self.blocks.append([kind, size, second])
            if self.name == "shared":
                said = ["CreateMapping_Linux@149]CreateMapping_Linux pName[NAME],hOsMapping[ADDRESS], "
                        f"nMappingLen[{size}],enMemType[0] ",
                        "MapView_Linux@268]MapView_Linux hMapping[ADDRESS], pView[ADDRESS],"
                        f"nMappingLen[{size}], byMMZ[0], nErrCode[0] ",
                        f"AllocateMemory@180][ZtkCommon] Allocate shared memory addr=ADDRESS, size={size}"]
            else:
                said = [f"AllocateMemory@160][ZtkCommon] Allocate system memory addr=ADDRESS, size={size}"]
            self.takers += [(second, line) for line in said]
        for block in free:
            block[2] = second

    def minute(self, second):
        limit, freed, kind = (321, 372, "shared") if self.name == "shared" else (318, 373, "system")
        idle = sum(size for _, size, _ in self.blocks)
        self.say(second, f"DoFreeUnbusyMemoryWork@{limit}", f"Current redundant memory size: {idle} bytes, "
                                                            f"allow limit size: {LIMIT} bytes")
        if idle > LIMIT:
            for block in sorted(block for block in self.blocks if second - block[2] >= IDLE_AGE):
                self.say(second, f"FreeUnbusyMemory@{freed}", f"Free {kind} memory addr=ADDRESS, size={block[1]}")
                self.blocks.remove(block)
        self.dump(second)

    def dump(self, second):
        dumped = [(439, "OS Memory", HEAP), (476, "MMZ Memory", MMZ)]
        if self.name == "shared":
            dumped = [(438, "Shared memory", HEAP)]
        for number, word, kind in dumped:
            sizes = [size for one, size, _ in self.blocks if one == kind]
            self.say(second, f"DumpMemoryInfo@{number}",
                     f"{word} pool contains {len(sizes)} block(s), total size: {sum(sizes)} bytes")

    def say(self, second, place, text):
        self.lines.append((second, f"{place}][ZtkCommon] {text}"))


def expected():
    local, shared = Pool("local"), Pool("shared")
    local.lines.append((0, "FreeUnbusyMemoryThread@17][ZtkCommon] Free unbusy memory thread, tid=TID"))
    shared.lines.append((0, "FreeUnbusySharedMemoryThread@25][ZtkCommon] Free unbusy shared memory thread, tid=TID"))
    caller = [(0, f"ReleaseMemoryRes@696]ReleaseMemoryRes  find SHM Name[{name}],Type[2]") for name in (".", "..")]
    steps = sorted([(60 * minute + second, index, step) for index, (minute, second, *step) in enumerate(PLAN)] +
                   [(60 * minute, -1, None) for minute in range(1, MINUTES + 1)])
    for second, _, step in steps:
        if step is None:
            local.minute(second)
            shared.minute(second)
        else:
            pool = shared if step[0] == "shared" else local
            pool.leave_idle(second, *step[1:])
            caller += pool.takers
            pool.takers = []
    said = {"caller": caller, "local reclaimer": local.lines, "shared reclaimer": shared.lines}
    # what is normal is of one level
    return {who: [(second, f"info [{text}") for second, text in lines] for who, lines in said.items()}


def _speaker(text):
    if re.match(r"\w+ \[\w+@(321|372|25|438)\]", text):
        return "shared reclaimer"
    return "local reclaimer" if re.match(r"\w+ \[\w+@(318|373|17|439|476)\]", text) else "caller"


def _read(log):
    """Lines with their level, by who wrote them; seconds since the first line. Addresses, names and ids made equal."""
    found = {"caller": [], "local reclaimer": [], "shared reclaimer": []}
    start = None
    for line in log.splitlines():
        match = re.match(r"(\S+)Z (\w+) +\d+ (\[.*)", line)
        if not match:
            found["caller"].append((-1, line))
            continue
        when, text = datetime.datetime.fromisoformat(match.group(1)), f"{match.group(2)} {match.group(3)}"
        start = start or when
        for pattern, word in ((r"0x[0-9a-f]+", "ADDRESS"), (r"ZTKTool-\d+-[0-9a-f]+", "NAME"), (r"tid=\d+", "tid=TID")):
            text = re.sub(pattern, word, text)
        found[_speaker(text)].append((round((when - start).total_seconds()), text))
    return found


def _text(who, lines):
    # Making a large block takes the caller some seconds. The reclaimers' time counts to the second.
    step = 10 if who == "caller" else 1
    return [f"{second // 60:3d}:{second % 60 // step * step:02d} {text}" for second, text in lines]


def difference(log):
    """What is not as it has to be; empty if all is."""
    wanted, found = expected(), _read(log)
    return "\n".join(line for who in wanted for line in
                     difflib.unified_diff(_text(who, wanted[who]), _text(who, found[who]), f"expected of the {who}",
                                          f"written by the {who}", lineterm="", n=1))
