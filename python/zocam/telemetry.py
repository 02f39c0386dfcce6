"""What a camera tells of itself with each frame."""
from __future__ import annotations

import struct
from dataclasses import dataclass
from typing import ClassVar, Mapping, Optional, Tuple

_WITH_REFERENCE_BODY = 0x6120


@dataclass(frozen=True)
class Telemetry:
    """The fields of a frame's footer. FFC is the flat-field correction, for which the camera closes
    its shutter for a moment, now and then by itself. Units stand in Telemetry.units."""

    revision: int
    """Layout of the footer: 9, 10 or 14."""
    camera_time: float
    """Seconds since the camera was started; wraps after 49 days."""
    ffc_state: int
    """The camera's own code, 0 to 3; 0: no FFC yet, 3: made."""
    ffc_time: float
    """camera_time of the last FFC; 0: none has been made yet."""
    sensor_temperature: float
    """Of the sensor."""
    housing_temperature: float
    """Of the housing."""
    ffc_sensor_temperature: float
    """sensor_temperature at the last FFC."""
    ffc_housing_temperature: float
    """housing_temperature at the last FFC."""
    stretch_flag: int
    """Model 6120: 0 lets the host stretch what is colder than the reference body."""
    correction_flag: int
    """Revision 14: nonzero turns the circumference correction around."""
    resolution_flag: int
    """Revision 14: nonzero for temperatures in 1/100 K, 0 for 1/10 K."""
    reference_temperatures: Optional[Tuple[float, float, float]]
    """Model 6120: what the sensors in the reference body measure; None on others."""

    units: ClassVar[Mapping[str, str]] = {
        "camera_time": "s", "ffc_time": "s",
        "sensor_temperature": "degC", "housing_temperature": "degC",
        "ffc_sensor_temperature": "degC", "ffc_housing_temperature": "degC",
        "reference_temperatures": "degC",
    }

    @property
    def is_corrected(self) -> bool:
        """Whether an FFC was made: before, temperatures are not to be relied on."""
        return self.ffc_time != 0


def _reference_celsius(reading: int) -> float:
    z = (2 * (reading / 4096) * 1000.0 + 500.0) * 0.5 - 0.0009
    return -1.809628e-9 * z**3 - 3.325395e-6 * z**2 - 0.1814103 * z + 205.5894


def read(footer: bytes, product_id: int, width: int) -> Telemetry:
    """Reads the footer of a raw frame."""

    def word(offset: int) -> int:
        return int.from_bytes(footer[offset:offset + 2], "big")

    def seconds(offset: int) -> float:
        return (word(offset) | word(offset + 2) << 16) / 1000.0  # less significant word first

    def celsius(offset: int) -> float:
        return (word(offset) - 27315) / 100.0

    reference = None
    if product_id == _WITH_REFERENCE_BODY:  # little-endian, unlike the rest
        first, second, third = struct.unpack_from("<3H", footer, 2 * width)
        reference = (_reference_celsius(first), _reference_celsius(second),
                     _reference_celsius(third))
    return Telemetry(
        revision=footer[1], camera_time=seconds(2), ffc_state=footer[6] >> 4 & 3,
        ffc_time=seconds(60), sensor_temperature=celsius(48), housing_temperature=celsius(52),
        ffc_sensor_temperature=celsius(58), ffc_housing_temperature=celsius(64),
        stretch_flag=word(330), correction_flag=word(416), resolution_flag=word(418),
        reference_temperatures=reference)
