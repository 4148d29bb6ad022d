"""unreached.py COVERAGE.json RELIABILITY.md: holds that every line and branch of src/ that no test reaches is known.

The table behind "Not reached by a test" in the second file has one row a place: the file, the line's text, the reason. A
place without a row fails, and so does a row whose place is reached or gone. Prints the figures of each folder.
"""
import collections
import json
import pathlib
import sys

TITLE = "### Not reached by a test"


def known_places(text):
    """{(file, line text): reason} of the table behind the title."""
    rows = {}
    for line in text.split(TITLE, 1)[-1].splitlines():
        cells = [cell.strip() for cell in line.replace("\\|", "\0").split("|")]
        if len(cells) == 5 and cells[1].startswith("`") and cells[1].endswith("`"):
            rows[cells[1].strip("`"), cells[2].strip("`").replace("\0", "|").strip()] = cells[3]
    return rows


def unreached_places(files, top):
    """{(file, line text): line number} of what nothing reached."""
    found = {}
    for file in files:
        if not file["file"].startswith("src/"):
            continue
        source = (top / file["file"]).read_text(encoding="utf-8").splitlines()
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            branches = line.get("branches", [])
            if line["count"] == 0 or [branch for branch in branches if branch["count"] == 0]:
                found[file["file"], source[line["line_number"] - 1].strip()] = line["line_number"]
    return found


def figures(files):
    """Rows of (folder, lines reached, lines, branches reached, branches)."""
    rows = collections.defaultdict(lambda: [0, 0, 0, 0])
    for file in files:
        folder = "/".join(file["file"].split("/")[: 3 if file["file"].startswith("platform/") else 2])
        for line in file["lines"]:
            if line.get("gcovr/noncode"):
                continue
            branches = line.get("branches", [])
            for name in (folder, folder.split("/")[0]):
                row = rows[name]
                row[0] += line["count"] > 0
                row[1] += 1
                row[2] += sum(branch["count"] > 0 for branch in branches)
                row[3] += len(branches)
    return sorted(rows.items())


def main(coverage, reliability):
    top = pathlib.Path(reliability).resolve().parents[1]
    files = json.loads(pathlib.Path(coverage).read_text(encoding="utf-8"))["files"]
    print(f"{'folder':24} {'lines':>16} {'branches':>16}")
    for folder, (lines, all_lines, branches, all_branches) in figures(files):
        print(f"{folder:24} {lines:6}/{all_lines:<5} {100 * lines / max(all_lines, 1):4.1f}%"
              f" {branches:5}/{all_branches:<5} {100 * branches / max(all_branches, 1):4.1f}%")
    known = known_places(pathlib.Path(reliability).read_text(encoding="utf-8"))
    seen = unreached_places(files, top)
    new = [place for place in seen if place not in known]
    gone = [place for place in known if place not in seen]
    for place in sorted(new):
        print(f"no test reaches it and no reason is given: {place[0]}:{seen[place]}: {place[1]}", file=sys.stderr)
    for file, text in sorted(gone):
        print(f"a reason for what is reached or gone: {file}: {text}", file=sys.stderr)
    return 1 if new or gone else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
