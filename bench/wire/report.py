"""The figures as Markdown, which reads well on a terminal too."""

KILOBITS = 1.504  # of a packet
MEGABYTE = 1e6
PACKETS_PER_DATAGRAM = 7

CLASSIC, STANDARDS = "classic", "standards"
TIMINGS = {CLASSIC: "Classic", STANDARDS: "Standards"}

# What Standards is to reach.
MOST_OF_FLOOR = {1000: 1.5, 10000: 1.5, 50000: 1.0, 100000: 1.0}  # by ceiling in kbit/s
SLOT_ERROR = 0.002  # seconds
SHORTEST_GAP = 25  # ms
LEAST_MEAN = 0.9  # of the period
GUIDE_CPU = 5  # percent of one processor

REACHED = {True: "yes", False: "**no**"}
README_BEGIN, README_END = "<!-- made by ./bench.sh wire -->\n", "<!-- end -->\n"


def text(results, drawn):
    """`drawn` are the names of the drawings and of their files."""
    drawings = ["Drawn: " + ", ".join(f"[{name}]({file})" for name, file in drawn) + "."] if drawn else []
    return "\n".join(
        part
        for heading, lines in (
            ("The library on the wire", [machine(results), *drawings]),
            ("Reach", table(("timing", "what", "wanted", "measured", "reached"), reach(results))),
            ("Limits", limits(results)),
            ("Periods of a multiplex of ten services", multiplex(results)),
            ("What it costs, beside the floors", costs(results)),
            ("Bitrate ceilings", ceilings(results)),
            ("Growth", growth(results)),
            ("A guide of many services", guide(results)),
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


def ratio(result, timing, floor):
    return result[timing]["library"]["cpu_per_packet"] / result[floor]["cpu_per_packet"]


def progress(name, result, timing):
    library = result[timing]["library"]
    return (
        f"{name}: {result[timing]['rate']:.1f} packets/s, {library['cpu_per_packet']:.2f} us each, "
        f"{ratio(result, timing, 'floor'):.2f} x the floor of packets, "
        f"{ratio(result, timing, 'datagram_floor'):.2f} x that of datagrams, "
        f"others used {library['other_load']:.2f} processors"
    )


def reach(results):
    """What the library is to reach, and whether it did."""
    rows = [(TIMINGS[CLASSIC], *row) for row in reach_of_classic(results)]
    rows += [(TIMINGS[STANDARDS], *row) for row in (*reach_of_standards(results), *reach_of_guide(results))]
    return [(*row[:-1], REACHED[bool(row[-1])]) for row in rows]


def reach_of_classic(results):
    multiplex, filled = results["multiplex"], results["ceilings"]
    kinds, bound = multiplex[CLASSIC]["kinds"], multiplex["packing_bound"]
    wrong = {name: abs(kind["worst_table"]) for name, kind in kinds.items()}
    off = [name for name in wrong if wrong[name] > 0.1]
    names = ", ".join(off) or "none"
    yield "period of every table", "within 0.1 %", f"{max(wrong.values()):.3f} %, above: {names}", not off
    for name in ("PAT", "PMT", "SDT actual"):
        deviation = kinds[name]["p99_deviation"]
        yield f"p99 deviation of {name}", f"≤ {bound:.0f} ms", f"{deviation:.1f} ms", deviation <= bound
    for one in (multiplex, filled[0]):
        what = f"CPU per packet at {one[CLASSIC]['rate'] * KILOBITS:.0f} kbit/s"
        times = ratio(one, CLASSIC, "floor")
        yield what, "≤ 2 x floor of packets", f"{times:.2f} x", times <= 2
    fastest = filled[-1]
    classic, floor = fastest[CLASSIC], fastest["floor"]
    yield (
        f"{fastest['ceiling'] // 1000} Mbit/s sustained",
        "≥ 99.9 %, none lost",
        f"{classic['share']:.2%} (floor {floor['share']:.2%}), {classic['lost']} lost",
        classic["share"] >= 0.999 and classic["lost"] == 0,
    )
    idle = results["intake"][0][CLASSIC]["p99"]
    yield "newPMT to the wire, idle, p99", "< 2 ms", f"{idle:.3f} ms", idle < 2


def reach_of_standards(results):
    for one in results["ceilings"]:
        most, times = MOST_OF_FLOOR[one["ceiling"]], ratio(one, STANDARDS, "datagram_floor")
        mbps = one["ceiling"] // 1000
        yield f"CPU per packet at {mbps} Mbit/s", f"≤ {most} x floor of datagrams", f"{times:.2f} x", times <= most
        if mbps == 1:
            costs = [one[timing]["library"]["cpu_per_packet"] for timing in (STANDARDS, CLASSIC)]
            share = costs[0] / costs[1]
            yield f"CPU per packet at {mbps} Mbit/s", "< 0.5 x Classic", f"{share:.2f} x", share < 0.5
        lost, busiest = one[STANDARDS]["lost"], one[STANDARDS]["busiest_second"]
        yield f"{mbps} Mbit/s filled up", "none lost", f"{lost} lost", lost == 0
        # A second can begin and end with a datagram, and packets may be a little off their slots.
        most = 1 + PACKETS_PER_DATAGRAM * KILOBITS / one["ceiling"] + SLOT_ERROR
        yield f"{mbps} Mbit/s, busiest second", f"≤ {most:.2%}", f"{busiest:.2%}", busiest <= most
    for name, timings in limits_of(results):
        yield from reach_of_limits(name, timings[STANDARDS])


def reach_of_limits(name, kinds):
    shares = {kind: one["longest"] / one["longest_wanted"] for kind, one in kinds.items()}
    latest = max(shares, key=shares.get)
    too_long = sum(one["too_long"] for one in kinds.values())
    longest = f"{shares[latest]:.2%} ({latest}), {too_long} too long"
    yield f"{name}, longest interval", "≤ period", longest, too_long == 0
    soonest = min(kinds, key=lambda kind: kinds[kind]["shortest_gap"])
    gap = kinds[soonest]["shortest_gap"]
    yield f"{name}, shortest gap", f"≥ {SHORTEST_GAP} ms", f"{gap:.1f} ms ({soonest})", gap >= SHORTEST_GAP
    least = min(kinds, key=lambda kind: kinds[kind]["least_mean"])
    mean = kinds[least]["least_mean"]
    yield f"{name}, mean", f"≥ {LEAST_MEAN} of the period", f"{mean:.3f} ({least})", mean >= LEAST_MEAN


def reach_of_guide(results):
    for how, one in guides(results):
        own = one[STANDARDS]
        yield f"guide, {how}, CPU", f"≤ {GUIDE_CPU} %", f"{own['cpu']:.1f} %", own["cpu"] <= GUIDE_CPU
        most = (2 * own["section_bytes"] + 15 * MEGABYTE) / MEGABYTE
        resident = own["resident"] / MEGABYTE
        yield f"guide, {how}, resident", f"≤ {most:.1f} MB", f"{resident:.1f} MB", resident <= most


def limits_of(results):
    """The limits of each workload by timing, with its name."""
    yield "ten services", {timing: results["multiplex"][timing]["limits"] for timing in TIMINGS}
    for one in results["played"]:
        yield one["name"], {timing: one[timing]["limits"] for timing in TIMINGS}
    if results["guide"]["played"]:
        yield "guide", {timing: results["guide"]["played"][timing]["limits"] for timing in TIMINGS}


def limits(results):
    head = ["table", "sections", "period"]
    for timing in TIMINGS.values():
        head += [f"longest, {timing}", "too long", "shortest gap", "mean"]
    lines = []
    for name, timings in limits_of(results):
        kinds = dict.fromkeys(kind for timing in TIMINGS for kind in timings[timing])
        rows = []
        for kind in kinds:
            known = next(timings[timing][kind] for timing in TIMINGS if kind in timings[timing])
            row = [kind, known["sections"], known["period"]]
            for timing in TIMINGS:
                row += limit_cells(timings[timing].get(kind))
            rows.append(row)
        lines += [f"### {name}\n", *table(head, rows), ""]
    return [
        "From a section's last byte to that of its next sending, in ms: the longest interval in brackets as a share of",
        "the period, how many of how many are too long, the mean as a share. The gap is from the last byte of a section",
        "to the first of the next with the same PID, table_id and table_id_extension. TDT, TOT and STT follow the",
        "second that they tell by 100 ms at most, and their intervals may be off by that. The first seconds, in which",
        "all is put on air at once, are left out.\n",
        *lines[:-1],
    ]


def limit_cells(one):
    if one is None:
        return ["", "", "", ""]
    return [
        f"{one['longest']:.1f} ({one['longest'] / one['period']:.1%})",
        f"{one['too_long']} of {one['intervals']}",
        f"{one['shortest_gap']:.1f}",
        f"{one['mean'] / one['period']:.3f}",
    ]


def multiplex(results):
    head = ("table", "timing", "tables", "period", "mean", "p50", "p99", "max", "mean error", "worst table",
            "two sigma", "p99 deviation")
    kinds = results["multiplex"][CLASSIC]["kinds"]
    rows = [
        (
            name,
            TIMINGS[timing],
            kind["tables"],
            kind["period"],
            *(f"{kind[what]:.1f} ({kind[what + '_error']:+.2f} %)" for what in ("mean", "p50", "p99", "max")),
            f"{kind['mean_error']:+.4f} %",
            f"{kind['worst_table']:+.4f} %",
            f"± {kind['worst_table_uncertainty']:.4f} %",
            f"{kind['p99_deviation']:.1f}",
        )
        for name in kinds
        for timing in TIMINGS
        if (kind := results["multiplex"][timing]["kinds"].get(name))
    ]
    bound = results["multiplex"]["packing_bound"]
    gaps = [results["multiplex"][timing]["datagram_gap_p99"] for timing in TIMINGS]
    full = [results["multiplex"][timing]["packets_per_datagram"] for timing in TIMINGS]
    return [
        "Times in ms, in brackets as error of the period. Of tables of one kind all intervals are taken together;",
        "the worst table is the one whose period, fitted to all its starts, is farthest off.\n",
        *table(head, rows),
        "",
        "In Classic a packet leaves with the datagram that it is in, which waits for seven packets unless the next",
        "one is more than 25 ms away. So packing delays a packet by six gaps of 25 ms and a packet slot each at most,",
        f"{bound:.0f} ms; here 99 of 100 datagrams came within {gaps[0]:.0f} ms of the one before ({gaps[1]:.0f} ms in",
        "Standards). What delays a packet moves its interval, and the next one the other way, but not the mean.",
        f"A datagram has {full[0]:.1f} packets on average in Classic and {full[1]:.1f} in Standards.",
    ]


def costs(results):
    head = ("workload", "timing", "packets/s", "CPU/packet", "producer", "consumer", "floor of packets", "ratio",
            "of datagrams", "ratio", "CPU", "wake-ups/s", "floors", "resident", "other load")
    named = [("multiplex", results["multiplex"])]
    named += [(f"{c['ceiling']} kbit/s", c) for c in results["ceilings"]]
    named += [(f"{s['subtables']} subtables", s) for s in results["subtables"]]
    named += [(f"{o['outputs']} outputs", o) for o in results["outputs"]]
    rows = []
    for name, one in named:
        for timing in TIMINGS:
            library = one[timing]["library"]
            threads = library["cpu_by_thread"]
            rows.append(
                (
                    name,
                    TIMINGS[timing],
                    f"{one[timing]['rate']:.0f}",
                    f"{library['cpu_per_packet']:.2f} µs",
                    *(f"{threads.get(thread, 0):.2f} µs" for thread in ("OPSIProd", "OPSICons")),
                    f"{one['floor']['cpu_per_packet']:.2f} µs",
                    f"{ratio(one, timing, 'floor'):.2f}",
                    f"{one['datagram_floor']['cpu_per_packet']:.2f} µs",
                    f"{ratio(one, timing, 'datagram_floor'):.2f}",
                    f"{library['cpu']:.2f} %",
                    f"{library['wakeups']:.0f}",
                    f"{one['floor']['wakeups']:.0f}, {one['datagram_floor']['wakeups']:.0f}",
                    f"{library['resident'] / MEGABYTE:.1f} MB",
                    f"{library['other_load']:.2f}",
                )
            )
    return [
        "The floors are bare loops that sleep on an absolute clock, one to each packet's slot and one to each",
        "datagram's, and send a datagram of seven packets by one call. CPU is that of one processor; other load is how",
        "many processors others kept busy meanwhile.",
        "Of repeated runs the one with the least of that counts.\n",
        *table(head, rows),
    ]


def ceilings(results):
    rows = [
        (
            f"{c['ceiling'] / 1000:g} Mbit/s",
            TIMINGS[timing],
            f"{c[timing]['share']:.3%}",
            f"{c['floor']['share']:.3%}, {c['datagram_floor']['share']:.3%}",
            f"{c[timing]['busiest_second']:.3%}",
            c[timing]["lost"],
            c[timing]["ring_full_slots"],
            f"{c[timing]['library']['cpu']:.1f} %",
            f"{c['floor']['cpu']:.1f} %, {c['datagram_floor']['cpu']:.1f} %",
            *(f"{c[timing]['kinds'][kind]['worst_table']:+.3f} %" for kind in ("PAT", "PMT")),
        )
        for c in results["ceilings"]
        for timing in TIMINGS
    ]
    head = ("ceiling", "timing", "sustained", "floors", "busiest second", "lost", "slots with the ring full", "CPU",
            "floors", "PAT", "PMT")
    return [
        "The multiplex, filled up with null packets. PAT and PMT: how far the worst table's period is off.\n",
        *table(head, rows),
    ]


def growth(results):
    subtables, outputs = [], []
    for one, timing in ((one, timing) for one in results["subtables"] for timing in TIMINGS):
        kind = one[timing]["kinds"]["EIT p/f"]
        subtables.append(
            (
                one["subtables"],
                TIMINGS[timing],
                f"{one[timing]['library']['cpu_per_packet']:.2f} µs",
                f"{ratio(one, timing, 'floor'):.2f}",
                f"{kind['mean_error']:+.4f} %",
                f"{kind['median_table']:.4f} %",
                f"{kind['worst_table']:+.4f} %",
                f"± {kind['worst_table_uncertainty']:.4f} %",
                f"{kind['p99_deviation']:.1f} ms",
                f"{one[timing]['bytes_per_subtable']:.0f} B",
            )
        )
    for one, timing in ((one, timing) for one in results["outputs"] for timing in TIMINGS):
        kind = one[timing]["kinds"]["PAT"]
        outputs.append(
            (
                one["outputs"],
                TIMINGS[timing],
                f"{one[timing]['library']['cpu_per_packet']:.2f} µs",
                f"{ratio(one, timing, 'floor'):.2f}",
                f"{one[timing]['library']['cpu']:.1f} %",
                f"{kind['worst_table']:+.4f} %",
                f"± {kind['worst_table_uncertainty']:.4f} %",
                f"{kind['p99_deviation']:.1f} ms",
                f"{one[timing]['bytes_per_output'] / MEGABYTE:.2f} MB",
            )
        )
    return [
        *table(("EIT subtables", "timing", "CPU/packet", "x floor", "mean period error", "median table", "worst table",
                "two sigma", "p99 deviation", "memory each"), subtables),
        "",
        *table(("outputs", "timing", "CPU/packet", "x floor", "CPU", "worst PAT", "two sigma", "PAT p99 deviation",
                "memory each"), outputs),
    ]


def guides(results):
    """From the sender and, where it was, played."""
    yield "from records", results["guide"]["sender"]
    if results["guide"]["played"]:
        yield "played", results["guide"]["played"]


def guide(results):
    rows = [
        (
            how,
            TIMINGS[timing],
            f"{one[timing]['cpu']:.1f} %",
            f"{one[timing]['section_bytes'] / MEGABYTE:.1f} MB",
            f"{one[timing]['resident'] / MEGABYTE:.1f} MB",
        )
        for how, one in guides(results)
        for timing in TIMINGS
    ]
    return [
        f"Present/following and seven days of events of an hour for {results['guide']['services']} services of another",
        "stream, beside the tables of a multiplex, under a ceiling of 45 Mbit/s: in a process that hands in records,",
        "and as a table set that is played.\n",
        *table(("guide", "timing", "CPU", "sections", "resident"), rows),
    ]


def intake(results):
    rows = [
        (
            i["name"],
            TIMINGS[timing],
            i[timing]["samples"],
            *(f"{i[timing][what]:.3f} ms" for what in ("p50", "p99", "max")),
        )
        for i in results["intake"]
        for timing in TIMINGS
    ]
    return table(("multiplex", "timing", "samples", "p50", "p99", "max"), rows)


def summary(results):
    """The few lines for the README."""
    multiplex = results["multiplex"]
    named = [("ten services", multiplex)]
    named += [(f"filled up to {c['ceiling'] // 1000} Mbit/s", c) for c in results["ceilings"][:2]]
    rows = [
        (
            name,
            TIMINGS[timing],
            f"{one[timing]['rate'] * KILOBITS:.0f}",
            f"{one[timing]['library']['cpu']:.1f} %",
            f"{one[timing]['library']['cpu_per_packet']:.1f} µs",
            f"{ratio(one, timing, 'datagram_floor'):.1f} x",
            f"{one[timing]['library']['resident'] / MEGABYTE:.0f} MB",
        )
        for name, one in named
        for timing in TIMINGS
    ]
    largest, fastest, idle = results["subtables"][-1], results["ceilings"][-1], results["intake"][0][STANDARDS]
    kinds = multiplex[CLASSIC]["kinds"]
    return [
        *table(("output", "timing", "kbit/s", "CPU", "per packet", "bare loop", "resident"), rows),
        "",
        f"With Classic timing the PAT's period is off by {abs(kinds['PAT']['worst_table']):.3f} %, the PMTs' by "
        f"{abs(kinds['PMT']['worst_table']):.3f} %.",
        f"At a ceiling of {fastest['ceiling'] // 1000} Mbit/s Standards reaches "
        f"{fastest[STANDARDS]['rate'] * KILOBITS / 1000:.0f}, the bare loop "
        f"{fastest['datagram_floor']['rate'] * KILOBITS / 1000:.0f}. With {largest['subtables']} EIT subtables on air",
        f"a packet takes {largest[STANDARDS]['library']['cpu_per_packet']:.1f} µs, and a subtable of two packets "
        f"{largest[STANDARDS]['bytes_per_subtable'] / 1000:.1f} kB. A new PMT is on the wire of an idle output",
        f"after {idle['p50']:.2f} ms (99 of 100 within {idle['p99']:.2f} ms). {machine(results)}",
        "[All figures](docs/bench/report.md), and drawn: [CPU](docs/bench/cpu.svg), "
        "[periods](docs/bench/period-error.svg).",
    ]


def replace_summary(readme, results):
    before, rest = readme.read_text().split(README_BEGIN)
    _, after = rest.split(README_END)
    readme.write_text(before + README_BEGIN + "\n".join(summary(results)) + "\n" + README_END + after)
