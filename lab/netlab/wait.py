"""Waiting for things to become true, never for time to pass."""
import time


class NotYet(Exception):
    """Says in a sentence what is still missing."""


def need(condition, sentence):
    """Raises `NotYet` with the sentence unless the condition holds."""
    if not condition:
        raise NotYet(sentence)


def wait_for(probe, within=20.0, every=0.1):
    """Calls `probe` until it returns; what it returns is the result. After `within` seconds its last `NotYet` goes to
    the caller. The probe runs at least once, and once more after the deadline, however slow the machine is."""
    deadline = time.monotonic() + within
    while True:
        late = time.monotonic() >= deadline
        try:
            return probe()
        except NotYet:
            if late:
                raise
        time.sleep(every)
