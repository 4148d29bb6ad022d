"""Small pieces of SVG and HTML. Every text passes `clean` and is escaped here, so that a log line stays a text."""
import html
import re
import unicodedata

CHARACTER = 7.2             # width of one character of the drawing's text, pinned by textLength
ROW = 22                    # height of a row
UNSEEN = re.compile("[\x00-\x08\x0b-\x1f\x7f-\x9f\ud800-\udfff\u061c\u200e\u200f\u2028-\u202e\u2066-\u2069"
                    "\ufeff\ufffe\uffff]")


def clean(text):
    """Shows what would be invisible, would turn the writing direction, or has no place in UTF-8, as one mark."""
    return UNSEEN.sub("\N{REPLACEMENT CHARACTER}", str(text))


def tag(name, *content, **attributes):
    """An element; content is finished markup, attributes are raw values. `cls` is the class, `_` stands for `-`."""
    words = [name]
    for key, value in attributes.items():
        if value is not None:
            key = "class" if key == "cls" else key.replace("_", "-")
            value = f"{value:.1f}".removesuffix(".0") if isinstance(value, float) else clean(value)
            words.append(f'{key}="{html.escape(value)}"')
    return f"<{' '.join(words)}>{''.join(content)}</{name}>"


def plain(text):
    """Text as markup."""
    return html.escape(clean(text))


def cells(text):
    """Width of a text in characters; those of East Asia take two, combining ones none."""
    return sum(0 if unicodedata.combining(each) else 2 if unicodedata.east_asian_width(each) in "WF" else 1
               for each in text)


def cut(text, room):
    """The text in at most `room` characters, on one line."""
    text = " ".join(clean(text).split())
    if len(text) <= 4 * room and cells(text) <= room:
        return text
    shown, taken = 0, 0
    while shown < 4 * room and (taken := taken + cells(text[shown])) <= room - 1:
        shown += 1
    return text[:shown] + "\N{HORIZONTAL ELLIPSIS}"


def label(x, y, text, room, cls="label", anchor="start", **more):
    """A text in the drawing that takes no more than `room` characters, whatever font draws it."""
    text = cut(text, room)
    if not text.strip():
        return ""
    return tag("text", plain(text), x=float(x), y=float(y), cls=cls, text_anchor=None if anchor == "start" else anchor,
               textLength=cells(text) * CHARACTER, lengthAdjust="spacingAndGlyphs", **more)


def drawing(width, height, *content, title):
    return tag("div", tag("svg", *content, width=float(width), height=float(height), role="img", aria_label=title,
                          viewBox=f"0 0 {width:.1f} {height:.1f}"), cls="drawing")
