"""The plot for docs/performance.md, as plain SVG."""
import html
import math

from contenders import FRAME, FUSED, OURS

WIDTH, HEIGHT = 860, 400
LEFT, RIGHT, TOP, BOTTOM = 56, 190, 16, 36
COLOURS = ("#0072b2", "#009e73", "#e69f00", "#cc79a7", "#56b4e9", "#8c564b", "#7f7f7f", "#b8a900")


def workloads(found):
    """One column for each workload, on a logarithmic scale: our time is a bar, the bounds are lines
    and the peers are dots."""
    values = [value for value in found.times.values() if value > 0]
    low = 10 ** math.floor(math.log10(min(values)))
    high = 10 ** math.ceil(math.log10(max(values)))
    inner = WIDTH - LEFT - RIGHT
    column = inner / len(found.workloads)

    def y(value):
        share = math.log(value / low) / math.log(high / low)
        return HEIGHT - BOTTOM - share * (HEIGHT - TOP - BOTTOM)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']

    def text(x, at, words, anchor="middle", more=""):
        parts.append(f'<text x="{x:.1f}" y="{at:.1f}" text-anchor="{anchor}"{more}>'
                     f"{html.escape(words)}</text>")

    def line(x1, x2, at, colour, more=""):
        parts.append(f'<line x1="{x1:.1f}" x2="{x2:.1f}" y1="{at:.1f}" y2="{at:.1f}" '
                     f'stroke="{colour}"{more}/>')

    decade = low
    while decade <= high * 1.001:
        line(LEFT, LEFT + inner, y(decade), "#dddddd")
        text(LEFT - 6, y(decade) + 4, f"{decade:g}", "end")
        decade *= 10
    text(14, HEIGHT / 2, "ns per element", more=f' transform="rotate(-90 14 {HEIGHT / 2:.0f})"')

    peers = [one for one in found.present() if one.kind in ("peer", "compiled")]
    colour = {one.name: COLOURS[i % len(COLOURS)] for i, one in enumerate(peers)}
    for place, name in enumerate(found.workloads):
        middle = LEFT + (place + 0.5) * column
        half = column * 0.32
        ours = found.times[name, OURS]
        parts.append(f'<rect x="{middle - half:.1f}" width="{2 * half:.1f}" y="{y(ours):.1f}" '
                     f'height="{HEIGHT - BOTTOM - y(ours):.1f}" fill="#c8d4e3"/>')
        for bound, dash in ((FUSED, ' stroke-dasharray="3 2"'), (FRAME, "")):
            if (name, bound) in found.times:
                line(middle - column * 0.42, middle + column * 0.42,
                     y(found.times[name, bound]), "#d55e00", ' stroke-width="2"' + dash)
        for one in peers:
            if (name, one.name) in found.times:
                shape = ' fill="white" stroke-width="2"' if one.kind == "compiled" else (
                    f' fill="{colour[one.name]}"')
                at = y(found.times[name, one.name])
                parts.append(f'<circle cx="{middle:.1f}" cy="{at:.1f}" r="4" '
                             f'stroke="{colour[one.name]}"{shape}/>')
        for row, words in enumerate(name.split("-")):
            text(middle, HEIGHT - BOTTOM + 16 + 13 * row, words)

    x, at = LEFT + inner + 16, TOP + 14
    parts.append(f'<rect x="{x}" y="{at - 10}" width="16" height="12" fill="#c8d4e3"/>')
    text(x + 24, at, "fenletexec", "start")
    for words, dash in (("by hand, whole frame", ""),
                        ("by hand, fused", ' stroke-dasharray="3 2"')):
        at += 20
        line(x, x + 16, at - 4, "#d55e00", ' stroke-width="2"' + dash)
        text(x + 24, at, words, "start")
    for one in peers:
        at += 20
        shape = ' fill="white" stroke-width="2"' if one.kind == "compiled" else (
            f' fill="{colour[one.name]}"')
        parts.append(f'<circle cx="{x + 8}" cy="{at - 4}" r="4" '
                     f'stroke="{colour[one.name]}"{shape}/>')
        text(x + 24, at, one.title, "start")
    parts.append("</svg>\n")
    return "\n".join(parts)
