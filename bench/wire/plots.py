"""Draws period errors and costs against scale, and how intervals are distributed."""

import re

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as pyplot

from limits import BINS_PER_PERIOD, WIDEST
from report import CLASSIC, STANDARDS, TIMINGS, limits_of

# The same figures give the same files.
matplotlib.rcParams["svg.hashsalt"] = "servicemux"
matplotlib.rcParams["svg.fonttype"] = "none"  # text that can be searched, and small files

COLOURS = {CLASSIC: "#1f6feb", STANDARDS: "#d1570a"}
FLOORS = (("floor", "a wake-up per packet", ":"), ("datagram_floor", "per datagram", "--"))
FLOOR = "#8b949e"

# What grows, and the tables whose periods say something there: others have hardly been repeated by then.
SCALES = (
    ("ceilings", "ceiling", "ceiling in kbit/s, filled up", ("PAT", "PMT")),
    ("subtables", "subtables", "EIT subtables", ("EIT p/f",)),
    ("outputs", "outputs", "outputs in one process", ("PAT", "PMT")),
)
HEIGHT = 3.6  # inches
ROW = 0.5  # inches, of a kind of table


def write(results, directory):
    save(cost(results), directory / "cpu.svg")
    save(errors(results), directory / "period-error.svg")
    for name, timings in limits_of(results):
        save(intervals(name, timings), directory / file_of(name))


def names(results):
    """What each drawing shows, and its file."""
    drawn = [("CPU", "cpu.svg"), ("periods", "period-error.svg")]
    return drawn + [(f"intervals of {name}", file_of(name)) for name, _ in limits_of(results)]


def file_of(workload):
    return f"intervals-{re.sub('[^a-z]+', '-', workload.split('.')[0])}.svg"


def save(figure, path):
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)


def panels(results):
    figure, axes = pyplot.subplots(1, len(SCALES), figsize=(12, HEIGHT))
    for axis, (group, scale, label, kinds) in zip(axes, SCALES):
        axis.set_xscale("log")
        axis.set_xlabel(label)
        axis.grid(True, which="major", alpha=0.3)
        points = results[group]
        yield figure, axis, points, [point[scale] for point in points], kinds


def cost(results):
    for figure, axis, points, scale, _ in panels(results):
        for timing, name in TIMINGS.items():
            costs = [point[timing]["library"]["cpu_per_packet"] for point in points]
            axis.plot(scale, costs, "o-", label=name, color=COLOURS[timing])
        for floor, name, line in FLOORS:
            costs = [point[floor]["cpu_per_packet"] for point in points]
            axis.plot(scale, costs, line, marker=".", label=f"bare loop, {name}", color=FLOOR)
        axis.set_ylim(bottom=0)
        axis.set_ylabel("CPU per packet in µs")
        axis.legend(fontsize="small")
    return figure


def errors(results):
    for figure, axis, points, scale, kinds in panels(results):
        for timing, name in TIMINGS.items():
            for kind, line in zip(kinds, ("-", "--")):
                worst = [abs(point[timing]["kinds"][kind]["worst_table"]) for point in points]
                axis.plot(scale, worst, line, marker="o", label=f"{kind}, {name}", color=COLOURS[timing])
        axis.axhline(0.1, color=FLOOR, linestyle=":", label="0.1 %")
        axis.set_yscale("log")
        axis.set_ylim(1e-3, 1e1)
        axis.set_ylabel("worst table's error in %")
        axis.legend(fontsize="small")
    return figure


def intervals(name, timings):
    """How many intervals of each kind of table have which length, on a logarithmic scale."""
    kinds = list(dict.fromkeys(kind for timing in TIMINGS for kind in timings[timing]))
    figure, axes = pyplot.subplots(
        len(kinds), len(TIMINGS), figsize=(12, 1.5 + ROW * len(kinds)), sharex=True, squeeze=False
    )
    figure.suptitle(f"Intervals between a section and its next sending, {name}")
    edges = [number / BINS_PER_PERIOD for number in range(WIDEST * BINS_PER_PERIOD + 2)]
    for row, kind in zip(axes, kinds):
        row[0].set_ylabel(kind, rotation=0, ha="right", va="center")
        for axis, timing in zip(row, TIMINGS):
            if kind in timings[timing]:
                axis.stairs(timings[timing][kind]["histogram"], edges, fill=True, color=COLOURS[timing])
            axis.axvline(1, color="black", linewidth=0.8)
            axis.set_yscale("log")
            axis.set_ylim(bottom=0.5)
            axis.set_yticks([])
            axis.minorticks_off()
    for axis, timing in zip(axes[0], TIMINGS):
        axis.set_title(TIMINGS[timing])
    for axis in axes[-1]:
        axis.set_xlim(0, edges[-1])
    figure.supxlabel("interval as a share of the period; the last bar has all that are longer still", fontsize="medium")
    return figure
