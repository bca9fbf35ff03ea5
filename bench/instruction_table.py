"""The checked-in table of instructions per operation: a column for the desk, and one for the board."""
import pathlib

TABLE = pathlib.Path(__file__).resolve().parent / "instructions.txt"
ROWS = [("pair", 1), ("pair", 8), ("pair", 10), ("pair", 4000), ("pair", 10000), ("new", 10), ("new", 1000),
        ("release", 8), ("release", 4000), ("shared-pair", 1)]
COLUMNS = ("desk", "board")
TITLE = ["# Instructions per operation; made by bench/count-instructions --write. Desk and board count in different "
         "ways",
         "# and different instructions: each column is to be compared with itself."]


def name_of(row, live):
    words = {"pair": "heap: hand out and return", "release": "heap: release alone",
             "new": "heap: new block, without /proc/meminfo", "shared-pair": "shared: hand out and return"}
    return f"{words[row]}, {live} live"


class Table:
    """What a column was counted with (its head), and its figures by the name of the row."""

    def __init__(self):
        self.heads = {column: {} for column in COLUMNS}
        self.figures = {column: {} for column in COLUMNS}

    @classmethod
    def read(cls, path=TABLE):
        table = cls()
        for line in path.read_text(encoding="utf-8").splitlines():
            fields = line.removeprefix("# ").split("\t")
            if line.startswith("# ") and len(fields) == 3 and fields[0] in COLUMNS:
                table.heads[fields[0]][fields[1]] = fields[2]
            elif line and not line.startswith("#"):
                for column, figure in zip(COLUMNS, fields[1:]):
                    if figure != "-":
                        table.figures[column][fields[0]] = float(figure)
        return table

    def text(self):
        lines = TITLE + [f"# {column}\t{word}\t{value}" for column in COLUMNS
                         for word, value in self.heads[column].items()]
        lines.append("\t".join(("# operation", *COLUMNS)))
        for name in (name_of(*row) for row in ROWS):
            figures = (self.figures[column].get(name) for column in COLUMNS)
            lines.append("\t".join((name, *("-" if figure is None else f"{figure:.0f}" for figure in figures))))
        return "\n".join(lines) + "\n"
