"""Recordings as sequences of frames."""
import numpy as np
import pytest
from conftest import REFERENCE, SMALL, WIDE

import zocam


def numbers(frames):
    return [frame.number for frame in frames]


def test_indexing_is_by_frame_number(film):
    assert len(film) == 20
    assert film[1].number == 1 and film[20].number == 20
    assert film[-1].number == 20 and film[-20].number == 1
    for beyond in (0, 21, -21):
        with pytest.raises(IndexError):
            film[beyond]
    assert numbers(film) == list(range(1, 21))


@pytest.mark.parametrize("chosen, expected", [
    (slice(None), range(1, 21)), (slice(5, 8), range(5, 8)), (slice(None, 3), range(1, 3)),
    (slice(-2, None), range(19, 21)), (slice(1, None, 7), range(1, 21, 7)),
    (slice(None, -18), range(1, 3)), (slice(None, None, -6), range(20, 0, -6)),
    (slice(15, 100), range(15, 21)), (slice(0, 2), range(1, 2)), (slice(9, 4), range(0)),
    (slice(4, 1, -1), range(4, 1, -1))])
def test_slices_are_lazy_sequences_of_frame_numbers(film, chosen, expected):
    part = film[chosen]
    assert list(part.numbers) == list(expected) == numbers(part)
    assert len(part) == len(expected)
    if expected:
        assert part[0].number == expected[0] and part[-1].number == expected[-1]
        assert numbers(part[1:]) == list(expected)[1:]


def test_a_loop_goes_on_where_it_broke_off_and_begins_anew_after_the_end(film):
    for frame in film:
        if frame.number == 5:
            break
    film[17]
    assert numbers(film) == list(range(6, 21))
    assert numbers(film) == list(range(1, 21))


def test_seek_goes_to_the_last_frame_at_or_before_a_time(film):
    times = [frame.time for frame in film]
    for seconds, number in ((times[7], 8), (times[7] + 0.0004, 8), (times[8] - 0.0006, 8), (0, 1),
                            (-5, 1), (times[-1], 20)):
        film.seek(seconds)
        assert next(film).number == number, seconds
    assert film.duration == times[-1]
    film.seek(times[-1] + 1)
    assert numbers(film) == []
    assert len(numbers(film)) == 20


def test_a_recording_that_was_started_again_is_indexed_by_place(film_path, tmp_path):
    data = film_path.read_bytes()
    header = data.index(b"\n") + 1
    twice = tmp_path / "twice.y4m"
    twice.write_bytes(data + data[header:])
    with zocam.open_recording(twice) as film:
        assert len(film) == 40 and film[21].number == 1 and film[40].number == 20


def test_damaged_files_are_refused_and_damaged_records_reported(film_path, tmp_path):
    data = bytearray(film_path.read_bytes())
    header = data.index(b"\n") + 1
    record = (len(data) - header) // 20
    broken = tmp_path / "broken.y4m"
    data[header + 4 * record] = ord("x")
    broken.write_bytes(data[:-7])  # the last record torn, too
    with zocam.open_recording(broken) as film:
        assert len(film) == 19
        seen = []
        with pytest.raises(zocam.ZocamError) as raised:
            for frame in film:
                seen.append(frame.number)
        assert seen == [1, 2, 3, 4] and raised.value.status == 24
        assert film[6].number == 6
        broken.write_bytes(data[:header + 5 * record])
        with pytest.raises(zocam.ZocamError):
            film[12]
    for content in (b"", b"no recording", bytes(data[:header]), bytes(data[:header + 100])):
        broken.write_bytes(content)
        with pytest.raises(zocam.ZocamError) as raised:
            zocam.open_recording(broken)
        assert raised.value.status in (23, 24)


def test_a_file_that_grows_gives_its_new_frames(film_path, tmp_path):
    data = film_path.read_bytes()
    record = (len(data) - data.index(b"\n") - 1) // 20
    path = tmp_path / "growing.y4m"
    path.write_bytes(data[:-3 * record])
    with zocam.open_recording(path) as film:
        assert len(numbers(film[1:])) == 17
        with open(path, "ab") as file:
            file.write(data[-3 * record:])
        assert numbers(film) == list(range(1, 21)) and len(film) == 20


def test_decoding_can_be_left_out(film):
    film.decoding = False
    frame = film[3]
    assert not frame.has_temperature and frame.raw.any() and frame.telemetry.revision == 14
    with pytest.raises(zocam.ZocamError):
        frame.counts
    film.decoding = True
    assert film[3].has_temperature


def test_models_with_a_memory_say_so(film_paths):
    for serial, expected in ((WIDE, False), (SMALL, False), (REFERENCE, True)):
        with zocam.open_recording(film_paths[serial]) as film:
            assert film.stateful == expected
            assert film.reference_columns == (20 if serial == REFERENCE else 0)
            assert film.serial == serial


def test_a_recording_of_the_default_rate_says_so(film):
    assert film.frame_rate == pytest.approx(8.63, abs=0.01)
    assert film.shape == (120, 160) == (film.height, film.width)
    stack = np.stack([frame.temperature for frame in film[2:6]])
    assert stack.shape == (4, 120, 160)
