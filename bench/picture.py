"""Draws the times of FTP clients as bars, side by side for several networks."""

import xml.sax.saxutils

_PANEL_WIDTH, _LABEL_WIDTH, _FIGURE_WIDTH = 480, 150, 60
_BAR, _GAP, _HEAD = 13, 22, 64
_STYLE = """\
  <style>
    text { fill: #111 }
    .title { font-weight: bold; font-size: 15px }
    .server { font-weight: bold }
    .label { text-anchor: end }
    .peer { fill: #b9c4d0 }
    .parallel { fill: #dcc9a3 }
    .helper { fill: #2f7d4f }
    .note { fill: #444 }
  </style>
"""


def draw(title, panels, order, parallel):
    """An SVG picture. `panels` are pairs of a heading and {server: {client: seconds}}; `order` is that of the clients,
    of which those in `parallel` send several files at a time. The bars of a panel have one scale."""
    height = max(_height_of(times, order) for _, times in panels) + _HEAD + 30
    width = _PANEL_WIDTH * len(panels)
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" font-family="sans-serif" '
        f'font-size="12">\n{_STYLE}  <rect width="{width}" height="{height}" fill="#fff"/>\n',
        _text(20, 26, title, "title"),
    ]
    for number, (heading, times) in enumerate(panels):
        parts += _panel(number * _PANEL_WIDTH, heading, times, order, parallel)
    note = "Seconds, less is better. Green: the helper. Sand: clients that send several files at a time."
    return "".join([*parts, _text(20, height - 12, note, "note"), "</svg>\n"])


def _height_of(times, order):
    return sum(sum(client in clients for client in order) * _BAR + _GAP for clients in times.values())


def _panel(left, heading, times, order, parallel):
    longest = max(seconds for clients in times.values() for seconds in clients.values())
    scale = (_PANEL_WIDTH - _LABEL_WIDTH - _FIGURE_WIDTH) / longest
    yield _text(left + _LABEL_WIDTH, _HEAD - 14, heading, "note")
    top = _HEAD
    for server, clients in times.items():
        yield _text(left + 20, top + 11, server, "server")
        top += _BAR
        for client in order:
            if client not in clients:
                continue
            kind = "helper" if client == "helper" else "parallel" if client in parallel else "peer"
            seconds = clients[client]
            yield _text(left + _LABEL_WIDTH - 6, top + 10, client, "label")
            yield (f'  <rect class="{kind}" x="{left + _LABEL_WIDTH}" y="{top + 1}" width="{seconds * scale:.1f}" '
                   f'height="{_BAR - 2}"/>\n')
            yield _text(left + _LABEL_WIDTH + seconds * scale + 5, top + 10, f"{seconds:.1f}", "note")
            top += _BAR
        top += _GAP - _BAR


def _text(x, y, text, kind):
    return f'  <text class="{kind}" x="{x:.1f}" y="{y}">{xml.sax.saxutils.escape(text)}</text>\n'
