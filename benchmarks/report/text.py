"""Figures as text."""

import statistics


def duration(ns):
    for size, unit in ((1e9, "s"), (1e6, "ms"), (1e3, "µs"), (1, "ns")):
        if abs(ns) >= size or unit == "ns":
            return f"{ns / size:.4g} {unit}"


def spread(values):
    """The median and the quartiles."""
    values = sorted(values)
    if len(values) < 2:
        return {"median": values[0], "q1": values[0], "q3": values[0]}
    low, middle, high = statistics.quantiles(values, n=4, method="inclusive")
    return {"median": middle, "q1": low, "q3": high}


def with_spread(figure, form=lambda value: f"{value:.3g}", scale=1.0):
    """The median with the quartiles in brackets."""
    if figure is None:
        return "–"
    low, middle, high = (form(figure[key] / scale) for key in ("q1", "median", "q3"))
    return f"{middle} ({low}–{high})"


def size_name(size):
    return f"{size} B" if size < 1000 else f"{size / 1000:g} kB" if size < 1e6 else f"{size / 1e6:g} MB"


def table(heads, rows, words=0):
    """Prints a table; its first WORDS columns hold words, and the others numbers."""
    print("| " + " | ".join(heads) + " |")
    print("|" + "---|" * words + "---:|" * (len(heads) - words))
    for row in rows:
        print("| " + " | ".join(row) + " |")
    print()
