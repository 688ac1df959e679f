#!/usr/bin/python3
"""The figures of the open capture library against FFmpeg's own loop, in two versions. Recordings of
all three take turns, so that what else the machine does meets them alike; a figure is the median of
its rounds."""

import contextlib
import os
import re
import statistics
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "tests", "e2e"))
from frame_code import FrameCodeReader  # noqa: E402
from load import busy_share  # noqa: E402
from table import ratios  # noqa: E402

WINE = os.path.join(os.path.dirname(__file__), "..", "scripts", "wine")
TITLE = "Moving window"
QUALITY = 23
DECODED = (640, 360)
PATIENCE_S = 180


def windows_path(path):
    return "Z:" + path.replace("/", "\\")


# --- Other programs ---------------------------------------------------------------------------------


@contextlib.contextmanager
def running(commands):
    """Programs that run meanwhile; ended by their own process ids."""
    processes = [subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
                 for command in commands]
    try:
        yield processes
    finally:
        for process in processes:
            process.kill()
            process.wait()
            process.stdout.close()


def busy_processes():
    return running([[sys.executable, "-c", "while True: pass"]] * 2)


# --- Recordings ---------------------------------------------------------------------------------


class Machine:
    """Where the programs are, and how long a recording is."""

    def __init__(self, options):
        self.programs = options.programs
        # The limits are against `ffmpeg`, Debian 12's own; `newer_ffmpeg` is of the version that
        # the library has.
        self.ffmpeg = options.ffmpeg
        self.newer_ffmpeg = options.newer_ffmpeg
        self.scratch = options.scratch
        self.seconds = 4 if options.quick else 9
        # Of each recording, its last seconds: when everything is loaded and runs.
        self.counted_s = self.seconds - 2.5
        self.rounds = 1 if options.quick else 3
        self.busy = []  # the share of the processors that others used before each group

    def program(self, name):
        return [WINE, os.path.join(self.programs, name)]

    @contextlib.contextmanager
    def window(self, size, frame_rate):
        """A window that moves; nothing else of this benchmark runs when it appears."""
        self.busy.append(busy_share(3))
        command = self.program("moving_window.exe") + [TITLE, *map(str, size), str(frame_rate)]
        with running([command]) as processes:
            line = processes[0].stdout.readline()
            if b"The window is open." not in line:
                raise SystemExit("bench: the moving window did not open")
            time.sleep(1)
            yield

    def record_with_library(self, frame_rate):
        clip = os.path.join(self.scratch, "library.mp4")
        return self.record(clip, self.program("record_bench.exe") + [
            TITLE, str(frame_rate), str(QUALITY), str(self.seconds), windows_path(clip)])

    def record_with_ffmpeg(self, ffmpeg, frame_rate):
        """Pictures get the time at which they were taken, and none is made up, as in the library;
        a key frame a second and no B frames."""
        clip = os.path.join(self.scratch, "ffmpeg.mkv")
        return self.record(clip, [WINE, ffmpeg] + (
            f"-hide_banner -nostdin -nostats -y -f gdigrab -draw_mouse 0 -framerate {frame_rate}"
            f" -t {self.seconds}").split() + ["-i", "title=" + TITLE] + (
                "-fps_mode vfr -c:v libx264 -preset superfast -pix_fmt yuv420p"
                f" -crf {QUALITY} -g {frame_rate} -bf 0").split() + [windows_path(clip)])

    def record(self, clip, command):
        log = os.path.join(self.scratch, "recording.log")
        with open(log, "w", encoding="utf-8") as file:
            process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=file, stderr=file)
            samples = sample_processor_time(process)
        with open(log, encoding="utf-8", errors="replace") as file:
            said = file.read()
        if process.returncode != 0:
            raise SystemExit(f"bench: {' '.join(command)} failed:\n{said[-2000:]}")
        figures = figures_of(clip, self.counted_s, processor_share(samples, self.counted_s))
        figures["log"] = [line for line in said.splitlines() if "recording ended" in line]
        return figures


def sample_processor_time(process):
    """Pairs of time and processor time of all of the process's threads, in seconds, until its end."""
    samples = []
    give_up = time.monotonic() + PATIENCE_S
    while process.poll() is None:
        if time.monotonic() > give_up:
            process.kill()
        with contextlib.suppress(OSError, IndexError):
            with open(f"/proc/{process.pid}/stat", encoding="utf-8", errors="replace") as file:
                fields = file.read().rpartition(")")[2].split()
            ticks = int(fields[11]) + int(fields[12])
            samples.append((time.monotonic(), ticks / os.sysconf("SC_CLK_TCK")))
        time.sleep(0.05)
    return samples


def processor_share(samples, counted_s):
    """Seconds of processor time a second, some time before the end, at which files are finished."""
    end = samples[-1][0] - 0.5
    counted = [sample for sample in samples if end - counted_s <= sample[0] <= end]
    if not counted or counted[0][0] > end - counted_s + 0.5:
        raise SystemExit("bench: the recording ended too early")
    return (counted[-1][1] - counted[0][1]) / (counted[-1][0] - counted[0][0])


def figures_of(clip, counted_s, share):
    """What the last seconds of a recording came to: how many different pictures there are a second
    and for each second of processor time, and the longest time in ms that one stands."""
    times = [float(line) for line in subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "frame=pts_time",
         "-of", "csv=p=0", clip], check=True, capture_output=True, text=True).stdout
        .replace(",", "").split()]
    width, height = DECODED
    pictures = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-vsync", "passthrough", "-vf",
         f"scale={width}:{height}:flags=area,format=gray", "-f", "rawvideo", "-"],
        check=True, capture_output=True).stdout
    size = width * height
    if len(pictures) != size * len(times) or len(times) < 2:
        raise SystemExit(f"bench: {clip} has {len(times)} times for {len(pictures)} bytes")
    reader = FrameCodeReader(width, height)
    begins = []  # of each picture that differs from the one before
    numbers = []  # of the window's frames that they show
    last = None
    for index, at in enumerate(times):
        number = reader.read(pictures[index * size : (index + 1) * size])
        # The library begins with black until the first picture is there.
        if number is not None and number != last:
            begins.append(at)
            numbers.append(number)
            last = number
    first = times[-1] - counted_s
    ends = begins[1:] + [times[-1]]
    stands = [after - max(before, first) for before, after in zip(begins, ends) if after > first]
    if sum(1 for begin in begins if begin >= first) < 2:
        raise SystemExit(f"bench: nothing moves in the last {counted_s} s of {clip}")
    counted = [(at, number) for at, number in zip(begins, numbers) if at >= first]
    a_second = len(counted) / counted_s
    return {
        "drawn_a_second": (counted[-1][1] - counted[0][1]) / (counted[-1][0] - counted[0][0]),
        "processor_share": share,
        "a_second": a_second,
        "a_processor_second": a_second / share,
        "ms_a_picture": share / a_second * 1000,
        "longest_ms": max(stands) * 1000,
    }


# --- The rows ------------------------------------------------------------------------------------


def median_of(recordings, key):
    return statistics.median(recording[key] for recording in recordings)


def ratios_of(ours, theirs, key):
    return ratios([own[key] for own in ours], [other[key] for other in theirs])


def take_turns(machine, frame_rate):
    """Recordings of the library, of FFmpeg's loop and of the newer FFmpeg's."""
    ours, theirs, newer = [], [], []
    for number in range(machine.rounds):
        turns = [lambda: ours.append(machine.record_with_library(frame_rate)),
                 lambda: theirs.append(machine.record_with_ffmpeg(machine.ffmpeg, frame_rate)),
                 lambda: newer.append(machine.record_with_ffmpeg(machine.newer_ffmpeg, frame_rate))]
        for turn in turns if number % 2 == 0 else turns[::-1]:
            turn()
    return ours, theirs, newer


def name_of(ffmpeg):
    """As "ffmpeg-5.1"."""
    return os.path.splitext(os.path.basename(ffmpeg))[0]


def measure_pictures(machine, table):
    table.heading("Recording, under Wine, against FFmpeg's own loop")
    recordings = {}
    # The window draws more often than pictures are taken, so that none is the one before.
    with machine.window((1280, 720), 60):
        ours, theirs, newer = take_turns(machine, 30)
    recordings["1280x720 at 30"] = {"library": ours, "ffmpeg": theirs, "newer_ffmpeg": newer}
    for ffmpeg, floor, limit in (machine.ffmpeg, theirs, 0.55), (machine.newer_ffmpeg, newer, None):
        table.add("processor time for each different picture, 1280x720 at 30, library / gdigrab of"
                  f" {name_of(ffmpeg)}", ratios_of(ours, floor, "ms_a_picture"), limit,
                  note=f"{median_of(ours, 'ms_a_picture'):.1f} ms against"
                  f" {median_of(floor, 'ms_a_picture'):.1f} ms")

    with machine.window((1920, 1080), 60):
        quiet = [machine.record_with_library(30) for _ in range(machine.rounds)]
    recordings["1920x1080 at 30"] = {"library": quiet}

    with machine.window((1920, 1080), 60), busy_processes():
        ours, theirs, newer = take_turns(machine, 60)
    recordings["1920x1080 at 60, two busy processes"] = {
        "library": ours, "ffmpeg": theirs, "newer_ffmpeg": newer}
    for ffmpeg, floor, limit in (machine.ffmpeg, theirs, 2), (machine.newer_ffmpeg, newer, None):
        table.add("different pictures a second, 1920x1080 at 60, two busy processes, library /"
                  f" gdigrab of {name_of(ffmpeg)}", ratios_of(ours, floor, "a_second"), limit,
                  at_least=True, note=f"{median_of(ours, 'a_second'):.1f} against"
                  f" {median_of(floor, 'a_second'):.1f} of"
                  f" {median_of(ours, 'drawn_a_second'):.1f} and"
                  f" {median_of(floor, 'drawn_a_second'):.1f} that were drawn")
    table.add("different pictures for each second of processor time: that one / 1920x1080 at 30,"
              " nothing else running", ratios_of(ours, quiet, "a_processor_second"), 0.7,
              at_least=True, note=f"{median_of(ours, 'a_processor_second'):.0f} against"
              f" {median_of(quiet, 'a_processor_second'):.0f}; gdigrab"
              f" {median_of(theirs, 'a_processor_second'):.0f} and"
              f" {median_of(newer, 'a_processor_second'):.0f}")
    longest = [recording["longest_ms"] for recording in ours]
    table.add("longest time that one picture stands meanwhile", longest, 300, unit=" ms",
              chosen=max(longest),
              note=f"the worst of all; gdigrab {max(r['longest_ms'] for r in theirs):.0f} and"
              f" {max(r['longest_ms'] for r in newer):.0f} ms")
    return recordings


def measure_replay_buffer(machine, table):
    """dump_bench prints each ratio with its limit and those of its rounds, of whose times it takes the
    best itself."""
    table.heading("The replay buffer, under Wine")
    said = subprocess.run(machine.program("dump_bench.exe") + [windows_path(machine.scratch)],
                          stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=600,
                          check=False).stdout
    notes = [line.strip() for line in said.splitlines() if "limit" not in line and line.strip()]
    rows = re.findall(r"^(.*?) +([\d.]+) +limit ([\d.]+) .* rounds ([\d. ]+)$", said, re.M)
    if not rows:
        raise SystemExit("bench: dump_bench printed no figures:\n" + said)
    for what, value, limit, rounds in rows:
        table.add(what, list(map(float, rounds.split())), float(limit), chosen=float(value))
    return notes
