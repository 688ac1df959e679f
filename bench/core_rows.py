"""The portable core, by core_bench, which is built for this machine: what runs is compared with the
benchmark of the same name that ends with "Floor". Repetitions of all take turns."""

import collections
import json
import subprocess

from table import ratios

CALLBACK, MESSAGE = 1, 16  # calls in one iteration

ROWS = [
    ("packet callback, watchdog waiting, 1 thread", "PacketCallback", "real_time/threads:1",
     CALLBACK, 1.10),
    ("packet callback, watchdog waiting, 4 threads", "PacketCallback", "real_time/threads:4",
     CALLBACK, 1.10),
    ("log line of the library to the queue", "LogLine", "manual_time", MESSAGE, 1.25),
    ("message with all settings to the queued command", "SettingsMessage", "manual_time", MESSAGE,
     1.5),
    ("message with a restart to the queued command", "RestartMessage", "manual_time", MESSAGE, 1.5),
]


def run(program, quick):
    said = subprocess.run(
        [program, "--benchmark_filter=^(PacketCallback|LogLine|SettingsMessage|RestartMessage)",
         f"--benchmark_repetitions={3 if quick else 15}",
         f"--benchmark_min_time={0.01 if quick else 0.05}",
         "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, text=True, timeout=300).stdout
    times = collections.defaultdict(list)
    allocations = []
    for result in json.loads(said)["benchmarks"]:
        if result["run_type"] != "iteration":
            continue
        times[result["run_name"]].append(result["real_time"])
        if "allocations" in result:
            allocations.append(result["allocations"])
    return times, allocations


def measure(table, program, quick):
    times, allocations = run(program, quick)
    table.heading("The core, natively")
    for what, name, rest, calls, limit in ROWS:
        ours, floor = times[f"{name}/{rest}"], times[f"{name}Floor/{rest}"]
        table.add(f"{what} / floor", ratios(ours, floor), limit,
                  note=f"{min(ours) / calls:.0f} ns against {min(floor) / calls:.0f} ns at best")
    table.add("allocations of the packet callback", allocations, 0, digits=0)
