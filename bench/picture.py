"""The cost of a refresh over the size of the list, as an SVG."""

WIDTH, HEIGHT, LEFT, TOP, RIGHT, BOTTOM = 760, 420, 70, 40, 190, 50
COLOURS = ("#1f5fa8", "#7fb0e0", "#b0541f", "#e0a97f")


def step(most):
    """A round distance that parts the axis in at most six."""
    size = 1
    while most / size > 6:
        size = {"1": 2, "2": 5, "5": 10}[str(size)[0]] * 10 ** (len(str(size)) - 1)
    return size


def draw(path, curves):
    """`curves`: a caption, and milliseconds by number of mailboxes."""
    right = max(size for _, points in curves for size in points)
    top = max(cost for _, points in curves for cost in points.values())

    def x(size):
        return LEFT + size / right * (WIDTH - LEFT - RIGHT)

    def y(cost):
        return HEIGHT - BOTTOM - cost / top * (HEIGHT - TOP - BOTTOM)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
             'font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             f'<text x="{LEFT}" y="22">Milliseconds from the question to the list, over the number '
             'of mailboxes</text>']
    for cost in range(0, int(top) + 1, step(top)):
        parts.append(f'<path d="M{LEFT} {y(cost):.1f}H{WIDTH - RIGHT}" stroke="#ddd"/>'
                     f'<text x="{LEFT - 8}" y="{y(cost) + 4:.1f}" text-anchor="end">{cost}</text>')
    for size in sorted({size for _, points in curves for size in points}):
        parts.append(f'<text x="{x(size):.1f}" y="{HEIGHT - BOTTOM + 20}" text-anchor="middle">'
                     f'{size:,}</text>')
    captions = []
    for (caption, points), colour in zip(curves, COLOURS):
        line = " ".join(f"{x(size):.1f},{y(cost):.1f}" for size, cost in sorted(points.items()))
        parts.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        captions.append((y(points[max(points)]), caption, colour))
    lowest = HEIGHT
    for height, caption, colour in sorted(captions, reverse=True):
        lowest = min(lowest - 15, height + 4)  # one above the other where curves end together
        parts.append(f'<text x="{WIDTH - RIGHT + 8}" y="{lowest:.1f}" fill="{colour}">{caption}'
                     '</text>')
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text("\n".join(parts) + "\n</svg>\n")
