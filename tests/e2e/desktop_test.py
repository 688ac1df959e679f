"""Checks scripts/with_desktop: what its prefix, display and sound server offer, and that nothing of
them stays behind."""

import contextlib
import glob
import os
import re
import subprocess
import unittest

ROOT = os.path.realpath(os.path.join(os.path.dirname(__file__), "../.."))
WITH_DESKTOP = os.path.join(ROOT, "scripts/with_desktop")


def run(*arguments, **options):
    return subprocess.run([WITH_DESKTOP, *arguments], capture_output=True, text=True, **options)


def outputs(*names):
    """The options for sound outputs, and the end of the options."""
    return [word for name in names for word in ("--sound", name)] + ["--"]


def start(name, *command):
    return subprocess.Popen([WITH_DESKTOP, *outputs(name), *command], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, text=True)


def processes():
    """The name and the parent of every process that runs, by its id."""
    found = {}
    for stat in glob.glob("/proc/[0-9]*/stat"):
        with contextlib.suppress(OSError), open(stat) as file:
            number, rest = file.read().split(" (", 1)
            name, fields = rest.rsplit(") ", 1)
            state, parent = fields.split()[:2]
            if state != "Z":
                found[int(number)] = (name, int(parent))
    return found


class Sound(unittest.TestCase):
    def server_of(self, launcher):
        """The folder and the process of a server; its command tells the socket first."""
        folder = os.path.dirname(launcher.stdout.readline().strip().removeprefix("unix:"))
        self.assertTrue(os.path.isdir(folder))
        servers = [number for number, process in processes().items()
                   if process == ("pulseaudio", launcher.pid)]
        self.assertEqual(len(servers), 1)
        return folder, servers[0]

    def assert_gone(self, server):
        folder, number = server
        self.assertFalse(os.path.exists(folder))
        self.assertNotIn(number, processes())

    def test_plays_to_the_first_output_and_hears_the_last_one(self):
        result = run(*outputs("speakers", "chat", "microphone"), "sh", "-c",
                     "pactl list short sinks; pactl get-default-sink; pactl get-default-source")
        self.assertEqual(result.returncode, 0, result.stderr)
        lines = result.stdout.splitlines()
        sinks = [line.split("\t")[1:4:2] for line in lines[:-2]]
        self.assertEqual(sinks, [[name, "float32le 2ch 48000Hz"]
                                 for name in ("speakers", "chat", "microphone")])
        self.assertEqual(lines[-2:], ["speakers", "microphone.monitor"])

    def test_records_what_is_played(self):
        # Five seconds are played, and half of one is recorded meanwhile.
        script = ("pacat --latency-msec=20 --rate=48000 --format=s16le --channels=2 <&3 & "
                  "parec --latency-msec=20 --rate=48000 --format=s16le --channels=2 |"
                  " head -c 96000; kill $!")
        sample = b"\x34\x12\xcd\xab"
        result = subprocess.run([WITH_DESKTOP, *outputs("speakers"), "bash", "-c", "exec 3<&0; " + script],
                                input=sample * 48000 * 5, capture_output=True)
        self.assertTrue(sample * 4800 in result.stdout, result.stderr)

    def test_passes_input_output_and_status_of_the_command_on(self):
        result = run(*outputs("speakers"), "sh", "-c", "cat; exit 7", input="through")
        self.assertEqual((result.stdout, result.returncode), ("through", 7))

    def test_ends_with_a_command_that_fails(self):
        with start("speakers", "sh", "-c",
                   'echo "$PULSE_SERVER"; read -r line; exit 1') as launcher:
            server = self.server_of(launcher)
            launcher.communicate("\n")
        self.assertEqual(launcher.returncode, 1)
        self.assert_gone(server)

    def test_ends_with_its_command_when_it_is_terminated(self):
        with start("speakers", "sh", "-c",
                   'echo "$PULSE_SERVER"; echo "$$"; exec sleep 60') as launcher:
            server = self.server_of(launcher)
            command = int(launcher.stdout.readline())
            self.assertIn(command, processes())
            launcher.terminate()
            self.assertEqual(launcher.wait(timeout=20), 143)
        self.assert_gone(server)
        self.assertNotIn(command, processes())

    def test_runs_several_at_a_time(self):
        with contextlib.ExitStack() as stack:
            launchers = [stack.enter_context(start(f"output{number}", "sh", "-c",
                                                   "pactl get-default-sink; read -r line"))
                         for number in range(3)]
            # All of them run when the last one has answered.
            self.assertEqual([launcher.stdout.readline() for launcher in launchers],
                             [f"output{number}\n" for number in range(3)])
            for launcher in launchers:
                launcher.communicate("\n")

    def test_refuses_a_name_that_the_server_would_misread(self):
        result = run(*outputs("a=b"), "true")
        self.assertEqual((result.returncode, result.stderr),
                         (125, 'sound server: outputs have names of letters, digits, "_" and "-",'
                               ' not "a=b"\n'))

    def test_needs_a_command_and_known_options(self):
        for arguments in ([], ["--"], ["--two-monitors"], ["--sound"], ["true"],
                          ["--quiet", "--", "true"]):
            self.assertEqual(run(*arguments).returncode, 2, arguments)


class Display(unittest.TestCase):
    def monitors(self, *options):
        result = run(*options, "--", "xrandr", "--current")
        self.assertEqual(result.returncode, 0, result.stderr)
        return re.findall(r" connected (?:primary )?(\S+)", result.stdout)

    def test_has_one_monitor_of_the_given_size(self):
        self.assertEqual(self.monitors("--display", "640x480"), ["640x480+0+0"])

    def test_has_two_monitors_side_by_side(self):
        self.assertEqual(self.monitors("--two-monitors"), ["1024x768+0+0", "800x600+1024+0"])

    def test_says_why_there_is_none(self):
        result = run("--display", "nowhere", "--", "true")
        self.assertEqual(result.returncode, 125)
        self.assertRegex(result.stderr, "with_desktop: the virtual display did not start: .")


class Prefix(unittest.TestCase):
    def test_is_a_copy_that_may_be_changed_and_goes(self):
        script = ('scripts/wine reg add "HKCU\\Own" /f >/dev/null && '
                  'scripts/wine reg query "HKCU\\Own" && echo "$WINEPREFIX"')
        result = run("--", "sh", "-c", script, cwd=ROOT)
        self.assertEqual(result.returncode, 0, result.stderr)
        prefix = result.stdout.splitlines()[-1]
        self.assertTrue(prefix.startswith(os.path.join(ROOT, "build/desktop.")), result.stdout)
        self.assertFalse(os.path.exists(os.path.dirname(prefix)))
        with open(os.path.join(ROOT, ".deps/prefix/user.reg"), "rb") as file:
            self.assertNotIn(b"[Own]", file.read())


if __name__ == "__main__":
    unittest.main()
