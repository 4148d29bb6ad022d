"""The picture of a lab run: what happened when, drawn on one page that opens without a network."""
import sys
from pathlib import Path

# The log's reader and the drawing of a timeline are those of ipv6trace: the source tree's, else the installed ones.
SHARED = Path(__file__).resolve().parents[2] / "companions" / "trace"
sys.path.insert(0, str(SHARED if SHARED.is_dir() else "/usr/share/ipv6ctl"))
