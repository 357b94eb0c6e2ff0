"""Automated QA tests of finished media files.

    import qatester
    report = qatester.inspect("programme.mov", profile="ebu-r128")
    for check in report.checks:
        print(check.name, check.state)

A report is what `qatester --json` writes of a file: dictionaries, lists, texts and numbers, under
the names that docs/client.md gives. Fields are attributes as well: report.verdict is
report["verdict"].
"""

from __future__ import annotations

import errno
import json
import os
import stat
import warnings
from collections.abc import Callable, Iterable, Mapping
from typing import Any, NamedTuple, Protocol, Union

from . import _qatester

__all__ = [
    "Check",
    "Profile",
    "Progress",
    "Record",
    "Report",
    "SettingsWarning",
    "checks",
    "inspect",
    "profiles",
    "versions",
]
__version__ = _qatester.version

_Path = Union[str, bytes, "os.PathLike[str]", "os.PathLike[bytes]"]
# Of a file that is no settings file every line may be wrong.
_MOST_REMARKS = 20
_MOST_THREADS = 1024


class Record(dict):
    """A JSON object whose fields are attributes, too; a method of dict's goes before a field."""

    def __getattr__(self, name: str) -> Any:
        try:
            return self[name]
        except KeyError:
            raise AttributeError(f"the report has no '{name}' here") from None


class Report(Record):
    """What the tests came to with a file."""

    def check(self, name: str) -> Record:
        """What came of a check; KeyError for one that was not run."""
        for check in self["checks"]:
            if check["name"] == name:
                return check
        raise KeyError(name)


class Progress(NamedTuple):
    """How far a run has come: the check that has come further, and all of it."""

    check: str
    percent: int
    whole_percent: int
    #: None as long as nobody can tell.
    seconds_left: float | None


class Check(NamedTuple):
    """A check that can be run."""

    name: str
    #: "classic" or "programme"
    family: str
    question: str


class Profile(NamedTuple):
    """What a kind of delivery demands."""

    name: str
    #: a settings file, whose first line says what the profile is for
    text: str


class SettingsWarning(UserWarning):
    """A line of a settings file does not do what it seems to."""


class Event(Protocol):
    """What threading.Event, multiprocessing.Event and asyncio.Event have."""

    def is_set(self) -> bool: ...


def inspect(
    path: _Path,
    profile: _Path | None = "general",
    checks: str | Iterable[str] | None = None,
    settings: Mapping[str, object] | _Path | None = None,
    threads: int = 0,
    progress: Callable[[Progress], object] | None = None,
    stop: Callable[[], object] | Event | None = None,
    displays: _Path | None = None,
) -> Report:
    """Tests a file and gives the report of it.

    profile: a name of profiles(), or the path of a settings file that stands for one. None: none;
        classic checks then judge as they always did.
    checks: names, or one text with commas. None: those that the profile does not switch off.
    settings: keys and values, or the path of a settings file; they win over the profile.
    threads: for decoding; 0: as many as there are processors. Changes time only.
    progress: called with a Progress whenever a percent changes, on the calling thread.
    stop: a callable that says whether to stop, or an event; asked several times a second. The
        report then holds what was measured so far.
    displays: a folder for the displays as picture files; None: no displays.

    A file that cannot be opened raises the OSError that open() would, with its name. One that is no
    media file has a report with `error`, and the verdict "not-measured". A profile, check or
    setting that there is not raises ValueError. What `progress` or `stop` raises ends the run and
    leaves this function, as does KeyboardInterrupt. Other threads run meanwhile.
    """
    _require_file(path)
    file, pairs = _settings_of(settings)
    name = b"" if profile is None else os.fsencode(profile)
    if profile is not None and not name:
        raise ValueError("profile: an empty name")
    if name and not _qatester.is_profile(name) and os.path.isfile(name):
        _review(name)
    if file:
        _review(file)
    if not 0 <= threads <= _MOST_THREADS:
        raise ValueError(f"threads: {threads} is not between 0 and {_MOST_THREADS}")
    folder = b""
    if displays is not None:
        folder = os.fsencode(displays)
        os.makedirs(folder, exist_ok=True)
    text = _qatester.inspect(
        path=os.fsencode(path),
        profile=name,
        checks=_names_of(checks),
        settings_file=file,
        settings=pairs,
        threads=threads,
        displays=folder,
        progress=None if progress is None else lambda *come: progress(Progress(*come)),
        stop=getattr(stop, "is_set", stop),
        warn=lambda trouble: warnings.warn(trouble, RuntimeWarning, stacklevel=3),
    )
    # The outermost object is the report.
    return Report(json.loads(text, object_hook=Record))


def checks() -> list[Check]:
    """All checks, in the order in which they are run."""
    return [Check(*row) for row in _qatester.check_rows()]


def profiles() -> list[Profile]:
    """The profiles that come with the library, "general" first."""
    return [Profile(*row) for row in _qatester.profile_rows()]


def versions() -> dict[str, str]:
    """The versions of the library and of those that it runs on."""
    lines = _qatester.library_versions().splitlines()
    return {"qatester": __version__} | dict(line.split(None, 1) for line in lines)


def _require_file(path: _Path) -> None:
    """Raises what open() would, without opening what may block."""
    mode = os.stat(path).st_mode
    name = os.fspath(path)
    if stat.S_ISDIR(mode):
        raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), name)
    if not stat.S_ISREG(mode):
        raise OSError(errno.EINVAL, "Is not a regular file", name)
    with open(path, "rb"):
        pass


def _names_of(names: str | Iterable[str] | None) -> list[str] | None:
    if names is None:
        return None
    if isinstance(names, str):
        names = [name.strip() for name in names.split(",")]
    names = list(names)
    for name in names:
        if names.count(name) > 1:
            raise ValueError(f"check '{name}' is named twice")
    return names


def _settings_of(settings: Mapping[str, object] | _Path | None) -> tuple[bytes, list[tuple[str, str]]]:
    if settings is None:
        return b"", []
    if isinstance(settings, Mapping):
        return b"", [(str(key), _text_of(value)) for key, value in settings.items()]
    _require_file(settings)
    return os.fsencode(settings), []


def _text_of(value: object) -> str:
    # True is above 0, as settings have it.
    return str(int(value)) if isinstance(value, bool) else str(value)


def _review(file: bytes) -> None:
    remarks = _qatester.remarks_on(file, _MOST_REMARKS + 1)
    name = os.fsdecode(file)
    for line, text in remarks[:_MOST_REMARKS]:
        warnings.warn(f"{name}:{line}: {text}", SettingsWarning, stacklevel=3)
    if len(remarks) > _MOST_REMARKS:
        warnings.warn(f"{name}: more lines are like these", SettingsWarning, stacklevel=3)
