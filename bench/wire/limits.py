"""Whether every section came as often as it must, and none too soon."""

import numpy

from capture import MILLISECONDS, SUBTABLE, in_order
from kinds import KINDS, of_kind

# EN 300 468 clause 5.1.4.1, for sections with the same PID, table_id and extension.
SHORTEST_GAP = 25  # ms
SAME_EXTENSION = ["output", "pid", "table_id", "extension"]

# Intervals are counted by their share of the period; the last count is that of all from the widest on.
WIDEST = 2
BINS_PER_PERIOD = 50


def by_kind(sections):
    """The limits of each kind of table of which a section came twice."""
    found = {name: statistics(of_kind(sections, kind), kind) for name, kind in KINDS.items()}
    return {name: figures for name, figures in found.items() if figures}


def statistics(sections, kind):
    ordered, follows = in_order(sections, [*SUBTABLE, "number"])
    if not follows.any():
        return None
    # A section has arrived with its last byte.
    intervals = numpy.diff(ordered["end"], prepend=0)[follows] * MILLISECONDS
    numbers = (numpy.cumsum(~follows) - 1)[follows]  # of the section that each interval is of
    counts = numpy.bincount(numbers)
    means = numpy.bincount(numbers, intervals)[counts > 0] / counts[counts > 0]
    return {
        "sections": int((~follows).sum()),
        "intervals": len(intervals),
        "period": kind.period,
        "longest_wanted": kind.longest,
        "longest": intervals.max(),
        "too_long": int((intervals > kind.longest).sum()),
        "mean": intervals.mean(),
        "least_mean": means.min() / kind.period,  # of any section
        "shortest_gap": shortest_gap(sections),
        "histogram": histogram(intervals / kind.period),
    }


def shortest_gap(sections):
    """From the last byte of a section to the first of the next of its table, in ms."""
    ordered, follows = in_order(sections, SAME_EXTENSION)
    return (ordered["begin"][1:] - ordered["end"][:-1])[follows[1:]].min() * MILLISECONDS


def distinct_bytes(sections):
    """The size of all sections that came, each counted once."""
    ordered, follows = in_order(sections, [*SUBTABLE, "number"])
    return int(ordered["size"][~follows].sum())


def histogram(shares):
    bins = numpy.minimum(shares * BINS_PER_PERIOD, WIDEST * BINS_PER_PERIOD).astype(int)
    return numpy.bincount(bins, minlength=WIDEST * BINS_PER_PERIOD + 1).tolist()
