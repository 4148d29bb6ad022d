"""A rehearsal as JSON; the page ipv6rehearse(1) describes it."""
import json

SCHEMA = 1


def _plain(value):
    """The same without what is no UTF-8; such a byte stands as \\xff."""
    if isinstance(value, str):
        return value.encode("utf-8", "surrogateescape").decode("utf-8", "backslashreplace")
    if isinstance(value, dict):
        return {_plain(key): _plain(each) for key, each in value.items()}
    return [_plain(each) for each in value] if isinstance(value, (list, tuple)) else value


def as_json(rehearsal, kept):
    run = rehearsal.run
    return json.dumps(_plain({
        "schema": SCHEMA,
        "command": rehearsal.command,
        "arguments": rehearsal.arguments,
        "settings": rehearsal.source,
        "surroundings": rehearsal.surroundings,
        "remarks": rehearsal.remarks,
        "good": rehearsal.good,
        "status": run.status,
        "failure": rehearsal.failure,
        "shell_lines": [{"status": status, "line": line} for status, line in run.shell],
        "pauses": run.pauses,
        "log": run.log_lines,
        "files": [{"path": path, "text": text, "current": rehearsal.current.get(path)} for path, text in rehearsal.files.items()],
        "removed_files": rehearsal.removed,
        "store": [{"key": key, "before": before, "after": after} for key, (before, after) in run.store_changes.items()],
        "addresses": run.addresses,
        "switches": run.switches,
        "left_out": rehearsal.notes,
        "verdicts": [{"path": each.path, "program": each.program, "verdict": each.verdict, "said": each.said}
                     for each in rehearsal.verdicts],
        "odd": rehearsal.odd,
        "advice": rehearsal.advice,
        "kept": kept,
    }), indent=1) + "\n"
