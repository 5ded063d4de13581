"""The cost of a refresh over what it grows with, as an SVG."""

WIDTH, HEIGHT, LEFT, TOP, RIGHT, BOTTOM = 760, 420, 70, 40, 190, 50
COLOURS = ("#1f5fa8", "#7fb0e0", "#b0541f", "#e0a97f")


def step(most):
    """A round distance that parts the axis in at most six."""
    size = 1
    while most / size > 6:
        size = {"1": 2, "2": 5, "5": 10}[str(size)[0]] * 10 ** (len(str(size)) - 1)
    return size


def panel(along, curves):
    """Milliseconds over the number of what `along` says."""
    right = max(size for points in curves.values() for size in points)
    top = max(cost for points in curves.values() for cost in points.values())

    def x(size):
        return LEFT + size / right * (WIDTH - LEFT - RIGHT)

    def y(cost):
        return HEIGHT - BOTTOM - cost / top * (HEIGHT - TOP - BOTTOM)

    yield (f'<text x="{LEFT}" y="22">Milliseconds from the question to the list, over the number '
           f'of {along}</text>')
    for cost in range(0, int(top) + 1, step(top)):
        yield (f'<path d="M{LEFT} {y(cost):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
               f'<text x="{LEFT - 8}" y="{y(cost) + 4:.1f}" text-anchor="end">{cost}</text>')
    for size in sorted({size for points in curves.values() for size in points}):
        yield (f'<text x="{x(size):.1f}" y="{HEIGHT - BOTTOM + 20}" text-anchor="middle">'
               f'{size:,}</text>')
    captions = []
    for (caption, points), colour in zip(curves.items(), COLOURS):
        line = " ".join(f"{x(size):.1f},{y(cost):.1f}" for size, cost in sorted(points.items()))
        yield f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>'
        captions.append((y(points[max(points)]), caption, colour))
    lowest = HEIGHT
    for height, caption, colour in sorted(captions, reverse=True):
        lowest = min(lowest - 15, height + 4)  # one above the other where curves end together
        yield (f'<text x="{WIDTH - RIGHT + 8}" y="{lowest:.1f}" fill="{colour}">{caption}</text>')


def draw(path, panels):
    """`panels`, one below the other: what is counted along the axis, and its curves, which are a
    caption and milliseconds by number each."""
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" '
             f'height="{HEIGHT * len(panels)}" font-family="sans-serif" font-size="12">',
             '<rect width="100%" height="100%" fill="white"/>']
    for number, (along, curves) in enumerate(panels.items()):
        parts += [f'<g transform="translate(0 {HEIGHT * number})">', *panel(along, curves), "</g>"]
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n".join(parts) + "\n</svg>\n")
