#!/usr/bin/python3
"""Records a compositor of the test's own and looks at the clip's pictures.

    compositor_clip_test.py COMMAND [ARG ...]   the command that runs compositor_clip
"""

import os
import subprocess
import sys
import tempfile
import unittest

SIZE = (320, 180)
LIMIT_S = 90
command = None


class CompositorClip(unittest.TestCase):
    def test_pictures_of_the_compositor_reach_the_clip(self):
        with tempfile.TemporaryDirectory() as folder:
            clip = os.path.join(folder, "clip.mp4")
            said = subprocess.run(
                command + ["Z:" + clip.replace("/", "\\")],
                check=True, capture_output=True, text=True, timeout=LIMIT_S).stdout
            # The dump succeeded, and the clip was captured from HDR.
            self.assertEqual(said.split()[-2:], ["0", "1"])
            pixels = subprocess.run(
                ["ffmpeg", "-v", "error", "-i", clip, "-map", "0:v", "-vsync", "passthrough"]
                + ["-pix_fmt", "rgb24", "-f", "rawvideo", "-"],
                check=True, capture_output=True, timeout=LIMIT_S).stdout
        colours = [self.colour_of(pixels, start)
                   for start in range(0, len(pixels), SIZE[0] * SIZE[1] * 3)]
        seen = [colour for index, colour in enumerate(colours)
                if index == 0 or colour != colours[index - 1]]
        # Before the first picture there is nothing.
        if seen[0] == "black":
            seen = seen[1:]
        self.assertEqual(seen, ["red", "green", "blue"])

    def colour_of(self, pixels, start):
        """The one colour of the picture that begins at `start`."""
        middle = start + (SIZE[1] // 2 * SIZE[0] + SIZE[0] // 2) * 3
        near = {
            (255, 0, 0): "red", (0, 255, 0): "green", (0, 0, 255): "blue", (0, 0, 0): "black"}
        for wanted, name in near.items():
            if all(abs(a - b) <= 12 for a, b in zip(pixels[middle : middle + 3], wanted)):
                return name
        self.fail(f"a picture is {tuple(pixels[middle:middle + 3])}")


if __name__ == "__main__":
    command = sys.argv[1:]
    unittest.main(argv=sys.argv[:1])
