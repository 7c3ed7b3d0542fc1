"""Writes the results of scripts/performance: a page with tables, and a plot."""
import dataclasses
import math
import pathlib

import plot
from contenders import BLOCKS, FRAME, FUSED, HAND_THREADS, IN_PLACE, OURS, THREADS

W2_BYTES = 24  # bytes of five fields and the result, for each element
SETS = ("Baseline", "Avx2", "Avx512")


@dataclasses.dataclass
class Findings:
    count: int
    rounds: int
    block: int | None
    cached_count: int
    contenders: list = dataclasses.field(default_factory=list)
    workloads: list = dataclasses.field(default_factory=list)
    times: dict = dataclasses.field(default_factory=dict)
    cached: dict = dataclasses.field(default_factory=dict)  # like times, in the cache
    agreed: dict = dataclasses.field(default_factory=dict)
    first: dict = dataclasses.field(default_factory=dict)
    growing: dict = dataclasses.field(default_factory=dict)
    memory: dict = dataclasses.field(default_factory=dict)
    beyond: dict = dataclasses.field(default_factory=dict)
    programs: dict = dataclasses.field(default_factory=dict)
    arrays: dict = dataclasses.field(default_factory=dict)
    kernels: dict = dataclasses.field(default_factory=dict)
    machine: list = dataclasses.field(default_factory=list)

    def present(self):
        return [one for one in self.contenders if not one.absent]

    def best_peer(self, workload, times=None):
        """The fastest interpreted or eager peer and its time, or None."""
        all_times = self.times if times is None else times
        times = [(all_times[workload, one.name], one) for one in self.present()
                 if one.kind == "peer" and (workload, one.name) in all_times]
        return min(times, key=lambda pair: pair[0]) if times else None


WORDS = {
    "W1": "a vector of 3 Float32 times a uniform, component 0, compared with 0, selected against 1",
    "W2": "`((a*b + c)/d - e)` in Float32",
    "W3": "Int32 + Float32 in Float64, times Float64, to Float32",
    "W4": "`(p < q and r > 0.5) or not (p = r)` with one in ten of each missing, then `IsTrue`",
    "W5": "a vector of 3 Float32 divided by its length",
    "W6": "`a*b + c` in Half",
    "W7-random": "`Select` of Float32 by a random condition",
    "W7-runs": "`Select` of Float32 by a condition in long runs",
    "W8": "Int32 division, one divisor in 32 zero",
    "W9": "gather of Float32 by a random Int64 index from 16 MB",
}

HEAD = """# Performance

How fast the library is, compared with other software and with the limits of the machine.
`scripts/performance` writes this page, and every figure comes from one run of it.
Another machine gives other figures; ratios differ less.
"""

ABOUT = """## Whole programs

Each contender runs each program over {count:,} elements, on one thread unless its name says
otherwise. There are {rounds} rounds; in each round, every contender runs every workload once, after
a first run that does not count. The table shows medians in nanoseconds per element. All results
equal ours to the bit, unless a footnote says otherwise.

{workloads}

Five contenders are written by hand. *Fused* is one C++ loop for the whole program at
`-O3 -march=native`; no interpreter can be faster. *Blocks* is one such loop for each step, over blocks
of 1,024 elements, on one core or on every core. *Whole frame* adds what any interpreter does: it
copies every field into a register, numbers elements, spreads constants, resets and combines
validity, and copies the result out. *Portable* is the same without `-march=native`. Eigen is
compiled as well. The others read a program at run time, or are called once for each step. The
library's *interpreter* copies fields into registers and collects the result; *in place* is an
`ArrayRun`. Both run in blocks of {block}. The arrays of all contenders are in large pages if the
system has them.

A contender without vectors runs W1 and W5 on three columns. In W1, DuckDB, muParser and the
compiled loops multiply only the column that is used. A missing value is a null, a NaN, or false in
an array beside the values, whatever the contender has. A dash means that a contender cannot
express the workload.
"""

IN_PLACE_WORDS = """## In place

`ArrayRun` reads arrays and writes results where they lie. The tables divide its time by that of the
same steps by hand in place (*blocks*), by that of the *fused* loop, and by that of the fastest
contender that interprets or is called for each step. W8 and W9 write presence, and W9 tests bounds;
the loops by hand do too. The last columns say how many times as fast every core is as one thread,
for the library and for the blocks by hand.
"""

BARS = """### The interpreter

Its time divided by that of the whole frame by hand, which should be at most 1.00, and by that of
the fastest contender that interprets or is called for each step, which should be below 1.00.
"""


def table(head, rows):
    """A Markdown table; the first column is text and the others numbers."""
    lines = ["| " + " | ".join(head) + " |", "|---" + "|---:" * (len(head) - 1) + "|"]
    lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines) + "\n"


def figure(value):
    """Three digits."""
    if value is None:
        return "–"
    for limit, digits in ((10, 2), (100, 1)):
        if abs(value) < limit:
            return f"{value:.{digits}f}"
    return f"{value:,.0f}"


def machine_part(found):
    rows = [[what, how] for what, how in found.machine]
    rows += [[one.title, one.version] for one in found.contenders
             if one.version and one.kind in ("peer", "compiled") and not one.absent]
    lines = ["| | |", "|---|---|"] + [f"| {what} | {how} |" for what, how in rows]
    return "## The machine\n\n" + "\n".join(lines) + "\n"


def times_table(found, times):
    rows = []
    for one in found.contenders:
        title = f"**{one.title}**" if one.kind == "ours" else one.title
        if one.absent:
            rows.append([f"{title} (left out: {one.absent})"] + ["–"] * len(found.workloads))
        else:
            rows.append([title] + [figure(times.get((name, one.name)))
                                   for name in found.workloads])
    return table(["ns per element", *found.workloads], rows)


def footnotes(found):
    """Footnotes for results that are not equal to ours to the bit."""
    notes = []
    for one in found.present():
        apart = [f"{name} ({found.agreed[name, one.name]:.1g})" for name in found.workloads
                 if found.agreed.get((name, one.name), 0) > 0]
        if apart:
            notes.append(f"- {one.title} differs from ours, relative to the value or to 1 if that "
                         f"is more, by at most: {', '.join(apart)}.")
    return "\n".join(notes) + "\n" if notes else "All answers are the same to the bit.\n"


def verdict(ratio, holds):
    return f"{ratio:.2f} " + ("yes" if holds else "**no**")


def ratio_table(found):
    rows = []
    for name in found.workloads:
        ours = found.times[name, OURS]
        row = [name]
        for bound in (FUSED, FRAME):
            time = found.times.get((name, bound))
            row.append("–" if time is None else f"{ours / time:.2f}" if bound == FUSED
                       else verdict(ours / time, ours <= time))
        best = found.best_peer(name)
        row += ["–", "–"] if best is None else [verdict(ours / best[0], ours < best[0]),
                                                best[1].title]
        rows.append(row)
    return table(["", "to fused", "to the frame, at most 1.00", "to the best peer, below 1.00",
                  "which is"], rows)


def geometric_mean(values):
    return math.exp(sum(math.log(value) for value in values) / len(values))


def in_place_table(found, times):
    """Ratios of the run in place to its bounds and peers, and what every core gains."""
    rows, to_blocks, to_fused = [], [], []
    for name in found.workloads:
        ours = times[name, IN_PLACE]
        row = [name, figure(ours)]
        if (name, BLOCKS) in times:
            to_blocks.append(ours / times[name, BLOCKS])
            to_fused.append(ours / times[name, FUSED])
            row += [verdict(to_blocks[-1], to_blocks[-1] <= 1.1), f"{to_fused[-1]:.2f}"]
        else:
            row += ["–", "–"]
        best = found.best_peer(name, times)
        row += ["–", "–"] if best is None else [verdict(ours / best[0], ours < best[0]),
                                                best[1].title]
        row.append(f"{ours / times[name, THREADS]:.2f}")
        row.append(f"{times[name, BLOCKS] / times[name, HAND_THREADS]:.2f}"
                   if (name, HAND_THREADS) in times else "–")
        rows.append(row)
    if to_blocks:
        blocks, fused = geometric_mean(to_blocks), geometric_mean(to_fused)
        rows.append(["geometric mean", "", verdict(blocks, blocks <= 0.9),
                     verdict(fused, fused <= 1.2), "", "", "", ""])
    return table(["", "ns", "to blocks, at most 1.10", "to fused", "to the best peer, below 1.00",
                  "which is", "every core", "by hand"], rows)


def in_place_part(found):
    if not found.cached:
        return ""
    return (IN_PLACE_WORDS
            + f"\nFrom memory, {found.count:,} elements:\n\n" + in_place_table(found, found.times)
            + f"\nIn the cache, {found.cached_count:,} elements:\n\n"
            + in_place_table(found, found.cached)
            + f"\nAll contenders over {found.cached_count:,} elements:\n\n"
            + times_table(found, found.cached))


def array_costs_part(found):
    if not found.arrays:
        return ""
    rows = [["prepared and run, 1,024 elements", "below 5,000",
             figure(nanoseconds(found.arrays["prepare and run"]))],
            ["run again, 1,024 elements", "below 1,200",
             figure(nanoseconds(found.arrays["run again/1024"]))],
            ["run again, 1 element", "below 100",
             figure(nanoseconds(found.arrays["run again/1"]))]]
    return ("## Fixed costs in place\n\nNanoseconds of processor time of an `ArrayRun` of 20 Float32 "
            "additions and multiplications over two fields.\n\n"
            + table(["", "should be", "ns"], rows))


def flatness(found):
    """How much our time varies over counts of elements that all exceed the last-level cache."""
    ours, fused = ([time for (name, _), time in found.beyond.items() if name == who]
                   for who in (OURS, FUSED))
    if len(ours) < 2:
        return ("\nThe last-level cache of this machine is too large to show with these counts "
                "what happens beyond it.\n")
    ratio = max(ours) / min(ours)
    counts = ", ".join(f"{count:,}" for name, count in found.beyond if name == OURS)
    return (f"\nThe data of {counts} elements exceed the last-level cache. Measured again, in "
            f"turns, ours takes {figure(min(ours))} to {figure(max(ours))} ns, a ratio of "
            f"{verdict(ratio, ratio <= 1.1)} (at most 1.10 is wanted). The fused loop takes "
            f"{figure(min(fused))} to {figure(max(fused))} ns, a ratio of "
            f"{max(fused) / min(fused):.2f}.\n")


def growing_part(found):
    counts = sorted({count for _, count in found.growing})
    if not counts:
        return ""
    heads = [f"{count:,}" for count in counts]
    times = [[one.title] + [figure(found.growing.get((one.name, count))) for count in counts]
             for one in found.present() if (one.name, counts[0]) in found.growing]
    memory = [[one.title] + [f"{max(0, found.memory[one.name, count]) / 2**20:.1f}"
                             if (one.name, count) in found.memory else "–" for count in counts]
              for one in found.present() if (one.name, counts[0]) in found.growing]
    return ("## Growing counts\n\nW10 is W2 over more and more elements. Times are nanoseconds per "
            "element. Small data stays in the cache.\n\n"
            + table(["ns per element", *heads], times) + flatness(found)
            + "\nThe largest resident memory without the fields and the result, in MiB:\n\n"
            + table(["MiB", *heads], memory))


def first_part(found):
    if not found.first:
        return ""
    rows = [[one.title, f"{found.first[one.name] / 1000:.1f}"] for one in found.present()
            if one.name in found.first]
    return ("## The first result\n\nThe time from a program of 20 instructions to its result over "
            "1,024 elements, with nothing prepared.\n\n"
            + table(["", "microseconds"], rows))


def nanoseconds(entry, key="cpu_time"):
    """The processor time that Google Benchmark measured, which other processes do not change."""
    return entry[key] * {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[entry["time_unit"]]


def block_part(found):
    """Time per element by block size."""
    sizes = sorted({int(name.split("/")[1]) for name in found.programs if name.startswith("W")})
    if not sizes:
        return ""
    rows = []
    for name in WORDS:
        entries = [found.programs.get(f"{name}/{size}") for size in sizes]
        times = [entry and nanoseconds(entry) / entry["elements"] for entry in entries]
        best = min((time for time in times if time), default=None)
        rows.append([name] + [f"**{figure(time)}**" if time == best else figure(time)
                              for time in times])
    return ("## Block sizes\n\nNanoseconds per element over 4,000,000 elements, for several block "
            "sizes; the shortest time is bold. The first column is the size that `adviseBlockSize` "
            "proposes.\n\n"
            + table(["", *(f"{size:,}" if size else "advised" for size in sizes)], rows))


PARTS = """## Where the time goes

The parts of our time per element in nanoseconds, in blocks of the advised size: *frame* is what
each block does for its registers and element numbers, *loads* copies fields, constants and
uniforms into registers, *steps* computes, and *result* collects the result. Each part is the
difference of two measurements, so that small ones are mostly noise.
"""


def time_of_parts(found, name):
    """Nanoseconds per element of the frame, the loads, the steps and the result; empty if they were
    not measured."""
    entries = [found.programs.get(f"part/{name}/{part}") for part in
               ("frame", "loads", "steps")] + [found.programs.get(f"{name}/0")]
    if not all(entries):
        return []
    times = [nanoseconds(entry) / entry["elements"] for entry in entries]
    return [times[0]] + [after - before for before, after in zip(times, times[1:])]


def parts_part(found):
    rows = []
    for name in WORDS:
        if parts := time_of_parts(found, name):
            rows.append([name] + [figure(time) for time in (*parts, sum(parts))])
    if not rows:
        return ""
    return PARTS + "\n" + table(["", "frame", "loads", "steps", "result", "all"], rows)


BETWEEN = """## What others save

On {names} another contender is faster. It reads its inputs in place and writes its result in place.
Our fields, steps and results meet in registers: a provider fills one register, each step fills
another, each has its validity, and the sink copies the result out. So a program can run over
anything that can answer for one block, and this is where the time goes:

{table} Of the loops by hand, *whole frame* makes all these copies and *blocks* makes none: the
difference is what they cost on this machine. An `ArrayRun` makes none either.
"""


def between_part(found):
    """The section on why others are faster, if they are."""
    rows = []
    for name in found.workloads:
        best = found.best_peer(name)
        if best is None or found.times[name, OURS] < best[0]:
            continue
        if parts := time_of_parts(found, name):
            rows.append([name, best[1].title, figure(found.times[name, OURS] / best[0])]
                        + [f"{part / sum(parts):.0%}" for part in parts])
    if not rows:
        return ""
    names = ", ".join(row[0] for row in rows)
    return BETWEEN.format(names=names, table=table(
        ["", "fastest", "times as fast", "frame", "loads", "steps", "result"], rows))


STEPS = (4, 20)  # instructions of two programs: an element index, a field and additions


def fixed_part(found):
    """The fixed costs of a plan, a block and a step."""
    if "configure/20" not in found.programs:
        return ""
    rows = [[f"`configure`, {count} instructions", "below 5,000 for 20" if count == 20 else "",
             figure(nanoseconds(found.programs[f"configure/{count}"]))] for count in (20, 100)]
    rows += [[f"`configure` again, {count} instructions", "",
              figure(nanoseconds(found.programs[f"configure again/{count}"]))]
             for count in (20, 100)]
    rows += [[f"to fill its registers with zeros, {count} instructions", "",
              figure(nanoseconds(found.programs[f"zero registers/{count}"]))]
             for count in (20, 100)]
    rows.append(["first result, 20 instructions, 1,024 elements", "below 10,000",
                 figure(nanoseconds(found.programs["first result/20"]))])
    for size in (1, 256):
        few, many = (found.programs[f"blocks/{steps}/{size}"] for steps in STEPS)
        few, many = (nanoseconds(one) / one["blocks"] for one in (few, many))
        step = (many - few) / (STEPS[1] - STEPS[0])
        elements = f"{size} element" + ("s" if size > 1 else "")
        rows.append([f"a step more, Float32 addition, block of {elements}",
                     "below 10 for what is fixed" if size == 1 else "", figure(step)])
        rows.append([f"a block of {elements}, with its numbers and one field", "",
                     figure(few - (STEPS[0] - 2) * step)])
    return ("## Fixed costs\n\nNanoseconds of processor time. The cost of a step is the slope "
            f"between programs of {STEPS[0]} and {STEPS[1]} instructions, all but two of them "
            "additions. The cost of a block is the rest.\n\n"
            + table(["", "should be", "ns"], rows))


# Why a kernel may be slower than the loop by hand, in any set or in the named one. If it is slower,
# the page gives the reason.
REASONS = {
    "not (Avx512)": "a thousand bytes are only sixteen vectors, so that the call and the test for "
                    "overlap count, which the loop by hand does not have",
    "is true (Avx512)": "it writes its two results in two passes",
    "i32 / i32": "it first searches the divisors for zeros, and it must not divide by -1, since "
                 "that quotient may not fit",
    "all valid?": "it checks after every four vectors, so that it stops early",
    "select f32, at random (Avx512)": "it picks values and validity in separate passes",
    "select f32, in runs of 100 (Avx512)": "as at random",
    "select f32, x3, at random (Avx512)": "as at random, and it spreads conditions first",
}

KERNELS = """## Kernels

Each instruction set has three columns, for blocks that stay in the first-level cache. The first
counts lanes of the result per nanosecond. The second divides this by the speed of the best loop by
hand for the shape, and should be at least 0.85; that loop is compiled for the same set, knows
kinds and counts, and assumes that areas do not overlap. The third divides by the speed of the
loads and stores alone. A ratio above 1 only shows that the loop by hand could be better. The loops
for `Select` read nothing of the arm that is not taken, as the kernels promise. In the baseline,
the loops for halves convert with the same routine for one lane, which the compiler turns into
vector code.
"""


def kernel_part(found):
    if not found.kernels:
        return ""
    sets = [one for one in SETS if any(name.split("/")[-1] == one for name in
                                       map(kernel_name, found.kernels))]
    shapes = list(dict.fromkeys(kernel_name(name).rsplit("/", 1)[0] for name in found.kernels))
    by_name = {kernel_name(name): entry for name, entry in found.kernels.items()}
    rows, missed, slower, close = [], [], [], []
    for shape in shapes:
        row = [shape]
        for one in sets:
            entry = by_name.get(f"{shape}/{one}")
            if entry is None:
                row += ["–"] * 3
                continue
            good = entry["ratio"] >= 0.85
            if not good:
                missed.append(f"{shape} ({one})")
            row += [figure(entry["lanes_per_ns"]),
                    f"{entry['ratio']:.2f}" if good else f"**{entry['ratio']:.2f}**",
                    f"{entry['limit']:.2f}"]
        rows.append(row)
        wide = [by_name.get(f"{shape}/{one}") for one in ("Avx2", "Avx512")]
        if all(wide) and wide[1]["lanes_per_ns"] < wide[0]["lanes_per_ns"] * 0.97:
            slower.append(shape)
        sides = [by_name.get(f"{shape}/{one}") for one in ("Baseline", "Avx2")]
        if "f32" in shape and all(sides) and (
                sides[1]["lanes_per_ns"] < sides[0]["lanes_per_ns"] * 1.6):
            close.append(shape)
    heads = [head for one in sets for head in (one, "of the loop", "of the limit")]
    told = [f"{len(rows) * len(sets) - len(missed)} of {len(rows) * len(sets)} reach 0.85."]
    if len(sets) == 3:
        told.append("For Float32, AVX2 is less than 1.6 times as fast as the baseline in: "
                    + (", ".join(close) or "none") + ".")
        told.append("AVX-512 is slower than AVX2 by more than 3 % in: "
                    + (", ".join(slower) or "none") + ".")
        told.append("There are three causes: many processors divide no more lanes at once with "
                    "AVX2 than without it; `Select` looks up validity byte by byte in both; and a "
                    "kernel at the limit of the baseline's loads and stores gains only what the "
                    "cache gives.")
    reasons = {name: REASONS.get(name) or REASONS.get(name.rpartition(" (")[0]) for name in missed}
    why = "".join(f"- {name}: {reason}.\n" for name, reason in reasons.items() if reason)
    if others := [name for name, reason in reasons.items() if not reason]:
        why += f"- {', '.join(others)}: no reason is known.\n"
    told = ["\n" + " ".join(told) + "\n", "\nWhy some are slower:\n\n" + why if why else ""]
    return KERNELS + "\n" + table(["", *heads], rows) + "".join(told)


def kernel_name(name):
    """The name of the kernel, without the parts that Google Benchmark adds."""
    return name.split("/iterations:")[0]


def write(found, path):
    """Writes the page, and the plot into the folder images beside it."""
    path = pathlib.Path(path)
    (path.parent / "images").mkdir(parents=True, exist_ok=True)
    listed = "\n".join(f"- **{name}**: {WORDS[name]}" for name in found.workloads)
    parts = [HEAD, machine_part(found)]
    if found.workloads:
        picture = path.parent / "images" / "performance.svg"
        picture.write_text(plot.workloads(found))
        parts += [
            ABOUT.format(count=found.count, rounds=found.rounds, workloads=listed,
                         block=f"{found.block:,} elements" if found.block
                         else "the size that the library advises"),
            "![Time per element of each contender](images/performance.svg)\n",
            times_table(found, found.times), footnotes(found), in_place_part(found), BARS,
            ratio_table(found)]
    parts += [growing_part(found), first_part(found), parts_part(found), between_part(found),
              block_part(found), fixed_part(found), array_costs_part(found), kernel_part(found)]
    path.write_text("\n".join(part for part in parts if part))
