#!/usr/bin/env python3
"""Makes tables and a picture of what scripts/bench measured: prints the tables, puts them into
docs/performance.md between its markers and draws docs/images/performance.png.
Usage: report.py RESULTS.json STREAMING.json COMMIT, in the root of the repository.
"""
import json
import re
import sys

PAGE = "docs/performance.md"
PICTURE = "docs/images/performance.png"
LEVELS = {"plain": "plain", "baseline": "baseline", "avx2": "AVX2"}
LINEAR = "decoder A, undistortion, noise filter, linear gain, iron 24 bit"
NON_LINEAR = LINEAR.replace("linear gain", "non-linear gain")
LARGE, SMALL = "160x120", "80x60"


class Results:
    """Microseconds by kind, what, size and variant: the shortest of the repetitions, because what
    else the machine does only ever adds to them."""

    def __init__(self, path):
        with open(path) as file:
            data = json.load(file)
        self.context = data["context"]
        self.times = {}
        # They ran in a random order.
        for run in sorted(data["benchmarks"], key=lambda run: run["family_index"]):
            if run["run_type"] != "iteration":
                continue
            if run.get("error_occurred"):
                sys.exit(f"bench: {run['name']}: {run['error_message']}")
            kind, what, size, variant = run["name"].split("/")[:4]
            micros = run["real_time" if kind == "file" else "cpu_time"] / 1000
            variants = self.times.setdefault((kind, what, size), {})
            variants[variant] = min(micros, variants.get(variant, micros))

    def has_opencv(self):
        return "opencv" in self.context

    def of(self, kind, what, size):
        return self.times.get((kind, what, size), {})

    def things(self, kind, size=None):
        return [(what, where) for k, what, where in self.times
                if k == kind and size in (None, where)]

    def ratio(self, kind, what, size, over, under):
        times = self.of(kind, what, size)
        return times[over] / times[under] if over in times and under in times else None


def pixels_of(size):
    width, height = size.split("x")
    return int(width) * int(height)


def micros(value):
    if value is None:
        return ""
    return f"{value:.2f}" if value < 100 else f"{value:.0f}"


def times_faster(value):
    return "" if value is None else f"{value:.1f}x"


def table(header, rows):
    """A Markdown table that reads well as text, too: first column left, the others right."""
    rows = [[str(cell) for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in [header, *rows]) for i in range(len(header))]

    def line(cells):
        padded = [cells[0].ljust(widths[0])]
        padded += [cell.rjust(width) for cell, width in zip(cells[1:], widths[1:])]
        return "| " + " | ".join(padded) + " |"

    ruler = "|" + "|".join(["-" * (widths[0] + 2), *("-" * (w + 1) + ":" for w in widths[1:])])
    return "\n".join([line(header), ruler + "|", *map(line, rows)])


def level_table(results, kind, things, first):
    header = [first, *(f"{name} µs" for name in LEVELS.values()), "ns per pixel", "times plain"]
    opencv = any("opencv" in results.of(kind, *thing) for thing in things)
    if opencv:
        header += ["OpenCV µs", "times OpenCV"]
    several_sizes = len({size for _, size in things}) > 1
    rows = []
    for what, size in things:
        times = results.of(kind, what, size)
        best = min(times[level] for level in LEVELS if level in times)
        row = [f"{what}, {size}" if several_sizes else what]
        row += [micros(times.get(level)) for level in LEVELS]
        row += [f"{best * 1000 / pixels_of(size):.2f}", times_faster(times["plain"] / best)]
        if opencv:
            there = times.get("opencv")
            row += [micros(there), times_faster(there and there / best)]
        rows.append(row)
    return table(header, rows)


def growth_table(results):
    sizes = sorted({size for _, size in results.things("stage")}, key=pixels_of)
    rows = []
    for what, _ in results.things("stage", SMALL):
        row = [what]
        for size in sizes:
            times = results.of("stage", what, size)
            best = min(times[level] for level in LEVELS if level in times)
            row.append(f"{best * 1000 / pixels_of(size):.2f}")
        rows.append(row)
    return table(["ns per pixel", *(size.replace("x", " x ") for size in sizes)], rows)


def recordings_table(results):
    rows = []
    for what, size in results.things("file"):
        times = results.of("file", what, size)
        if "plain" in times:
            continue
        plain = times.get("C library")
        ratio = f"{times['zocam'] / plain:.2f}" if plain else ""
        rows.append([what, micros(times["zocam"]), micros(plain), ratio])
    return table(["160 x 120", "µs", "C library µs", "ratio"], rows)


def mebibytes(kib):
    return f"{kib / 1024:.1f}"


def streaming_table(streaming):
    empty = streaming["emptyKiB"]
    names = {"dropped": "stream and virtual camera, frames dropped",
             "pictures": "stream and virtual camera, pictures made",
             "played": "recording played at this rate, pictures made"}
    rows = []
    for camera, loads in streaming["loads"].items():
        rows.append([f"**{camera}**", "", "", ""])
        for what, name in names.items():
            load = loads[what]
            rows.append([name, f"{load['framesPerSecond']:.1f}", f"{100 * load['cpuShare']:.2f}",
                         mebibytes(load["residentKiB"] - empty)])
        share = loads["pictures"]["cpuShare"] - loads["dropped"]["cpuShare"]
        rows.append(["pictures alone (the difference)", "", f"{100 * share:.2f}", ""])
    return table(["one stream", "frames per s", "% of a core", "MiB above empty"], rows)


def goals_table(results, streaming):
    def chain(what, size, over, under):
        return results.ratio("chain", what, size, over, under)

    def file(what):
        return results.of("file", what, LARGE)

    playback = file("playback at speed 0, per frame")
    loads = next(iter(streaming["loads"].values()))["pictures"]
    above = (loads["residentKiB"] - streaming["emptyKiB"]) / 1024
    # What, its goal, what was reached, whether more is better, how both are written.
    times, percent = "{:.1f}x", "{:.2f} % of a core"
    goals = [
        (f"linear chain, {LARGE}, AVX2 against plain", 9,
         chain(LINEAR, LARGE, "plain", "avx2"), True, times),
        (f"linear chain, {LARGE}, baseline against plain", 5,
         chain(LINEAR, LARGE, "plain", "baseline"), True, times),
        (f"linear chain, {LARGE}, AVX2 against OpenCV", 7,
         chain(LINEAR, LARGE, "opencv", "avx2"), True, times),
        (f"linear chain, {SMALL}, AVX2 against plain", 6,
         chain(LINEAR, SMALL, "plain", "avx2"), True, times),
        (f"non-linear chain, {LARGE}, AVX2 against plain", 9,
         chain(NON_LINEAR, LARGE, "plain", "avx2"), True, times),
        ("playback at speed 0 against fread", 1.3, playback["zocam"] / playback["C library"], False,
         "{:.2f}x"),
        ("opening a recording of 10 GB", 1, file("open 10 GB")["zocam"] / 1000, False,
         "{:.3f} ms"),
        ("seeking to its middle", 1, file("seek to the middle of 10 GB")["zocam"] / 1000, False,
         "{:.3f} ms"),
        ("a stream at the high rate with pictures", 1, 100 * loads["cpuShare"], False, percent),
        ("its memory above an empty process", 8, above, False, "{:.1f} MiB"),
    ]
    rows = []
    for what, goal, value, more, form in goals:
        unit = form[form.index("}") + 1:]
        reached = "not measured" if value is None else form.format(value)
        met = "" if value is None else "yes" if (value >= goal if more else value <= goal) else "no"
        rows.append([what, f"{'at least' if more else 'at most'} {goal}{unit}", reached, met])
    return table(["what", "goal", "reached", "met"], rows)


def cpu_name():
    with open("/proc/cpuinfo") as file:
        found = re.search(r"model name\s*:\s*(.*)", file.read())
    return found.group(1) if found else "unknown"


def machine(results, commit):
    context = results.context
    lines = [f"- CPU: {cpu_name()}, {context['num_cpus']} cores, {context['mhz_per_cpu']} MHz",
             f"- Compiler: {context['compiler']}, `{context['flags']}`",
             f"- Commit: {commit}, {context['date'][:10]}",
             f"- OpenCV: {context.get('opencv', 'not there')}" +
             (", one thread" if results.has_opencv() else "")]
    return "\n".join(lines)


def draw(results):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    chains = {"linear gain": "all stages of the linear chain",
              "non-linear gain": "all stages of the non-linear chain"}
    colours = {"plain": "#777777", "baseline": "#d98c00", "avx2": "#b01030"}
    figure, axes = plt.subplots(1, 2, figsize=(10, 4.2), sharey=True)
    for axis, (title, what) in zip(axes, chains.items()):
        sizes = sorted((size for stage, size in results.things("stage") if stage == what),
                       key=pixels_of)
        counts = [pixels_of(size) for size in sizes]
        for level, name in LEVELS.items():
            values = [results.of("stage", what, size).get(level) for size in sizes]
            if None in values:
                continue
            axis.plot(counts, values, "o-", color=colours[level], label=name)
            # The line that goes on from the first size in proportion to the pixels.
            axis.plot(counts, [values[0] * n / counts[0] for n in counts], ":", linewidth=1,
                      color=colours[level], label="in proportion" if level == "avx2" else None)
        axis.set(xscale="log", yscale="log", xlabel="pixels",
                 title=f"decoder A, corrections, {title}, 24 bit")
        axis.title.set_fontsize(10)
        axis.set_xticks(counts, [size.replace("x", " x ") for size in sizes])
        axis.minorticks_off()
        axis.grid(True, color="#dddddd")
        for side in ("top", "right"):
            axis.spines[side].set_visible(False)
    axes[0].set_ylabel("microseconds per frame")
    axes[0].legend(frameon=False)
    figure.tight_layout()
    figure.savefig(PICTURE, dpi=100, metadata={"Software": None})


def main():
    results = Results(sys.argv[1])
    with open(sys.argv[2]) as file:
        streaming = json.load(file)
    scans = [thing for thing in results.things("file") if "plain" in results.of("file", *thing)]
    parts = {
        "machine": machine(results, sys.argv[3]),
        "goals": goals_table(results, streaming),
        "stages-large": level_table(results, "stage", results.things("stage", LARGE), "160 x 120"),
        "stages-small": level_table(results, "stage", results.things("stage", SMALL), "80 x 60"),
        "growth": growth_table(results),
        "chains": level_table(results, "chain", results.things("chain"), "chain"),
        "scans": level_table(results, "file", scans, "160 x 120"),
        "recordings": recordings_table(results),
        "streaming": streaming_table(streaming),
    }
    with open(PAGE) as file:
        page = file.read()
    for name, text in parts.items():
        print(f"\n{name}\n{text}")
        page, count = re.subn(rf"(<!-- measured: {name} -->\n).*?(<!-- end -->)",
                              lambda found: f"{found[1]}\n{text}\n\n{found[2]}", page, flags=re.S)
        if count != 1:
            sys.exit(f"bench: {PAGE} has no place for {name}")
    with open(PAGE, "w") as file:
        file.write(page)
    draw(results)
    print(f"\n{PAGE}\n{PICTURE}")


if __name__ == "__main__":
    main()
