"""A plain picture of costs against sizes, both axes logarithmic, as SVG: readable in light and in dark."""
import math
from typing import NamedTuple
from xml.sax.saxutils import escape

WIDTH, HEIGHT = 800, 400
LEFT, RIGHT, TOP, BOTTOM = 78, 560, 44, 346  # of the field within the axes; the words of the curves are on its right

PALETTES = (  # paper, ink, grid, then a colour for each curve: in light, in dark
    ("#fff", "#24292f", "#d8dee4", "#0b5cc4", "#b8430a", "#157a3c", "#7a2fbf"),
    ("#0d1117", "#e0e6ec", "#30363d", "#6cb0ff", "#ff9d5c", "#5ed48a", "#c792ff"),
)


def colours(palette: tuple[str, ...]) -> str:
    paper, ink, grid, *inks = palette
    rules = [f".paper {{ fill: {paper} }} text {{ fill: {ink} }} .grid {{ stroke: {grid} }}"]
    rules += [f".line{number} {{ stroke: {ink} }} .mark{number} {{ fill: {ink} }}" for number, ink in enumerate(inks)]
    return "\n".join(rules)


# Without variables, which not every viewer knows: one that doesn't know the second set of rules either shows the first.
STYLE = f"""
text {{ font: 13px sans-serif }} .title {{ font-size: 15px; font-weight: bold }}
.curve {{ fill: none; stroke-width: 2 }} .beside {{ stroke-dasharray: 6 4 }}
{colours(PALETTES[0])}
@media (prefers-color-scheme: dark) {{
{colours(PALETTES[1])}
}}
"""


class Point(NamedTuple):
    size: float
    low: float  # seconds
    median: float
    high: float


class Curve(NamedTuple):
    words: str
    beside: bool  # what the curve before it is compared with: in its colour, dashed
    points: list[Point]


def place(value: float, low: float, high: float, begin: float, end: float) -> float:
    """Where a value is between two ends in pixels, which are two other values."""
    return begin + (end - begin) * math.log(value / low) / math.log(high / low)


def time_words(seconds: float) -> str:
    for unit, name in ((1.0, "s"), (1e-3, "ms"), (1e-6, "µs")):
        if seconds >= 0.999 * unit:
            return f"{seconds / unit:.3g} {name}"
    return f"{seconds * 1e9:.3g} ns"


def ticks(low: float, high: float) -> list[float]:
    """1, 2 and 5 of each decade, or its beginning alone where there are many, from one below `low` to one above `high`."""
    steps = (1, 2, 5) if high / low < 200 else (1,)
    all_of_them = [step * 10.0**power for power in range(-10, 3) for step in steps]
    first = max(i for i, each in enumerate(all_of_them) if each <= low)
    last = min(i for i, each in enumerate(all_of_them) if each >= high)
    return all_of_them[first : max(last, first + 1) + 1]


def mark(number: int, x: float, y: float) -> str:
    """A curve's own mark, so that colours aren't all that tells the curves apart."""
    shapes = ("M-4,0 a4,4 0 1 0 8,0 a4,4 0 1 0 -8,0", "M-4,-4 h8 v8 h-8 z", "M0,-5 l5,5 l-5,5 l-5,-5 z", "M0,-5 l5,9 h-10 z")
    return f'<path d="{shapes[number]}" transform="translate({x:.1f} {y:.1f})" class="mark{number}"/>'


def draw(title: str, axis: str, sizes: tuple[int, ...], curves: list[Curve]) -> str:
    points = [point for curve in curves for point in curve.points]
    levels = ticks(min(point.low for point in points), max(point.high for point in points))

    def x_of(size: float) -> float:
        return place(size, sizes[0], sizes[-1], LEFT + 20, RIGHT - 20)

    def y_of(seconds: float) -> float:
        return place(seconds, levels[0], levels[-1], BOTTOM, TOP)

    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" width="{WIDTH}" height="{HEIGHT}">',
        f"<title>{escape(title)}</title><style>{STYLE}</style>",
        f'<rect class="paper" width="{WIDTH}" height="{HEIGHT}"/>',
        f'<text class="title" x="{LEFT}" y="24">{escape(title)}</text>',
        f'<text x="{(LEFT + RIGHT) / 2:.1f}" y="{HEIGHT - 12}" text-anchor="middle">{escape(axis)}</text>',
        f'<text transform="translate(18 {(TOP + BOTTOM) / 2:.1f}) rotate(-90)" text-anchor="middle">time of one call</text>',
    ]
    for level in levels:
        parts.append(f'<path class="grid" d="M{LEFT},{y_of(level):.1f} H{RIGHT}"/>')
        parts.append(f'<text x="{LEFT - 8}" y="{y_of(level) + 4:.1f}" text-anchor="end">{time_words(level)}</text>')
    for size in sizes:
        parts.append(f'<path class="grid" d="M{x_of(size):.1f},{TOP} V{BOTTOM}"/>')
        parts.append(f'<text x="{x_of(size):.1f}" y="{BOTTOM + 18}" text-anchor="middle">{size}</text>')
    number = -1
    for row, curve in enumerate(curves):
        number += not curve.beside
        ink = f"curve line{number}"
        kind = f"{ink} beside" if curve.beside else ink
        places = [(x_of(point.size), y_of(point.median)) for point in curve.points]
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in places)
        parts.append(f'<polyline class="{kind}" points="{path}"/>')
        for point, (x, y) in zip(curve.points, places, strict=True):
            parts.append(f'<path class="{ink}" d="M{x:.1f},{y_of(point.low):.1f} V{y_of(point.high):.1f}"/>')
            parts.append("" if curve.beside else mark(number, x, y))
        y = TOP + 10 + 22 * row
        parts.append(f'<path class="{kind}" d="M{RIGHT + 16},{y} h30"/>')
        parts.append("" if curve.beside else mark(number, RIGHT + 31, y))
        parts.append(f'<text x="{RIGHT + 54}" y="{y + 4}">{escape(curve.words)}</text>')
    return "\n".join(filter(None, [*parts, "</svg>"])) + "\n"
