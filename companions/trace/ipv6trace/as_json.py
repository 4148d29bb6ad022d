"""The log as JSON. The manual page describes it; `schema` changes when something that was there no longer is."""
import json

from ipv6trace.addresses import address_actions
from ipv6trace.invocation import MANY_LINES
from ipv6trace.log_line import SURE, weight
from ipv6trace.parameters import are_sure, changes

SCHEMA = 1
WARM = 100                  # invocations whose lines stay in memory
VERDICTS = {"ok": "ok", "bad": "failed", "quiet": "nothing to undo"}


def write_json(log, history, name, selection, out, all_lines=False):
    """One invocation after the other, so that a long log is never whole in memory."""
    head = {"schema": SCHEMA, "log": {
        "path": name, "bytes": log.source.size, "lines": log.line_count, "boots": log.boots,
        "first_uptime": log.first_uptime, "last_uptime": log.last_uptime,
        "invocations": log.dropped + len(log.invocations),
        "with_failures": log.dropped_bad + sum(each.troubled for each in log.invocations),
        "left_out": log.dropped + selection.left_out}}
    out.write(dump(head)[:-1] + ', "invocations": [')
    warm = {}
    for place, each in enumerate(selection.invocations):
        out.write((",\n" if place else "\n") + dump(record(each, history, all_lines)))
        for some in (each, *each.overlaps):
            warm[some] = warm.pop(some, None)
        while len(warm) > WARM:
            first = next(iter(warm))
            first.forget()
            del warm[first]
    out.write("\n]}\n")


def dump(value):
    return json.dumps(value).replace("\x7f", "\\u007f")


def record(each, history, all_lines):
    loaded = history.loaded(each)
    one, before = history.before(each) if loaded else (None, {})
    during = each.during
    found = {
        "number": each.number, "boot": each.boot, "path": each.path, "command": each.word,
        "reason": each.reason or None, "outcome": each.outcome, "failed": each.troubled,
        "failed_shell_lines": each.bad_count,
        "begin": moment(each.begin_line) if each.started else None, "end": moment(each.end_line),
        "last_uptime": each.last_uptime, "end_confidence": each.end_confidence, "rebooted": each.rebooted,
        "maybe_running": each.maybe_running, "overlaps": [other.number for other in each.overlaps],
        "during": {"number": during[0].number, "line": during[1].number} if during else None,
        "shell_lines": [shell_record(line) for line in each.shell_lines],
        "addresses": [{**moment(action.line), "interface": action.interface, "address": action.address,
                       "added": action.came, "refused": action.refused, "confidence": action.line.confidence}
                      for action in address_actions(each.lines)],
        "parameters": {"loaded": len(loaded), "sure": are_sure(each), "compared_with": one.number if one else None,
                       "changed": [{"name": name, "before": old, "after": new}
                                   for name, old, new in (changes(before, loaded) if one else [])]},
        "cut": len(each.lines) == MANY_LINES}
    if all_lines:
        found["lines"] = [{**moment(line), "routine": line.routine, "message": line.message,
                           "confidence": line.confidence} for line in each.lines]
    return found


def moment(line):
    return {"uptime": line.uptime, "line": line.number} if line else None


def shell_record(line):
    status, text = line.shell
    return {**moment(line), "status": status, "text": text, "verdict": VERDICTS[weight(line)],
            "sure": line.confidence == SURE, "confidence": line.confidence}
