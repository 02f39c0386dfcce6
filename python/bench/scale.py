#!/usr/bin/env python3
"""Measures one dask run over many recordings: in one loop, on 1 and on 2 workers, and compares the
results bit for bit. Prints the table of docs/dask.md.
Usage: python/bench/scale.py BUILD_FOLDER [RECORDINGS [FRAMES]], with the package and zocam-sim
built there."""
import os
import statistics
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(sys.argv[1])
RECORDINGS = int(sys.argv[2]) if len(sys.argv) > 2 else 100
FRAMES = int(sys.argv[3]) if len(sys.argv) > 3 else 600
ROUNDS = 3
sys.path.insert(0, f"{BUILD}/python")
os.environ["PYTHONPATH"] = f"{BUILD}/python"  # for the workers
import distributed  # noqa: E402
import numpy as np  # noqa: E402

import zocam  # noqa: E402
import zocam.dask  # noqa: E402

RECORD = """
import sys, zocam
with zocam.open() as camera, camera.record(sys.argv[1]) as recorder:
    for frame in camera:
        if frame.number >= int(sys.argv[2]):
            break
"""
CASES = [("6103", "6103, as it is", {}), ("6120", "6120, reference body", {}),
         ("6101", "6101, window correction", {"window_correction": 1})]


def summary(frame):
    """Of a frame: few numbers, so that decoding is measured and not the way home."""
    image = frame.temperature
    return np.array([image.min(), image.mean(), image.max(), np.median(image)], np.float32)


def in_one_loop(paths, settings):
    out = []
    for path in paths:
        with zocam.open_recording(path) as film:
            for name, value in settings.items():
                setattr(film, name, value)
            out += [summary(frame) for frame in film]
    return np.stack(out)


def make(camera, folder):
    """Recordings of one camera: one is made, the others are copies of their own."""
    first = f"{folder}/0.y4m"
    subprocess.run([f"{BUILD}/bin/zocam-sim", "--camera", f"{camera},fps=max", "--", sys.executable,
                    "-c", RECORD, first, str(FRAMES)], check=True)
    data = open(first, "rb").read()
    paths = [first]
    for i in range(1, RECORDINGS):
        paths.append(f"{folder}/{i}.y4m")
        with open(paths[-1], "wb") as file:
            file.write(data)
    return paths


def timed(function):
    start = time.perf_counter()
    result = function()
    return time.perf_counter() - start, result


def on_workers(client, paths, settings):
    stack = zocam.dask.map_frames(summary, paths, dtype=np.float32, shape=(4,), settings=settings,
                                  chunks=FRAMES // 2)
    return client.compute(stack.array).result()


def measure(camera, settings, clients):
    with tempfile.TemporaryDirectory() as folder:
        paths = make(camera, folder)
        times = {"loop": [], "make": [], 1: [], 2: []}
        for _ in range(ROUNDS):
            spent, expected = timed(lambda: in_one_loop(paths, settings))
            times["loop"].append(spent)
            times["make"].append(timed(lambda: zocam.dask.from_recordings(
                paths, settings=settings))[0])
            for count, client in clients.items():
                spent, result = timed(lambda: on_workers(client, paths, settings))
                times[count].append(spent)
                if result.tobytes() != expected.tobytes():
                    sys.exit(f"{camera}: the results on {count} workers differ from one loop's")
        return {name: statistics.median(values) for name, values in times.items()}


def main():
    clusters = {count: distributed.LocalCluster(n_workers=count, threads_per_worker=1,
                                                dashboard_address=":0") for count in (1, 2)}
    clients = {count: distributed.Client(cluster) for count, cluster in clusters.items()}
    print(f"{RECORDINGS} recordings of {FRAMES} frames; seconds, medians of {ROUNDS} rounds\n")
    print("| | one loop | 1 worker | 2 workers | 2 against 1 | making the array |")
    print("|---|--:|--:|--:|--:|--:|")
    for camera, name, settings in CASES:
        t = measure(camera, settings, clients)
        print(f"| {name} | {t['loop']:.2f} | {t[1]:.2f} | {t[2]:.2f} | {t[1] / t[2]:.2f} times | "
              f"{t['make']:.2f} |")
    for client in clients.values():
        client.close()
    for cluster in clusters.values():
        cluster.close()


if __name__ == "__main__":
    main()
