"""The commands of the pages: blocks that begin with three backquotes, "sh" and a word that says how they are run (CONTRIBUTING.md)."""
import dataclasses
import pathlib
import re

TREE = pathlib.Path(__file__).resolve().parents[2]
PAGES = [TREE / "README.md", TREE / "CONTRIBUTING.md", *sorted((TREE / "docs").glob("*.md")),
         *(TREE / name for name in ("lab/README.md", "lab/vm/README.md", "tests/fuzz/README.md"))]
KINDS = ("lab", "gateway", "root", "slow", "hardware")
# A block without a word is one of commands when it begins like one.
LIKE_COMMANDS = re.compile(r"(?:[A-Z_]+=\S+ )*(?:make|cmake|lab/\S+|tests/\S+|tools/\S+|/usr/bin/python3)(?: |$)")


@dataclasses.dataclass
class Block:
    page: pathlib.Path
    line: int
    kind: str
    text: str

    def __str__(self):
        return f"{self.page.relative_to(TREE)}:{self.line}"

    def commands(self):
        """The lines to run: continued ones joined, comments gone."""
        found = []
        for line in self.text.replace("\\\n", " ").splitlines():
            line = re.sub(r"(^|\s+)# .*$", "", line).strip()
            if line:
                found.append(line)
        return found


def blocks_of(page):
    text = page.read_text(encoding="utf-8")
    found = []
    for match in re.finditer(r"^```([^\n`]*)\n(.*?)^```$", text, re.M | re.S):
        words, body = match.group(1).split(), match.group(2)
        if words[:1] == ["sh"] or (not words and LIKE_COMMANDS.match(body)):
            kind = words[1] if len(words) > 1 else "slow"
            assert kind in KINDS, f"{page}: no way to run a block of kind {kind}"
            found.append(Block(page, text.count("\n", 0, match.start()) + 2, kind, body))
    return found


def blocks(*kinds):
    return [block for page in PAGES for block in blocks_of(page) if block.kind in kinds]
