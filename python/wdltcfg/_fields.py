"""What the records of records.py are made of: typed attributes over the fields of C structures."""
from __future__ import annotations

import ctypes
from typing import Any, ClassVar, Generic, NamedTuple, TypeVar, overload

from ._library import about, decode, encode, flag, shown, typed

T = TypeVar("T")
F = TypeVar("F", bound="Field[Any]")


class Exports(NamedTuple):
    """The names of the two functions for a record, or for a feature: those that ask and switch it."""

    read: str
    write: str


class Address(NamedTuple):
    protocol: int
    scan: int
    input: int
    config_type: int


class Field(Generic[T]):
    """One field, by its name in C, with what the tables say about it."""

    def __init__(self, member: str, offset: int, size: int, help: str, *, least: int = 0, most: int = 0xFFFFFFFF,
                 count: str = "", secret: bool = False, read_only: bool = False) -> None:
        self.member, self.offset, self.size, self.help = member, offset, size, help
        self.least, self.most, self.count = least, most, count
        self.secret, self.read_only = secret, read_only

    def __set_name__(self, owner: Any, name: str) -> None:
        self.name = name
        structure: Any = owner.__bases__[-1]
        self._of_c = getattr(structure, self.member)
        self._type = dict(structure._fields_)[self.member]
        if (self._of_c.offset, self._of_c.size) != (self.offset, self.size):
            raise ImportError(f"{owner.__name__}.{name}: interface.py and records.py are of different versions")

    @overload
    def __get__(self: F, record: None, owner: type[Any]) -> F: ...
    @overload
    def __get__(self, record: Record, owner: type[Any]) -> T: ...
    def __get__(self, record: Record | None, owner: type[Any]) -> Any:
        return self if record is None else self._taken(record, self._of_c.__get__(record, owner))

    def __set__(self, record: Record, value: T) -> None:
        if self.read_only:
            raise AttributeError(f"{self.name} is read only")
        with about(self.name):
            self._of_c.__set__(record, self._given(value))

    def _taken(self, record: Record, content: Any) -> T:
        raise NotImplementedError

    def _given(self, value: T) -> Any:
        raise NotImplementedError


class Number(Field[int]):
    def _taken(self, record: Record, content: Any) -> int:
        return int(content)

    def _given(self, value: int) -> int:
        typed(value, int)
        least, most = self.least, min(self.most, 2 ** (8 * self.size) - 1)
        if self._type is ctypes.c_int32:
            least, most = -(2**31), 2**31 - 1
        if not least <= value <= most:
            raise ValueError(f"{shown(value)} isn't within {least} to {most}")
        return value


class Flag(Field[bool]):
    def _taken(self, record: Record, content: Any) -> bool:
        return bool(content)

    def _given(self, value: bool) -> int:
        return flag(value)


def _narrow(text: str, most: int) -> bytes:
    content = encode(text)
    if len(content) > most:
        raise ValueError(f"{len(content)} bytes, at most {most} can be read back")
    return content


class Text(Field[str]):
    def _taken(self, record: Record, content: Any) -> str:
        return decode(content)

    def _given(self, value: str) -> bytes:
        return _narrow(value, self.most)


class Names(Field["tuple[str, ...]"]):
    """Slots of one size, in use up to the first empty one."""

    def _taken(self, record: Record, content: Any) -> tuple[str, ...]:
        names = [slot.value for slot in content]
        return tuple(map(decode, names[: names.index(b"")] if b"" in names else names))

    def _given(self, value: tuple[str, ...]) -> Any:
        typed(value, tuple, list)
        slot = self._type._type_
        if len(value) > self._type._length_ or "" in value:
            raise ValueError(f"at most {self._type._length_} names, and none that is empty")
        return self._type(*(slot(*_narrow(name, slot._length_ - 1)) for name in value))


class Numbers(Field["tuple[int, ...]"]):
    """As many as another field says."""

    def _taken(self, record: Record, content: Any) -> tuple[int, ...]:
        return tuple(content[: getattr(record, self.count)])


class Record:
    """A record of settings. Its attributes are typed and checked; the fields of the C structure are there too, by their
    names in C."""

    RECORD: ClassVar[str]
    FIELDS: ClassVar[dict[str, Field[Any]]]
    KINDS: ClassVar[dict[str, type[Record]]] = {}
    _reached: ClassVar[Exports | Address | None]
    place: Exports | Address | None = None

    def __init_subclass__(cls) -> None:
        cls.FIELDS = {name: field for name, field in vars(cls).items() if isinstance(field, Field)}
        cls.KINDS[cls.RECORD] = cls

    def __setattr__(self, name: str, value: Any) -> None:
        if not hasattr(type(self), name):
            raise AttributeError(f"{self.RECORD} has no {name}: {', '.join(self.FIELDS)}")
        super().__setattr__(name, value)

    def __repr__(self) -> str:
        fields = (f"{name}={'(secret)' if field.secret else repr(getattr(self, name))}"
                 for name, field in self.FIELDS.items())
        return f"{type(self).__name__}({', '.join(fields)})"

    def __eq__(self, other: object) -> bool:
        return type(other) is type(self) and all(getattr(self, name) == getattr(other, name) for name in self.FIELDS)

    __hash__ = None  # type: ignore[assignment]
