#!/usr/bin/python3
"""Frames of a terminal: written as text from what tmux shows, and drawn as a moving picture.

    cast_drawing.py frame SECONDS CAPTION < SCREEN    a frame's text, of a screen from `tmux capture-pane -e -p`
    cast_drawing.py draw FRAMES PICTURE               the picture of a file of frames

A file of frames is text: a line "== SECONDS CAPTION" begins a frame, the rows of the screen follow. <b>, <i>, <g>, <y>
and <r> stand around what is bold, inverse, green, yellow and red; &lt; and &amp; are as in XML. The frame whose caption
ends with " *" is the one to be seen where nothing moves.
"""

import re
import sys
from html import escape, unescape

LIGHT = {"ground": "#ffffff", "text": "#1f2328", "muted": "#59636e", "line": "#d1d9e0", "green": "#1a7f37",
         "yellow": "#8a5a00", "red": "#cf222e"}
DARK = {"ground": "#0d1117", "text": "#e6edf3", "muted": "#9198a1", "line": "#3d444d", "green": "#3fb950",
        "yellow": "#e3b341", "red": "#ff7b72"}
TAGS = {"b": "bold", "i": "inverse", "g": "green", "y": "yellow", "r": "red"}
COLUMN, ROW, SIZE = 7.8, 17, 13
EDGE, CAPTION = 14, 34

# --- From a terminal to text ----------------------------------------------------------------------------

CODES = {"1": "b", "7": "i", "32": "g", "33": "y", "31": "r"}


def tags_of(codes, tags):
    """What holds after these codes of an escape sequence."""
    for code in codes.split(";"):
        if code in ("", "0"):
            tags = ""
        elif code == "39":
            tags = "".join(tag for tag in tags if tag not in "gyr")
        elif code in CODES and CODES[code] not in tags:
            tags += CODES[code]
    return tags


def tagged_rows(screen):
    """The terminal's rows with tags in place of its escape sequences, which hold on from row to row."""
    tags = ""
    for row in screen:
        text = ""
        for codes, words in re.findall(r"\x1b\[([0-9;]*)m|([^\x1b]+)", row.rstrip("\n").replace("\x0f", "")):
            if words:
                text += ("".join(f"<{tag}>" for tag in tags) + escape(words, quote=False)
                         + "".join(f"</{tag}>" for tag in reversed(tags)))
            else:
                tags = tags_of(codes, tags)
        yield text.rstrip()


def write_frame(seconds, caption):
    print(f"== {seconds} {caption}")
    print("\n".join(tagged_rows(sys.stdin)))


# --- From text to a picture -----------------------------------------------------------------------------


def read_frames(path):
    """[(seconds, caption, rows)]"""
    frames = []
    with open(path, encoding="utf-8") as file:
        for line in file.read().splitlines():
            begin = re.fullmatch(r"== (\d+(?:\.\d+)?) (.*)", line)
            if begin:
                frames.append((float(begin[1]), begin[2], []))
            elif frames:
                frames[-1][2].append(line)
    return frames


def spans(row):
    """[(column, tags, words)] of a row."""
    found, column, tags = [], 0, []
    for end, tag, words in re.findall(r"<(/?)([bigyr])>|([^<]+)", row):
        if not tag:
            plain = unescape(words)
            found.append((column, list(tags), plain))
            column += len(plain)
        elif end:
            tags.remove(tag)
        else:
            tags.append(tag)
    return found


def drawn_span(row, column, tags, words):
    """Words that stand apart are placed apart, so that columns are straight in any font."""
    x, y = EDGE + column * COLUMN, EDGE + row * ROW
    names = " ".join(TAGS[tag] for tag in tags) or "text"
    box = f'<rect x="{x:.1f}" y="{y}" width="{len(words) * COLUMN:.1f}" height="{ROW}" class="text"/>'
    texts = [f'<text x="{x + piece.start() * COLUMN:.1f}" y="{y + SIZE}" class="{names}">'
             f"{escape(piece[0], quote=False)}</text>" for piece in re.finditer(r"\S+(?: \S+)*", words)]
    return (box if "i" in tags else "") + "".join(texts)


def drawn_rows(rows):
    return "".join(drawn_span(number, *span) for number, row in enumerate(rows) for span in spans(row))


def colours(of):
    fills = " ".join(f".{name}{{fill:{value}}}" for name, value in of.items() if name != "line")
    return f".bold{{fill:{of['text']}}} {fills} .inverse{{fill:{of['ground']}}} .frame{{stroke:{of['line']}}}"


def style(frames):
    """Each frame is shown in its time; where nothing moves, or shall not, the chosen one is."""
    whole = sum(seconds for seconds, _, _ in frames)
    rules, begin = [], 0
    for number, (seconds, _, _) in enumerate(frames):
        end = begin + seconds
        before = f"0%{{opacity:0}} {100 * begin / whole:.2f}%{{opacity:1}}" if begin else "0%{opacity:1}"
        after = f" {100 * end / whole:.2f}%{{opacity:0}}" if end < whole else ""
        rules.append(f"@keyframes f{number}{{{before}{after}}} #f{number}{{animation:f{number} {whole:g}s step-end infinite}}")
        begin = end
    return "\n".join([colours(LIGHT), "@media (prefers-color-scheme: dark) {", colours(DARK), "}",
                      "text{white-space:pre} .bold{font-weight:bold} .still{opacity:1} .moving{opacity:0}",
                      *rules, "@media (prefers-reduced-motion: reduce) { .still, .moving{animation:none!important} }"])


def draw(source, target):
    frames = read_frames(source)
    rows = max(len(rows) for _, _, rows in frames)
    columns = max((column + len(words) for _, _, all_rows in frames for row in all_rows
                   for column, _, words in spans(row)), default=80)
    width, height = round(2 * EDGE + columns * COLUMN), 2 * EDGE + rows * ROW + CAPTION
    parts = []
    for number, (_, caption, content) in enumerate(frames):
        shown, still = re.subn(r" \*$", "", caption)
        parts.append(f'<g id="f{number}" class="{"still" if still else "moving"}">{drawn_rows(content)}'
                     f'<text x="{EDGE}" y="{height - EDGE}" class="muted" font-family="Helvetica, Arial, sans-serif" '
                     f'font-size="14">{escape(shown, quote=False)}</text></g>')
    line = height - CAPTION - EDGE / 2
    with open(target, "w", encoding="utf-8") as file:
        file.write(f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" height="{height}" '
                   f'viewBox="0 0 {width} {height}" role="img" font-size="{SIZE}" '
                   f'font-family="ui-monospace, SFMono-Regular, Menlo, Consolas, \'DejaVu Sans Mono\', monospace">\n'
                   f"<title>The live view of ruxogps-monitor on a drive</title>\n<style>\n{style(frames)}\n</style>\n"
                   f'<rect x=".5" y=".5" width="{width - 1}" height="{height - 1}" class="ground frame" rx="6"/>\n'
                   f'<path d="M0 {line}H{width}" class="frame"/>\n' + "\n".join(parts) + "\n</svg>\n")


if sys.argv[1] == "frame":
    write_frame(sys.argv[2], sys.argv[3])
else:
    draw(sys.argv[2], sys.argv[3])
