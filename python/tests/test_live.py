"""Live cameras."""
import time

import numpy as np
import pytest
from conftest import COUNTS, REFERENCE, SMALL, WIDE, run_python

import zocam


def test_cameras_are_listed_and_opened_by_serial_number_and_node():
    found = zocam.cameras()
    assert [info.serial for info in found] == [WIDE, SMALL, REFERENCE, COUNTS]
    info = found[0]
    assert (info.product_id, info.width, info.height) == (0x6103, 160, 120)
    for which in (WIDE, str(WIDE), hex(WIDE), info.node):
        with zocam.open(which) as camera:
            assert camera.serial == WIDE and camera.name == info.name and camera.firmware
    with pytest.raises(zocam.ZocamValueError, match="several cameras"):
        zocam.open()
    for wrong in (-1, 2**64, "not a number", ""):
        with pytest.raises(ValueError):
            zocam.open(wrong)
    for absent in (7, "/dev/video60"):
        with pytest.raises(zocam.ZocamNotFoundError) as raised:
            zocam.open(absent)
        assert raised.value.status == 3 and isinstance(raised.value, LookupError)


def test_frames_stream_in_order_and_the_loop_can_be_taken_up_again(camera):
    assert not camera.streaming and camera.frame_rate == 0
    first = [frame for frame, _ in zip(camera, range(5))]
    assert camera.streaming and camera.frame_rate == pytest.approx(8.63, abs=0.01)
    second = next(camera)
    assert [frame.number for frame in first] == [1, 2, 3, 4, 5] and second.number >= 6
    assert second.time > first[-1].time and second.telemetry.camera_time > 0
    assert 0 < first[0].temperature.mean() < 60
    camera.stop()
    assert not camera.streaming
    with pytest.raises(StopIteration):
        next(camera)
    assert next(iter(camera)).number == 1


def test_a_slow_loop_gets_the_newest_frames_and_the_count_of_the_lost():
    with zocam.open(SMALL, queue=2) as camera:
        first = next(camera)
        deadline = time.monotonic() + 20
        while camera.dropped < 10 and time.monotonic() < deadline:
            time.sleep(0.01)
        later = next(camera)
        assert later.number - first.number - 1 >= 10
        assert camera.dropped >= later.number - first.number - 1


def test_a_recording_has_every_frame_that_the_loop_saw(camera, tmp_path):
    path = tmp_path / "film.y4m"
    with camera.record(path) as recorder:
        assert recorder.path == str(path)
        with pytest.raises(zocam.ZocamError) as raised:
            camera.record(tmp_path / "other.y4m")
        assert raised.value.status == 22
        seen = {}
        for frame in camera:
            seen[frame.telemetry.camera_time] = frame.raw
            recorder.check()
            if len(seen) == 10:
                break
    recorder.stop()
    assert next(camera).number > 10  # the stream goes on
    with zocam.open_recording(path) as film:
        recorded = {frame.telemetry.camera_time: frame.raw for frame in film}
    assert sum(key in recorded for key in seen) >= 9  # the first may have come before the file
    for key in seen.keys() & recorded.keys():
        np.testing.assert_array_equal(seen[key], recorded[key])


def test_a_recording_ends_with_its_camera(tmp_path):
    path = tmp_path / "film.y4m"
    with zocam.open(WIDE) as camera:
        recorder = camera.record(path)
        for frame in camera:
            if frame.number == 5:
                break
    recorder.stop()
    with zocam.open_recording(path) as film:
        assert len(film) >= 4


def test_where_no_file_can_be_written(camera, tmp_path):
    with pytest.raises(zocam.ZocamFileNotFoundError):
        camera.record(tmp_path / "missing" / "film.y4m")
    with camera.record(tmp_path / "film.y4m"):
        pass
    try:
        with pytest.raises(OSError) as raised:
            with camera.record("/dev/full"):
                for frame in camera:
                    if frame.number > 30:
                        break
        assert raised.value.errno
    except FileNotFoundError:
        pytest.skip("no /dev/full")


def test_settings_of_a_live_camera_hold_for_the_next_frame():
    with zocam.open(WIDE) as camera:
        camera.noise_filter = False
        camera.undistortion = False
        upright = next(camera).counts
        camera.upside_down = True
        turned = next(camera).counts
        error = np.abs(turned[::-1, ::-1].astype(int) - upright).mean()
        assert error < np.abs(turned.astype(int) - upright).mean() / 4
        assert camera.manual_range == pytest.approx((15.99, 47.99))
        camera.noise_filter_threshold = 1000
        assert camera.noise_filter_threshold == 100


def test_commands(camera):
    camera.config = camera.config
    assert 0 <= camera.active_state <= 255
    camera.enable_high_gain()
    with zocam.open(REFERENCE) as other:
        with pytest.raises(zocam.ZocamError) as raised:
            other.enable_high_gain()
        assert raised.value.status == 26 and raised.value.name == "MODEL_UNSUPPORTED"
    with pytest.raises(ValueError):
        camera.get_command(0x0201, 17)
    with pytest.raises(zocam.ZocamValueError):
        camera.set_command(0x0201, [0] * 17)


def test_a_camera_that_vanishes_ends_the_loop_with_an_error():
    code = """if True:
        import zocam
        with zocam.open() as camera:
            try:
                for frame in camera:
                    pass
            except zocam.ZocamClosedError as error:
                assert "vanished" in str(error), error
                assert camera.disconnected and error.status == 4
            else:
                raise SystemExit("no error")
            frame.render()
        frame.render()
        print(frame.number)
    """
    done = run_python(code, camera="6103,fps=30,unplug=5")
    assert done.returncode == 0, done.stderr
    assert int(done.stdout) > 5


def test_a_reconnect_closes_the_camera():
    code = """if True:
        import zocam
        camera = zocam.open()
        next(camera)
        camera.reconnect()
        assert camera.closed
        with zocam.open() as again:
            next(again)
    """
    done = run_python(code, camera="6103,fps=30")
    assert done.returncode == 0, done.stderr


def test_a_loop_without_frames_times_out_and_can_be_interrupted():
    code = """if True:
        import os, signal, threading, time, zocam
        with zocam.open() as camera:
            next(camera)
            camera.timeout = 0.3
            try:
                while True:
                    next(camera)
            except zocam.ZocamTimeoutError as error:
                assert isinstance(error, TimeoutError) and error.status == 7
            camera.timeout = None
            threading.Timer(0.5, os.kill, (os.getpid(), signal.SIGINT)).start()
            start = time.monotonic()
            try:
                while True:
                    next(camera)
            except KeyboardInterrupt:
                assert time.monotonic() - start < 5
                print("interrupted")
    """
    done = run_python(code, camera="6103,fps=0.2")
    assert "interrupted" in done.stdout, done.stderr
