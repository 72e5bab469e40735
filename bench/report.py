#!/usr/bin/env python3
"""Makes docs/performance.md's tables and pictures of what the benchmarks measured.

    report.py --machine FOLDER            prints as JSON what FOLDER's build ran on
    report.py RESULTS                     prints the rows of the programs that have results
    report.py RESULTS DOCUMENT            the same, and rewrites DOCUMENT and the pictures in the folder of its name

RESULTS has a folder for each round: a file for each program, as Google Benchmark writes it, and machine.json. The same
results make the same bytes. In the document each table stands between two comments, `<!-- figures: NAME -->` and
`<!-- end -->`; nothing else is changed. A row or line without its benchmark is an error, and so is a benchmark that
no row and no line uses.
"""
import json
import os
import platform
import re
import statistics
import subprocess
import sys
import time
from pathlib import Path
from typing import NamedTuple

from report_plot import Curve, Point, draw
from report_rows import PICTURES, TABLES, Picture, Row

UNITS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}


class Spread(NamedTuple):
    """Median and quartiles of one figure over all rounds."""

    low: float
    median: float
    high: float


def spread(figures: list[float]) -> Spread:
    if len(figures) == 1:
        return Spread(figures[0], figures[0], figures[0])
    return Spread(*statistics.quantiles(figures, n=4, method="inclusive"))


class Results:
    """The figures of all rounds, by name, and which of them were asked for."""

    def __init__(self, folder: Path) -> None:
        self.problems: list[str] = []
        self.machines: list[dict[str, str | float]] = []
        self._rounds: list[dict[str, dict[str, float]]] = []
        self._used: set[str] = set()
        for each in sorted(folder.iterdir()):
            self.machines.append(json.loads((each / "machine.json").read_text()))
            self._rounds.append({})
            for file in sorted(each.glob("*_bench.json")):
                for result in json.loads(file.read_text())["benchmarks"]:
                    self._add(f"{file.stem.removesuffix('_bench')}/{result['name'].split('/')[0]}", result)

    def _add(self, name: str, result: dict[str, float | str]) -> None:
        if "error_occurred" in result:
            self.problems.append(f"{name}: {result.get('error_message')}")
        unit = UNITS[str(result["time_unit"])]
        self._rounds[-1][name] = {
            field: figure * (unit if field.endswith("_time") else 1)
            for field, figure in result.items()
            if isinstance(figure, int | float)
        }

    def has(self, program: str) -> bool:
        return any(name.startswith(program + "/") for name in self._rounds[0])

    def figures(self, name: str) -> list[float]:
        """One figure for each round; none, and a problem, where one lacks it."""
        benchmark, _, field = name.partition(":")
        self._used.add(benchmark)
        try:
            return [each[benchmark][field or "real_time"] for each in self._rounds]
        except KeyError:
            self.problems.append(f"{name}: a row or a line needs it, and no benchmark gives it")
            return []

    def note_unused(self) -> None:
        for name in sorted(self._rounds[0].keys() - self._used):
            self.problems.append(f"{name}: measured, and in no row and no line")


def plain(number: float) -> str:
    """Two figures, or all those before the point."""
    return f"{number:.0f}" if number >= 9.95 else f"{number:.1f}" if number >= 0.995 else f"{number:.2g}"


def scale_of(figure: float, field: str) -> tuple[float, str]:
    """Factor and unit with which a figure is shown."""
    if field.endswith("KiB"):
        return (1 / 1024, "MiB") if figure >= 1024 else (1, "KiB")
    for unit, name in ((1.0, "s"), (1e-3, "ms"), (1e-6, "µs")):
        if figure >= 0.9995 * unit:
            return 1 / unit, name
    return 1e9, "ns"


def shown(figures: Spread, field: str = "", *, unitless: bool = False) -> str:
    factor, unit = (1.0, "") if unitless else scale_of(figures.median, field)
    low, median, high = (plain(figure * factor) for figure in figures)
    return f"{median} {unit}".rstrip() + ("" if low == high else f" ({low} to {high})")


def target(words: str, reached: bool) -> str:
    return words if reached else f"**{words}: missed**"


def lines_of(results: Results, row: Row, size: int | None) -> list[str]:
    """The lines of one row at one size: a line for each of what stands beside it."""

    def at(text: str) -> str:
        return text if size is None else text.replace("{}", str(size))

    name = at(row.name)
    own = results.figures(name)
    cells = [at(row.words), "", "", "", "", ""]
    if own:
        took, field = spread(own), name.partition(":")[2]
        cells[1] = shown(took, field)
        if row.within:
            factor, unit = scale_of(row.within, field)
            cells[5] = target(f"{row.within * factor:.3g} {unit}", took.median <= row.within)
    lines = []
    for beside in row.beside:
        other = results.figures(f"{name.split('/')[0]}/{at(beside.name)}")
        cells[2] = at(beside.words)
        if own and other:
            ratio = spread([one / two for one, two in zip(own, other, strict=True)])
            cells[3], cells[4] = shown(spread(other)), shown(ratio, unitless=True)
            if beside.target:
                reached = ratio.median <= beside.target
                cells[5] = ", ".join(filter(None, (cells[5], target(f"ratio {beside.target:g}", reached))))
        lines.append(cells)
        cells = [""] * 6
    lines = lines or [cells]
    return ["| " + " | ".join(line) + " |" for line in lines]


def table(results: Results, rows: tuple[Row, ...], whole: bool) -> list[str]:
    return [
        line
        for row in rows
        if whole or results.has(row.name.split("/")[0])
        for size in row.sizes or (None,)
        for line in lines_of(results, row, size)
    ]


HEAD = ["| What | Takes | Beside it | Takes | Ratio | Target |", "|---|---|---|---|---|---|"]


def curves_of(results: Results, one: Picture) -> list[Curve]:
    curves = []
    for line in one.lines:
        figures = {size: results.figures(line.name.replace("{}", str(size))) for size in one.sizes}
        points = [Point(size, *spread(each)) for size, each in figures.items() if each]
        curves.append(Curve(line.words, line.beside, points))
    return curves


def machine(folder: Path) -> dict[str, str | float]:
    """What the programs of a build run on. The time of a sync is the median of 200, each after 4 KiB."""

    def first(pattern: str, file: Path) -> str:
        found = re.search(pattern, file.read_text(), re.MULTILINE)
        return found[1] if found else "unknown"

    def printed(*command: str) -> str:
        return subprocess.run(command, capture_output=True, text=True, check=True).stdout.splitlines()[-1].strip()

    cache = folder / "CMakeCache.txt"
    compiler = first(r"^CMAKE_CXX_COMPILER:\w+=(.*)", cache)
    cpu = Path("/proc/cpuinfo")
    name = "clang" if "clang" in Path(compiler).name else "gcc"
    version = printed(compiler, "-dumpfullversion", "-dumpversion")
    build = first(r"^CMAKE_BUILD_TYPE:\w+=(.*)", cache)
    syncs = []
    place = folder / f"sync-{os.getpid()}"
    with place.open("wb", buffering=0) as file:
        for _ in range(200):
            file.write(bytes(4096))
            begin = time.perf_counter()
            os.fsync(file.fileno())
            syncs.append(time.perf_counter() - begin)
    place.unlink()
    return {
        "processor": first(r"^model name\s*: (.*)", cpu),
        "cores": f"{os.cpu_count()}" + (" (virtual)" if " hypervisor" in cpu.read_text() else ""),
        "system": f"{platform.freedesktop_os_release()['PRETTY_NAME']}, {platform.machine()}",
        "kernel": platform.release().split("-")[0],
        "file system": printed("df", "--output=fstype", str(folder)),
        "compiler": f"{name} {version}, {build}",
        "sync": statistics.median(syncs),
    }


def machine_table(results: Results) -> list[str]:
    told = {name: text for name, text in results.machines[0].items() if name != "sync"}
    told["file system"] = f"{told['file system']}; 4 KiB are synced in " + shown(
        spread([float(each["sync"]) for each in results.machines])
    )
    told["rounds"] = str(len(results.machines))
    return ["| Machine | |", "|---|---|", *(f"| {name} | {text} |" for name, text in told.items())]


def filled(results: Results, document: Path, tables: dict[str, list[str]]) -> str:
    """The document's text with these tables in their places."""
    text = document.read_text()
    for name, lines in tables.items():
        before, mark, rest = text.partition(f"<!-- figures: {name} -->\n")
        old, end, after = rest.partition("<!-- end -->")
        if mark and end and "<!--" not in old:
            text = "".join((before, mark, "\n".join(["", *lines, "\n"]), end, after))
        else:
            results.problems.append(f"{document.name}: no place for the figures {name}")
    for name in re.findall("<!-- figures: (.*?) -->", text):
        if name not in tables:
            results.problems.append(f"{document.name}: no table has the figures {name}")
    return text


def write(results: Results, document: Path, tables: dict[str, list[str]]) -> None:
    """Writes all, or nothing when there is a problem."""
    text = filled(results, document, {"machine": machine_table(results), **tables})
    pictures = {name: curves_of(results, one) for name, one in PICTURES.items()}
    for name in pictures:
        if f"({document.stem}/{name}.svg)" not in text:
            results.problems.append(f"{document.name}: the picture {name} isn't shown")
    results.note_unused()
    if results.problems:
        return
    document.write_text(text)
    folder = document.with_suffix("")
    folder.mkdir(exist_ok=True)
    for name, curves in pictures.items():
        one = PICTURES[name]
        (folder / f"{name}.svg").write_text(draw(one.title, one.axis, one.sizes, curves))


def main(arguments: list[str]) -> int:
    if arguments[:1] == ["--machine"] and len(arguments) == 2:
        print(json.dumps(machine(Path(arguments[1]))))
        return 0
    if len(arguments) not in (1, 2):
        print(__doc__, file=sys.stderr)
        return 2
    results = Results(Path(arguments[0]))
    whole = len(arguments) == 2
    tables = {name: table(results, rows, whole) for name, rows in TABLES.items()}
    print("\n".join([*HEAD, *(line for lines in tables.values() for line in lines)]))
    if whole:
        write(results, Path(arguments[1]), {name: HEAD + lines for name, lines in tables.items()})
    for problem in dict.fromkeys(results.problems):
        print(f"report.py: {problem}", file=sys.stderr)
    return 1 if results.problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
