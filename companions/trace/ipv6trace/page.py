"""One HTML page that loads nothing: style and script are in it."""
from pathlib import Path

from ipv6trace.svg import plain

HERE = Path(__file__).resolve().parent
PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta http-equiv="Content-Security-Policy"
 content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<title>{title}</title>
<style>
{style}</style>
</head>
<body>
<main>
{body}
</main>
<div id="tip" role="status" hidden></div>
<script>
{script}</script>
</body>
</html>
"""


def page(title, body, more_style=""):
    """`body` is finished markup, `more_style` what its classes need beyond those of the timeline."""
    style = asset("drawing.css") + asset("page.css") + more_style
    return PAGE.format(title=plain(title), style=style, script=asset("page.js"), body=body)


def asset(name):
    return (HERE / name).read_text(encoding="utf-8")
