"""GPU video effects and transitions on NumPy arrays, and the rendering of edits.

A picture is an array of bytes, (height, width, 3) for RGB or (height, width, 4) for RGBA with straight alpha. Inputs
are read without a copy where their pixels lie side by side; results are arrays on the memory in which they were made.
Other threads of Python run while a picture is drawn. What is asked wrongly raises ValueError; what the system cannot
do raises RuntimeError.
"""

import atexit
import collections.abc
import functools
import json
import numbers
import os
import shutil
import signal
import subprocess
import tempfile
import threading

from ._kaltor import EffectInfo, EffectKind, Field, FieldKind, Library as _Library, version as _version

__all__ = ["Effect", "EffectInfo", "EffectKind", "Field", "FieldKind", "apply", "effects", "faults", "render", "transition"]
__version__ = _version()


_starting = threading.Lock()


@functools.lru_cache(maxsize=None)
def _loaded():
    library = _Library()
    atexit.register(library.close)
    return library


def _library():
    with _starting:
        return _loaded()


def _text(value):
    if hasattr(value, "tolist"):
        value = value.tolist()  # NumPy's numbers and arrays
    if isinstance(value, bool):
        return "true" if value else "false"
    if isinstance(value, (list, tuple)):
        return ",".join(_text(item) for item in value)
    return os.fspath(value) if isinstance(value, os.PathLike) else str(value)


class Effect:
    """One effect or transition with its settings: Effect("BlurGaussian", scale=0.02). Threads wait for each other."""

    def __init__(self, name, *, inputs=0, seed=None, **fields):
        self._effect = _library().make(name, inputs)
        if seed is not None:
            self._effect.seed(seed)
        self.set(**fields)

    @property
    def name(self):
        return self._effect.name

    @property
    def fields(self):
        """What can be set, by name."""
        return {field.name: field for field in self._effect.fields()}

    def set(self, **fields):
        """Sets fields: numbers, flags, names of choices, colours such as "#FF8000", sequences for lists."""
        for field, value in fields.items():
            self._effect.set_text(field, _text(value))
        return self

    def reset(self):
        """Forgets what was kept between pictures, as for another clip."""
        self._effect.reset()

    def __call__(self, *pictures, time=0.0, progress=None):
        """The picture at `time` seconds. `progress` is 0 at the beginning of a transition and 1 at its end."""
        return self._effect.apply(*pictures, time=time, progress=progress)

    def __repr__(self):
        values = ", ".join(f"{field.name}={field.value}" for field in self._effect.fields())
        return f"<kaltor.Effect {self.name}: {values}>"


def effects():
    """Every effect, transition and service that is installed."""
    return _library().list()


def faults():
    """One line for each plug-in that cannot be used."""
    return _library().faults()


def apply(name, picture, *, time=0.0, progress=None, seed=None, **fields):
    """One effect on one picture."""
    return Effect(name, inputs=1, seed=seed, **fields)(picture, time=time, progress=progress)


def transition(name, first, second, progress, *, time=0.0, seed=None, **fields):
    """A transition from one picture to another of the same size, `progress` of its way from 0 to 1."""
    return Effect(name, inputs=2, seed=seed, **fields)(first, second, time=time, progress=progress)


def _plain(value):
    """What JSON has no form for: paths, and the numbers and arrays of NumPy."""
    if isinstance(value, os.PathLike):
        return os.fspath(value)
    if hasattr(value, "tolist"):
        return value.tolist()
    if isinstance(value, numbers.Real):
        return float(value)
    raise TypeError(f"an edit cannot hold {value!r}")


def _run(command):
    """Runs the program. An interruption reaches it, too, and it is waited for: it removes what it has begun."""
    with subprocess.Popen(command, stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, errors="replace") as process:
        try:
            return process.communicate()[1].strip(), process.returncode
        except BaseException:
            process.send_signal(signal.SIGTERM)
            if not process.stderr.closed:  # it is where all was read before
                process.stderr.read()
            process.wait()
            raise


def render(edit, output=None, *, options=(), program=None):
    """Renders an edit by the kaltor program: a dictionary as in docs/edits.md, or the path of a document.

    Paths in a dictionary count from the working directory. `output` overrides the edit's; `options` are further words
    for `kaltor render`, such as "--overwrite". `program` is the program's path where it is not on PATH. Raises
    RuntimeError with the program's message.
    """
    program = program or shutil.which("kaltor")
    if program is None:
        raise RuntimeError("the program kaltor is not on PATH")
    if isinstance(options, str):
        raise ValueError(f"options are a list of words: [{options!r}]")
    command = [program, "render", None, "--quiet", *map(os.fspath, options)]
    if output is not None:
        command += ["-o", os.fspath(output)]
    made = None
    try:
        if isinstance(edit, collections.abc.Mapping):
            # In the working directory: its paths count from the document's folder.
            with tempfile.NamedTemporaryFile("w", suffix=".json", prefix=".kaltor-", dir=".", delete=False) as file:
                made = file.name
                json.dump(dict(edit), file, default=_plain)
            command[2] = made
        else:
            # A name that begins with "-" is no option of the program.
            name = os.fsdecode(edit)
            command[2] = os.path.join(os.curdir, name) if name.startswith("-") else name
        message, status = _run(command)
    finally:
        if made is not None:
            os.unlink(made)
    if status != 0:
        raise RuntimeError(message.removeprefix("kaltor: ") or f"kaltor render ended with status {status}")
