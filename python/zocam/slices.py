"""Slices of a recording."""
from __future__ import annotations

from collections.abc import Sequence
from typing import TYPE_CHECKING, Iterator, Union, overload

if TYPE_CHECKING:
    from . import Frame, Recording


class RecordingSlice(Sequence["Frame"]):
    """Some frames of a recording, in order; each is read and decoded when it is asked for.
    Indexed from 0, as every sequence; numbers tells the frame numbers."""

    def __init__(self, recording: Recording, numbers: range) -> None:
        self._recording = recording
        self.numbers = numbers
        """The places of the frames in the recording, from 1."""

    def __len__(self) -> int:
        return len(self.numbers)

    @overload
    def __getitem__(self, index: int) -> Frame: ...

    @overload
    def __getitem__(self, index: slice) -> RecordingSlice: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[Frame, RecordingSlice]:
        if isinstance(index, slice):
            return RecordingSlice(self._recording, self.numbers[index])
        return self._recording[self.numbers[index]]

    def __iter__(self) -> Iterator[Frame]:
        return (self._recording[number] for number in self.numbers)

    def __repr__(self) -> str:
        return f"<frames {self.numbers} of {self._recording!r}>"


def of_slice(recording: Recording, numbers: slice) -> RecordingSlice:
    """recording[first:end:step], by frame number: the end is left out, negative numbers count from
    the end as in recording[-1], and what is not there is left out."""
    count = len(recording)

    def clip(number: int) -> int:
        place = number + count + 1 if number < 0 else number
        return min(max(place, 1), count + 1) if step > 0 else min(max(place, 0), count)

    step = 1 if numbers.step is None else numbers.step
    if step == 0:
        raise ValueError("the step of a slice cannot be zero")
    first = (1 if step > 0 else count) if numbers.start is None else clip(numbers.start)
    end = (count + 1 if step > 0 else 0) if numbers.stop is None else clip(numbers.stop)
    return RecordingSlice(recording, range(first, end, step))
