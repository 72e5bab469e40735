"""The settings of the content-scanning proxy service Wardlet, through the library libWdltCfg.so.

    import wdltcfg

    with wdltcfg.change():                        # one change at a time, among all processes
        settings = wdltcfg.read("urlf")           # records and features have wdltctl's names
        settings.mode = 2
        wdltcfg.write(settings)
    wdltcfg.enable("pvs")
    wdltcfg.lists.urls("black").add("*.example.com/*")

A text is in the system code page there and a str here. A failure is a wdltcfg.Error, as is a missing home.
`read(records.Urlf)` is read("urlf") with its type known. Beneath it, `library` has all 103 functions under their own
names with their arguments declared, and `interface` their constants and structures:

    urls = wdltcfg.interface.WdpeUrlfUUC()
    wdltcfg.check(wdltcfg.library.WdltUrlfReadUUC(ctypes.byref(urls)))

Any thread may call anything; other threads run meanwhile. The libraries are looked for in the directory
WDLTCFG_LIBRARY, if that is set (a build tree's bin); else beside the package where it is installed with them
(PREFIX/lib, or below it in the machine's own, of PREFIX/lib/python3/dist-packages); else where the system's loader does.
"""
from __future__ import annotations

import ctypes
from ctypes import byref
from typing import Any, TypeVar, overload

from . import interface, lists, records
from ._fields import Address, Exports, Record
from ._library import (Error, about, change, check, decode, encode, flag, function, installed, library, named, shown,
                       stored_value, typed)

__version__ = "@PROJECT_VERSION@"

__all__ = ["Error", "Record", "change", "check", "decode", "disable", "enable", "encode", "interface", "is_enabled",
           "library", "lists", "read", "records", "write"]


def __dir__() -> list[str]:
    return [*__all__, "__version__"]


R = TypeVar("R", bound=Record)

# Of the record virus: protocol and input.
_PLACES = {"pop3": (interface.WDLT_PROTOCOL_POP3, interface.WDLT_INPUT_NONE),
           "smtp": (interface.WDLT_PROTOCOL_SMTP, interface.WDLT_INPUT_NONE),
           "http": (interface.WDLT_PROTOCOL_HTTP, interface.WDLT_INPUT_NONE),
           "files": (interface.WDLT_PROTOCOL_HTTP, interface.WDLT_INPUT_HTTP_FILE_SCAN)}
_HANDLERS = {name: protocol for name, (protocol, _) in _PLACES.items() if name != "files"}
_PRIVACY = interface.WDLT_PRIVACY_SMTP | interface.WDLT_PRIVACY_HTTP
_FEATURES = {name: name for name in (*records.FEATURES, "pdp", "drs-white-list", "plugin-manager")}


def _place(kind: type[Record], which: str | int) -> Exports | Address:
    if kind._reached:
        if which != "":
            raise ValueError(f"{kind.RECORD} is only one: {shown(which)}")
        return kind._reached
    if kind is records.Virus:
        protocol, from_where = named("place of virus", _PLACES, str(which))
        return Address(protocol, interface.WDLT_SCAN_VIRUS, from_where, interface.WDLT_CONFIG_DEFAULT)
    protocol = which if isinstance(which, int) else named("handler", _HANDLERS, which)
    return Address(interface.WDLT_PROTOCOL_SYSTEM + protocol, interface.WDLT_SCAN_NONE, 0, 0)


@overload
def read(record: type[R], which: str | int = "") -> R: ...
@overload
def read(record: str, which: str | int = "") -> Any: ...
def read(record: type[Record] | str, which: str | int = "") -> Any:
    """The record of that name or class. `which` is the place of "virus" (pop3, smtp, http or files), and the protocol
    of "handler" (pop3, smtp, http, or its number)."""
    kind: Any = record
    if not (isinstance(record, type) and issubclass(record, Record)):
        kind = named("record", Record.KINDS, record)
    place = _place(kind, which)
    installed()
    data: Any = kind()
    data.place = place
    if isinstance(place, Exports):
        check(function(place.read)(byref(data)), kind.RECORD)
        return data
    size = ctypes.c_uint64(ctypes.sizeof(data))
    while True:
        buffer = ctypes.create_string_buffer(size.value)
        status = library.WdltReadConfigEx(*place, buffer, byref(size))
        if status != interface.WDLT_E_BUFFER_SIZE or size.value <= len(buffer):
            break  # else more follows the record than there was room for
    check(status, kind.RECORD)
    ctypes.memmove(byref(data), buffer, ctypes.sizeof(data))
    return data


def write(record: Record) -> None:
    """Stores a record that was read. What the library corrects is corrected in `record` too, where the headers say so.
    WDLT_E_NO_ANSWER as the Error's status means that it is stored, and that the service didn't answer in time."""
    with about("record"):
        typed(record, Record)
    place = record.place or type(record)._reached
    if place is None:
        raise ValueError(f"{record.RECORD}: read it first")
    installed()
    data: Any = record
    if isinstance(place, Exports):
        check(function(place.write)(byref(data)), record.RECORD)
    else:
        check(library.WdltWriteConfigEx(*place, byref(data), ctypes.sizeof(data)), record.RECORD)


def is_enabled(feature: str, protocols: int = _PRIVACY) -> bool:
    """Whether the feature is on, with its handler; "pdp" for all of `protocols`, bits of interface.WDLT_PRIVACY_…"""
    feature = named("feature", _FEATURES, feature)
    installed()
    if feature == "plugin-manager":
        return bool(read(records.PluginManager).enable)
    if feature == "pdp":
        return check(library.WdltPdpIsProtocolEnabled(protocols), feature) != 0
    if feature == "drs-white-list":
        return check(library.WdltIsDRSWhiteListEnabled(), feature) != 0
    return check(function(records.FEATURES[feature].read)(), feature) != 0


def enable(feature: str, on: bool = True, protocols: int = _PRIVACY) -> None:
    """Switches a feature, and on first what it needs, holding change(). WDLT_E_NO_ANSWER as with write."""
    feature = named("feature", _FEATURES, feature)
    with about(feature):
        flag(on)
    with change():
        installed()
        if feature == "plugin-manager":
            manager = read(records.PluginManager)
            manager.enable = on
            write(manager)
        elif feature == "pdp":
            check(library.WdltPdpProtocolEnable(on, protocols), feature)
        elif feature == "drs-white-list":
            option = (stored_value("PluginManager\\DRS\\WhiteList", "Option") or b"")[:4]
            check(library.WdltEnableDRSWhiteList(on, int.from_bytes(option, "little")), feature)
        else:
            check(function(records.FEATURES[feature].write)(on), feature)


def disable(feature: str, protocols: int = _PRIVACY) -> None:
    enable(feature, False, protocols)
