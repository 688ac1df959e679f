"""What the tests of sound need: a sound server's outputs to play tones on, the probe that records
them, and a look at which tones are in a clip's tracks when."""

import array
import contextlib
import json
import math
import os
import queue
import signal
import subprocess
import threading
import time

RATE = 48000
PATIENCE_S = 60


def pactl(*arguments):
    return subprocess.run(["pactl", *arguments], check=True, capture_output=True, text=True).stdout


@contextlib.contextmanager
def tone(sink, hertz, amplitude=0.5):
    """Plays a steady tone on an output of the sound server for as long as the block runs."""
    # One second of it joins on to itself.
    period = array.array(
        "h", (round(32767 * amplitude * math.sin(2 * math.pi * hertz * n / RATE)) for n in range(RATE))
    ).tobytes()
    player = subprocess.Popen(
        ["pacat", f"--device={sink}", "--format=s16le", f"--rate={RATE}", "--channels=1"]
        + ["--latency-msec=500"],
        stdin=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
    )

    def feed():
        with contextlib.suppress(BrokenPipeError):
            while True:
                player.stdin.write(period)

    feeder = threading.Thread(target=feed)
    feeder.start()
    try:
        yield
    finally:
        player.kill()
        feeder.join()
        with contextlib.suppress(BrokenPipeError):
            player.stdin.close()
        player.wait()


@contextlib.contextmanager
def halted(process_id):
    """The process does not run meanwhile."""
    os.kill(process_id, signal.SIGSTOP)
    try:
        yield
    finally:
        os.kill(process_id, signal.SIGCONT)


def display_server():
    """The process of the display on which the test runs."""
    return int(os.environ["DISPLAY_SERVER"])


class Probe:
    """A running sound_probe.exe."""

    def __init__(self, wine, program):
        self.process = subprocess.Popen(
            [wine, program],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            text=True,
        )
        self.answers = queue.Queue()
        self.log = []
        self.readers = [
            threading.Thread(target=self._read_answers),
            threading.Thread(target=self._read_log),
        ]
        for reader in self.readers:
            reader.start()

    def _read_answers(self):
        for line in self.process.stdout:
            self.answers.put(line.strip())

    def _read_log(self):
        for line in self.process.stderr:
            self.log.append(line.strip())

    def ask(self, line):
        self.process.stdin.write(line + "\n")
        self.process.stdin.flush()
        return self.answers.get(timeout=PATIENCE_S)

    def devices(self, kind):
        """The device identifiers by their names."""
        values = json.loads(self.ask(f"list {kind}"))["device_id"]["values"]
        return {entry["info"]["name"]: entry["value"] for entry in values}

    def dump(self, path):
        """Writes a clip; returns its length and what was lost of the sound and of the pictures, in
        seconds, and the time of the recording's first picture."""
        status, *times = map(int, self.ask(f"dump Z:{path}".replace("/", "\\")).split())
        assert status == 0, status
        return [time / 1e9 for time in times]

    def wait_for_log(self, text, after=0):
        """Waits for a line with this text that is not one of the first `after` lines."""
        end = time.monotonic() + PATIENCE_S
        while not any(text in line for line in self.log[after:]):
            assert time.monotonic() < end, self.log
            time.sleep(0.05)

    def stop(self):
        """Ends the recording; returns the figures of each track."""
        numbers = list(map(int, self.ask("stop").split()))
        names = ("packets", "unjoined", "late_us", "worst_late_us", "lost_ns")
        return [dict(zip(names, numbers[at : at + 5])) for at in range(0, len(numbers), 5)]

    def close(self):
        self.process.stdin.close()
        self.process.wait(timeout=PATIENCE_S)
        for reader in self.readers:
            reader.join()
        self.process.stdout.close()
        self.process.stderr.close()


def samples(clip, track, channel=0):
    """One channel of one of the clip's tracks, from the clip's beginning on."""
    decoded = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", clip, "-map", f"0:a:{track}", "-f", "f32le", "-ac", "2"]
        + ["-ar", str(RATE), "-"],
        check=True,
        capture_output=True,
    ).stdout
    return array.array("f", decoded)[channel::2]


def packet_values(clip, stream, value):
    """A value of each packet of one of the clip's streams, as ffprobe prints it."""
    said = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", stream, "-show_entries", f"packet={value}"]
        + ["-of", "csv=p=0", clip],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    return [line.strip(",") for line in said.split()]


def packet_lengths(clip, track):
    """How many samples each packet of one of the clip's tracks lasts."""
    return list(map(int, packet_values(clip, f"a:{track}", "duration")))


def picture_lengths(clip):
    """How many seconds each picture of the clip stands."""
    return list(map(float, packet_values(clip, "v:0", "duration_time")))


def level(part, hertz):
    """The amplitude of a tone in these samples."""
    step = 2 * math.pi * hertz / RATE
    factor = 2 * math.cos(step)
    before = last = 0.0
    for sample in part:
        before, last = last, sample + factor * last - before
    power = before * before + last * last - factor * before * last
    return 2 * math.sqrt(max(power, 0.0)) / len(part)
