"""What the machine is, and how busy it is."""

import re
import time

QUIET = 0.1  # the share of the processors that other work may take


def processor_name():
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        return re.search(r"^model name\s*: (.*)$", file.read(), re.M)[1]


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
