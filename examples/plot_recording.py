#!/usr/bin/env python3
"""Shows a recording: two images, what has changed between them, how the temperatures of a spot and
of a place that changes go, and how many pixels have which temperature. Needs matplotlib.
Usage: plot_recording.py FILM.y4m PICTURE.png [ROW COLUMN]; the spot is the hottest of frame 1
unless it is named."""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import zocam  # noqa: E402

RADIUS = 2  # of the places whose mean is shown, in pixels


def mark(axes, place, text, colour):
    axes.add_patch(plt.Circle(place[::-1], RADIUS + 2, fill=False, color=colour, linewidth=1.5))
    axes.annotate(text, place[::-1], xytext=(0, -16), textcoords="offset points", color="white",
                  ha="center", fontsize="small")


def around(images, place):
    rows, columns = (slice(max(number - RADIUS, 0), number + RADIUS + 1) for number in place)
    return images[:, rows, columns].mean(axis=(1, 2))


def main():
    if len(sys.argv) not in (3, 5):
        sys.exit(__doc__)
    with zocam.open_recording(sys.argv[1]) as film:
        frames = [frame for frame in film if frame.has_temperature]
        name = film.name
    if not frames:
        sys.exit(f"{sys.argv[1]}: none of its frames has temperatures")
    images = np.stack([frame.temperature for frame in frames])
    times = np.array([frame.time for frame in frames])
    hottest = tuple(map(int, sys.argv[3:])) or np.unravel_index(images[0].argmax(), images[0].shape)
    # The two frames that are shown: where the pixel that changes most is coldest and hottest.
    span = images.max(axis=0) - images.min(axis=0)
    liveliest = np.unravel_index(span.argmax(), span.shape)
    pixel = images[:, liveliest[0], liveliest[1]]
    early, late = sorted((int(pixel.argmin()), int(pixel.argmax())))

    figure, axes = plt.subplot_mosaic([["early", "late", "change"], ["time", "time", "histogram"]],
                                      figsize=(12, 6.4), layout="constrained",
                                      height_ratios=[1, 0.9])
    figure.suptitle(f"{name or 'Recording'}: {len(images)} frames in {times[-1]:.1f} s")
    low, high = np.percentile(images, [0.5, 99.8])
    for key, i in (("early", early), ("late", late)):
        shown = axes[key].imshow(images[i], "inferno", vmin=low, vmax=high)
        axes[key].set_title(f"{times[i]:.2f} s")
        mark(axes[key], hottest, "spot", "deepskyblue")
        mark(axes[key], liveliest, "change", "lime")
    figure.colorbar(shown, ax=[axes["early"], axes["late"]], label="°C", shrink=0.9)
    change = images[late] - images[early]
    most = max(float(np.abs(change).max()), 0.1)
    shown = axes["change"].imshow(change, "RdBu_r", vmin=-most, vmax=most)
    axes["change"].set_title("Change from one to the other")
    figure.colorbar(shown, ax=axes["change"], label="K", shrink=0.9)
    for key in ("early", "late", "change"):
        axes[key].set_xticks([])
        axes[key].set_yticks([])

    for place, label, colour in ((hottest, "spot", "deepskyblue"),
                                 (liveliest, "change", "limegreen")):
        axes["time"].plot(times, around(images, place), colour, linewidth=1.5,
                          label=f"{label}, row {place[0]}, column {place[1]}")
    for i in (early, late):
        axes["time"].axvline(times[i], color="0.7", linewidth=1, linestyle="--")
    axes["time"].set(xlabel="s", ylabel="°C", title="Temperature over time", xlim=(0, times[-1]))
    axes["time"].legend(loc="best")
    axes["time"].grid(alpha=0.3)
    bins = np.linspace(images.min(), images.max(), 45)
    for i, style in ((early, {"color": "0.75"}), (late, {"color": "tab:red", "histtype": "step"})):
        axes["histogram"].hist(images[i].ravel(), bins, label=f"{times[i]:.2f} s", **style)
    axes["histogram"].set(xlabel="°C", ylabel="pixels", yscale="log", title="Histogram")
    axes["histogram"].legend()
    figure.savefig(sys.argv[2], dpi=80)


if __name__ == "__main__":
    main()
