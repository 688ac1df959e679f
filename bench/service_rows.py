"""The built service under Wine, by service_bench, against the program that does the least."""

import collections
import contextlib
import os
import re
import statistics
import subprocess
import time

from table import ratios

WINE = os.path.join(os.path.dirname(__file__), "..", "scripts", "wine")
# In the order in which they are started.
THREADS = ["main", "clips", "commands", "pipe reader", "watchdog", "the library's", "keeper"]


def service_bench(programs, what, rounds):
    """What was measured of the service and of the floor, by its name."""
    said = subprocess.run(
        [WINE, os.path.join(programs, "service_bench.exe"), what, str(rounds)],
        stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, check=True, text=True, timeout=300).stdout
    values = collections.defaultdict(lambda: {"service": [], "floor": []})
    for line in said.splitlines():
        name, program, value = line.split()
        values[name][program].append(float(value))
    return values


def medians(values, digits, unit):
    service, floor = (statistics.median(values[key]) for key in ("service", "floor"))
    return f"{service:.{digits}f} against {floor:.{digits}f} {unit}"


def start_wine(programs):
    """The first program starts Wine's services, which keep its output open."""
    subprocess.run([WINE, os.path.join(programs, "service_bench.exe"), "starts", "1"], check=True,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, timeout=100)


def wine_server():
    """The server of this run's prefix, which start_wine has started."""
    prefix = f"WINEPREFIX={os.environ['WINEPREFIX']}".encode()
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/cmdline", "rb") as file:
                program = os.path.basename(file.read().split(b"\0")[0])
            with open(f"/proc/{process}/environ", "rb") as file:
                if program.startswith(b"wineserver") and prefix in file.read().split(b"\0"):
                    return int(process)
        except OSError:
            continue
    raise SystemExit("bench: Wine's server is not there")


@contextlib.contextmanager
def placed(server_processor, processor):
    """Wine's server runs on the one and every program that is started runs on the other."""
    server, all_processors = wine_server(), os.sched_getaffinity(0)
    os.sched_setaffinity(server, {server_processor})
    os.sched_setaffinity(0, {processor})
    try:
        yield
    finally:
        os.sched_setaffinity(server, all_processors)
        os.sched_setaffinity(0, all_processors)


def measure_frames(table, programs, quick, limit=None, where=""):
    frames = service_bench(programs, "frames", 1 if quick else 31)
    for size in (64, 4096):
        values = frames[f"frames_{size}"]
        table.add(f"frames of {size} bytes a second from the pipe to the main loop{where} / floor",
                  ratios(values["service"], values["floor"]), limit, at_least=True,
                  note=medians(values, 0, "a second"))


def measure_clips(table, programs, quick):
    clips = service_bench(programs, "clips", 1 if quick else 15)
    for name, what, limit in (("clip_p50", "half", 1.5), ("clip_p99", "99 of 100", 2)):
        values = clips[name]
        table.add(f"clip request to answer, instant dump, time in which {what} are answered / floor",
                  ratios(values["service"], values["floor"]), limit,
                  note=medians(values, 0, "µs"))


def measure_starts(table, programs, quick):
    starts = service_bench(programs, "starts", 2 if quick else 31)
    values = starts["start"]
    table.add("start until the pipe is open / floor", ratios(values["service"], values["floor"]),
              1.5, note=medians(values, 1, "ms"))
    values = starts["end"]
    table.add('end after "die", more than the floor',
              [own - other for own, other in zip(values["service"], values["floor"])], 3,
              unit=" ms", digits=1, note=medians(values, 1, "ms"))


def measure(table, programs, quick):
    """Each call of Windows that goes to Wine's server costs several times as much when the server
    runs on another processor than its caller, and Linux moves them every second. So they stay where
    they are put."""
    start_wine(programs)
    table.heading("The service, under Wine")
    processors = sorted(os.sched_getaffinity(0))
    with placed(processors[0], processors[-1]):
        measure_frames(table, programs, quick, 0.9)
        measure_clips(table, programs, quick)
        measure_starts(table, programs, quick)
    with placed(processors[0], processors[0]):
        measure_frames(table, programs, quick, where=", all on one processor")


# --- At rest ------------------------------------------------------------------------------------


def process_with(argument):
    """The process that has this word on its command line, of which there is one."""
    for process in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{process}/cmdline", "rb") as file:
                if argument.encode() in file.read():
                    return process
        except OSError:
            continue
    raise SystemExit("bench: the service at rest is not there")


def read(*path):
    with open(os.path.join("/proc", *path), encoding="utf-8") as file:
        return file.read()


def thread_figures(process):
    """For each thread, in the order of their starts: its wake-ups, and its processor time in
    seconds."""
    figures = []
    for thread in sorted(os.listdir(f"/proc/{process}/task"), key=int):
        status = read(process, "task", thread, "status")
        wake_ups = int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status, re.M)[1])
        figures.append((wake_ups, int(read(process, "task", thread, "schedstat").split()[0]) / 1e9))
    return figures


def private_megabytes(process):
    return sum(int(size) for size in re.findall(
        r"^Private_\w+:\s*(\d+) kB", read(process, "smaps_rollup"), re.M)) / 1024


def measure_rest(table, programs, quick):
    seconds, parts = (4, 2) if quick else (60, 6)
    with subprocess.Popen([WINE, os.path.join(programs, "service_bench.exe"), "rest"],
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as host:
        process = process_with(host.stdout.readline().strip())
        time.sleep(1)
        figures = [thread_figures(process)]
        for _ in range(parts):
            time.sleep(seconds / parts)
            figures.append(thread_figures(process))
        memory = private_megabytes(process)
        host.stdin.close()
    first, last = figures[0], figures[-1]
    if any(len(threads) != len(first) for threads in figures):
        raise SystemExit("bench: a thread of the service came or went at rest")
    names = THREADS if len(THREADS) == len(first) else map(str, range(1, len(first) + 1))
    table.heading(f"A session with 60 packets a second and nothing else, for {seconds} s")

    def in_each_part(figure):
        """A figure of all threads together, for a second of each part."""
        sums = [sum(thread[figure] for thread in threads) for threads in figures]
        return [(after - before) * parts / seconds for before, after in zip(sums, sums[1:])]

    table.add("wake-ups a second of all threads", in_each_part(0), digits=1,
              note=", ".join(f"{name} {(after[0] - before[0]) / seconds:.2f}"
                             for name, before, after in zip(names, first, last)))
    table.add("processor share, of one processor", [share * 100 for share in in_each_part(1)],
              unit=" %", digits=2)
    table.add("private memory", [memory], unit=" MB", digits=1)
