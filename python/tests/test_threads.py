"""Many threads on one source."""
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import numpy as np
import pytest
from conftest import COUNTS, SMALL, WIDE, run_python

import zocam


@pytest.fixture(autouse=True)
def frequent_switches():
    before = sys.getswitchinterval()
    sys.setswitchinterval(1e-5)
    yield
    sys.setswitchinterval(before)


def test_threads_that_iterate_one_recording_share_its_frames(film):
    with ThreadPoolExecutor(4) as pool:
        parts = pool.map(lambda _: [frame.number for frame in film], range(4))
        seen = [number for part in parts for number in part]
    # A thread that begins behind another's end starts the recording anew.
    assert set(seen) == set(range(1, 21)) and len(seen) % 20 == 0


def test_frames_are_read_and_painted_in_parallel(film):
    expected = {number: (film[number].temperature, film[number].render())
                for number in range(1, 21)}

    def check(number):
        frame = film[number]
        temperature, picture = expected[number]
        np.testing.assert_array_equal(frame.temperature, temperature)
        np.testing.assert_array_equal(frame.render(), picture)
        np.testing.assert_array_equal(frame.array(copy=False), temperature)

    with ThreadPoolExecutor(4) as pool:
        list(pool.map(check, list(expected) * 10))


def test_closing_ends_the_waits_of_other_threads():
    with ThreadPoolExecutor(4) as pool:
        camera = zocam.open(WIDE)

        def watch():
            with pytest.raises(zocam.ZocamClosedError):
                for frame in camera:
                    frame.temperature

        watchers = [pool.submit(watch) for _ in range(3)]
        time.sleep(0.3)
        closers = [threading.Thread(target=camera.close) for _ in range(2)]
        for thread in closers:
            thread.start()
        for thread in closers:
            thread.join(20)
            assert not thread.is_alive()
        for watcher in watchers:
            watcher.result(20)


def test_a_stop_ends_the_loops_of_other_threads(camera):
    with ThreadPoolExecutor(3) as pool:
        loops = [pool.submit(lambda: sum(1 for _ in camera)) for _ in range(3)]
        next(camera)
        time.sleep(0.3)
        camera.stop()
        assert sum(loop.result(20) for loop in loops) > 3


def test_everything_at_once_on_a_live_camera(tmp_path):
    """Loops, settings, commands, pictures, recordings, stops: no deadlock, nothing but ZocamError."""
    camera = zocam.open(SMALL, queue=2)
    end = time.monotonic() + 3

    def until_end(work):
        count = 0
        while time.monotonic() < end:
            try:
                work(count)
            except StopIteration:
                pass  # stopped meanwhile
            except zocam.ZocamError as error:
                assert error.status in (4, 7, 22), error
            count += 1
        return count

    def flip(count):
        camera.upside_down = count % 2 == 0
        camera.window_correction = count % 3 == 0
        camera.manual_range = (20, 30 + count % 10)

    works = [lambda _: next(iter(camera), None), lambda _: next(iter(camera)).render(gain="manual"),
             flip,
             lambda _: camera.config, lambda _: camera.stop() or time.sleep(0.05),
             lambda count: camera.record(tmp_path / f"{count}.y4m").stop()]
    with ThreadPoolExecutor(len(works)) as pool:
        counts = [job.result(30) for job in [pool.submit(until_end, work) for work in works]]
    assert all(counts), counts
    camera.close()


def test_a_wait_for_a_camera_lets_other_threads_run():
    code = """if True:
        import threading, time, zocam
        camera = zocam.open()
        next(camera)
        ticks = 0
        done = threading.Event()
        def tick():
            global ticks
            while not done.is_set():
                ticks += 1
                time.sleep(0.001)
        thread = threading.Thread(target=tick)
        thread.start()
        next(camera)
        done.set()
        thread.join()
        assert ticks > 50, ticks
    """
    done = run_python(code, camera="6103,fps=1")
    assert done.returncode == 0, done.stderr


def test_threads_may_be_the_first_to_make_arrays(film_path):
    code = """if True:
        import sys, threading, zocam
        sys.setswitchinterval(1e-6)
        film = zocam.open_recording(sys.argv[1])
        frame = next(film)
        together = threading.Barrier(6)
        def first():
            together.wait()
            frame.render(), frame.temperature, frame.raw
        threads = [threading.Thread(target=first, daemon=True) for _ in range(6)]
        for thread in threads: thread.start()
        for thread in threads: thread.join(10)
        sys.exit(any(thread.is_alive() for thread in threads))
    """
    for _ in range(5):
        assert run_python(code, film_path).returncode == 0


def test_a_scan_for_a_steady_gain_lets_loops_go_on(film):
    with ThreadPoolExecutor(1) as pool:
        scan = pool.submit(film.steady_gain)
        assert [frame.number for frame in film] == list(range(1, 21))
        scan.result(20)
    assert film.steady
