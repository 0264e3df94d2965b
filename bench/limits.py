"""Why a row of the benchmark stays behind its target: what was tried for it, and the limit that was measured.

Times are those of the machine that docs/benchmarks.md names. A row that meets its target needs no entry; one that
misses it and has none is reported as unexplained.
"""

# By work and length, or by work and text where the length says nothing.
TRIED = {
}


def tried(work, text, length):
    for key in ((work, text, length), (work, length), (work, text), (work,)):
        if key in TRIED:
            return TRIED[key]
    return "**not explained yet**"
