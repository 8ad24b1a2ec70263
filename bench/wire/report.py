"""The figures as Markdown, which reads well on a terminal too."""

KILOBITS = 1.504  # of a packet

REACHED = {True: "yes", False: "**no**"}
README_BEGIN, README_END = "<!-- made by ./bench.sh wire -->\n", "<!-- end -->\n"


def text(results):
    return "\n".join(
        part
        for heading, lines in (
            ("The library on the wire", [machine(results), "Drawn: [CPU](cpu.svg), [periods](period-error.svg)."]),
            ("Reach", table(("what", "wanted", "measured", "reached"), reach(results))),
            ("Periods of a multiplex of ten services", multiplex(results)),
            ("What it costs, beside the floor", costs(results)),
            ("Bitrate ceilings", ceilings(results)),
            ("Growth", growth(results)),
            ("From newPMT to the wire", intake(results)),
        )
        for part in (f"## {heading}\n", *lines, "")
    )


def table(head, rows):
    rows = [[str(cell) for cell in row] for row in (head, *rows)]
    widths = [max(len(row[i]) for row in rows) for i in range(len(head))]
    lines = ["| " + " | ".join(cell.ljust(width) for cell, width in zip(row, widths)) + " |" for row in rows]
    return [lines[0], "|" + "|".join("-" * (width + 2) for width in widths) + "|", *lines[1:]]


def machine(results):
    facts = results["machine"]
    virtual = ", a virtual machine" if facts["virtual"] else ""
    return f"{facts['cpu']}, {facts['cores']} cores{virtual}, Linux {facts['kernel']}."


def progress(name, result):
    library = result["library"]
    return (
        f"{name}: {result['rate']:.1f} packets/s, {library['cpu_per_packet']:.2f} us each, "
        f"{result['ratio']:.2f} x the floor, others used {library['other_load']:.2f} processors"
    )


def reach(results):
    """What the library is to reach, and whether it did."""
    multiplex, filled = results["multiplex"], results["ceilings"]
    kinds, bound = multiplex["kinds"], multiplex["packing_bound"]
    wrong = {name: abs(kind["worst_table"]) for name, kind in kinds.items()}
    off = [name for name in wrong if wrong[name] > 0.1]
    names = ", ".join(off) or "none"
    rows = [("period of every table", "within 0.1 %", f"{max(wrong.values()):.3f} %, above: {names}", not off)]
    for name in ("PAT", "PMT", "SDT actual"):
        deviation = kinds[name]["p99_deviation"]
        rows.append((f"p99 deviation of {name}", f"≤ {bound:.0f} ms", f"{deviation:.1f} ms", deviation <= bound))
    for one in (multiplex, filled[0]):
        what = f"CPU per packet at {one['rate'] * KILOBITS:.0f} kbit/s"
        rows.append((what, "≤ 2 x floor", f"{one['ratio']:.2f} x", one["ratio"] <= 2))
    fastest = filled[-1]
    rows.append(
        (
            f"{fastest['ceiling'] // 1000} Mbit/s sustained",
            "≥ 99.9 %, none lost",
            f"{fastest['share']:.2%} (floor {fastest['floor_share']:.2%}), {fastest['overrun']} lost",
            fastest["share"] >= 0.999 and fastest["overrun"] == 0,
        )
    )
    idle = results["intake"][0]["p99"]
    rows.append(("newPMT to the wire, idle, p99", "< 2 ms", f"{idle:.3f} ms", idle < 2))
    return [(*row[:3], REACHED[bool(row[3])]) for row in rows]


def multiplex(results):
    head = ("table", "tables", "period", "mean", "p50", "p99", "max", "mean error", "worst table", "two sigma",
            "p99 deviation")
    rows = [
        (
            name,
            kind["tables"],
            kind["period"],
            *(f"{kind[what]:.1f} ({kind[what + '_error']:+.2f} %)" for what in ("mean", "p50", "p99", "max")),
            f"{kind['mean_error']:+.4f} %",
            f"{kind['worst_table']:+.4f} %",
            f"± {kind['worst_table_uncertainty']:.4f} %",
            f"{kind['p99_deviation']:.1f}",
        )
        for name, kind in results["multiplex"]["kinds"].items()
    ]
    gap, bound = results["multiplex"]["datagram_gap_p99"], results["multiplex"]["packing_bound"]
    return [
        "Times in ms, in brackets as error of the period. Of tables of one kind all intervals are taken together;",
        "the worst table is the one whose period, fitted to all its starts, is farthest off.\n",
        *table(head, rows),
        "",
        "A packet leaves with the datagram that it is in, which waits for seven packets unless the next one is more",
        "than 25 ms away. So packing delays a packet by six gaps of 25 ms and a packet slot each at most,",
        f"{bound:.0f} ms; here 99 of 100 datagrams came within {gap:.0f} ms of the one before. What delays a packet",
        "moves its interval, and the next one the other way, but not the mean.",
    ]


def costs(results):
    head = ("workload", "packets/s", "CPU/packet", "producer", "consumer", "floor", "ratio", "CPU", "switches/s",
            "floor", "wake-ups/s", "floor", "resident", "other load")
    named = [("multiplex", results["multiplex"])]
    named += [(f"{c['ceiling']} kbit/s", c) for c in results["ceilings"]]
    named += [(f"{s['subtables']} subtables", s) for s in results["subtables"]]
    named += [(f"{o['outputs']} outputs", o) for o in results["outputs"]]
    rows = []
    for name, one in named:
        library, floor = one["library"], one["floor"]
        rows.append(
            (
                name,
                f"{one['rate']:.0f}",
                f"{library['cpu_per_packet']:.2f} µs",
                *(f"{library['cpu_by_thread'][thread]:.2f} µs" for thread in ("OPSIProd", "OPSICons")),
                f"{floor['cpu_per_packet']:.2f} µs",
                f"{one['ratio']:.2f}",
                f"{library['cpu']:.2f} %",
                f"{library['switches']:.0f}",
                f"{floor['switches']:.0f}",
                f"{library['wakeups']:.0f}",
                f"{floor['wakeups']:.0f}",
                f"{library['resident'] / 1e6:.1f} MB",
                f"{library['other_load']:.2f}",
            )
        )
    return [
        "The floor is a bare loop that sleeps to each packet's slot on an absolute clock and sends one datagram for",
        "seven packets. Its figures stand behind the library's. CPU is that of one processor; other load is how many",
        "processors others kept busy meanwhile.",
        "Of repeated runs the one with the least of that counts.\n",
        *table(head, rows),
    ]


def ceilings(results):
    rows = [
        (
            f"{c['ceiling'] / 1000:g} Mbit/s",
            f"{c['share']:.3%}",
            f"{c['floor_share']:.3%}",
            c["overrun"],
            c["ring_full_slots"],
            f"{c['library']['cpu']:.1f} %",
            f"{c['floor']['cpu']:.1f} %",
            *(f"{c['kinds'][kind]['worst_table']:+.3f} %" for kind in ("PAT", "PMT")),
        )
        for c in results["ceilings"]
    ]
    head = ("ceiling", "sustained", "floor", "lost to overrun", "slots with the ring full", "CPU", "floor", "PAT",
            "PMT")
    return [
        "The multiplex, filled up with null packets. PAT and PMT: how far the worst table's period is off.\n",
        *table(head, rows),
    ]


def growth(results):
    subtables, outputs = [], []
    for one in results["subtables"]:
        kind = one["kinds"]["EIT p/f"]
        subtables.append(
            (
                one["subtables"],
                f"{one['library']['cpu_per_packet']:.2f} µs",
                f"{one['ratio']:.2f}",
                f"{kind['mean_error']:+.4f} %",
                f"{kind['median_table']:.4f} %",
                f"{kind['worst_table']:+.4f} %",
                f"± {kind['worst_table_uncertainty']:.4f} %",
                f"{kind['p99_deviation']:.1f} ms",
                f"{one['bytes_per_subtable']:.0f} B",
            )
        )
    for one in results["outputs"]:
        kind = one["kinds"]["PAT"]
        outputs.append(
            (
                one["outputs"],
                f"{one['library']['cpu_per_packet']:.2f} µs",
                f"{one['ratio']:.2f}",
                f"{one['library']['cpu']:.1f} %",
                f"{kind['worst_table']:+.4f} %",
                f"± {kind['worst_table_uncertainty']:.4f} %",
                f"{kind['p99_deviation']:.1f} ms",
                f"{one['bytes_per_output'] / 1e6:.2f} MB",
            )
        )
    return [
        *table(("EIT subtables", "CPU/packet", "x floor", "mean period error", "median table", "worst table",
                "two sigma", "p99 deviation", "memory each"), subtables),
        "",
        *table(("outputs", "CPU/packet", "x floor", "CPU", "worst PAT", "two sigma", "PAT p99 deviation",
                "memory each"), outputs),
    ]


def intake(results):
    rows = [
        (i["name"], i["samples"], f"{i['p50']:.3f} ms", f"{i['p99']:.3f} ms", f"{i['max']:.3f} ms")
        for i in results["intake"]
    ]
    return table(("multiplex", "samples", "p50", "p99", "max"), rows)


def summary(results):
    """The few lines for the README."""
    multiplex, kinds = results["multiplex"], results["multiplex"]["kinds"]
    named = [("ten services", multiplex)]
    named += [(f"filled up to {c['ceiling'] // 1000} Mbit/s", c) for c in results["ceilings"][:2]]
    rows = [
        (
            name,
            f"{one['rate'] * KILOBITS:.0f}",
            f"{one['library']['cpu']:.1f} %",
            f"{one['library']['cpu_per_packet']:.1f} µs",
            f"{one['ratio']:.1f} x",
            f"{one['library']['resident'] / 1e6:.0f} MB",
        )
        for name, one in named
    ]
    largest, fastest, idle = results["subtables"][-1], results["ceilings"][-1], results["intake"][0]
    return [
        *table(("output", "kbit/s", "CPU", "per packet", "bare loop", "resident"), rows),
        "",
        f"The PAT's period is off by {abs(kinds['PAT']['worst_table']):.3f} %, the PMTs' by "
        f"{abs(kinds['PMT']['worst_table']):.3f} %. At a ceiling of {fastest['ceiling'] // 1000} Mbit/s",
        f"{fastest['rate'] * KILOBITS / 1000:.0f} are reached, by the bare loop "
        f"{fastest['floor']['rate'] * KILOBITS / 1000:.0f}. With {largest['subtables']} EIT subtables on air a packet "
        f"takes {largest['library']['cpu_per_packet']:.1f} µs,",
        f"and a subtable of two packets {largest['bytes_per_subtable'] / 1000:.1f} kB. A new PMT is on the wire of an "
        f"idle output after {idle['p50']:.2f} ms (99 of 100",
        f"within {idle['p99']:.2f} ms). {machine(results)}",
        "[All figures](docs/bench/report.md), and drawn: [CPU](docs/bench/cpu.svg), "
        "[periods](docs/bench/period-error.svg).",
    ]


def replace_summary(readme, results):
    before, rest = readme.read_text().split(README_BEGIN)
    _, after = rest.split(README_END)
    readme.write_text(before + README_BEGIN + "\n".join(summary(results)) + "\n" + README_END + after)
