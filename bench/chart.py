"""Charts in plain SVG: a bar for each length of each row, as long as we are ahead of the fastest rival."""

import html
import math

WIDTH, LEFT, RIGHT, TOP = 1100, 560, 70, 56
BAR, GAP = 11, 9
COLOURS = {"name": "#1f6f8b", "desc": "#5aa9c4", "64K": "#a8d0dc", "-": "#888888"}


def family(title, cells):
    """Rows that have rivals show the ratio to the fastest; others the rate of output."""
    ratios = any(cell.best_rival() for cell in cells)
    value = ratio if ratios else (lambda cell: cell.rate)
    unit = "x the speed of the fastest rival" if ratios else "MB/s of output"
    values = {id(cell): value(cell) for cell in cells}
    low = min(1.0, *values.values()) if ratios else 10 ** math.floor(math.log10(min(values.values())))
    high = max(values.values()) * 1.1

    def at(figure):
        return LEFT + (WIDTH - LEFT - RIGHT) * (math.log(figure) - math.log(low)) / (math.log(high) - math.log(low))

    rows = {}
    for cell in cells:
        rows.setdefault((cell.work, cell.text), []).append(cell)
    bars, y = [], TOP
    for (work, text), members in rows.items():
        middle = y + BAR * len(members) / 2 + 4
        bars.append(label(LEFT - 10, middle, f"{work}: {text}", "end"))
        for cell in members:
            figure = values[id(cell)]
            start = at(1.0) if ratios else LEFT
            x, end = sorted((start, at(figure)))
            bars.append(f'<rect x="{x:.1f}" y="{y}" width="{max(end - x, 1):.1f}" height="{BAR - 1}" '
                        f'fill="{COLOURS[cell.length]}"/>')
            bars.append(label(end + 4, y + BAR - 2, f"{figure:.1f}x" if ratios else f"{figure:.0f}", "start", 9))
            y += BAR
        y += GAP
    height = y + 12
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" '
             f'viewBox="0 0 {WIDTH} {height}" font-family="sans-serif">',
             f'<rect width="{WIDTH}" height="{height}" fill="#ffffff"/>',
             label(12, 22, f"{title}: {unit} (logarithmic)", "start", 14)]
    for position, length in enumerate(dict.fromkeys(cell.length for cell in cells)):
        x = LEFT + position * 70
        lines.append(f'<rect x="{x}" y="33" width="10" height="10" fill="{COLOURS[length]}"/>')
        lines.append(label(x + 14, 42, "other" if length == "-" else length, "start"))
    for figure in ticks(low, high):
        lines.append(f'<line x1="{at(figure):.1f}" y1="{TOP - 6}" x2="{at(figure):.1f}" y2="{y}" '
                     f'stroke="{"#000000" if ratios and figure == 1 else "#dddddd"}"/>')
    return "\n".join([*lines, *bars, "</svg>"]) + "\n"


def ratio(cell):
    rival = cell.best_rival()
    return cell.nanoseconds(rival) / cell.ours if rival else 1.0


def ticks(low, high):
    exponent = math.floor(math.log10(low))
    while 10 ** exponent <= high:
        for digit in (1, 2, 5):
            if low <= digit * 10 ** exponent <= high:
                yield digit * 10 ** exponent
        exponent += 1


def label(x, y, text, anchor, size=11):
    return f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}">{html.escape(text)}</text>'
