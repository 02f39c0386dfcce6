#!/usr/bin/env python3
"""Judges and shows what a run of zocam_soak measured: prints the figures, puts them into
docs/reliability.md between its markers, draws docs/images/soak.png, and fails on growth or findings.
Usage: report.py SAMPLES.csv SUMMARY.json release|tsan COMMIT, in the root of the repository.
"""
import csv
import json
import re
import statistics
import sys

PAGE = "docs/reliability.md"
PICTURE = "docs/images/soak.png"
# What the median of the last quarter of a run may be above that of the second quarter. What is held
# depends on what happens to be open; a leak of one per opened handle is hundreds in ten minutes.
ALLOWED = {"residentKiB": 1024, "heapKiB": 1024, "descriptors": 4, "threads": 2}
NAMES = {"residentKiB": "resident memory, KiB", "heapKiB": "of it handed out by malloc, KiB",
         "descriptors": "open descriptors", "threads": "threads"}
MEMORY = ("residentKiB", "heapKiB")
LONG_S = 600  # shorter runs may grow twice as much: their medians are of few samples
SHORTEST_S = 60  # shorter ones still are warming up in their second quarter


def read_samples(path):
    with open(path) as file:
        return [{name: float(value) for name, value in row.items()} for row in csv.DictReader(file)]


def quarter(samples, which, name):
    end = samples[-1]["seconds"]
    return statistics.median(
        row[name] for row in samples if which * end / 4 <= row["seconds"] <= (which + 1) * end / 4)


def table(header, rows):
    widths = [max(len(str(row[i])) for row in [header, *rows]) for i in range(len(header))]

    def line(cells):
        padded = [str(cells[0]).ljust(widths[0])]
        padded += [str(cell).rjust(width) for cell, width in zip(cells[1:], widths[1:])]
        return "| " + " | ".join(padded) + " |"

    ruler = "|" + "|".join(["-" * (widths[0] + 2), *("-" * (w + 1) + ":" for w in widths[1:])])
    return "\n".join([line(header), ruler + "|", *map(line, rows)])


def growth(samples, tsan):
    """Rows of the growth table, and what grew."""
    rows, grown = [], []
    seconds = samples[-1]["seconds"]
    for name, allowed in ALLOWED.items():
        allowed *= 1 if seconds >= LONG_S else 2
        early, late = quarter(samples, 1, name), quarter(samples, 3, name)
        # The sanitizer keeps books of its own that grow with every new thread and address.
        judged = seconds >= SHORTEST_S and not (tsan and name in MEMORY)
        if judged and late > early + allowed:
            grown.append(name)
        rows.append([NAMES[name], f"{early:.0f}", f"{late:.0f}", f"{late - early:+.0f}",
                     f"{allowed}" if judged else "not judged"])
    return table(["median of", "second quarter", "last quarter", "growth", "allowed"],
                 rows), grown


def frames(summary):
    made = sum(summary[name] for name in
               ("seen", "lostNoBuffer", "lostOnTheBus", "leftInBuffers"))
    wrong = sum(summary[name] for name in ("torn", "repeated", "foreign", "missing"))
    rows = [
        ["made by the cameras while they streamed", made],
        ["seen by callbacks, each once, in order, whole", summary["seen"]],
        ["lost: no buffer was free, because callback or machine was slow", summary["lostNoBuffer"]],
        ["lost: spoiled on the bus", summary["lostOnTheBus"]],
        ["lost: in a buffer when the stream ended",
         summary["leftInBuffers"]],
        ["**torn, repeated, of another camera, or missing without such a reason**", wrong],
        ["read back from recordings, equal to what the callback saw", summary["recorded"]],
        ["decoded to the same temperatures by a second handle", summary["temperaturesSame"]],
        ["seen while recordings played", summary["played"]],
        ["**wrong in a recording, in playback, or in temperatures**",
         summary["recordingDiffers"] + summary["playbackDiffers"] + summary["temperaturesDiffer"]],
    ]
    return table(["frames", "number"], rows)


def events(summary):
    rows = [
        ["handles opened", summary["opens"]],
        ["streams", summary["sessions"]],
        ["cables pulled, half of them inside a call", summary["pulls"]],
        ["streams that found their camera gone, by that or a failing call", summary["vanished"]],
        ["reconnects", summary["reconnects"]],
        ["system calls made to fail", summary["callFaults"]],
        ["commands that succeeded", summary["commands"]],
        ["commands that failed as they should", summary["commandsFailed"]],
        ["recordings made and compared", summary["recordings"]],
        ["playbacks", summary["playbacks"]],
        ["seeks", summary["seeks"]],
        ["pauses", summary["pauses"]],
        ["**statuses that are not promised**", summary["unexpectedStatus"]],
        ["**threads, descriptors, buffers left at the end**", summary["left"]],
    ]
    return table(["events", "number"], rows)


def draw(samples):
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    minutes = [row["seconds"] / 60 for row in samples]
    figure, axes = plt.subplots(3, 1, figsize=(9, 6), sharex=True)
    end = minutes[-1]
    shown = {"residentKiB": (axes[0], "#b01030"), "heapKiB": (axes[0], "#d98c00"),
             "descriptors": (axes[1], "#b01030"), "threads": (axes[2], "#b01030")}
    for name, (axis, colour) in shown.items():
        scale = 1024 if name in MEMORY else 1
        label = {"residentKiB": "resident", "heapKiB": "handed out by malloc"}.get(name)
        axis.plot(minutes, [row[name] / scale for row in samples], color=colour, linewidth=0.6,
                  label=label)
        for which in (1, 3):
            level = quarter(samples, which, name) / scale
            first = name == "residentKiB" and which == 1
            axis.plot([which * end / 4, (which + 1) * end / 4], [level, level], color="#333333",
                      linewidth=2, label="median of a quarter" if first else None)
        axis.set_ylabel("MiB" if scale > 1 else NAMES[name])
        axis.set_ylim(bottom=0)
        axis.grid(True, color="#dddddd")
        for side in ("top", "right"):
            axis.spines[side].set_visible(False)
    axes[0].set_ylim(top=1.35 * axes[0].get_ylim()[1])
    axes[0].legend(frameon=False, loc="upper right", ncols=3)
    axes[-1].set_xlabel("minutes")
    axes[-1].set_xlim(0, end)
    figure.align_ylabels()
    figure.tight_layout()
    figure.savefig(PICTURE, dpi=100, metadata={"Software": None})


def write(parts):
    with open(PAGE) as file:
        page = file.read()
    for name, text in parts.items():
        page, count = re.subn(rf"(<!-- measured: {name} -->\n).*?(<!-- end -->)",
                              lambda found: f"{found[1]}\n{text}\n\n{found[2]}", page, flags=re.S)
        if count != 1:
            sys.exit(f"soak: {PAGE} has no place for {name}")
    with open(PAGE, "w") as file:
        file.write(page)


def main():
    samples = read_samples(sys.argv[1])
    with open(sys.argv[2]) as file:
        summary = json.load(file)
    tsan = sys.argv[3] == "tsan"
    growth_table, grown = growth(samples, tsan)
    how = f"{summary['seconds'] / 60:.0f} minutes, seed {summary['seed']}, commit {sys.argv[4]}"
    if tsan:
        text = (f"{how}: {summary['seen']} frames seen live, {summary['played']} played, "
                f"{summary['pulls']} cables pulled; {summary['wrong']} findings, no report of the "
                "sanitizer.")
        parts = {"soak-tsan": text}
    else:
        parts = {"soak": "\n\n".join([how + ".", frames(summary), growth_table, events(summary)])}
        draw(samples)
    print(frames(summary), growth_table, events(summary), sep="\n\n")
    write(parts)
    print(f"\n{PAGE}" + ("" if tsan else f"\n{PICTURE}"))
    if summary["wrong"] or grown:
        sys.exit(f"soak: {summary['wrong']} findings; grown: {', '.join(grown) or 'nothing'}")


if __name__ == "__main__":
    main()
