"""Who keeps what alive, and what ends when."""
import gc
import resource
import textwrap
import threading
import weakref

import numpy as np
import pytest
from conftest import WIDE, run_python

import zocam


def test_views_outlive_frame_and_source(film_path):
    film = zocam.open_recording(film_path)
    frame = film[3]
    copies = {what: frame.array(what) for what in ("temperature", "counts", "raw")}
    views = {what: frame.array(what, copy=False) for what in copies}
    assert np.shares_memory(views["counts"], frame.array("counts", copy=False))
    assert not np.shares_memory(copies["counts"], views["counts"])
    film.close()
    dead = weakref.ref(frame)
    del frame, film
    gc.collect()
    assert dead() is None
    _ = [np.full((120, 160), 0xDEAD, np.uint16) for _ in range(200)]  # over what was freed
    for what, view in views.items():
        np.testing.assert_array_equal(view, copies[what])
        with pytest.raises(ValueError):
            view[0, 0] = 1
        with pytest.raises(ValueError):
            view.flags.writeable = True
    copies["counts"][0, 0] = 1  # a copy is the caller's


def test_frames_outlive_their_source_and_still_make_pictures():
    camera = zocam.open(WIDE)
    frame = next(camera)
    picture = frame.render("rainbow", gain="linear")
    camera.close()
    camera.close()
    del camera
    gc.collect()
    np.testing.assert_array_equal(frame.render("rainbow", gain="linear"), picture)
    assert frame.temperature.any() and frame.telemetry.revision == 14


def test_a_closed_source_refuses_everything(film_path):
    for source in (zocam.open(WIDE), zocam.open_recording(film_path)):
        next(source)
        source.close()
        assert source.closed and "closed" in repr(source)
        uses = [lambda: next(source), lambda: iter(source), lambda: source.serial,
                lambda: source.noise_filter, lambda: setattr(source, "upside_down", True),
                source.start_reflection_learning]
        if isinstance(source, zocam.Camera):
            uses += [source.start, lambda: source.record("never"), lambda: source.config]
        else:
            uses += [lambda: source[1], lambda: source.seek(0), source.steady_gain]
        for use in uses:
            with pytest.raises(zocam.ZocamClosedError):
                use()


def test_closing_under_a_loop_and_exceptions_inside_it(film_path):
    with pytest.raises(zocam.ZocamClosedError):
        for frame in (film := zocam.open_recording(film_path)):
            film.close()
    with pytest.raises(zocam.ZocamClosedError):
        for frame in (camera := zocam.open(WIDE)):
            camera.close()
    with pytest.raises(ZeroDivisionError):
        with zocam.open(WIDE) as camera:
            for frame in camera:
                frame.number / 0
    assert camera.closed
    with zocam.open(WIDE) as camera:  # nothing of it is left
        assert next(camera).number == 1


def test_dropped_sources_end_their_streams_without_the_gil():
    ticks = []
    done = threading.Event()

    def tick():
        while not done.wait(0.001):
            ticks.append(1)

    thread = threading.Thread(target=tick)
    thread.start()
    for _ in range(5):
        camera = zocam.open(WIDE)
        next(camera)
        dead = weakref.ref(camera)
        del camera  # joins the capture thread
        assert dead() is None
    done.set()
    thread.join()
    assert ticks


def test_cycles_through_a_source_are_collected():
    class Holder:
        pass

    holder = Holder()
    holder.camera = zocam.open(WIDE)
    next(holder.camera)
    holder.self = holder
    dead = weakref.ref(holder.camera)
    del holder
    gc.collect()
    assert dead() is None


def test_memory_does_not_grow(film):
    for _ in range(30):
        for frame in film:
            frame.array(copy=False), frame.temperature, frame.render()
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for _ in range(100):
        for frame in film:
            frame.array(copy=False), frame.temperature, frame.render()
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 8 * 1024  # KiB


EXITS = {
    "a stream and a recording": """
        camera = zocam.open(42)
        camera.record(path)
        for frame in camera:
            if frame.number == 8:
                break
        """,
    "an exception inside a loop": """
        camera = zocam.open(42)
        recorder = camera.record(path)
        for frame in camera:
            if frame.number == 8:
                raise SystemExit(0)
        """,
    "a daemon thread that waits": """
        import threading
        camera = zocam.open(42)
        camera.record(path)
        seen = threading.Event()
        def watch():
            for frame in camera:
                if frame.number == 8:
                    seen.set()
        for _ in range(3):
            threading.Thread(target=watch, daemon=True).start()
        seen.wait()
        """,
    "a cycle that nothing collects": """
        import gc
        gc.disable()
        camera = zocam.open(42)
        camera.record(path)
        loop = [camera]
        loop.append(loop)
        for frame in camera:
            if frame.number == 8:
                break
        kept = frame.array(copy=False)
        """,
}


@pytest.mark.parametrize("what", EXITS)
def test_the_interpreter_exits_while_streaming_with(what, tmp_path):
    path = tmp_path / "film.y4m"
    code = "import sys, zocam\npath = sys.argv[1]\n" + textwrap.dedent(EXITS[what])
    done = run_python(code, path)
    assert done.returncode == 0 and not done.stderr, done.stderr
    with zocam.open_recording(path) as film:
        assert len(film) >= 7
        assert film[-1].has_temperature


def test_a_forked_child_may_use_frames_but_not_sources(tmp_path):
    code = """if True:
        import gc, os, sys, zocam
        camera = zocam.open(42)
        recorder = camera.record(sys.argv[1])
        film = None
        frame = next(camera)
        mean = frame.temperature.mean()
        child = os.fork()
        if child == 0:
            failed = 1
            try:
                assert frame.temperature.mean() == mean
                for use in (lambda: next(camera), lambda: frame.render(), lambda: camera.serial):
                    try:
                        use()
                        raise SystemExit("no error")
                    except zocam.ZocamError as error:
                        assert "fork" in str(error), error
                camera.close()
                del camera, recorder, frame, use
                gc.collect()
                failed = 0
            finally:
                sys.stdout.flush()
                if failed: os._exit(1)
                sys.exit(0)
        assert os.waitpid(child, 0)[1] == 0
        first = next(camera).number
        while next(camera).number < first + 5:
            pass
        recorder.stop()
        assert len(zocam.open_recording(sys.argv[1])) >= 6
        print("parent done")
    """
    done = run_python(code, tmp_path / "film.y4m")
    assert done.returncode == 0 and "parent done" in done.stdout, done.stderr
