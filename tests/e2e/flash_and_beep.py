"""The beeps and flashes of the demo game in a clip: both once a second, for BEEP_S, at the same time."""

import array
import json
import math
import subprocess
import typing

BEEP_HERTZ = 1000
BEEP_S = 0.1
INTERVAL_S = 1
SOUND_RATE = 48000
# Of the 0.5 that is played.
LOUD = 0.1
# What is silent for no longer is within a beep.
JOINED = SOUND_RATE // 20
# Shorter than that, so that the two ends of a block are never two beeps.
BLOCK = SOUND_RATE // 100
LENGTH_TOLERANCE_S = 0.02
PURE = 0.9


class Beep(typing.NamedTuple):
    """When it begins in the clip and how long it is, in seconds, and the share of its power that is at
    its frequency."""

    start: float
    length: float
    share: float

    def is_whole(self):
        return abs(self.length - BEEP_S) <= LENGTH_TOLERANCE_S and self.share >= PURE


class Matches(typing.NamedTuple):
    """`pairs` are the moments of beeps and by how much later their flashes come, in seconds; the others
    are moments at which one of the two, or both, are missing."""

    pairs: list
    without_flash: list
    without_beep: list
    without_both: list


def beeps(clip):
    sound = array.array("f", output_of(
        ["ffmpeg", "-v", "error", "-i", clip, "-map", "0:a:0", "-ac", "1", "-ar", str(SOUND_RATE)]
        + ["-f", "f32le", "-"]))
    return [Beep(begin / SOUND_RATE, (end - begin) / SOUND_RATE, purity(sound[begin:end]))
            for begin, end in loud_parts(sound)]


def loud_parts(sound):
    """The first and the last sample of each beep."""
    parts = []
    for begin in range(0, len(sound), BLOCK):
        block = sound[begin : begin + BLOCK]
        if max(block) <= LOUD and min(block) >= -LOUD:
            continue
        loud = [begin + at for at, sample in enumerate(block) if abs(sample) > LOUD]
        if parts and loud[0] - parts[-1][1] <= JOINED:
            parts[-1] = (parts[-1][0], loud[-1])
        else:
            parts.append((loud[0], loud[-1]))
    return parts


def purity(part):
    """The share of the power of these samples that is at the beep's frequency."""
    angle = 2 * math.pi * BEEP_HERTZ / SOUND_RATE
    in_phase = sum(sample * math.cos(angle * at) for at, sample in enumerate(part))
    across = sum(sample * math.sin(angle * at) for at, sample in enumerate(part))
    power = sum(sample * sample for sample in part)
    return 2 * (in_phase**2 + across**2) / len(part) / power if power else 0


def flashes(clip, corner_x, corner_y):
    """When the square of 64x64 pixels, whose lower right corner is there, turns white."""
    # The middle of it, as one pixel.
    area = f"crop=32:32:{corner_x - 48}:{corner_y - 48},scale=1:1"
    pixels = output_of(
        ["ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-vf", area, "-vsync", "passthrough"]
        + ["-pix_fmt", "gray", "-f", "rawvideo", "-"])
    packets = json.loads(output_of(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time"]
        + ["-of", "json", clip]))["packets"]
    times = [float(packet["pts_time"]) for packet in packets]
    assert len(pixels) == len(times), f"{len(pixels)} pictures and {len(times)} packets"
    return [time for before, pixel, time in zip(pixels, pixels[1:], times[1:])
            if before < 128 <= pixel]


def match(starts, flash_times):
    """Which beep belongs to which flash: those that are nearest to each other, by less than half of the
    time between two beeps. What has no partner is missing one; no other takes its place."""
    left = list(flash_times)
    pairs, without_flash = [], []
    for start in starts:
        nearest = min(left, key=lambda flash: abs(flash - start), default=None)
        if nearest is None or abs(nearest - start) >= INTERVAL_S / 2:
            without_flash.append(start)
            continue
        left.remove(nearest)
        pairs.append((start, nearest - start))
    moments = sorted([*starts, *left])
    without_both = [before + number * INTERVAL_S
                    for before, after in zip(moments, moments[1:])
                    for number in range(1, round((after - before) / INTERVAL_S))]
    return Matches(pairs, without_flash, left, without_both)


def output_of(command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, timeout=600).stdout
