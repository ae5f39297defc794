"""The chart of docs/performance.md: a line for each row, with its quartiles and its goal."""

from html import escape

left, width, step = 470, 420, 26


def svg(rows):
    most = max(max(row.ratio, row.high, row.goal or 0) for row in rows)

    def x(ratio):
        return left + width * ratio / (most * 1.05)

    height = step * len(rows) + 60
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 70}" height="{height}" '
        'font-family="sans-serif" font-size="12">',
        '<rect width="100%" height="100%" fill="white"/>',
        f'<text x="{left}" y="18">ratio to the peer: bar and quartiles; red line: goal</text>',
    ]
    for i, row in enumerate(rows):
        y = 40 + step * i
        label = f"{row.work} / {row.peer}".replace("`", "")
        if len(label) > 74:
            label = label[:73] + "…"
        parts += [
            f'<text x="{left - 8}" y="{y + 9}" text-anchor="end">{escape(label)}</text>',
            f'<rect x="{left}" y="{y}" width="{x(row.ratio) - left:.1f}" height="12" fill="#4878a8"/>',
            f'<text x="{x(max(row.ratio, row.high, row.goal or 0)) + 6:.1f}" y="{y + 10}">{row.ratio:.2f}</text>',
        ]
        if row.high:
            parts.append(f'<path d="M{x(row.low):.1f} {y + 6}H{x(row.high):.1f}" stroke="black"/>')
        if row.goal is not None:
            parts.append(f'<path d="M{x(row.goal):.1f} {y - 3}v18" stroke="red" stroke-width="2"/>')
    one = x(1)
    parts.append(f'<path d="M{one:.1f} 30V{height - 20}" stroke="gray" stroke-dasharray="3 3"/>')
    parts.append(f'<text x="{one:.1f}" y="{height - 6}" text-anchor="middle">1</text></svg>')
    return "\n".join(parts) + "\n"
