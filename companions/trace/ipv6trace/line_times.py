"""When each line came: as seen, or its place in the second that it tells."""


def place(log, invocations, strays=()):
    """Fills in begin, end and the times of these invocations' lines."""
    marks = [(line, each.boot) for each in invocations
             for line in [each.begin_line, *each.lines, each.end_line] if line]
    marks += [(line, None) for line in strays]
    marks.sort(key=lambda mark: mark[0].number)
    lines = [line for line, _ in marks]
    if log.exact:
        for line in lines:
            line.time = log.arrivals[line.number - 1]
    else:
        spread_within_seconds(marks)
    log.first = lines[0].time if lines else 0.0
    latest = 0.0
    for line in lines:
        latest = line.time = max(latest, line.time - log.first)
    for each in invocations:
        each.begin = each.begin_line.time
        before = each.begin
        for line in each.lines:
            line.since, before = before, line.time
        each.end = each.end_line.time if each.end_line else before


def spread_within_seconds(marks):
    """Lines of one second get their places in it. After a reboot the clock goes on: it was down for a moment, and up
    for as long as the next line says."""
    shift, start = 0, 0
    clock = marks[0][0].uptime if marks else 0
    boot = None
    while start < len(marks):
        line, of_boot = marks[start]
        if of_boot is not None and boot is not None and of_boot != boot:
            shift = clock
        boot = of_boot or boot
        clock = max(clock, line.uptime + shift)
        stop = start
        while stop < len(marks) and marks[stop][0].uptime + shift <= clock and marks[stop][1] in (None, boot):
            stop += 1
        stop = max(stop, start + 1)
        for place_in_it, (each, _) in enumerate(marks[start:stop]):
            each.time = clock + (place_in_it + 0.5) / (stop - start)
        start = stop
