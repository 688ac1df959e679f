"""How busy the machine is."""

import time

QUIET = 0.1  # the share of the processors that other work may take


def processor_times():
    with open("/proc/stat", encoding="ascii") as file:
        times = [int(text) for text in file.readline().split()[1:9]]
    idle = times[3] + times[4]
    return sum(times) - idle, sum(times)


def busy_share(seconds):
    """The share of all processors that is in use now."""
    before = processor_times()
    time.sleep(seconds)
    after = processor_times()
    return (after[0] - before[0]) / max(after[1] - before[1], 1)
