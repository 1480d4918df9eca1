"""Draws the plot of docs/benchmarks.md as SVG: for every work, how many times LIMIT the scalar code, the
tiers and the fastest other library take. Standard library only."""
import math
from xml.sax.saxutils import escape

BARS = [("scalar", "#b8b8b8"), ("SSE2", "#7fb3d5"), ("AVX2", "#1f618d"), ("fastest other library", "#e59866")]
LEFT, RIGHT, TOP, BAR, GAP = 230, 60, 70, 7, 8
WIDTH = 900
LEAST, MOST = 0.5, 1000


def place(ratio):
    share = math.log(min(max(ratio, LEAST), MOST) / LEAST) / math.log(MOST / LEAST)
    return LEFT + share * (WIDTH - LEFT - RIGHT)


def ratios(work):
    values = [work.tiers.get(tier) for tier in ("scalar", "SSE2", "AVX2")] + [work.fastest_peer]
    return [row["min"] / work.limit if row else None for row in values]


def text(x, y, words, anchor="start"):
    return f'<text x="{x:.0f}" y="{y:.0f}" text-anchor="{anchor}">{escape(words)}</text>'


def plot(works):
    height = TOP + len(works) * (len(BARS) * BAR + GAP) + 20
    lines = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{height}" font-family="sans-serif" '
             'font-size="11">', f'<rect width="{WIDTH}" height="{height}" fill="white"/>',
             text(LEFT, 18, "Times LIMIT (reading the input once and writing the output once), 64 bits; shorter is better")]
    x = LEFT
    for name, colour in BARS:
        lines.append(f'<rect x="{x}" y="28" width="12" height="10" fill="{colour}"/>')
        lines.append(text(x + 16, 37, name))
        x += 45 + 6 * len(name)
    for tick in (0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500, 1000):
        at = place(tick)
        colour = "#c0392b" if tick == 1 else "#dddddd"
        lines.append(f'<line x1="{at:.1f}" x2="{at:.1f}" y1="{TOP - 8}" y2="{height - 14}" stroke="{colour}"/>')
        lines.append(text(at, TOP - 12, f"{tick:g}", "middle"))
    y = TOP
    for name, work in works.items():
        lines.append(text(LEFT - 8, y + len(BARS) * BAR / 2 + 4, name, "end"))
        for (_, colour), ratio in zip(BARS, ratios(work)):
            if ratio:
                lines.append(f'<rect x="{LEFT}" y="{y}" width="{place(ratio) - LEFT:.1f}" height="{BAR - 1}" '
                             f'fill="{colour}"/>')
                lines.append(f'<text x="{place(ratio) + 3:.1f}" y="{y + 6}" font-size="7">{ratio:.1f}</text>')
            y += BAR
        y += GAP
    return "\n".join(lines + ["</svg>", ""])
