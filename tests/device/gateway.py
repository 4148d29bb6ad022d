"""The recorder's gateway under the name that the tests know it by. The page at the top of it tells how to write a test."""
import sys

import sandbox                                                      # noqa: F401  finds the recorder
from ipv6recorder import gateway

sys.modules[__name__] = gateway
