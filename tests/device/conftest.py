"""The fixtures of these tests."""
import sys
import pathlib

sys.path.insert(0, str(pathlib.Path(__file__).parent))

from fixtures import *                                              # noqa: E402, F401, F403
from fixtures import _root, _template, _world                       # noqa: E402, F401
