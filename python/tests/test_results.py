"""Images and pictures are those of the C interface, bit for bit, in whatever order they are made."""
import ctypes
import datetime
import struct

import numpy as np
import pytest
from c_library import TEMP16, Film
from conftest import COUNTS, REFERENCE, SMALL, WIDE, run_python

import zocam

PALETTES = {"iron": 20, "rainbow": 40, "grey": 10}
GAINS = {"manual": 0, "nonlinear": 1, "linear": 2}

SETTINGS = [
    {},
    {"noise_filter": False, "undistortion": False, "circumference_correction": False},
    {"noise_filter_threshold": 7, "upside_down": True},
    {"window_correction": 1},
    {"raw_counts": True},
]
SETTERS = {"noise_filter": "NoiseFilter", "undistortion": "Undistortion",
           "circumference_correction": "CircumferenceCorrection", "upside_down": "UpsideDown",
           "noise_filter_threshold": "NoiseFilterThreshold",
           "window_correction": "WindowCorrection", "raw_counts": "ColorizeByRaw"}


def apply(settings, film, reference):
    for name, value in settings.items():
        setattr(film, name, value)
        assert getattr(film, name) == value
        reference.call("ZoLib_Set" + SETTERS[name], int(value))


@pytest.mark.parametrize("settings", SETTINGS, ids=str)
@pytest.mark.parametrize("serial", [WIDE, SMALL, REFERENCE, COUNTS])
def test_every_frame_and_picture_equals_the_c_interface(film_paths, serial, settings):
    path = film_paths[serial]
    reference = Film(path)
    reference.call("ZoLib_SetRGBOrder", 0)
    with zocam.open_recording(path) as film:
        apply(settings, film, reference)
        frames = list(film)
    # Pictures last, backwards and with the source closed: they must not depend on any of it.
    expected = []
    while reference.next():
        pictures = {(palette, gain): reference.image(np.uint8, 1 if palette == "grey" else 3,
                                                     palette_code + gain_code)
                    for palette, palette_code in PALETTES.items()
                    for gain, gain_code in GAINS.items()}
        expected.append((reference.raw.raw, reference.image(np.uint16, 1, TEMP16), pictures))
    reference.close()
    assert len(frames) == len(expected) == 20
    for frame, (raw, image, pictures) in reversed(list(zip(frames, expected))):
        assert frame.raw.tobytes() == raw
        np.testing.assert_array_equal(frame.counts, image)
        for (palette, gain), picture in pictures.items():
            painted = frame.render(palette, gain)
            assert painted.shape == (*frame.shape, 3) and painted.dtype == np.uint8
            if palette == "grey":
                picture = np.repeat(picture[:, :, None], 3, axis=2)
            np.testing.assert_array_equal(painted, picture)


def test_ranges_given_to_a_picture_are_those_of_the_library_and_do_not_stay(film, film_path):
    reference = Film(film_path)
    reference.call("ZoLib_SetRGBOrder", 0)
    reference.next()
    frame = film[1]
    for gain, setter in (("manual", "ZoLib_SetDecodeRange"), ("linear", "ZoLib_SetAGCRange"),
                         ("nonlinear", "ZoLib_SetAGCRange")):
        before = frame.render("iron", gain)
        assert reference.call(setter, 29315, 31315) == 0
        picture = reference.image(np.uint8, 3, 20 + GAINS[gain])
        np.testing.assert_array_equal(frame.render("iron", gain=gain, range=(20, 40)), picture)
        np.testing.assert_array_equal(frame.render("iron", gain), before)
    film.manual_range = (20, 40)
    assert film.manual_range == (20.0, 40.0)
    film.auto_range = (20, 40)
    for gain in GAINS:
        np.testing.assert_array_equal(frame.render("iron", gain),
                                      reference.image(np.uint8, 3, 20 + GAINS[gain]))
    reference.close()


def test_a_mask_and_a_steady_gain_change_pictures_as_in_the_library(film, film_path):
    reference = Film(film_path)
    reference.call("ZoLib_SetRGBOrder", 0)
    mask = np.zeros(film.shape, bool)
    mask[:40] = True
    film.set_gain_mask(mask)
    words = mask.astype(np.uint32)
    assert reference.call("ZoLib_SetAGCROIMask", words.ctypes.data_as(ctypes.c_void_p)) == 0
    reference.next()
    frame = film[1]
    np.testing.assert_array_equal(frame.render(), reference.image(np.uint8, 3, 21))
    reference.call("ZoLib_FinishDecode")
    film.noise_filter = False
    reference.call("ZoLib_SetNoiseFilter", 0)
    film.steady_gain(2, 0.0, 0.1)
    assert reference.call("ZoLib_FileTimeBasedAGCSetup", 0, 2, ctypes.c_uint64(0),
                          ctypes.c_uint64(100)) == 0
    reference.call("ZoLib_SetTimeBasedAGC", 1)
    assert film.steady
    frame = film[1]
    np.testing.assert_array_equal(frame.render(), reference.image(np.uint8, 3, 21))
    film.steady = False
    assert (frame.render() != reference.image(np.uint8, 3, 21)).any()
    reference.close()
    with pytest.raises(zocam.ZocamValueError):
        film.set_gain_mask(np.zeros(film.shape, bool))
    with pytest.raises(ValueError):
        film.set_gain_mask(mask.T)


@pytest.mark.parametrize("resolution", [100, 10])
def test_temperatures_are_the_floats_nearest_to_the_exact_values(film_paths, tmp_path, resolution):
    """Every value that an image can have: of a model that sends temperatures."""
    data = bytearray(film_paths[SMALL].read_bytes())
    header = data.index(b"\n") + 1
    pixels, record = 80 * 60, (len(data) - header) // 20
    for place in range(20):
        words = np.arange(place * pixels, (place + 1) * pixels) % 65536
        start = header + place * record + 6
        data[start:start + 2 * pixels] = words.astype(">u2").tobytes()
        data[start + 2 * pixels + 418:start + 2 * pixels + 420] = bytes([0, resolution == 100])
    (tmp_path / "all.y4m").write_bytes(data)
    with zocam.open_recording(tmp_path / "all.y4m") as film:
        film.noise_filter = film.undistortion = film.circumference_correction = False
        seen = set()
        for frame in film:
            assert frame.resolution == resolution and frame.temperature.dtype == np.float32
            seen.update(frame.counts.flat)
            exact = (frame.counts.astype(float) * (100 / resolution) - 27315) / 100
            np.testing.assert_array_equal(frame.temperature, exact.astype(np.float32))
            np.testing.assert_array_equal(np.asarray(frame), frame.temperature)
            np.testing.assert_array_equal(frame.array(copy=False), frame.temperature)
        assert len(seen) == 65536
        film.set_reference(np.zeros(film.shape, np.uint16))
        for frame in film:
            exact = (frame.counts.astype(float) - 27315) / resolution
            np.testing.assert_array_equal(frame.temperature, exact.astype(np.float32))


def test_differences_to_a_reference_image(film):
    first, later = film[1], film[10]
    plain = later.counts.astype(int)
    film.set_reference(first.counts)
    shown = film[10]
    difference = (plain - first.counts) / shown.resolution
    np.testing.assert_allclose(shown.temperature, difference, atol=1e-5)
    film.set_reference(None)
    np.testing.assert_array_equal(film[10].counts, plain)


def test_raw_counts_are_no_temperatures(film):
    film.raw_counts = True
    frame = film[1]
    assert not frame.has_temperature and frame.counts.any()
    with pytest.raises(zocam.ZocamError) as raised:
        frame.temperature
    assert raised.value.status == 22


def test_telemetry_names_every_field_of_the_footer(film_paths):
    with zocam.open_recording(film_paths[WIDE]) as film:
        frame = film[3]
    footer = frame.raw[frame.shape[0]:].tobytes()
    telemetry = frame.telemetry
    assert telemetry.revision == footer[1] == 14
    assert telemetry.camera_time == pytest.approx(
        (struct.unpack_from(">H", footer, 2)[0] + (struct.unpack_from(">H", footer, 4)[0] << 16))
        / 1000)
    assert telemetry.ffc_state == 3 and telemetry.ffc_time == 3.0 and telemetry.is_corrected
    assert telemetry.sensor_temperature == pytest.approx(23, abs=1)
    assert telemetry.housing_temperature == pytest.approx(22, abs=1)
    assert telemetry.ffc_sensor_temperature <= telemetry.sensor_temperature
    assert telemetry.resolution_flag == 1 and telemetry.reference_temperatures is None
    assert set(telemetry.units) < set(telemetry.__dataclass_fields__)
    with zocam.open_recording(film_paths[REFERENCE]) as film:
        for celsius in film[1].telemetry.reference_temperatures:
            assert 10 < celsius < 60


def test_times_and_dates_of_recorded_frames(film):
    times = [frame.time for frame in film]
    assert times[0] == 0.0 and times == sorted(times)
    span = film[20].datetime - film[1].datetime
    assert span.total_seconds() == pytest.approx(times[-1], abs=0.01)
    assert abs(film[1].datetime - datetime.datetime.now()) < datetime.timedelta(minutes=10)


def test_a_learnt_reflection_is_taken_away(film_paths):
    with zocam.open_recording(film_paths[SMALL]) as film:
        with pytest.raises(zocam.ZocamError) as raised:
            film.stop_reflection_learning()
        assert raised.value.status == 22
        plain = film[5].counts
        film.start_reflection_learning()
        assert film.stateful
        list(film)
        image = film.stop_reflection_learning()
        assert image[:4] == b"ZORC" and not film.stateful
        film.set_reflection_correction(image)
        assert (film[5].counts != plain).any()
        with pytest.raises(zocam.ZocamError):
            film.set_reflection_correction(b"ZORC")
        film.set_reflection_correction(None)
        np.testing.assert_array_equal(film[5].counts, plain)


def test_frames_that_cannot_be_decoded_say_so_and_do_not_end_the_loop():
    code = """if True:
        import zocam
        with zocam.open() as camera:
            for frame in camera:
                if frame.number == 1:
                    assert not frame.has_temperature
                    assert not frame.telemetry.is_corrected
                    for attempt in (lambda: frame.temperature, lambda: frame.render()):
                        try:
                            attempt()
                            raise SystemExit("no error")
                        except zocam.ZocamError as error:
                            assert error.status == 22, error
                    assert frame.raw.any()
                if frame.has_temperature:
                    break
        assert frame.number > 1
    """
    done = run_python(code, camera="6102,start=2.5,fps=30")
    assert done.returncode == 0, done.stderr
