"""What the benchmark programs measured: cells, and the time that each contender took."""

import datetime
import pathlib
import statistics

import targets

OURS = (*targets.LEVELS, "neon", "wasm", targets.START_PORTABLE, targets.START_AVX512)
MEMCPY = "memcpy"


class Cell:
    """One kind of work on one kind of text in one length."""

    def __init__(self, work, text, length, texts, written):
        self.work, self.text, self.length = work, text, length
        self.texts, self.written = texts, written
        self.passes = {}  # contender -> process -> nanoseconds that each repetition took for all texts

    def low(self, contender):
        """By process: the low tenth of its rounds, for what disturbs a machine only adds."""
        return {process: sorted(rounds)[len(rounds) // 10] for process, rounds in self.passes[contender].items()}

    def nanoseconds(self, contender):
        """For one text: of the processes the median, for where memory lies helps in one and harms in another."""
        return statistics.median(self.low(contender).values()) / self.texts

    def ratio(self, other, ours):
        """Above 1: ours is faster. Of the processes the median, for the clock may change from one to the next."""
        theirs = self.low(other)
        return statistics.median(theirs[process] / low for process, low in self.low(ours).items())

    def rate(self, contender):
        """Million bytes of output a second."""
        return self.written / self.texts / self.nanoseconds(contender) * 1e3

    def spread(self, contender):
        """Half the distance between the fastest and the slowest process, in percent."""
        low = self.low(contender).values()
        return (max(low) - min(low)) / 2 / statistics.median(low) * 100

    def best_rival(self, kernels, prefix=""):
        rivals = [name for name in self.passes if name not in OURS and name != MEMCPY and name.startswith(prefix)
                  and targets.is_rival_of(name, kernels)]
        return min(rivals, key=self.nanoseconds, default=None)


class Results:
    def __init__(self):
        self.cells = {}
        self.notes = []
        self.sets = []  # of kernels, in the order of the command line
        self.seconds = 0
        self.date = datetime.date.today().isoformat()

    def read(self, process, line):
        kind, *fields = line.rstrip("\n").split("\t")
        if kind == "cell":
            work, text, length, texts, written = fields
            self.cells.setdefault((work, text, length), Cell(work, text, length, int(texts), int(written)))
        elif kind == "run":
            work, text, length, contender, nanoseconds = fields
            passes = self.cells[work, text, length].passes
            passes.setdefault(contender, {}).setdefault(process, []).append(float(nanoseconds))
        elif kind == "note" and fields not in self.notes:
            self.notes.append(fields)

    def save(self, path: pathlib.Path):
        """One line for every process of every contender of every cell: the low tenth of its rounds."""
        with path.open("w", encoding="utf-8") as file:
            print("meta", self.date, f"{self.seconds:.0f}", *self.sets, sep="\t", file=file)
            for cell in self.cells.values():
                print("cell", cell.work, cell.text, cell.length, cell.texts, cell.written, sep="\t", file=file)
                for contender in cell.passes:
                    for process, low in cell.low(contender).items():
                        print("run", cell.work, cell.text, cell.length, contender, f"{low:.2f}", process, sep="\t",
                              file=file)
            for note in self.notes:
                print("note", *note, sep="\t", file=file)

    @classmethod
    def load(cls, path: pathlib.Path):
        loaded = cls()
        for line in path.read_text(encoding="utf-8").splitlines():
            if line.startswith("meta\t"):
                _, loaded.date, seconds, *loaded.sets = line.split("\t")
                loaded.seconds = float(seconds)
            elif line.startswith("run\t"):
                fields, process = line.rsplit("\t", 1)
                loaded.read(int(process), fields)
            else:
                loaded.read(0, line)
        return loaded
