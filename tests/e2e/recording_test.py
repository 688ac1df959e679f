#!/usr/bin/python3
"""Records the demo game through the built service and the open capture library, as scripts/run
does it, and checks the clip frame by frame.

    recording_test.py BIN_FOLDER [UNITTEST_ARGUMENT ...]
"""

import contextlib
import io
import json
import os
import statistics
import subprocess
import sys
import tempfile
import unittest
import uuid

import check_messages
from flash_and_beep import beeps, flashes, match
from frame_code import FrameCodeReader

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
SCHEMA = os.path.join(ROOT, "docs", "host-messages.schema.json")
SECONDS = 5
FRAME_RATE = 30
# The game draws as many frames a second as are captured, but not in step with them.
LONGEST_GAP = 3
ATTEMPTS = 3
RUN_LIMIT_S = 120
GAME_SIZE = (1280, 720)
MEDIAN_OFFSET_S = 0.040
WORST_OFFSET_S = 0.080
SCREEN_SIZE = (1600, 900)
MARK_VARIABLE = "RECORDING_TEST_MARK"

bin_folder = None


def run(command, **options):
    return subprocess.run(
        command, check=True, stdout=subprocess.PIPE, timeout=RUN_LIMIT_S, **options
    ).stdout


def probe(clip):
    """What ffprobe says about the clip and its packets."""
    return json.loads(
        run(
            ["ffprobe", "-v", "error", "-show_streams", "-show_format", "-show_packets"]
            + ["-of", "json", clip]
        )
    )


def frame_numbers(clip, width, height):
    """The frame number in each picture of the clip, None where there is none."""
    pictures = run(
        ["ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-vsync", "passthrough"]
        + ["-pix_fmt", "gray", "-f", "rawvideo", "-"]
    )
    reader = FrameCodeReader(width, height)
    size = width * height
    return [reader.read(pictures[start : start + size]) for start in range(0, len(pictures), size)]


def processes_marked(mark):
    """The command lines of the living processes that have inherited `mark` in the environment."""
    found = []
    for entry in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{entry}/environ", "rb") as file:
                if f"{MARK_VARIABLE}={mark}".encode() not in file.read().split(b"\0"):
                    continue
            with open(f"/proc/{entry}/cmdline", "rb") as file:
                found.append(file.read().decode(errors="replace").replace("\0", " "))
        except OSError:
            continue  # it has ended meanwhile
    return found


class RecordingTest(unittest.TestCase):
    def record(self, mode):
        """Runs a recording; returns the path of the clip and the service's answer about it."""
        mark = uuid.uuid4().hex
        with tempfile.TemporaryDirectory() as folder:
            journal = os.path.join(folder, "journal")
            recording = subprocess.run(
                [os.path.join(ROOT, "scripts", "run"), "--bin", bin_folder, "--mode", mode]
                + ["--seconds", str(SECONDS), "--fps", str(FRAME_RATE)]
                + ["--out", self.folder, "--journal", journal],
                env={**os.environ, MARK_VARIABLE: mark},
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                timeout=RUN_LIMIT_S,
            )
            self.assertEqual(recording.returncode, 0, recording.stdout)
            self.assertEqual(processes_marked(mark), [], "left running")
            with contextlib.redirect_stdout(io.StringIO()) as faults:
                fitting = check_messages.main(SCHEMA, journal) == 0
            self.assertTrue(fitting, faults.getvalue())
            with open(journal, encoding="utf-8") as file:
                messages = [json.loads(line) for line in file]
        answers = [
            json.loads(message["text"])["clip"]
            for message in messages
            if message["direction"] == "out" and "clip" in json.loads(message["text"])
        ]
        self.assertEqual(len(answers), 1, recording.stdout)
        return recording.stdout.splitlines()[-1], answers[0]

    def check_recording(self, mode, width, height):
        # Where other work starves the game or the capture, frames are missing or sound is late
        # although nothing is wrong, so such a recording gets further chances. Everything else must
        # always hold.
        for _ in range(ATTEMPTS):
            with tempfile.TemporaryDirectory() as self.folder:
                clip, answer = self.record(mode)
                self.assertEqual(os.listdir(self.folder), [os.path.basename(clip)])
                self.assertTrue(answer["succeeded"])
                description = probe(clip)
                self.check_streams(description, answer, width, height)
                places = self.check_picture_times(description)
                steps = self.check_frame_numbers(frame_numbers(clip, width, height), places)
                faults = self.sound_faults(clip, mode)
            if max(steps) > LONGEST_GAP:
                faults.append(f"frames are missing, by steps of {steps}")
            if not faults:
                return
        self.fail(f"{ATTEMPTS} recordings were faulty, the last one so: {faults}")

    def check_streams(self, clip, answer, width, height):
        video, audio = clip["streams"]
        self.assertEqual(video["codec_name"], "h264")
        self.assertEqual((video["width"], video["height"]), (width, height))
        self.assertEqual(video["r_frame_rate"], f"{FRAME_RATE}/1")
        self.assertEqual(audio["codec_name"], "aac")
        self.assertEqual(audio["sample_rate"], "48000")

        duration_ms = float(clip["format"]["duration"]) * 1000
        frame_ms = 1000 / FRAME_RATE
        self.assertAlmostEqual(duration_ms, answer["duration"], delta=2 * frame_ms)
        # The buffer holds at least what was asked for, from the key frame before, one a second.
        self.assertGreaterEqual(answer["duration"], SECONDS * 1000)
        self.assertLessEqual(answer["duration"], (SECONDS + 1) * 1000 + 2 * frame_ms)

    def sound_faults(self, clip, mode):
        """What is wrong with the clip's sound."""
        # A beep that is cut off by the clip's beginning or end says nothing.
        heard = beeps(clip)[1:-1]
        starts = [beep.start for beep in heard]
        faults = []
        if len(heard) < SECONDS - 2:
            faults.append(f"beeps at {starts} only")
        faults += [f"{beep} falters" for beep in heard if not beep.is_whole()]
        for before, after in zip(starts, starts[1:]):
            if abs(after - before - 1) > 0.02:
                faults.append(f"a beep at {before} and the next one at {after}")
        if mode == "monitor":  # where the window has no known place
            return faults
        matches = match(starts, flashes(clip, *GAME_SIZE))
        offsets = [offset for _, offset in matches.pairs]
        print(f"Flashes come after their beeps by {offsets} s.", file=sys.stderr)
        if matches.without_flash:
            faults.append(f"no flashes at {matches.without_flash}")
        sizes = sorted(map(abs, offsets)) or [9]
        if statistics.median(sizes) > MEDIAN_OFFSET_S or sizes[-1] > WORST_OFFSET_S:
            faults.append(f"flashes come after their beeps by {offsets} s")
        return faults

    def check_picture_times(self, clip):
        """Returns the place of each picture on the grid of the frame rate."""
        times = [float(p["pts_time"]) for p in clip["packets"] if p["codec_type"] == "video"]
        places = [round(time * FRAME_RATE) for time in times]
        for time, place in zip(times, places):
            self.assertAlmostEqual(time, place / FRAME_RATE, delta=0.001)
        self.assertEqual(places, sorted(set(places)), "two pictures at one time")
        return places

    def check_frame_numbers(self, numbers, places):
        """Returns by how much each frame's number is larger than the one before."""
        self.assertEqual(len(numbers), len(places))
        self.assertNotIn(None, numbers, "a picture without a frame number")
        steps = [after - before for before, after in zip(numbers, numbers[1:])]
        self.assertGreaterEqual(min(steps), 0, f"frames out of order: {numbers}")
        # The game and the clip run at the same rate, also when single frames come late.
        length = places[-1] - places[0]
        self.assertAlmostEqual(sum(steps), length, delta=length / 4, msg=f"{numbers}")
        return steps

    def test_window(self):
        self.check_recording("window", *GAME_SIZE)

    def test_game(self):
        self.check_recording("game", *GAME_SIZE)

    def test_monitor(self):
        self.check_recording("monitor", *SCREEN_SIZE)


if __name__ == "__main__":
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    bin_folder = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
