"""The two libraries, their status codes, texts and the mutex of all changes."""
from __future__ import annotations

import ctypes
import os
import reprlib
import sysconfig
import time
from contextlib import contextmanager
from ctypes import byref, c_char_p, c_int, c_uint32, c_void_p
from pathlib import Path
from types import TracebackType
from typing import Any, Iterator, Mapping, TypeVar

from . import interface


def _folder() -> Path | None:
    """Where the libraries are, if that can be told; else the system's loader looks for them."""
    if built := os.environ.get("WDLTCFG_LIBRARY"):
        return Path(built)
    beside = Path(__file__).parents[3]  # of lib/python3/dist-packages/wdltcfg
    machine = beside / str(sysconfig.get_config_var("MULTIARCH"))
    return next((folder for folder in (beside, machine) if (folder / "libWdltCfg.so.1").exists()), None)


def _load(name: str) -> ctypes.CDLL:
    folder = _folder()
    try:
        return ctypes.CDLL(str(folder / name) if folder else name)
    except OSError as error:
        raise ImportError(f"{error}; WDLTCFG_LIBRARY can name the directory") from None


layer = _load("libWdltPlatform.so.1")
library = _load("libWdltCfg.so.1")
_OF_LAYER: tuple[tuple[str, Any, list[Any]], ...] = (
    ("GetLastError", c_uint32, []),
    ("CreateMutexA", c_void_p, [c_void_p, c_int, c_char_p]),
    ("WaitForSingleObject", c_uint32, [c_void_p, c_uint32]),
    ("ReleaseMutex", c_int, [c_void_p]),
    ("CloseHandle", c_int, [c_void_p]),
    ("MultiByteToWideChar", c_int, [c_uint32, c_uint32, c_char_p, c_int, c_void_p, c_int]),
    ("WideCharToMultiByte", c_int, [c_uint32, c_uint32, c_char_p, c_int, c_void_p, c_int, c_char_p, c_void_p]),
    ("WdLookAtHome", c_uint32, [c_void_p, c_uint32]),
    ("WdPathOfName", c_uint32, [c_char_p, c_void_p, c_uint32]),
    ("RegOpenKeyExA", c_uint32, [c_void_p, c_char_p, c_uint32, c_uint32, c_void_p]),
    ("RegQueryValueExA", c_uint32, [c_void_p, c_char_p, c_void_p, c_void_p, c_void_p, c_void_p]),
    ("RegCloseKey", c_uint32, [c_void_p]),
)
for _name, _arguments in interface.PROTOTYPES.items():
    getattr(library, _name).argtypes = _arguments
for _name, _result, _arguments in _OF_LAYER:
    getattr(layer, _name).restype = _result
    getattr(layer, _name).argtypes = _arguments


class Error(Exception):
    """A call of the library failed: `status` is its code, `name` the code's name, `words` what it means."""

    def __init__(self, status: int, detail: str = "") -> None:
        self.status = status
        self.name, self.words = interface.STATUSES.get(status, ("unknown status", "unknown status"))
        self.detail = detail
        super().__init__(status, detail)

    def __str__(self) -> str:
        return f"{self.detail + ': ' if self.detail else ''}{self.words} ({self.name}, {self.status})"


def check(status: int, detail: str = "") -> int:
    """The answer of a function, unless it is a failure: that is raised."""
    if status < 0:
        raise Error(status, detail)
    return status


def look_at_home() -> None:
    """An Error where there is no home. The library would make it, for a read too, and that of a mistyped name."""
    path = ctypes.create_string_buffer(4096)
    if layer.WdLookAtHome(path, len(path)) == 2:  # ERROR_FILE_NOT_FOUND
        raise Error(interface.WDLT_E_REGISTRY, f"there is no home {os.fsdecode(path.value)}")


def installed() -> interface.WdchSystemData:
    """The service's own record. An Error where nothing is installed or can be read: then many functions answer with
    defaults and 0, which a write would store."""
    look_at_home()
    system = interface.WdchSystemData()
    size = ctypes.c_uint64(ctypes.sizeof(system))
    check(library.WdltReadConfig(interface.WDLT_PROTOCOL_SYSTEM, 0, 0, byref(system), byref(size)))
    if not system.installPath:
        raise Error(interface.WDLT_E_REGISTRY, "nothing is installed in this home, or it can't be read")
    return system


class change:
    """Whoever reads settings, changes them and writes them back holds this mutex, shared with all other processes:

        with wdltcfg.change():
            ...

    It may be entered again by the thread that has it. `abandoned` says that the one who had it before died, perhaps
    half way through its change: each value that it stored is whole. It can be told only where another process had the
    mutex open meanwhile, as those have that wait for it; else the mutex was gone with the one who died. After `timeout`
    seconds: a TimeoutError; where there is no home: an Error."""

    NAME = b"Global\\wdlt_change_mutex"
    _SLICE = 100  # milliseconds between two looks at Python's own signals
    _OBTAINED, _ABANDONED, _TIMEOUT = 0, 0x80, 258

    def __init__(self, timeout: float | None = None) -> None:
        self.timeout = timeout
        self.abandoned = False

    def __enter__(self) -> change:
        look_at_home()
        end = None if self.timeout is None else time.monotonic() + self.timeout
        self._mutex = layer.CreateMutexA(None, 0, self.NAME)
        if not self._mutex:
            raise Error(interface.WDLT_E_GENERAL, f"the lock of changes: error {layer.GetLastError()} of the layer")
        result = self._TIMEOUT
        try:
            while result == self._TIMEOUT:
                left = self._SLICE if end is None else max(0, min(self._SLICE, int((end - time.monotonic()) * 1000)))
                result = layer.WaitForSingleObject(self._mutex, left)
                if result == self._TIMEOUT and end is not None and time.monotonic() >= end:
                    raise TimeoutError("another change of these settings is under way")
            if result not in (self._OBTAINED, self._ABANDONED):
                raise Error(interface.WDLT_E_GENERAL, f"the lock of changes: error {layer.GetLastError()} of the layer")
        except BaseException:
            self._leave(result in (self._OBTAINED, self._ABANDONED))
            raise
        self.abandoned = result == self._ABANDONED
        return self

    def __exit__(self, kind: type[BaseException] | None, error: BaseException | None,
                 trace: TracebackType | None) -> None:
        self._leave(True)

    def _leave(self, is_ours: bool) -> None:
        if is_ours:
            layer.ReleaseMutex(self._mutex)
        layer.CloseHandle(self._mutex)


def decode(text: bytes) -> str:
    """A text of the system code page. Bytes that aren't one come as surrogate escapes, and go back as they were."""
    if not text:
        return ""
    length = layer.MultiByteToWideChar(0, 8, text, len(text), None, 0)  # fails with invalid bytes
    if length == 0:
        return text.decode("ascii", "surrogateescape")
    wide = ctypes.create_string_buffer(2 * length)
    layer.MultiByteToWideChar(0, 8, text, len(text), wide, length)
    return wide.raw.decode("utf-16-le", "surrogatepass")


def encode(text: str) -> bytes:
    """The text in the system code page; a ValueError when that can't represent it, or for a zero inside it."""
    typed(text, str)
    if "\0" in text:
        raise ValueError("a text ends at a zero")
    if not text:
        return b""
    try:
        wide = text.encode("utf-16-le")
    except UnicodeEncodeError:
        return text.encode("ascii", "surrogateescape")
    lacks = c_int()
    length = layer.WideCharToMultiByte(0, 0, wide, len(wide) // 2, None, 0, None, byref(lacks))
    if length == 0 or lacks:
        raise ValueError("not in the system code page")
    narrow = ctypes.create_string_buffer(length)
    layer.WideCharToMultiByte(0, 0, wide, len(wide) // 2, narrow, length, None, None)
    return narrow.raw


def stored_value(key: str, name: str) -> bytes | None:
    """A value of the registry that no function reads; `key` is below the service's. None: there is none."""
    handle = c_void_p()
    path = b"SOFTWARE\\Halvermoor\\PLK\\Wardlet\\" + key.encode()
    if layer.RegOpenKeyExA(0x80000002, path, 0, 0x20019, byref(handle)) != 0:
        return None
    try:
        data, size = ctypes.create_string_buffer(1024), c_uint32(1024)
        failed = layer.RegQueryValueExA(handle, name.encode(), None, None, data, byref(size))
        return None if failed else data.raw[: size.value]
    finally:
        layer.RegCloseKey(handle)


def path_of(name: bytes) -> bytes:
    """The system's path of a file that a setting names."""
    path = ctypes.create_string_buffer(4096)
    if layer.WdPathOfName(name, path, len(path)) != 0:
        raise Error(interface.WDLT_E_FILE, decode(name))
    return path.value


_short = reprlib.Repr()
_short.maxstring = 80
shown = _short.repr  # of what a caller gave, for an error's message


def typed(value: Any, *kinds: type[Any]) -> None:
    """The value itself may be a secret: it isn't told."""
    if not isinstance(value, kinds):
        raise TypeError(f"{' or '.join(kind.__name__ for kind in kinds)} is needed, not {type(value).__name__}")


def flag(value: Any) -> int:
    if value not in (0, 1):
        raise TypeError(f"True or False is needed, not {shown(value)}")
    return int(value)


@contextmanager
def about(what: str) -> Iterator[None]:
    """Values are checked within it: what is refused there is told with a name."""
    try:
        yield
    except (TypeError, ValueError) as error:
        raise (TypeError if isinstance(error, TypeError) else ValueError)(f"{what}: {error}") from None


def function(name: str) -> Any:
    return getattr(library, name)


V = TypeVar("V")


def named(what: str, table: Mapping[str, V], name: str) -> V:
    """What the table has under a name that a caller gave, in any case."""
    with about(what):
        typed(name, str)
    if name.lower() not in table:
        raise ValueError(f"{shown(name)} is no {what}: {', '.join(table)}")
    return table[name.lower()]
