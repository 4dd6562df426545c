"""Pictures as SVG text, legible on light and dark ground, and tables of numbers to draw them from."""

from html import escape

_LIGHT = {
    "ground": "#ffffff", "text": "#1f2328", "muted": "#59636e", "grid": "#d1d9e0",
    "blue": "#0969da", "orange": "#bc4c00", "green": "#1a7f37", "purple": "#8250df", "red": "#cf222e",
    "grey": "#6e7781",
}
_DARK = {
    "ground": "#0d1117", "text": "#e6edf3", "muted": "#9198a1", "grid": "#3d444d",
    "blue": "#4493f8", "orange": "#f0883e", "green": "#3fb950", "purple": "#ab7df8", "red": "#f85149",
    "grey": "#9198a1",
}


def table(path):
    """The rows of a data file, each a dictionary by the columns' names."""
    with open(path, encoding="utf-8") as file:
        lines = [line.rstrip("\n").split("\t") for line in file if not line.startswith("#")]
    return [dict(zip(lines[0], line)) for line in lines[1:]]


def number(value):
    """As short as can be: 12, 12.5."""
    return f"{value:.1f}".rstrip("0").rstrip(".")


def _style(colours):
    rules = [f".{name}{{fill:{value};stroke:none}} .{name}-line{{stroke:{value};fill:none}} "
             f".{name}-area{{fill:{value};fill-opacity:.22;stroke:{value};stroke-width:1}} "
             f".{name}-shade{{fill:{value};fill-opacity:.10;stroke:none}}" for name, value in colours.items()]
    return "\n".join(rules)


class Picture:
    """A picture of so many pixels. Colours are classes: `blue` fills, `blue-line` draws a line, `blue-area` an outlined
    area, `blue-shade` a light one."""

    def __init__(self, width, height, title):
        self._size = (width, height)
        self._title = title
        self._parts = []

    def text(self, x, y, words, colour="text", anchor="start", size=12, weight="normal"):
        self._parts.append(f'<text x="{number(x)}" y="{number(y)}" class="{colour}" text-anchor="{anchor}" '
                           f'font-size="{size}" font-weight="{weight}">{escape(words)}</text>')

    def line(self, x1, y1, x2, y2, colour="grid", width=1, dash=""):
        self.path(f"M{number(x1)} {number(y1)}L{number(x2)} {number(y2)}", colour, width, dash)

    def lines(self, points, colour, width=2, dash=""):
        self.path("M" + "L".join(f"{number(x)} {number(y)}" for x, y in points), colour, width, dash)

    def path(self, path, colour, width=1.5, dash="", arrow=False):
        dashes = f' stroke-dasharray="{dash}"' if dash else ""
        end = f' marker-end="url(#{colour})"' if arrow else ""
        self._parts.append(f'<path d="{path}" class="{colour}-line" stroke-width="{width}"{dashes}{end}/>')

    def box(self, x, y, width, height, style, radius=0):
        self._parts.append(f'<rect x="{number(x)}" y="{number(y)}" width="{number(width)}" height="{number(height)}" '
                           f'class="{style}" rx="{radius}"/>')

    def dot(self, x, y, radius, colour):
        self._parts.append(f'<circle cx="{number(x)}" cy="{number(y)}" r="{radius}" class="{colour}"/>')

    def svg(self):
        width, height = self._size
        arrows = "".join(f'<marker id="{colour}" viewBox="0 0 8 8" refX="7" refY="4" markerWidth="7" markerHeight="7" '
                         f'orient="auto-start-reverse"><path d="M0 0L8 4L0 8z" class="{colour}"/></marker>'
                         for colour in ("blue", "orange", "text"))
        return (f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                f'viewBox="0 0 {width} {height}" role="img" font-family="Helvetica, Arial, sans-serif">\n'
                f"<title>{escape(self._title)}</title>\n"
                f"<style>\n{_style(_LIGHT)}\n@media (prefers-color-scheme: dark) {{\n{_style(_DARK)}\n}}\n</style>\n"
                f"<defs>{arrows}</defs>\n"
                f'<rect width="{width}" height="{height}" class="ground" rx="6"/>\n'
                + "\n".join(self._parts) + "\n</svg>\n")


class Scale:
    """From values to pixels."""

    def __init__(self, first, last, begin, end):
        self._first, self._begin = first, begin
        self._factor = (end - begin) / (last - first)

    def __call__(self, value):
        return self._begin + (value - self._first) * self._factor


def grid_across(picture, scale, values, top, bottom, unit=""):
    """Vertical lines at values, labelled below."""
    for value in values:
        picture.line(scale(value), top, scale(value), bottom)
        picture.text(scale(value), bottom + 16, f"{value:,}{unit}", "muted", "middle", 11)


def grid_up(picture, scale, values, left, right, unit=""):
    """Horizontal lines at values, labelled on the left."""
    for value in values:
        picture.line(left, scale(value), right, scale(value))
        picture.text(left - 6, scale(value) + 4, f"{value:,}{unit}", "muted", "end", 11)
