"""Draws period errors and costs against scale."""

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as pyplot

# The same figures give the same files.
matplotlib.rcParams["svg.hashsalt"] = "servicemux"

LIBRARY, FLOOR = "#1f6feb", "#8b949e"

# What grows, and the tables whose periods say something there: others have hardly been repeated by then.
SCALES = (
    ("ceilings", "ceiling", "ceiling in kbit/s, filled up", ("PAT", "PMT")),
    ("subtables", "subtables", "EIT subtables", ("EIT p/f",)),
    ("outputs", "outputs", "outputs in one process", ("PAT", "PMT")),
)
HEIGHT = 3.6  # inches


def write(results, directory):
    save(cost(results), directory / "cpu.svg")
    save(errors(results), directory / "period-error.svg")


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
        for who, name, colour in (("library", "library", LIBRARY), ("floor", "bare loop", FLOOR)):
            axis.plot(scale, [point[who]["cpu_per_packet"] for point in points], "o-", label=name, color=colour)
        axis.set_ylim(bottom=0)
        axis.set_ylabel("CPU per packet in µs")
        axis.legend()
    return figure


def errors(results):
    for figure, axis, points, scale, kinds in panels(results):
        for name in kinds:
            worst = [abs(point["kinds"][name]["worst_table"]) for point in points]
            axis.plot(scale, worst, "o-", label=f"{name}, worst table")
        axis.axhline(0.1, color=FLOOR, linestyle=":", label="0.1 %")
        axis.set_yscale("log")
        axis.set_ylim(1e-3, 1e1)
        axis.set_ylabel("error of the period in %")
        axis.legend(fontsize="small")
    return figure
