"""Recordings as dask arrays: always what one loop from the first frame on gives, bit for bit."""
import contextlib
import functools
import os
import signal

import numpy as np
import pytest
from conftest import COUNTS, REFERENCE, SMALL, WIDE, run_python

import zocam

pytest.importorskip("dask.array")
import dask  # noqa: E402
import dask.array as da  # noqa: E402

import zocam.dask  # noqa: E402

RANDOM = 7


def lengthen(source, path, frames=260, seed=RANDOM):
    """A longer recording with a history: sensors that drift, flat-field corrections, some frames
    from before the first one, and frames of another footer, which no decoder takes."""
    random = np.random.default_rng(seed)
    data = source.read_bytes()
    header = data.index(b"\n") + 1
    with zocam.open_recording(source) as film:
        height, width = film.shape
        count = len(film)
    records = np.frombuffer(data[header:], np.uint8).reshape(count, -1)
    records = records[np.arange(frames) % count].copy()
    footers = records[:, 6 + 2 * width * height:]

    def put(field, offset, value):
        footers[field, offset], footers[field, offset + 1] = value >> 8 & 255, value & 255

    start = now = int(random.choice([500, 250_000, 295_000, 2**32 - 60_000]))
    corrected = 0
    for i in range(frames):
        now += int(random.choice([115, 115, 115, 4_000, 20_000]))
        if random.random() < 0.05 or (corrected == 0 and i > 10):
            corrected = now
        for value, offset in ((now, 2), (corrected, 60)):
            put(i, offset, value & 0xFFFF)
            put(i, offset + 2, value >> 16 & 0xFFFF)
        put(i, 48, int(30_000 + random.integers(-400, 400)))
        put(i, 58, int(29_900 + random.integers(-400, 400)))
        for point in range(3):  # the reference body's sensors, little-endian
            offset = 2 * width + 2 * point
            footers[i, offset] = random.integers(256)
        if random.random() < 0.04:
            footers[i, 1] = 77
        records[i, -2 * width:8 - 2 * width] = np.frombuffer(
            np.uint64((now - start) & 0xFFFFFFFF).tobytes(), np.uint8)
    path.write_bytes(data[:header] + records.tobytes())
    return path


def in_one_loop(path, settings=()):
    out = []
    with zocam.open_recording(path) as film:
        for name, value in dict(settings).items():
            setattr(film, name, value)
        for frame in film:
            out.append(frame.temperature if frame.has_temperature
                       else np.full(film.shape, np.nan, np.float32))
    return np.stack(out)


def equal(a, b):
    assert a.dtype == b.dtype and a.shape == b.shape
    assert a.tobytes() == b.tobytes(), np.unique(np.argwhere(a != b)[:, 0])


@contextlib.contextmanager
def two_workers():
    distributed = pytest.importorskip("distributed")
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=":0",
                                  silence_logs=50) as local:
        with distributed.Client(local, set_as_default=False) as client:
            yield client


@pytest.fixture(scope="session")
def cluster():
    with two_workers() as client:
        yield client


@pytest.mark.parametrize("settings", [
    {}, {"window_correction": 1}, {"window_correction": 1, "upside_down": True},
    {"noise_filter_threshold": 5, "undistortion": True}], ids=str)
@pytest.mark.parametrize("serial", [WIDE, SMALL, REFERENCE, COUNTS])
def test_chunks_of_any_size_equal_one_loop(film_paths, tmp_path, serial, settings):
    for seed in range(4 if serial != WIDE else 2):
        path = lengthen(film_paths[serial], tmp_path / f"{seed}.y4m", 190, seed)
        expected = in_one_loop(path, settings)
        assert np.isnan(expected).any() and np.isfinite(expected).any()
        for chunks in (1, 7, 16, 33, 1000):
            stack = zocam.dask.from_recordings(path, settings=settings, chunks=chunks)
            assert max(stack.array.chunks[0]) == min(chunks, 190)
            equal(stack.array.compute(scheduler="threads", num_workers=2), expected)


@pytest.mark.parametrize("product", ["6100", "6104", "6105", "6110"])
def test_so_do_chunks_of_the_other_models(tmp_path, product):
    done = run_python("""if True:
        import sys, zocam
        with zocam.open() as camera, camera.record(sys.argv[1]):
            for frame in camera:
                if frame.number >= 20:
                    break""", tmp_path / "short.y4m", camera=f"{product},fps=200")
    assert done.returncode == 0, done.stderr
    path = lengthen(tmp_path / "short.y4m", tmp_path / "long.y4m", 190)
    for settings in ({}, {"window_correction": 1}):
        expected = in_one_loop(path, settings)
        assert np.isnan(expected).any() and np.isfinite(expected).any()
        stack = zocam.dask.from_recordings(path, settings=settings, chunks=33)
        equal(stack.array.compute(scheduler="threads", num_workers=2), expected)


def test_warm_ups_stay_short(film_paths, tmp_path):
    for serial, settings, most in ((REFERENCE, {}, 59), (SMALL, {"window_correction": 1}, 31),
                                   (WIDE, {}, 0)):
        path = lengthen(film_paths[serial], tmp_path / f"{serial}.y4m", 2000)
        with zocam.open_recording(path) as film:
            lines = film[1].raw.shape[0] - film.height
            for name, value in settings.items():
                setattr(film, name, value)
            footers = zocam.warm_up.read_footers(film, lines)
            np.testing.assert_array_equal(footers.decodable,
                                          [frame.has_temperature for frame in film])
            before = zocam.warm_up.planner(film, footers)
            assert max(len(before(number)) for number in range(1, 2001)) <= most


class Ring:
    """As the library's moving average, slot by slot."""

    def __init__(self, size):
        self.slots, self.next, self.count = [0.0] * size, 0, 0

    def put(self, value):
        self.slots[self.next] = value
        self.next, self.count = (self.next + 1) % len(self.slots), min(self.count + 1,
                                                                       len(self.slots))

    def get(self):
        return sum(self.slots) / len(self.slots) if self.count == len(self.slots) else \
            self.slots[self.next - 1]


class Drift:
    """What the decoder of 6120 keeps. The sums of readings differ in their last bits with their
    order, which images seldom show."""

    def __init__(self):
        self.sensor, self.measured, self.holding, self.baseline = Ring(10), Ring(10), False, 0.0

    def take(self, hold, reading):
        if hold and not self.holding:
            self.baseline = self.measured.get()
            self.measured.next = self.measured.count = 0
        self.holding = hold
        if not hold:
            self.sensor.put(reading)
            self.measured.put(-reading)
        return self.sensor.get(), hold or self.measured.get(), self.baseline


def test_warm_ups_restore_the_last_bits_of_averages():
    random = np.random.default_rng(RANDOM)
    numbers = np.arange(1, 301)
    for rate in (0.02, 0.1, 0.5):
        holds = np.zeros(300, bool)
        for begin in np.flatnonzero(random.random(300) < rate):
            holds[begin:begin + random.integers(1, 8)] = True
        readings = 300 + random.random(300) / 3
        drift, window = Drift(), Ring(16)
        for i in range(300):
            warm_drift, warm_window = Drift(), Ring(16)
            for number in zocam.warm_up._of_drift(numbers, holds, i):
                warm_drift.take(holds[number - 1], readings[number - 1])
            for number in zocam.warm_up._turns(numbers[:i].tolist(), 16):
                warm_window.put(readings[number - 1])
            for ring in (window, warm_window):
                ring.put(readings[i])
            assert warm_window.get() == window.get()
            assert (warm_drift.take(holds[i], readings[i]) == drift.take(holds[i], readings[i]))


def test_many_recordings_on_two_workers_equal_a_sequential_run(film_paths, tmp_path, cluster):
    paths = [lengthen(film_paths[REFERENCE if i % 2 else SMALL], tmp_path / f"{i}.y4m", 40, i)
             for i in range(100)]
    settings = {"window_correction": 1}
    stack = zocam.dask.from_recordings(paths, settings=settings, chunks=17)
    expected = np.concatenate([in_one_loop(path, settings) for path in paths])
    equal(cluster.compute(stack.array).result(), expected)
    assert list(stack.index["recording"]) == [i for i in range(100) for _ in range(40)]
    assert list(stack.index["number"]) == list(range(1, 41)) * 100
    with zocam.open_recording(paths[3]) as film:
        assert list(stack.index["time"][120:160]) == [frame.time for frame in film]


def kill_once(frame, marker=""):
    """The first process that sees frame 15 of a recording dies at once."""
    if frame.number == 15:
        try:
            os.close(os.open(marker, os.O_CREAT | os.O_EXCL))
            os.kill(os.getpid(), signal.SIGKILL)
        except FileExistsError:
            pass
    return frame.temperature


def computed(stack, folder, cluster):
    return cluster.compute(stack.array).result(timeout=120)


def by_npy(stack, folder, cluster):
    zocam.dask.to_npy_stack(stack, folder / "npy")
    return da.from_npy_stack(folder / "npy").compute(scheduler="sync")


def by_zarr(stack, folder, cluster):
    zarr = pytest.importorskip("zarr")
    zocam.dask.to_zarr(stack, folder / "zarr", frames_per_chunk=9)
    return zarr.open_group(str(folder / "zarr"), mode="r")["frames"][:]


@pytest.mark.parametrize("result_of", [computed, by_npy, by_zarr])
def test_a_killed_worker_loses_nothing(film_paths, tmp_path, result_of):
    marker = tmp_path / "killed"
    paths = []
    for i in range(8):
        paths.append(tmp_path / f"{i}.y4m")
        paths[-1].write_bytes(film_paths[REFERENCE].read_bytes())
    expected = np.concatenate([in_one_loop(path) for path in paths])
    function = functools.partial(kill_once, marker=str(marker))
    stack = zocam.dask.map_frames(function, paths, chunks=6, dtype=np.float32,
                                  shape=expected.shape[1:])
    with two_workers() as cluster, dask.config.set(scheduler=cluster):
        equal(result_of(stack, tmp_path, cluster), expected)
    assert marker.exists()


def test_exports_are_read_again_as_they_were(film_paths, tmp_path, cluster):
    zarr = pytest.importorskip("zarr")
    paths = [lengthen(film_paths[WIDE], tmp_path / f"{i}.y4m", 25 + i, i) for i in range(3)]
    stack = zocam.dask.from_recordings(paths, chunks=10)
    expected = np.concatenate([in_one_loop(path) for path in paths])
    with dask.config.set(scheduler=cluster):
        zocam.dask.to_npy_stack(stack, tmp_path / "npy")
        zocam.dask.to_zarr(stack, tmp_path / "film.zarr", frames_per_chunk=7)
    equal(da.from_npy_stack(tmp_path / "npy").compute(scheduler="sync"), expected)
    np.testing.assert_array_equal(np.load(tmp_path / "npy" / "index.npy"), stack.index)
    group = zarr.open_group(str(tmp_path / "film.zarr"), mode="r")
    equal(group["frames"][:], expected)
    for field in stack.index.dtype.names:
        np.testing.assert_array_equal(group[field][:], stack.index[field])
    for export, name in ((zocam.dask.to_npy_stack, "npy"), (zocam.dask.to_zarr, "film.zarr")):
        with pytest.raises(FileExistsError):
            export(stack, tmp_path / name)


def test_functions_get_whole_frames(film_paths):
    paths = [film_paths[WIDE], film_paths[WIDE]]
    with zocam.open_recording(film_paths[WIDE]) as film:
        film.manual_range = (20, 40)
        pictures = [frame.render("iron", gain="manual") for frame in film]
        sensors = [frame.telemetry.sensor_temperature for frame in film]
        raw = np.stack([frame.raw for frame in film])
        film.raw_counts = True
        counts = np.stack([frame.counts for frame in film])
    made = zocam.dask.map_frames(lambda frame: frame.render("iron", gain="manual"), paths,
                                 settings={"manual_range": (20, 40)}, chunks=6)
    assert made.array.dtype == np.uint8
    equal(made.array.compute(), np.stack(2 * pictures))
    made = zocam.dask.map_frames(lambda frame: frame.telemetry.sensor_temperature, paths)
    equal(made.array.compute(), np.array(2 * sensors))
    equal(zocam.dask.from_recordings(paths[0], "raw", chunks=3).array.compute(), raw)
    equal(zocam.dask.from_recordings(paths[0], "counts", settings={"raw_counts": True})
          .array.compute(), counts)
    with pytest.raises(ValueError, match="frame 2"):
        zocam.dask.map_frames(lambda frame: np.zeros(frame.number), paths).array.compute()


def test_what_settings_take_as_arrays_reaches_the_workers(film_paths, cluster):
    path = film_paths[SMALL]
    with zocam.open_recording(path) as film:
        film.start_reflection_learning()
        list(film)
        image = film.stop_reflection_learning()
        reference = film[3].counts
        film.set_reference(reference)
        film.set_reflection_correction(image)
        expected = np.stack([frame.temperature for frame in film[1:]])
    stack = zocam.dask.from_recordings(
        path, settings={"reference": reference, "reflection_correction": image}, chunks=4)
    equal(cluster.compute(stack.array).result(), expected)


def test_errors_name_the_file(film_paths, tmp_path):
    data = film_paths[WIDE].read_bytes()
    good, other = tmp_path / "good.y4m", tmp_path / "other.y4m"
    good.write_bytes(data)
    with pytest.raises(ValueError, match=rf"{film_paths[SMALL]}.*80 x 60.*160 x 120"):
        zocam.dask.from_recordings([good, film_paths[SMALL]])
    with pytest.raises(FileNotFoundError, match="other.y4m"):
        zocam.dask.from_recordings([good, other])
    other.write_bytes(data[:data.index(b"\n") + 1])
    with pytest.raises(zocam.ZocamError, match="other.y4m"):
        zocam.dask.from_recordings([good, other])
    other.write_bytes(data[:-7])  # torn
    assert zocam.dask.from_recordings([good, other]).array.shape == (39, 120, 160)
    damaged = bytearray(data)
    record = (len(data) - data.index(b"\n") - 1) // 20
    damaged[data.index(b"\n") + 1 + 4 * record] = ord("x")
    other.write_bytes(damaged)
    stack = zocam.dask.from_recordings(other, chunks=2)
    with pytest.raises(zocam.ZocamError, match="other.y4m: record 5") as raised:
        stack.array.compute()
    assert raised.value.status == 24
    for change in (lambda: other.write_bytes(data + data[-record:]), lambda: os.utime(other)):
        with pytest.raises(RuntimeError, match="other.y4m has changed"):
            change()
            stack.array.compute()
    for wrong in ({"settings": {"noise": 3}}, {"settings": {"raw_counts": True}}, {"chunks": 0},
                  {"what": "kelvin"}):
        with pytest.raises(ValueError):
            zocam.dask.from_recordings(good, **wrong)
    with pytest.raises(ValueError):
        zocam.dask.from_recordings([])


def test_chunks_are_of_some_bytes(film_paths):
    stack = zocam.dask.from_recordings(film_paths[WIDE], chunks="1 MiB")
    assert stack.array.chunks[0] == (13, 7)
    same = zocam.dask.from_recordings(film_paths[WIDE], chunks="1 MiB")
    assert stack.array.name == same.array.name
    other = zocam.dask.from_recordings(film_paths[WIDE], settings={"upside_down": True})
    assert stack.array.name != other.array.name
