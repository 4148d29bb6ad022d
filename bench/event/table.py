"""The results as tables: a column a gateway, milliseconds, the median and from the lowest to the highest."""
from measure import CHANGES
from split import KINDS
from summary import MOMENTS

LONGEST = 5                 # external programs that are named
NOTE = ("Rule of ipv6ctl are its pauses, and which external programs it calls in which order. Its own is one row: "
        "itself. All else is the client, the daemons and the kernels.")


def number(seconds):
    milliseconds = 1000 * seconds
    return f"{milliseconds:,.0f}" if milliseconds >= 100 else f"{milliseconds:.1f}"


def cell(spread):
    return f"{number(spread['median'])} ({number(spread['low'])} to {number(spread['high'])})" if spread else ""


def rows(columns):
    """(text, its cell in each column) of one change; `columns` are summaries."""
    for moment, text in MOMENTS.items():
        yield f"until {text}", [cell(each["moments"][moment]) for each in columns]
    for kind, text in KINDS.items():
        yield f"of that: {text}", [cell(each["kinds"].get(kind)) for each in columns]
    for name in dict.fromkeys(name for each in columns for name in each["pauses"]):
        yield f"a pause: {name}", [cell(each["pauses"].get(name)) for each in columns]
    yield "until host0's tentative address, pauses taken out", [cell(each["without_pauses"]) for each in columns]
    yield "calls of external programs", [f"{each['program_calls']['median']:.0f}" for each in columns]
    yield "runs", [str(each["repetitions"]) for each in columns]


def tables(results):
    """(heading, titles of the columns, rows) of each change that was measured."""
    contenders = results["contenders"].values()
    for change in CHANGES:
        shown = [(each["title"], each["changes"][change]) for each in contenders if change in each["changes"]]
        if shown:
            yield (f"{change[0].upper()}{change[1:]}", [title for title, _ in shown],
                   list(rows([summary for _, summary in shown])))


def remarks(results):
    """What is not in the tables: who is missing, what failed, and the longest calls."""
    for contender in results["contenders"].values():
        if contender["skipped"]:
            yield f"{contender['title']} was left out: {contender['skipped']}"
        for failure in contender["failures"]:
            yield f"{contender['title']}, {failure}"
    for contender in results["contenders"].values():
        for change, summary in contender["changes"].items():
            longest = sorted(summary["programs"].items(), key=lambda each: -each[1]["median"])[:LONGEST]
            if longest:
                told = "; ".join(f"{cell(program)} {name}" for name, program in longest)
                yield f"Longest calls of {contender['title']}, {change}: {told}"
    yield NOTE


def as_text(results):
    lines = []
    for heading, titles, body in tables(results):
        grid = [(f"{heading}, milliseconds after the Reply", titles), *body]
        widths = [max(len(row[0]) for row in grid),
                  *[max(len(cells[at]) for _, cells in grid) for at in range(len(titles))]]
        for text, cells in grid:
            lines.append("  ".join(each.ljust(width) for each, width in zip([text, *cells], widths)).rstrip())
        lines.append("")
    return "\n".join([*lines, *remarks(results)]) + "\n"


def as_markdown(results):
    lines = []
    for heading, titles, body in tables(results):
        for cells in ([f"{heading}, ms after the Reply", *titles], ["---"] * (len(titles) + 1),
                      *[[text, *cells] for text, cells in body]):
            lines.append(f"| {' | '.join(each.replace('|', chr(92) + '|') for each in cells)} |")
        lines.append("")
    return "\n".join(lines)
