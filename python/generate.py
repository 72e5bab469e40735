"""Prints the module wdltcfg/interface.py: what the public headers declare, for ctypes.

    generate.py INCLUDE_DIRECTORY >interface.py

The headers' own checks of sizes and offsets, which the C compiler holds, are made of what is printed too.
"""
import ctypes
import re
import sys
from pathlib import Path

NUMBERS = {"uint8_t": "c_uint8", "uint16_t": "c_uint16", "uint32_t": "c_uint32", "uint64_t": "c_uint64",
           "int32_t": "c_int32", "double": "c_double", "char": "c_char", "wdlt_wchar": "c_uint16"}
# An argument that is a pointer to one of these; to anything else it is a typed pointer.
PLAIN_POINTERS = {"void": "c_void_p", "char": "c_char_p"}


def without_comments(text: str) -> str:
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def constants(text: str) -> list[str]:
    """Numbers that the headers define: UINT32_C(4), (A + B), 500."""
    text = re.sub(r"UINT(?:32|64)_C\((\w+)\)", r"\1", text.replace("\\\n", " "))
    found = re.findall(r"^#define (WDLT_[A-Z0-9_]+)[ \t]+([^\n]*)$", text, re.M)
    lines = [f"{name} = {value.strip()}" for name, value in found]
    lines += [f"{name} = {value}" for name, value in re.findall(r"STATUS\((WDLT_\w+), (-?\d+), ", text)]
    lines += [f"{name} = 1 << {bit}" for name, bit in re.findall(r"CHARSET\((WDLT_\w+), (\d+), ", text)]
    return lines


def field(declaration: str) -> str:
    """`char szUrl[2084]` as ("szUrl", c_char * 2084)."""
    kind, stars, name, extents = re.fullmatch(r"(\w+)(\s*\**)\s*(\w+)((?:\[\w+\])*)", declaration.strip()).groups()
    kind = "c_void_p" if stars.strip() else NUMBERS.get(kind, kind)
    for extent in reversed(re.findall(r"\[(\w+)\]", extents)):
        kind = f"{kind} * {extent}" if " " not in kind else f"({kind}) * {extent}"
    return f'("{name}", {kind})'


def structures(text: str) -> list[str]:
    found = re.findall(r"typedef struct (\w+) \{(.*?)\} \1;", text, re.S)
    return [f"\n\nclass {name}(Structure):\n    _fields_ = [\n"
            + "".join(f"        {field(each)},\n" for each in body.split(";") if each.strip()) + "    ]"
            for name, body in found]


def argument(declaration: str) -> str:
    kind, stars = re.fullmatch(r"(?:const )?(\w+)(\*?) \w+", declaration.strip()).groups()
    if not stars:
        return NUMBERS[kind]
    return PLAIN_POINTERS.get(kind) or f"POINTER({NUMBERS.get(kind, kind)})"


def prototypes(text: str) -> list[str]:
    found = re.findall(r"WDLTCFG_API int32_t (\w+)\(([^)]*)\);", text)
    return [f'    "{name}": [{", ".join(map(argument, [] if arguments == "void" else arguments.split(",")))}],'
            for name, arguments in ((name, " ".join(arguments.split())) for name, arguments in found)]


def check(module: dict[str, object], text: str) -> None:
    """Compares the structures with what the headers say of each."""
    for name, size in re.findall(r"^WDLT_SIZE\((\w+), (\d+)\);", text, re.M):
        assert ctypes.sizeof(module[name]) == int(size), name
    for name, member, offset in re.findall(r"^WDLT_AT\((\w+), (\w+), (\d+)\);", text, re.M):
        assert getattr(module[name], member).offset == int(offset), f"{name}.{member}"
    unchecked = set(re.findall(r"^typedef struct (\w+)", text, re.M))
    unchecked -= set(re.findall(r"^WDLT_SIZE\((\w+)", text, re.M))
    assert not unchecked, f"no size given: {unchecked}"


def main() -> None:
    folder = Path(sys.argv[1]) / "wdltcfg"
    text = "".join(without_comments((folder / f"{name}.h").read_text())
                   for name in ("status", "charsets", "addresses", "url_records", "records", "wdltcfg"))
    statuses = re.findall(r'STATUS\((WDLT_\w+), -?\d+, "([^"]*)"\)', text)
    printed = "\n".join([
        "# Printed by generate.py from the public headers at build time.",
        '"""The C interface for ctypes: constants, structures under their C names, and the functions\' arguments."""',
        "from __future__ import annotations\n",
        "from ctypes import POINTER, Structure, c_char, c_char_p, c_double, c_int32, c_uint8, c_uint16, c_uint32, "
        "c_uint64, c_void_p",
        "from typing import Any\n",
        *constants(text),
        "\n# Each status with its name and its meaning.\nSTATUSES: dict[int, tuple[str, str]] = {",
        *(f'    {name}: ("{name}", "{words}"),' for name, words in statuses),
        "}", *structures(text),
        "\n\n# Every function returns a c_int32.\nPROTOTYPES: dict[str, list[Any]] = {", *prototypes(text), "}\n"])
    module: dict[str, object] = {}
    exec(compile(printed, "interface.py", "exec"), module)
    check(module, text)
    sys.stdout.write(printed)


main()
