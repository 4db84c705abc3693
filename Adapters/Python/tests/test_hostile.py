"""What goes wrong in others' programs: arrays of another form, threads, copies of the process, interruptions."""

import os
import shutil
import signal
import subprocess
import sys
import textwrap
import threading
import time
from pathlib import Path

import kaltor
import numpy as np
import pytest


def run_script(text, *words, **options):
    return subprocess.run([sys.executable, "-c", textwrap.dedent(text), *words], capture_output=True, text=True, timeout=600, **options)


def test_arrays_of_another_form_are_refused_or_read_rightly():
    picture = np.random.default_rng(3).integers(0, 256, (20, 30, 3), np.uint8)
    invert = kaltor.Effect("Invert")
    # As bytes each of these would be another picture.
    for wrong in (picture / 255.0, picture.astype(np.int64), picture > 9, picture.astype(np.int8), [[[1, 2, 3]]], "x", None):
        with pytest.raises(ValueError, match="uint8"):
            invert(wrong)
    endless = np.broadcast_to(np.uint8(7), (2**20, 2**20, 3))
    wrapping = np.broadcast_to(np.uint8(7), (4, 2**32 + 4, 3))
    for wrong in (picture[:0], picture[:, :0], picture[:, :, 0], picture[None], endless, wrapping):
        with pytest.raises(ValueError, match="picture"):
            invert(wrong)
    with pytest.raises(RuntimeError, match="70000x1"):  # GPUs take 16384 or 32768
        invert(np.zeros((1, 70000, 3), np.uint8))
    with pytest.raises(ValueError, match="time"):
        invert(picture, time=float("nan"))
    locked = picture.copy()
    locked.setflags(write=False)
    far = np.lib.stride_tricks.as_strided(picture, (1, 30, 3), (2**40, 3, 1))
    for right in (locked, picture[::-2, 3:17:3], picture[..., ::-1], np.broadcast_to(picture[:1], picture.shape), far):
        assert np.array_equal(invert(right), 255 - right)


def test_threads_may_share_an_effect():
    picture = np.zeros((8, 8, 3), np.uint8)
    fade = kaltor.Effect("ColorMixBurn", strength=0)
    faults = []

    def draw():
        for _ in range(100):
            if fade(picture).shape != picture.shape:
                faults.append("shape")

    def change():
        for number in range(400):
            fade.set(strength=number % 2)
            if fade.fields["strength"].value not in ("0", "1"):
                faults.append("value")

    threads = [threading.Thread(target=target) for target in (draw, draw, change, change)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not faults


def test_a_copy_of_the_process_gets_an_error_that_helps():
    script = """
        import os, sys, threading, time
        import kaltor, numpy as np
        picture = np.zeros((400, 400, 3), np.uint8)
        blur = kaltor.Effect("BlurGaussian", scale=0.1)
        blur(picture)
        drawing = threading.Thread(target=lambda: [blur(picture) for _ in range(20)])
        drawing.start()
        time.sleep(0.02)
        child = os.fork()
        if child == 0:
            for use in (lambda: blur(picture), lambda: kaltor.apply("Invert", picture), lambda: blur.set(scale=0.2)):
                try:
                    use()
                except RuntimeError as error:
                    print(error, flush=True)
            sys.exit(7)
        assert os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]) == 7
        drawing.join()
        assert (kaltor.apply("Invert", picture) == 255).all()
    """
    done = run_script(script)
    assert done.returncode == 0 and done.stdout.count("spawn") == 3, done.stdout + done.stderr


def test_python_ends_while_threads_draw():
    script = """
        import threading, time
        import kaltor, numpy as np
        picture = np.zeros((400, 400, 3), np.uint8)
        def draw():
            blur = kaltor.Effect("BlurGaussian", scale=0.1)
            while True:
                blur(picture)
        for _ in range(3):
            threading.Thread(target=draw, daemon=True).start()
        time.sleep(1)
        print("leaving")
    """
    done = run_script(script)
    assert done.returncode == 0 and "leaving" in done.stdout and "terminate" not in done.stderr, done.stderr


def test_an_interrupted_render_leaves_nothing(tmp_path):
    # Python takes no notice of SIGINT where its parent took none, as in a shell's background.
    script = """
        import signal, sys, kaltor
        signal.signal(signal.SIGINT, signal.default_int_handler)
        kaltor.render({"version": 1, "output": {"size": "640x360", "fps": 25},
                       "clips": [{"color": "#FF0000", "duration": 3600, "effects": [{"effect": "VHS"}]}]},
                      "out.mkv", program=sys.argv[1])
    """
    program = os.path.abspath(os.environ.get("KALTOR_COMMAND") or shutil.which("kaltor"))
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(map(os.path.abspath, sys.path))}
    with subprocess.Popen([sys.executable, "-c", textwrap.dedent(script), program], cwd=tmp_path, env=environment,
                          stderr=subprocess.PIPE, text=True) as process:
        deadline = time.monotonic() + 600
        while not list(tmp_path.glob(".*out*")) and process.poll() is None and time.monotonic() < deadline:
            time.sleep(0.1)
        assert list(tmp_path.glob(".*out*")), process.stderr.read() if process.poll() is not None else "no frame in time"
        process.send_signal(signal.SIGINT)  # Python alone: on a terminal the program gets one, too
        try:
            message = process.communicate(timeout=600)[1]
        finally:
            process.kill()
    assert "KeyboardInterrupt" in message
    assert [path.name for path in tmp_path.iterdir()] == []


def test_an_interruption_is_one_to_the_very_end(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    Path("done").write_text("#!/bin/sh\n")
    os.chmod("done", 0o755)
    waiting = []

    def wait(process, *words, own_wait=subprocess.Popen.wait):
        waiting.append(process)
        if len(waiting) == 1:  # all that it says was read
            raise KeyboardInterrupt
        return own_wait(process, *words)

    monkeypatch.setattr(subprocess.Popen, "wait", wait)
    with pytest.raises(KeyboardInterrupt):
        kaltor.render({"version": 1, "clips": []}, program=os.path.abspath("done"))
    assert waiting[0].returncode is not None and os.listdir() == ["done"]


def test_edits_may_hold_numpy_and_programs_may_say_anything(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    Path("said").write_text('#!/bin/sh\ncat "$2" > seen.json\nprintf "kaltor: no \\377 file" >&2\nexit 1\n')
    os.chmod("said", 0o755)
    edit = {"version": 1, "clips": [{"file": Path("a.mp4"), "duration": np.float32(0.5), "speed": np.int64(2)}]}
    with pytest.raises(RuntimeError, match="no \ufffd file"):
        kaltor.render(edit, "out.mkv", program=os.path.abspath("said"))
    assert Path("seen.json").read_text() == '{"version": 1, "clips": [{"file": "a.mp4", "duration": 0.5, "speed": 2}]}'
    Path("-version").write_text("a document")
    for name in ("-version", b"-version", Path("-version")):
        with pytest.raises(RuntimeError):
            kaltor.render(name, "out.mkv", program=os.path.abspath("said"))
        assert Path("seen.json").read_text() == "a document"
        Path("seen.json").unlink()
    with pytest.raises(ValueError, match="list of words"):
        kaltor.render(edit, options="--overwrite", program=os.path.abspath("said"))
    assert np.array_equal(kaltor.Effect("Invert")(np.zeros((2, 2, 3), np.uint8)), np.full((2, 2, 3), 255))


def test_a_file_that_has_to_be_given_is_a_field_like_others(tmp_path):
    picture = np.zeros((8, 8, 3), np.uint8)
    (tmp_path / "map.ppm").write_bytes(b"P6\n8 8\n255\n" + bytes(3 * 32) + b"\xff" * (3 * 32))
    wipe = kaltor.Effect("LumaMap", seed=3)
    for use in (lambda: wipe(picture, picture, progress=0.5), lambda: wipe.set(map=tmp_path / "none.png")):
        with pytest.raises((ValueError, RuntimeError), match="map|none.png"):
            use()
    half = wipe.set(map=tmp_path / "map.ppm", softness=0.01)(picture, 255 - picture, progress=0.5)
    assert (half[:3] == 255).all() and (half[5:] == 0).all()  # dark places first
    with pytest.raises((ValueError, RuntimeError), match="none.png"):
        wipe.set(map=tmp_path / "none.png")
    assert wipe.fields["map"].value == str(tmp_path / "map.ppm")


def test_stubs_say_what_the_module_has(tmp_path):
    pytest.importorskip("mypy")
    # Classes of machine code have another metaclass, and an __init__ that takes anything and refuses it.
    inherent = ["Field", "EffectInfo", "FieldKind", "EffectKind", "Field.__init__", "EffectInfo.__init__"]
    (tmp_path / "allowed").write_text("".join(f"kaltor.{name}\n" for name in inherent))
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(map(os.path.abspath, sys.path))}
    done = subprocess.run([sys.executable, "-m", "mypy.stubtest", "kaltor", "--allowlist", "allowed"], cwd=tmp_path,
                          env=environment, capture_output=True, text=True)
    assert done.returncode == 0, done.stdout + done.stderr
