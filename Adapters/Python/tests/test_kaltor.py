"""Run by scripts/test and scripts/check-packages. KALTOR_COMMAND is the program's path where it is not on PATH."""

import os
import re
import threading
from pathlib import Path

import kaltor
import numpy as np
import pytest

ROOT = Path(__file__).resolve().parents[3]


@pytest.fixture
def picture():
    made = np.zeros((40, 60, 3), np.uint8)
    made[:20, :30] = 255, 0, 0
    made[20:, :] = 10, 20, 30
    return made


def test_pictures_keep_their_place_and_their_channels(picture):
    turned = kaltor.apply("Invert", picture)
    assert turned.dtype == np.uint8 and turned.shape == picture.shape
    assert np.array_equal(turned, 255 - picture)
    # Alpha is kept, and so is what lies between the rows of a view; other orders of memory are copied.
    wide = np.full((40, 80, 4), 200, np.uint8)
    wide[:, :60, :3] = picture
    assert np.array_equal(kaltor.apply("Invert", wide[:, :60]), np.dstack((255 - picture, np.full((40, 60), 200))))
    assert np.array_equal(kaltor.apply("Invert", np.asfortranarray(picture)), 255 - picture)
    assert np.array_equal(kaltor.apply("Invert", picture[::-1, ::-1]), 255 - picture[::-1, ::-1])


def test_results_outlive_their_effect(picture):
    effect = kaltor.Effect("Invert")
    first = effect(picture)
    second = effect(255 - picture)
    del effect
    assert np.array_equal(first, 255 - picture) and np.array_equal(second, picture)


def test_transitions_take_progress(picture):
    assert np.array_equal(kaltor.transition("Crossfade", picture, 255 - picture, 0.0), picture)
    assert np.array_equal(kaltor.transition("Crossfade", picture, 255 - picture, 1.0), 255 - picture)
    half = kaltor.transition("Crossfade", picture, 255 - picture, 0.5)
    assert np.abs(half.astype(int) - 127.5).max() <= 1.5  # one rounding each of the mix and of the picture


def test_fields_are_set_and_refused(picture):
    burn = kaltor.Effect("ColorMixBurn", strength=0)
    assert np.array_equal(burn(picture), picture)
    assert not np.array_equal(burn.set(strength=1)(picture), picture)
    blur = kaltor.Effect("BlurGaussian")
    assert not np.array_equal(blur.set(scale=0.05)(picture), picture)
    assert float(blur.fields["scale"].value) == 0.05 and blur.fields["scale"].kind == kaltor.FieldKind.NUMBER
    for wrong in ({"scale": -1}, {"scael": 0.1}, {"scale": "wide"}):
        with pytest.raises(ValueError, match="scale"):
            blur.set(**wrong)
    assert float(blur.fields["scale"].value) == 0.05
    with pytest.raises(ValueError, match="did you mean"):
        kaltor.Effect("BlurGausian")
    with pytest.raises(ValueError, match="two pictures of one size"):
        kaltor.transition("Crossfade", picture, picture[:20], 0.5)
    with pytest.raises(ValueError, match="height, width"):
        kaltor.apply("Invert", picture[:, :, 0])
    with pytest.raises(ValueError, match="not float64"):
        kaltor.apply("Invert", picture / 255)
    assert float(blur.set(scale=np.float32(0.25)).fields["scale"].value) == 0.25
    moves = kaltor.Effect("KenBurns", direction=np.array([0, 0, 1, 0.5] * 2)).fields["direction"].value
    assert [float(number) for number in moves.split(",")] == [0, 0, 1, 0.5] * 2
    assert kaltor.Effect("Flip", horizontal=np.bool_(False)).fields["horizontal"].value == "false"


def test_threads_draw_at_the_same_time(picture):
    wrong = []

    def draw(value):
        effect = kaltor.Effect("Invert")
        for _ in range(20):
            mine = np.full((50, 50, 3), value, np.uint8)
            if not np.array_equal(effect(mine), 255 - mine):
                wrong.append(value)

    threads = [threading.Thread(target=draw, args=(value,)) for value in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not wrong


def test_everything_is_listed():
    names = {effect.name: effect for effect in kaltor.effects()}
    assert names["TransitionCrossfade"].inputs == 2 and names["EffectInvert"].kind == kaltor.EffectKind.EFFECT
    assert kaltor.faults() == []


def test_edits_are_rendered(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    program = os.environ.get("KALTOR_COMMAND")
    edit = {
        "version": 1,
        "output": {"size": "64x36", "fps": 5},
        "clips": [{"color": "#FF0000", "duration": 1}, {"color": "#0000FF", "duration": 1}],
    }
    kaltor.render(edit, "out.mkv", program=program)
    assert Path("out.mkv").stat().st_size > 0
    assert sorted(path.name for path in tmp_path.iterdir()) == ["out.mkv"]
    with pytest.raises(RuntimeError, match="clps"):
        kaltor.render({"version": 1, "clps": []}, "other.mkv", program=program)


def test_the_page_works(tmp_path, monkeypatch, picture):
    """Every block of Python in docs/python.md, one after the other."""
    monkeypatch.chdir(tmp_path)
    if program := os.environ.get("KALTOR_COMMAND"):
        monkeypatch.setenv("PATH", os.path.dirname(program), prepend=os.pathsep)
    blocks = re.findall(r"```python\n(.*?)```", (ROOT / "docs" / "python.md").read_text(), re.S)
    assert len(blocks) >= 3
    names = {}
    for block in blocks:
        exec(compile(block, "docs/python.md", "exec"), names)
