#!/usr/bin/env python3
"""The Windows build under Wine: the Windows host driving the real .aex, against the Linux build.
(The .aex as a file, its exports, imports and property list, is checked in its package:
tools/package/package.py, run by ./dev.sh package.)

Skips (exit 77) when no Windows build tree or no wine64 is available.
"""
import argparse
import os
import pathlib
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest

ARGS = None


def run(command, args, check, env=None):
    r = subprocess.run([*command, *args], capture_output=True, text=True, env=env, timeout=300)
    if check and r.returncode != 0:
        raise AssertionError(f"{' '.join([*command, *args])} exited {r.returncode}\n{r.stdout}\n{r.stderr}")
    return r


def wine(*args, check=True):
    env = dict(os.environ, WINEPREFIX=ARGS.prefix, WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree,mshtml=")
    env.pop("DISPLAY", None)
    return run([ARGS.wine, str(ARGS.win64_dir / "orbulon-render.exe")], args, check, env)


def linux(*args, check=True):
    return run([str(ARGS.linux_dir / "orbulon-render")], args, check)


def read_pam(path):
    data = pathlib.Path(path).read_bytes()
    header_end = data.index(b"ENDHDR\n") + len(b"ENDHDR\n")
    fields = dict(line.split(" ", 1) for line in data[:header_end].decode().splitlines()[1:-1])
    w, h, depth, maxval = (int(fields[k]) for k in ("WIDTH", "HEIGHT", "DEPTH", "MAXVAL"))
    body = data[header_end:]
    if maxval > 255:
        values = struct.unpack(f">{w * h * depth}H", body[:2 * w * h * depth])
    else:
        values = body[:w * h * depth]
    return w, h, depth, maxval, values


class WindowsHost(unittest.TestCase):
    """The cross-built host loads the real .aex and behaves as the Linux build does."""

    def test_registers_the_same_parameters_as_the_linux_build(self):
        def table(out):
            return out[out.index("Property list:"):]
        win, lin = wine("--describe").stdout, linux("--describe").stdout
        self.assertIn("QUORVANTIS_Orbulon", win)
        for name in ("Texture", "Slide Texture", "Reflection Rolloff", "Fog Color", "dammy"):
            self.assertIn(name, win)
        self.assertEqual(table(win).replace("\r\n", "\n"), table(lin))

    def test_every_command_number_is_answered_and_balanced(self):
        r = wine("--command-sweep")
        answered = [line for line in r.stdout.splitlines() if line.startswith("command ")]
        self.assertEqual(len(answered), 41 - 5, r.stdout)
        self.assertNotIn("unbalanced", r.stderr)

    def test_injected_failures_reach_the_result(self):
        cases = [(("--fail-suite", "AEGP Utility Suite"), "GLOBAL_SETUP failed: bad callback parameter (516)"),
                 (("--fail", "add_param:7"), "PARAMS_SETUP failed: out of memory (4)"),
                 (("--fail", "handle:1"), "GLOBAL_SETUP failed: out of memory (4)")]
        for args, message in cases:
            with self.subTest(args=args):
                r = wine(*args, "--describe", check=False)
                self.assertEqual(r.returncode, 1, r.stderr)
                self.assertIn(message, r.stderr)
                self.assertNotIn("unbalanced", r.stderr)

    def test_about_text(self):
        out = wine("--about").stdout
        self.assertIn("Orbulon, v1.1.5", out)
        self.assertIn("Custom lens blur plugin for After Effects.", out)

    def test_same_pixels_as_the_linux_build(self):
        # The kernels take their arc and power functions from the double ones of each C
        # runtime, rounded to float (render/kernel_math.h), so the two builds agree to the bit.
        # Float renders come back through 16-bit PAM files, the only format the Windows host
        # writes.
        here = pathlib.Path(__file__).parent / "scenes"
        scenes = ARGS.source_dir / "scenes"
        cases = [(scenes / "wine_check.json", ("8", "16", "32"), ()),
                 # A composition with a null, lights and parents, served through the AEGP suites;
                 # the first frame of its range.
                 (scenes / "ellipsoid_control.json", ("8",), ("--frame", "0")),
                 # Texture, every light type, self shadow, transmission, reflection and fog.
                 (here / "lit_reflective.json", ("8", "16", "32"), ()),
                 # The buffered and gather passes.
                 (here / "depth_of_field.json", ("8", "16", "32"), ())]
        with tempfile.TemporaryDirectory() as tmp:
            for scene, depths, frame in cases:
                for depth in depths:
                    with self.subTest(scene=scene.name, depth=depth):
                        win_out, lin_out = f"{tmp}/win{depth}.pam", f"{tmp}/lin{depth}.pam"
                        r = wine(str(scene), "-o", win_out, "--bit-depth", depth, *frame)
                        self.assertNotIn("unbalanced", r.stderr)
                        linux(str(scene), "-o", lin_out, "--bit-depth", depth, *frame)
                        w1, h1, d1, m1, a = read_pam(win_out)
                        w2, h2, d2, m2, b = read_pam(lin_out)
                        self.assertEqual((w1, h1, d1, m1), (w2, h2, d2, m2))
                        self.assertTrue(any(a), "the render is empty")
                        differing = sum(1 for x, y in zip(a, b) if x != y)
                        self.assertEqual(differing, 0, f"{differing} samples differ")

    def test_a_hundred_frames_in_one_process(self):
        # The long-run scene's first 100 frames: every account balanced after every frame (the
        # host prints nothing then), and the last frame the Linux build's to the bit.
        scene = str(ARGS.source_dir / "scenes" / "long_run.json")
        with tempfile.TemporaryDirectory() as tmp:
            r = wine(scene, "--frames", "0-99", "--downsample", "4", "-o", f"{tmp}/w_####.pam", "--stats",
                     "--progress", "off")
            # Wine's own notes about its prefix may come first; every line of the host's starts
            # with its name.
            self.assertNotIn("orbulon-render:", r.stderr)
            self.assertIn("frames: 100,", r.stdout)
            linux(scene, "--frame", "99", "--downsample", "4", "-o", f"{tmp}/l.pam")
            self.assertEqual(read_pam(f"{tmp}/w_0099.pam"), read_pam(f"{tmp}/l.pam"))

    def test_same_composition_as_the_linux_build(self):
        scene = str(ARGS.source_dir / "scenes" / "ellipsoid_control.json")
        with tempfile.TemporaryDirectory() as tmp:
            win = wine(scene, "-o", f"{tmp}/w.pam", "--frame", "0", "--ui-state").stdout.replace("\r\n", "\n")
            lin = linux(scene, "-o", f"{tmp}/l.pam", "--frame", "0", "--ui-state").stdout
        self.assertIn('"Control"', win)
        self.assertEqual(win, lin)


def main():
    global ARGS
    p = argparse.ArgumentParser()
    p.add_argument("--linux-dir", type=pathlib.Path, required=True)
    p.add_argument("--source-dir", type=pathlib.Path, required=True)
    ARGS, rest = p.parse_known_args()
    win = os.environ.get("ORBULON_WIN64_DIR") or str(ARGS.source_dir / "build" / "win64")
    ARGS.win64_dir = pathlib.Path(win)
    ARGS.wine = shutil.which("wine64") or shutil.which("wine")
    if not (ARGS.win64_dir / "Orbulon.aex").exists() or not ARGS.wine:
        print(f"skipped: no Windows build in {ARGS.win64_dir} or no wine64")
        return 77
    with tempfile.TemporaryDirectory(prefix="orbulon-wine-") as prefix:
        ARGS.prefix = prefix
        result = unittest.main(argv=[sys.argv[0], "-v", *rest], exit=False).result
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
