"""The lists of texts, under wdltctl's names; the rules of DRS, and the mail addresses that the service remembers.

    for url in lists.urls("black"): ...
    lists.spam("white").add("friend@example.org")
"""
from __future__ import annotations

import ctypes
from ctypes import byref, c_int32
from dataclasses import dataclass
from typing import Any, Callable, Iterator

from . import interface as c
from ._library import (Error, about, change, check, decode, encode, installed, library, named, path_of, shown,
                       stored_value, typed)

__all__ = ["Rule", "TextList", "add_rule", "addresses", "exclusions", "has_url", "hosts", "remove_rule", "rules",
           "spam", "spyware", "urls"]


def __dir__() -> list[str]:
    return __all__


_TYPES = {"white": c.WDLT_LIST_WHITE, "black": c.WDLT_LIST_BLACK}


def _records(call: Callable[[Any, Any], int], kind: Any, what: str) -> list[Any]:
    """All records that `call` gives. Whether too little room is an error there or cuts the list: with more than enough,
    neither happens. A list that was never written is empty."""
    room = 64
    while True:
        records, count = (kind * room)(), c_int32(room)
        status = call(records, byref(count))
        if status == c.WDLT_E_FILE_NOT_FOUND:
            return []
        if status not in (c.WDLT_OK, c.WDLT_E_BUFFER_SIZE):
            raise Error(status, what)
        if status == c.WDLT_OK and count.value < room:
            return list(records[: count.value])
        room = max(2 * room, count.value + 1)


class TextList:
    """A list that is read and written as a whole. add and remove hold wdltcfg.change() meanwhile, as should be held
    from a read() to the write() of what became of it."""

    def __init__(self, what: str, kind: Any, member: str, read: Any, write: Any) -> None:
        self._what, self._kind, self._member, self._read, self._write = what, kind, member, read, write

    def read(self) -> list[str]:
        installed()
        return [self._shown(getattr(record, self._member)) for record in _records(self._read, self._kind, self._what)]

    def write(self, texts: list[str]) -> None:
        with about(self._what):
            typed(texts, list, tuple)
        installed()
        size = getattr(self._kind, self._member).size
        records = (self._kind * max(1, len(texts)))()
        for record, text in zip(records, texts):
            with about(f"{self._what}: {shown(text)}"):
                typed(text, str)
                content, most = self._stored(text, size)
                if not 0 < len(content) <= most:
                    raise ValueError(f"{len(content)} bytes, not 1 to {most}")
            ctypes.memmove(byref(record, getattr(self._kind, self._member).offset), content, len(content))
        check(self._write(records, len(texts)), self._what)

    def add(self, *texts: str) -> list[str]:
        """Those that weren't there."""
        wanted = self._once(texts)
        with change():
            old = self.read()
            new = [text for text in wanted if text not in old]
            if new:
                self.write(old + new)
            return new

    def remove(self, *texts: str) -> list[str]:
        """Those that were there."""
        wanted = self._once(texts)
        with change():
            old = self.read()
            gone = [text for text in wanted if text in old]
            if gone:
                self.write([text for text in old if text not in gone])
            return gone

    def __iter__(self) -> Iterator[str]:
        return iter(self.read())

    def __len__(self) -> int:
        return len(self.read())

    def __repr__(self) -> str:
        return f"<list {self._what}>"

    def _once(self, texts: tuple[str, ...]) -> list[str]:
        with about(self._what):
            for text in texts:
                typed(text, str)
        return list(dict.fromkeys(texts))

    def _shown(self, content: Any) -> str:
        return decode(content)

    def _stored(self, text: str, size: int) -> tuple[bytes, int]:
        """Its bytes, and how many there may be in a field of that size."""
        return encode(text), size - 1


def urls(which: str) -> TextList:
    """The URL filter's white or black list: patterns, in which * stands for any text."""
    kind = named("list", _TYPES, which)
    return TextList(f"urls {which.lower()}", c.WdpeUrlfUrlRecord, "szUrl",
                    lambda records, count: library.WdltUrlfReadRecordList(kind, records, count),
                    lambda records, count: library.WdltUrlfWriteRecordList(kind, records, count))


def has_url(url: str, which: str) -> bool:
    """Whether a pattern of the list fits the URL; the service is asked, or else the list's file."""
    installed()
    return bool(library.WdltUrlfIsRecordExists(named("list", _TYPES, which), byref(c.WdpeUrlfUrlRecord(encode(url)))))


class _Hosts(TextList):
    """A host is a block of bytes: a text, or any other as hex: and its digits."""

    def _shown(self, content: Any) -> str:
        data = bytes(content).rstrip(b"\0")
        text = decode(data)
        is_plain = all(letter >= " " and letter != "\x7f" and not "\ud800" <= letter <= "\udfff" for letter in text)
        if is_plain and 0 < len(data) < len(content) and not text.startswith("hex:"):
            return text
        return "hex:" + (data or b"\0").hex()

    def _stored(self, text: str, size: int) -> tuple[bytes, int]:
        return (bytes.fromhex(text[4:]), size) if text.startswith("hex:") else super()._stored(text, size)


def hosts() -> TextList:
    """The host filter's white list."""
    return _Hosts("hosts", c.WdpeHosfHostRecord, "byHost", library.WdltHosfReadRecordList,
                  library.WdltHosfWriteRecordList)


def spyware() -> TextList:
    """Spyware that the virus scan lets pass."""

    def read(records: Any, count: Any) -> int:
        stored = stored_value("Scan\\Common\\Virus\\config", "WhiteList") or b""
        try:  # the library reads a file that can't be opened as an empty list, and then what is added would replace it
            open(path_of(installed().installPath + (stored.split(b"\0")[0] or b"SpyAList.dat")), "rb").close()
        except FileNotFoundError:
            pass
        except OSError:
            return int(c.WDLT_E_FILE)
        return int(library.WdltSpyReadRecordList(0, records, count))

    return TextList("spyware", c.WdpeSpyRecord, "szText", read,
                    lambda records, count: library.WdltSpyWriteRecordList(0, records, count))


def spam(which: str) -> TextList:
    """Anti-spam's white or black list. A write makes both text files anew, of what can be read of them."""
    kind = named("list", _TYPES, which)

    def read(records: Any, count: Any) -> int:
        whole = c.WdpeAspmData()  # only this says that a list is empty because it can't be read
        size = ctypes.c_uint64(ctypes.sizeof(whole))
        status = int(library.WdltReadConfig(c.WDLT_PROTOCOL_POP3, c.WDLT_SCAN_ANTI_SPAM, 0, byref(whole), byref(size)))
        unread = (c.WDLT_ASPM_UNREAD_WHITE, c.WDLT_ASPM_UNREAD_BLACK)[kind]
        if status == c.WDLT_OK and whole.dwUnreadLists & unread:
            return int(c.WDLT_E_FILE)
        return status or int(library.WdltAspmReadRecordList(kind, records, count))

    return TextList(f"spam {which.lower()}", c.WdpeAspmEntry, "szEntry", read,
                    lambda records, count: library.WdltAspmWriteRecordList(kind, records, count))


def exclusions() -> TextList:
    """What privacy protection lets pass."""

    def write(records: Any, count: int) -> int:
        old = {each.szText: each.dwExclusionId
               for each in _records(library.WdltPdpReadExItemList, c.PrivacyExclusionItem, "exclusions")}
        new = max(old.values(), default=-1) + 1  # one that stays keeps its number
        for record in records[:count]:
            record.dwScanTarget = c.WDLT_PRIVACY_EXCLUSION_TARGET
            record.dwExclusionId = old.pop(record.szText, new)
            new += record.dwExclusionId == new
        return int(library.WdltPdpWriteExItemList(records, count))

    return TextList("exclusions", c.PrivacyExclusionItem, "szText", library.WdltPdpReadExItemList, write)


@dataclass(frozen=True)
class Rule:
    """Of the white list of DRS. The index is from 1 to 1000 and unique, as is the name."""

    index: int
    process: str
    name: str
    domain: str


def rules() -> list[Rule]:
    installed()
    items = _records(library.WdltGetAllDRSWhiteListItem, c.WdltDrsWhiteListItem, "rules")
    return [Rule(item.Index, *(bytes(text).decode("utf-16-le", "surrogatepass").split("\0")[0]
                               for text in (item.ProcessImageName, item.RuleName, item.DomainName))) for item in items]


def _index(index: int) -> int:
    """0 would be all rules, and so would a number of which 32 bits are 0."""
    with about("index"):
        typed(index, int)
    if not 1 <= index <= c.WDLT_MAX_DRS_INDEX:
        raise ValueError(f"index: {shown(index)} isn't within 1 to {c.WDLT_MAX_DRS_INDEX}")
    return index


def add_rule(rule: Rule) -> None:
    with about("rule"):
        typed(rule, Rule)
    item = c.WdltDrsWhiteListItem(Index=_index(rule.index))
    for name, member in (("process", "ProcessImageName"), ("name", "RuleName"), ("domain", "DomainName")):
        text, field = getattr(rule, name), getattr(c.WdltDrsWhiteListItem, member)
        with about(name):
            typed(text, str)
            units = text.encode("utf-16-le", "surrogatepass")
            if len(units) >= field.size or "\0" in text:
                raise ValueError(f"at most {field.size // 2 - 1} units, and no zero")
        ctypes.memmove(byref(item, field.offset), units, len(units))
    installed()
    check(library.WdltAddDRSWhiteListItem(byref(item)), "rules")


def remove_rule(index: int) -> None:
    """Of the rule that has the index, if there is one."""
    index = _index(index)
    installed()
    check(library.WdltDeleteDRSWhiteListItem(index), "rules")


def addresses() -> list[str]:
    """The mail addresses that the service remembers."""
    installed()
    records = _records(library.WdltMahReadRecordList, c.MailAddressRecord, "addresses")
    return [decode(record.szAddress) for record in records]
