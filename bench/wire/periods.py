"""How exactly tables are repeated."""

import numpy

from capture import MILLISECONDS, SUBTABLE, groups
from kinds import KINDS, of_kind

def by_kind(sections):
    """The statistics of each kind of table, in ms and percent, from when each table began."""
    firsts = sections[sections["number"] == 0]
    found = {}
    for name, kind in KINDS.items():
        series = [
            (table["begin"] - table["begin"][0]) * MILLISECONDS
            for table in groups(of_kind(firsts, kind), SUBTABLE)
            if len(table) > 1
        ]
        if series:
            found[name] = statistics(series, kind.period)
    return found


def statistics(series, period):
    intervals = numpy.concatenate([numpy.diff(times) for times in series])
    deviations = numpy.abs(intervals - period)
    fits = [fitted_period(times) for times in series]
    errors = [percent(fit, period) for fit, _ in fits]
    worst = max(range(len(errors)), key=lambda i: abs(errors[i]))
    mean, p50, p99 = intervals.mean(), *numpy.percentile(intervals, [50, 99])
    return {
        "tables": len(series),
        "intervals": len(intervals),
        "period": period,
        "mean": mean,
        "p50": p50,
        "p99": p99,
        "max": intervals.max(),
        "mean_error": percent(mean, period),
        "p50_error": percent(p50, period),
        "p99_error": percent(p99, period),
        "max_error": percent(intervals.max(), period),
        "median_table": float(numpy.median(numpy.abs(errors))),
        "worst_table": errors[worst],
        "worst_table_uncertainty": 2 * fits[worst][1] / period * 100,
        "p99_deviation": numpy.percentile(deviations, 99),
        "max_deviation": deviations.max(),
    }


def fitted_period(times):
    """The period that fits all starts of a table best, and the standard error of that.

    The mean interval hangs on the first and the last start alone, which packing moves by many milliseconds.
    """
    count = len(times)
    numbers = numpy.arange(count) - (count - 1) / 2
    spread = (numbers**2).sum()
    slope = (numbers * times).sum() / spread
    residuals = times - times.mean() - slope * numbers
    return slope, ((residuals**2).sum() / max(count - 2, 1) / spread) ** 0.5


def percent(value, period):
    return (value / period - 1) * 100
