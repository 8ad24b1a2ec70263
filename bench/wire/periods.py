"""How exactly tables are repeated."""

import re

import numpy

from capture import MILLISECONDS

# What a table is called by its PID and table_id, and what the sender calls those of that kind.
KINDS = {
    "PAT": (lambda pid, table: pid == 0x00, r"PAT$"),
    "CAT": (lambda pid, table: pid == 0x01, r"CAT$"),
    "NIT": (lambda pid, table: pid == 0x10, r"NIT actual$"),
    "PMT": (lambda pid, table: table == 0x02, r"PMT "),
    "SDT actual": (lambda pid, table: table == 0x42, r"SDT actual$"),
    "SDT other": (lambda pid, table: table == 0x46, r"SDT other "),
    "EIT p/f": (lambda pid, table: table == 0x4E, r"EIT p/f actual "),
    "EIT schedule": (lambda pid, table: 0x50 <= table <= 0x5F, r"EIT schedule actual "),
    "TDT": (lambda pid, table: table == 0x70, r"TDT$"),
    "TOT": (lambda pid, table: table == 0x73, r"TOT$"),
}


def kind_of(pid, table):
    return next((kind for kind, (matches, _) in KINDS.items() if matches(pid, table)), None)


def configured(kind, sender_periods):
    """The period in ms that the sender set for tables of a kind."""
    pattern = KINDS[kind][1]
    return next(period for name, period in sender_periods.items() if re.match(pattern, name))


def by_kind(starts, sender_periods):
    """The statistics of each kind of table, in ms and percent, from when each table began."""
    series = {}
    for (_, pid, table, _), times in starts.items():
        if len(times) > 1:
            series.setdefault(kind_of(pid, table), []).append((times - times[0]) * MILLISECONDS)
    return {
        kind: statistics(series[kind], configured(kind, sender_periods))
        for kind in KINDS
        if kind in series
    }


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
