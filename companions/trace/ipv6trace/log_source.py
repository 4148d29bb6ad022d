"""Where a log comes from: bytes that can be read again, in blocks of whole lines, whatever is in them."""
import io
import tempfile

BLOCK = 1 << 22
ENDLESS = 1 << 16           # a line above this is cut, its rest passed over
IN_MEMORY = 1 << 25         # a log that comes through a pipe is kept up to this size in memory, above it in a file


class Source:
    """A binary file object that can seek. What is written to it later is not looked at."""

    def __init__(self, file):
        self.file = file
        self.size = file.seek(0, io.SEEK_END)

    @classmethod
    def of_blocks(cls, blocks):
        """Takes all of what comes once only."""
        kept = tempfile.SpooledTemporaryFile(max_size=IN_MEMORY)
        for block in blocks:
            kept.write(block)
        return cls(kept)

    def blocks(self, begin=0, end=None):
        """(offset, bytes) of whole lines from `begin` on, which is where a line begins. Only the last line of the log
        may lack its line end. Where an endless line's rest is passed over the offsets jump."""
        end = self.size if end is None else end
        at, rest, passing = begin, b"", False
        reached = begin
        while reached < end:
            self.file.seek(reached)
            data = self.file.read(min(BLOCK, end - reached))
            if not data:                        # the file was cut meanwhile
                break
            reached += len(data)
            if passing:
                line_end = data.find(b"\n")
                if line_end < 0:
                    continue
                passing, data = False, data[line_end + 1:]
                at = reached - len(data)
            data = rest + data
            last = data.rfind(b"\n") + 1
            if last:
                yield at, data[:last]
                at, data = at + last, data[last:]
            rest = data
            if len(rest) > ENDLESS:
                yield at, rest[:ENDLESS] + b"\n"
                rest, passing = b"", True
        if rest:
            yield at, rest

    def lines(self, begin, end):
        """The lines of a stretch, without their ends."""
        for _, block in self.blocks(begin, end):
            yield from split(block)


def split(block):
    lines = block.split(b"\n")
    if not lines[-1]:
        del lines[-1]
    return lines
