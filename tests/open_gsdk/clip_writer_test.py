#!/usr/bin/python3
"""Checks clips of known content box by box, and what FFmpeg makes of them.

    clip_writer_test.py CLIP_WRITER_COMMAND ...
"""

import array
import datetime
import json
import math
import os
import struct
import subprocess
import sys
import tempfile
import unittest

FRAME_RATE = 30
SAMPLE_RATE = 48000
SECOND = 1_000_000_000

command = None


def boxes(content):
    """The type and the content of each box."""
    start = 0
    while start < len(content):
        size, kind = struct.unpack_from(">I4s", content, start)
        header = 8
        if size == 1:
            (size,) = struct.unpack_from(">Q", content, start + 8)
            header = 16
        assert size >= header, f"a box of {size} bytes"
        yield kind.decode(), content[start + header : start + size]
        start += size


def inner(content, *path):
    """The contents of all boxes at a path."""
    found = [content]
    for kind in path:
        found = [box for outer in found for name, box in boxes(outer) if name == kind]
    return found


def run(*arguments):
    return subprocess.run(arguments, check=True, stdout=subprocess.PIPE, timeout=60).stdout


class ClipWriterTest(unittest.TestCase):
    def write(self, kind):
        """Has a clip written; reads it, and what FFmpeg says of it."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.clip = os.path.join(folder.name, "clip.mp4")
        answer = run(*command, "Z:" + self.clip.replace("/", "\\"), kind)
        self.result = json.loads(answer.decode().splitlines()[-1])
        self.assertEqual(self.result["status"], 0)
        self.assertEqual(os.listdir(folder.name), ["clip.mp4"])
        with open(self.clip, "rb") as file:
            self.content = file.read()
        probe = run("ffprobe", "-v", "error", "-show_streams", "-show_format", "-show_packets",
                    "-of", "json", self.clip)  # fmt: skip
        self.probe = json.loads(probe)
        self.length = self.result["duration"] / SECOND

    def samples(self, track):
        """The decoded samples of the left channel."""
        pcm = run("ffmpeg", "-v", "error", "-i", self.clip, "-map", f"0:a:{track}", "-af",
                  "pan=mono|c0=c0", "-f", "f32le", "-")  # fmt: skip
        return array.array("f", pcm)

    def brightness(self):
        """The time of each picture and whether it is white."""
        grey = run("ffmpeg", "-v", "error", "-i", self.clip, "-map", "0:v", "-vsync", "passthrough",
                   "-pix_fmt", "gray", "-f", "rawvideo", "-")  # fmt: skip
        times = [float(packet["pts_time"]) for packet in self.packets(0)]
        pictures = [grey[start] > 128 for start in range(0, len(grey), 64 * 64)]
        self.assertEqual(len(times), len(pictures))
        return list(zip(times, pictures))

    def packets(self, stream):
        return [packet for packet in self.probe["packets"] if packet["stream_index"] == stream]

    def check_layout(self):
        kinds = [kind for kind, _ in boxes(self.content)]
        self.assertEqual(kinds, ["ftyp", "moov", "free", "free", "mdat"])
        handlers = [box[24:].rstrip(b"\0").decode()
                    for box in inner(self.content, "moov", "trak", "mdia", "hdlr")]  # fmt: skip
        self.assertEqual(handlers[1:], ["Beep", "Tone"])
        made = datetime.datetime.fromisoformat(
            self.probe["format"]["tags"]["creation_time"].replace("Z", "+00:00")
        )
        age = datetime.datetime.now(datetime.timezone.utc) - made
        self.assertLess(abs(age.total_seconds()), 60)
        self.assertAlmostEqual(float(self.probe["format"]["duration"]), self.length, delta=1e-4)
        for stream in self.probe["streams"]:
            self.assertAlmostEqual(float(stream["duration"]), self.length, delta=1e-4)
            self.assertAlmostEqual(float(stream["start_time"]), 0, delta=1e-4)

    def check_edit_lists(self):
        """Picture and sound last as long as the clip; the sound begins within its second packet."""
        scale = struct.unpack_from(">I", inner(self.content, "moov", "mvhd")[0], 12)[0]
        lists = inner(self.content, "moov", "trak", "edts", "elst")
        edits = [struct.unpack(">IIIiHH", edits) for edits in lists]
        self.assertEqual([edit[1] for edit in edits], [1, 1, 1])
        for _, _, duration, _, _, _ in edits:
            self.assertAlmostEqual(duration / scale, self.length, delta=1.5 / scale)
        self.assertEqual(edits[0][3], 0)
        for edit in edits[1:]:
            self.assertGreaterEqual(edit[3], 1024)
            self.assertLess(edit[3], 2048)

    def check_tone(self, missing=()):
        """The tone is there from the first sample to the last, and each at its place."""
        samples = self.samples(1)
        self.assertAlmostEqual(len(samples) / SAMPLE_RATE, self.length, delta=1024 / SAMPLE_RATE)
        worst = 0
        for number in range(0, int(self.length * SAMPLE_RATE) - 1024):
            second = number / SAMPLE_RATE
            if any(begin <= second < end for begin, end in missing):
                continue
            # Clips begin with a whole second of the recording.
            expected = 0.5 * math.sin(2 * math.pi * 440 * second)
            worst = max(worst, abs(samples[number] - expected))
        self.assertLess(worst, 0.03)

    def check_beeps(self, white):
        beeps = self.samples(0)
        onsets = []
        for second in range(int(self.length)):
            begin = max(second * SAMPLE_RATE - 4800, 0)
            heard = [number for number in range(begin, begin + 14400) if abs(beeps[number]) > 0.1]
            onsets.append(heard[0] / SAMPLE_RATE)
        flashes = [time for index, (time, is_white) in enumerate(white)
                   if is_white and (index == 0 or not white[index - 1][1])]  # fmt: skip
        self.assertEqual(len(flashes[: len(onsets)]), len(onsets))
        for onset, flash in zip(onsets, flashes):
            self.assertAlmostEqual(onset, flash, delta=0.003)

    def check_sound_packets(self):
        """No packet is stretched: all last 1024 samples but for the last, which the clip cuts."""
        for stream in (1, 2):
            lengths = {packet["duration"] for packet in self.packets(stream)[:-1]}
            self.assertEqual(lengths, {1024})

    def test_steady(self):
        self.write("steady")
        self.check_layout()
        self.check_edit_lists()
        self.check_sound_packets()
        self.check_tone()
        self.check_beeps(self.brightness())
        video = self.probe["streams"][0]
        self.assertEqual(video["r_frame_rate"], "30/1")
        self.assertEqual(video["avg_frame_rate"], "30/1")
        self.assertEqual({packet["duration_time"] for packet in self.packets(0)}, {"0.033333"})
        # Three seconds and the rest of a key frame's, without the tenth that has no sound yet.
        self.assertGreaterEqual(self.length, 3)
        self.assertLess(self.length, 4)
        self.assertEqual(self.result["audio_drop"], 0)
        self.assertEqual((self.result["last_timestamp"] - self.result["start"]) // SECOND, 5)

    def test_late_pictures_make_those_before_last_longer(self):
        self.write("late")
        self.check_layout()
        self.check_edit_lists()
        self.check_tone()
        times = [float(packet["pts_time"]) for packet in self.packets(0)]
        steps = {round((after - before) * FRAME_RATE, 2) for before, after in zip(times, times[1:])}
        self.assertEqual(steps, {1, 3})
        self.assertEqual(self.probe["streams"][0]["r_frame_rate"], "30/1")

    def test_still_source(self):
        self.write("still")
        self.check_layout()
        self.check_edit_lists()
        self.check_tone()
        pictures = self.packets(0)
        self.assertEqual([round(float(packet["pts_time"]), 3) for packet in pictures], [0, 1, 2, 3])
        # The last one stands until the sound ends.
        self.assertAlmostEqual(self.length, 3.3, delta=0.1)

    def test_gap_in_the_sound_is_silent_and_everything_after_it_in_its_place(self):
        self.write("gap")
        self.check_layout()
        self.check_edit_lists()
        self.check_sound_packets()
        self.assertAlmostEqual(self.result["audio_drop"] / SECOND, 0.5, delta=0.022)
        samples = self.samples(1)
        # The recording's third second, in a clip that begins with its second or third.
        begin = self.recording_second() - 1 / 30
        middle = samples[int((begin + 0.1) * SAMPLE_RATE) : int((begin + 0.4) * SAMPLE_RATE)]
        self.assertLess(max(map(abs, middle)), 0.001)
        self.check_tone(missing=[(begin - 0.05, begin + 0.6)])

    def recording_second(self):
        """Where in the clip the recording's third second is."""
        last = float(self.packets(0)[-1]["pts_time"])
        shown = (self.result["last_timestamp"] - self.result["start"]) / SECOND
        return round(3 - (shown - last))


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    command = sys.argv[1:]
    unittest.main(argv=sys.argv[:1], verbosity=2)
