"""python3 -m zocam, and the type hints."""
import subprocess
import sys
import textwrap

import numpy as np
import pytest
from conftest import WIDE

import zocam


def run(*arguments):
    return subprocess.run([sys.executable, "-m", "zocam", *map(str, arguments)], timeout=60,
                          capture_output=True, text=True)


def test_the_basics_of_the_command(tmp_path):
    listed = run("list")
    assert listed.returncode == 0 and "/dev/video0  6103  42  160 x 120" in listed.stdout
    film = tmp_path / "film.y4m"
    made = run("record", WIDE, "-o", film, "--seconds", "0.5")
    assert made.returncode == 0 and "frames" in made.stdout, made.stderr
    info = run("info", film)
    assert info.returncode == 0 and "serial number       42" in info.stdout
    assert run("info", WIDE).returncode == 0
    exported = tmp_path / "film.npy"
    assert run("export", film, "-o", exported, "--step", "2").returncode == 0
    with zocam.open_recording(film) as opened:
        np.testing.assert_array_equal(np.load(exported)[1], opened[3].temperature)
        picture = opened[1].render("rainbow", "manual", (10, 50))
    png = tmp_path / "room.png"
    done = run("snapshot", film, "-o", png, "--palette", "rainbow", "--range", "10", "50")
    assert done.returncode == 0, done.stderr
    pixels = pytest.importorskip("matplotlib.image").imread(png)
    np.testing.assert_array_equal(np.rint(pixels[:, :, :3] * 255).astype(np.uint8), picture)


def test_failures_are_one_line_and_a_status(tmp_path):
    for arguments in (("info", "7"), ("info", tmp_path / "missing.y4m"), ("info",),
                      ("snapshot", WIDE, "-o", tmp_path / "no" / "such.png")):
        done = run(*arguments)
        assert done.returncode == 1
        assert done.stderr.startswith("zocam: ") and done.stderr.count("\n") == 1, done.stderr


def test_type_hints_are_those_of_the_module(tmp_path):
    pytest.importorskip("mypy")
    user = tmp_path / "user.py"
    user.write_text(textwrap.dedent("""
        import numpy as np
        from numpy.typing import NDArray
        import zocam

        def hottest(source: zocam.Recording) -> float:
            picture: NDArray[np.uint8] = source[1].render("iron", gain="linear", range=(20, 40))
            view: NDArray[np.uint16] = source[1].array("counts", copy=False)
            part: zocam.RecordingSlice = source[2:5]
            return max(float(frame.temperature.max()) for frame in part)

        with zocam.open("42") as camera, camera.record("film.y4m") as recorder:
            for frame in camera:
                reveal_type(frame.telemetry.camera_time)
        frame.render("purple")
        camera.noise_filter = "very"
    """))
    package = zocam.__path__[0]
    done = subprocess.run([sys.executable, "-m", "mypy", "--strict", "--no-incremental", str(user)],
                          capture_output=True, text=True, timeout=300, cwd=tmp_path,
                          env={"MYPYPATH": package[:-len("/zocam")], "PATH": "/usr/bin"})
    errors = [line for line in done.stdout.splitlines() if ": error:" in line]
    assert len(errors) == 2 and "Literal['purple']" in errors[0], done.stdout
    assert 'Revealed type is "builtins.float"' in done.stdout
    stubs = subprocess.run([sys.executable, "-m", "mypy", "--strict", package], timeout=300,
                           capture_output=True, text=True)
    assert stubs.returncode == 0, stubs.stdout


def test_every_public_name_is_documented_and_hinted():
    hints = open(zocam.__path__[0] + "/_zocam.pyi").read()
    for kind in (zocam.Camera, zocam.CameraInfo, zocam.Frame, zocam.Recording):
        assert kind.__doc__
        for name, member in vars(kind).items():
            if not name.startswith("_"):
                assert member.__doc__, f"{kind.__name__}.{name}"
                assert f"def {name}(" in hints or f"    {name}: " in hints, name
