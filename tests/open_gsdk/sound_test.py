#!/usr/bin/python3
"""Records tones from the devices of a sound server of its own with the open capture library, and looks
for them in the clips.

    scripts/with_desktop --two-monitors --sound speakers --sound chat --sound microphone --
        sound_test.py WINE SOUND_PROBE [UNITTEST_ARGUMENT ...]

WINE starts Windows programs. Needs a display, and a Wine prefix in which it may change the registry.
"""

import contextlib
import itertools
import os
import sys
import tempfile
import time
import unittest

from sound_lab import (
    Probe, RATE, display_server, halted, level, packet_lengths, pactl, picture_lengths, samples, tone)

GAME_HZ, CHAT_HZ, VOICE_HZ = 440, 1000, 2500
TONES = (GAME_HZ, CHAT_HZ, VOICE_HZ)
# Short enough that a tone is not missed when its pitch is being corrected, and whole periods of all.
WINDOW_S = 0.02
HEARD = 0.3  # of the 0.5 that is played
UNHEARD = 0.02
PACKET = 1024  # samples
# How soon the system's new default device is heard.
FOLLOWED_S = 1

wine = probe_program = None


def heard(track):
    """For each stretch of a track the tone that is heard in it, and None where there is none."""
    size = int(RATE * WINDOW_S)
    found = []
    for at in range(0, len(track) - size + 1, size):
        part = track[at : at + size]
        # Whatever is loud is one of the tones; most stretches need no closer look.
        loud = [hertz for hertz in TONES if max(part) > UNHEARD and level(part, hertz) > HEARD]
        found.append(loud[0] if len(loud) == 1 else None)
    return found


def stretches(track):
    """What is heard one after the other, with its length in seconds. What passes at once is left
    out: on a busy machine the tone itself may falter."""
    runs = [(what, len(list(windows)) * WINDOW_S)
            for what, windows in itertools.groupby(heard(track))]
    lasting = [(what, length) for what, length in runs if length > 3 * WINDOW_S]
    return [(what, sum(length for _, length in same))
            for what, same in itertools.groupby(lasting, lambda run: run[0])]


class SoundLab(unittest.TestCase):
    """What the tests have in common: a probe with its devices."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())
        self.start_probe()

    def start_probe(self):
        self.probe = Probe(wine, probe_program)
        self.addCleanup(self.probe.close)
        self.outputs = self.probe.devices("audio_output")
        self.inputs = self.probe.devices("audio_input")

    def play(self, sink, hertz):
        self.enterContext(tone(sink, hertz))

    def record(self, *bindings):
        """Starts a track for each pair of kind and device, and waits until the devices are open."""
        words = " ".join(f"{kind} {device}" for kind, device in bindings)
        self.assertEqual(self.probe.ask(f"record {words}"), "started")
        for number, (_, device) in enumerate(bindings, 1):
            if device != "-":
                self.probe.wait_for_log(f'track "Track {number}" records')

    def bind(self, track, device):
        self.assertEqual(self.probe.ask(f"bind {track} {device}"), "bound")

    def finish(self, tracks):
        """Ends the recording. Returns the sound of each track, the clip's length, what is lost in it,
        and the figures of the tracks, of which each has joined packets only, of equal length."""
        clip = os.path.join(self.folder, "clip.mp4")
        length, lost, _, self.begin = self.probe.dump(clip)
        figures = self.probe.stop()
        self.assertEqual([track["unjoined"] for track in figures], [0] * tracks, self.probe.log)
        for number in range(tracks):
            *lengths, last = packet_lengths(clip, number)
            self.assertEqual(set(lengths), {PACKET})
            self.assertLessEqual(last, PACKET)
        self.pictures = picture_lengths(clip)
        sound = [samples(clip, number) for number in range(tracks)]
        for track in sound:
            # What is not encoded yet when the clip is cut is missing at the end.
            self.assertLessEqual(len(track) / RATE, length + 0.05)
            self.assertGreaterEqual(len(track) / RATE, length - 0.5)
        return sound, length, lost, figures

    def expect_whole(self, track, hertz):
        """The tone is heard from when the device was open until the end, without a break."""
        found = stretches(track)
        self.assertEqual([what for what, _ in found if what is not None], [hertz], found)
        self.assertEqual(found[-1][0], hertz, found)


class SoundTest(SoundLab):
    def test_three_devices_are_heard_in_their_tracks_and_nowhere_else(self):
        for sink, hertz in zip(("speakers", "chat", "microphone"), TONES):
            self.play(sink, hertz)
        self.record(
            ("audio_output", self.outputs["speakers"]),
            ("audio_output", self.outputs["chat"]),
            ("audio_input", self.inputs["Monitor of microphone"]),
        )
        time.sleep(4)
        sound, _, lost, figures = self.finish(3)
        for track, own in zip(sound, TONES):
            last = track[-2 * RATE :]
            for at in range(0, len(last) - RATE // 50, RATE // 10):
                part = last[at : at + RATE // 50]
                for hertz in TONES:
                    if hertz == own:
                        self.assertAlmostEqual(level(part, hertz), 0.5, delta=0.03)
            # Over a long stretch tones do not leak into each other.
            for hertz in set(TONES) - {own}:
                self.assertLess(level(last, hertz), 0.005)
        self.assertEqual(lost, 0)
        for track in figures:
            self.assertLess(track["late_us"], 150_000)

    def test_a_track_goes_over_to_another_device_without_a_gap(self):
        self.play("speakers", GAME_HZ)
        self.play("chat", CHAT_HZ)
        self.record(("audio_output", self.outputs["speakers"]))
        time.sleep(3)
        self.bind(0, self.outputs["chat"])
        time.sleep(2)
        self.bind(0, "Silence")
        time.sleep(1)
        (track,), _, lost, _ = self.finish(1)
        found = stretches(track)
        if found[0][0] is None:
            found = found[1:]
        self.assertEqual([what for what, _ in found], [GAME_HZ, CHAT_HZ, None])
        self.assertGreater(found[1][1], 1.5)
        self.assertEqual(lost, 0)
        # Between the two nothing is missing but what a change of the device takes.
        tones = heard(track)
        last = max(at for at, what in enumerate(tones) if what == GAME_HZ)
        self.assertLessEqual(tones.index(CHAT_HZ) - last, 4)

    def test_a_device_that_goes_is_silence_and_lost_and_is_heard_again_when_it_comes_back(self):
        self.play("speakers", GAME_HZ)
        self.record(
            ("audio_output", self.outputs["chat"]), ("audio_output", self.outputs["speakers"])
        )
        with tone("chat", CHAT_HZ):
            time.sleep(4)
        # Not while it is played on: the server would have the tone moved to another output.
        module = next(
            line.split("\t")[0]
            for line in pactl("list", "short", "modules").splitlines()
            if "sink_name=chat" in line
        )
        pactl("unload-module", module)
        self.probe.wait_for_log('track "Track 1" has lost its device')
        before = len(self.probe.log)
        time.sleep(2)
        pactl(
            *("load-module", "module-null-sink", "sink_name=chat", "sink_properties=device.description=chat"),
            *(f"rate={RATE}", "channels=2", "format=float32le"),
        )
        self.play("chat", CHAT_HZ)
        self.probe.wait_for_log('track "Track 1" records', after=before)
        time.sleep(4)
        (track, other), length, lost, _ = self.finish(2)
        found = [what for what, _ in stretches(track)]
        self.assertEqual(found[found.index(CHAT_HZ) :], [CHAT_HZ, None, CHAT_HZ])
        # It was gone for two seconds, and another one at most until it was looked for again.
        self.assertGreater(lost, 1.9)
        self.assertLess(lost, 6)
        # The other track was heard all the time.
        found = stretches(other)
        self.assertEqual([what for what, _ in found if what is not None], [GAME_HZ], found)
        self.assertGreater(found[-1][1], length - 3)

    def test_default_follows_the_systems_choice(self):
        self.play("speakers", GAME_HZ)
        self.play("microphone", VOICE_HZ)
        self.record(("audio_output", "default"))
        time.sleep(3)
        self.addCleanup(self.probe.ask, "default -")
        changed = int(self.probe.ask(f"default {self.outputs['microphone']}")) / 1e9
        self.assertGreater(changed, 0)
        time.sleep(3)
        (track,), _, lost, _ = self.finish(1)
        found = [what for what, _ in stretches(track)]
        self.assertEqual(found[found.index(GAME_HZ) :], [GAME_HZ, VOICE_HZ])
        self.assertEqual(lost, 0)
        followed = self.begin + heard(track).index(VOICE_HZ) * WINDOW_S - changed
        print(f"The new default device is heard after {followed:.3f} s.", file=sys.stderr)
        self.assertGreater(followed, 0)
        self.assertLessEqual(followed, FOLLOWED_S)

    def test_sound_is_whole_at_one_picture_a_second(self):
        self.play("speakers", GAME_HZ)
        self.assertEqual(self.probe.ask("picture 1 64 64"), "set")
        self.record(("audio_output", self.outputs["speakers"]))
        time.sleep(6)
        (track,), length, lost, _ = self.finish(1)
        self.assertGreater(length, 4)
        self.assertEqual(lost, 0)
        self.expect_whole(track, GAME_HZ)

    def test_sound_is_whole_while_nothing_can_be_seen_for_three_seconds(self):
        self.play("speakers", GAME_HZ)
        self.assertEqual(self.probe.ask("picture 20 64 64"), "set")
        self.record(("audio_output", self.outputs["speakers"]))
        time.sleep(2)
        # Longer than three seconds: for a while, pictures go on from what Wine has itself. Then one
        # a second says that the last one stands.
        with halted(display_server()):
            time.sleep(4)
        time.sleep(2)
        (track,), length, lost, _ = self.finish(1)
        self.assertGreater(length, 7)
        self.assertGreater(sum(length for length in self.pictures if length > 0.4), 2.5)
        self.assertEqual(lost, 0)
        self.expect_whole(track, GAME_HZ)

    def test_a_process_that_was_stopped_leaves_a_track_of_the_right_length(self):
        self.play("speakers", GAME_HZ)
        self.record(("audio_output", self.outputs["speakers"]), ("audio_input", "-"))
        time.sleep(4)
        with halted(self.probe.process.pid):
            time.sleep(3)
        time.sleep(3)
        (track, silent), length, lost, _ = self.finish(2)
        self.assertGreater(length, 9)
        self.assertAlmostEqual(lost, 3, delta=0.6)
        found = stretches(track)
        self.assertEqual([what for what, _ in found][-3:], [GAME_HZ, None, GAME_HZ])
        self.assertAlmostEqual(found[-2][1], 3, delta=0.6)
        self.assertEqual(max(silent), 0)

    def test_tracks_without_a_device_and_with_one_that_is_not_there_are_silent(self):
        self.record(("audio_output", "-"))
        self.bind(0, "{0.0.0.00000000}.{00000000-0000-0000-0000-000000000000}")
        self.probe.wait_for_log("cannot be opened: there is no such device")
        time.sleep(2)
        (track,), _, lost, figures = self.finish(1)
        self.assertEqual((max(track), lost), (0, 0))
        self.assertLess(figures[0]["late_us"], 150_000)

    def test_without_any_device_default_is_there_and_silent(self):
        with contextlib.ExitStack() as server:
            address = os.environ["PULSE_SERVER"]
            server.callback(os.environ.__setitem__, "PULSE_SERVER", address)
            os.environ["PULSE_SERVER"] = "unix:/nonexistent"
            self.start_probe()
        self.assertEqual(self.outputs, {"Default": "default"})
        self.assertEqual(self.inputs, {"Default": "default"})
        self.assertEqual(self.probe.ask("record audio_output default audio_input default"), "started")
        time.sleep(2)
        sound, _, lost, _ = self.finish(2)
        self.assertEqual([max(track) for track in sound], [0, 0])
        self.assertEqual(lost, 0)


class HugePictureTest(SoundLab):
    def test_sound_is_whole_beside_pictures_that_take_long_to_encode(self):
        self.play("speakers", GAME_HZ)
        self.assertEqual(self.probe.ask("picture 30 7680 4320"), "set")
        self.record(("audio_output", self.outputs["speakers"]))
        time.sleep(15)
        (track,), length, lost, _ = self.finish(1)
        self.assertGreater(length, 5)
        self.expect_whole(track, GAME_HZ)
        # The encoder has the processors; until the device's times are known a step may be left out.
        self.assertLess(lost, 0.05)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    wine, probe_program = sys.argv[1:3]
    del sys.argv[1:3]
    unittest.main(verbosity=2)
