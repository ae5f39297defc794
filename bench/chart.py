"""The chart of docs/performance.md: a bar for each row that has a goal, with its quartiles."""

from html import escape

left, width, step, most = 500, 400, 26, 1.3


def x(share):
    return left + width * min(share, most) / most


def svg(rows):
    rows = [row for row in rows if row.goal is not None]
    height = step * len(rows) + 60
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{left + width + 60}" height="{height}" '
        'font-family="sans-serif" font-size="12">',
        '<rect width="100%" height="100%" fill="white"/>',
        f'<text x="{left}" y="18">Share of what the goal allows, with quartiles</text>',
    ]
    for i, row in enumerate(rows):
        y = 34 + step * i
        share = row.ratio / row.goal
        label = f"{row.work} / {row.peer}".replace("`", "")
        if len(label) > 78:
            label = label[:77] + "…"
        color = "#4878a8" if share <= 1.0005 else "#c05050"
        parts += [
            f'<text x="{left - 8}" y="{y + 10}" text-anchor="end">{escape(label)}</text>',
            f'<rect x="{left}" y="{y}" width="{x(share) - left:.1f}" height="12" fill="{color}"/>',
            f'<text x="{left + width + 8}" y="{y + 10}">{share:.2f}</text>',
        ]
        if row.high:
            low, high = x(row.low / row.goal), x(row.high / row.goal)
            parts.append(f'<path d="M{low:.1f} {y + 6}H{high:.1f}M{low:.1f} {y + 2}v8M{high:.1f} {y + 2}v8" '
                         'stroke="black"/>')
    goal = x(1)
    parts.append(f'<path d="M{goal:.1f} 26V{height - 22}" stroke="black" stroke-dasharray="4 3"/>')
    parts.append(f'<text x="{goal:.1f}" y="{height - 8}" text-anchor="middle">goal</text></svg>')
    return "\n".join(parts) + "\n"
