"""Growth as SVG: points on logarithmic axes, and the line whose slope is the exponent."""
import math

_WIDTH, _HEIGHT, _LEFT, _BOTTOM, _TOP, _RIGHT = 640, 400, 80, 60, 50, 30


def _ticks(low, high):
    return [10.0 ** power for power in range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)]


def _number(value):
    for limit, unit in ((1e6, "M"), (1e3, "k")):
        if value >= limit:
            return f"{value / limit:g} {unit}"
    return f"{value:g}"


def growth(series):
    """The plot of a Series (growth.py) as text."""
    points = [(row["x"], row["cost"]) for row in series["rows"] if row["cost"] > 0]
    x_ticks, y_ticks = _ticks(*_range(points, 0)), _ticks(*_range(points, 1))

    def place(x, y):
        across = (math.log10(x) - math.log10(x_ticks[0])) / (math.log10(x_ticks[-1]) - math.log10(x_ticks[0]))
        up = (math.log10(y) - math.log10(y_ticks[0])) / (math.log10(y_ticks[-1]) - math.log10(y_ticks[0]))
        return _LEFT + across * (_WIDTH - _LEFT - _RIGHT), _HEIGHT - _BOTTOM - up * (_HEIGHT - _BOTTOM - _TOP)

    unit = {"us": "microseconds", "instructions": "instructions"}[series["unit"]]
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {_WIDTH} {_HEIGHT}" font-family="sans-serif" '
        'font-size="13">',
        f'<rect width="{_WIDTH}" height="{_HEIGHT}" fill="white"/>',
        f'<text x="{_LEFT}" y="24" font-size="15">Cost by {series["label"]}: exponent {series["exponent"]}</text>',
        f'<text x="{_WIDTH / 2}" y="{_HEIGHT - 14}" text-anchor="middle">{series["label"]}</text>',
        f'<text x="18" y="{_HEIGHT / 2}" text-anchor="middle" transform="rotate(-90 18 {_HEIGHT / 2})">{unit}</text>']
    for tick in x_ticks:
        x, low = place(tick, y_ticks[0])
        _, high = place(tick, y_ticks[-1])
        parts += [f'<line x1="{x:.1f}" y1="{low:.1f}" x2="{x:.1f}" y2="{high:.1f}" stroke="#ddd"/>',
                  f'<text x="{x:.1f}" y="{low + 18:.1f}" text-anchor="middle">{_number(tick)}</text>']
    for tick in y_ticks:
        left, y = place(x_ticks[0], tick)
        right, _ = place(x_ticks[-1], tick)
        parts += [f'<line x1="{left:.1f}" y1="{y:.1f}" x2="{right:.1f}" y2="{y:.1f}" stroke="#ddd"/>',
                  f'<text x="{left - 6:.1f}" y="{y + 4:.1f}" text-anchor="end">{_number(tick)}</text>']
    parts += _fitted(points, series["exponent"], place, y_ticks)
    for x, y in points:
        at_x, at_y = place(x, y)
        parts.append(f'<circle cx="{at_x:.1f}" cy="{at_y:.1f}" r="4" fill="#1f5fa8"/>')
    return "\n".join(parts) + "\n</svg>\n"


def _range(points, axis):
    values = [point[axis] for point in points]
    low, high = min(values), max(values)
    return (low, high) if math.ceil(math.log10(high)) > math.floor(math.log10(low)) else (low, low * 10)


def _fitted(points, exponent, place, y_ticks):
    if exponent is None:
        return []
    middle_x = sum(math.log10(x) for x, _ in points) / len(points)
    middle_y = sum(math.log10(y) for _, y in points) / len(points)

    def fitted(x):
        value = 10 ** (middle_y + exponent * (math.log10(x) - middle_x))
        return place(x, min(max(value, y_ticks[0]), y_ticks[-1]))

    (x1, y1), (x2, y2) = fitted(points[0][0]), fitted(points[-1][0])
    return [f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="#c03030" stroke-dasharray="6 4"/>']
