#!/usr/bin/env python3
"""The benchmark's parts do what its figures rely on; no timing is checked.

  - the zero kernel writes every output pixel (the host leaves a pattern in an output world it
    does not clear, so an all-zero frame shows that nothing was skipped), in one pass without
    depth of field and two with it, as Orbulon does; Orbulon itself draws the same scene;
  - bench.py prints its table and writes JSON whose figures add up: the host's shares lie
    inside the parts they belong to, every configuration asked for is there, and Orbulon's rows
    carry the speed-up over the reference effect and the cost of an empty pixel.

Usage: bench_smoke_test.py BUILD_DIR
"""
import json
import os
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
failures = []


def check(condition, message):
    if not condition:
        failures.append(message)


def read_pam(path):
    """(depth, pixel bytes) of a P7 file; the header is text up to ENDHDR."""
    data = path.read_bytes()
    end = data.index(b"ENDHDR\n") + len(b"ENDHDR\n")
    header = dict(line.split(" ", 1) for line in data[:end].decode().splitlines()[1:-1])
    return int(header["DEPTH"]), data[end:]


def render(build, scene, folder, module=None):
    """Renders frame 0 of `scene` at 1/8 size; returns the frame's bytes and the stats."""
    out, stats = folder / "frame.pam", folder / "stats.json"
    command = [str(build / "orbulon-render"), str(scene), "--frame", "0", "--downsample", "8",
               "--stats-json", str(stats), "-q", "-o", str(out)]
    if module:
        command += ["--module", str(module)]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)} exited {result.returncode}\n{result.stderr}")
    depth, pixels = read_pam(out)
    check(depth == 4, f"{scene.name}: expected an RGBA frame, got depth {depth}")
    return pixels, json.loads(stats.read_text())


def check_zero_kernel(build, folder):
    zero = build / "tools" / "bench" / "orbulon_zero_kernel.so"
    for name, passes in (("a_sphere.json", 1), ("d_depth_of_field.json", 2)):
        scene = ROOT / "scenes" / "bench" / name
        pixels, stats = render(build, scene, folder, zero)
        check(pixels and not any(pixels), f"{name}: the zero kernel left non-zero bytes in the frame")
        check(len(stats["iterate_passes"]) == passes,
              f"{name}: the zero kernel ran {len(stats['iterate_passes'])} passes, Orbulon runs {passes}")
        pixels, stats = render(build, scene, folder)
        check(any(pixels[3::4]), f"{name}: Orbulon drew nothing, so the scene tests nothing")
        check(len(stats["iterate_passes"]) == passes, f"{name}: Orbulon ran {len(stats['iterate_passes'])} passes")


def check_driver(build, folder):
    table = folder / "bench.json"
    result = subprocess.run([sys.executable, str(HERE / "bench.py"), "--build", str(build), "--runs", "1",
                             "--scenes", "b", "--json", str(table)], capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"bench.py exited {result.returncode}\n{result.stdout}{result.stderr}")
    lines = [line for line in result.stdout.splitlines() if line.startswith("| b_offscreen ")]
    check(len(lines) == 6, f"expected 6 table rows for scene b, got:\n{result.stdout}")
    check("| scene" in result.stdout and "peak MiB" in result.stdout, f"no table heading:\n{result.stdout}")

    document = json.loads(table.read_text())
    check(document["cores"] == os.cpu_count(), f"cores {document['cores']}, the machine has {os.cpu_count()}")
    rows = document["rows"]
    check(sorted((r["kernel"], r["threads"]) for r in rows) ==
          [(k, t) for k in ("orbulon", "reference", "zero") for t in (1, 2)],
          f"configurations: {[(r['kernel'], r['threads']) for r in rows]}")
    for r in rows:
        what = f"b_offscreen {r['kernel']} on {r['threads']} thread(s)"
        check(len(r["runs"]) == 1, f"{what}: {len(r['runs'])} runs recorded, asked for 1")
        check(r["pass_count"] == 1, f"{what}: {r['pass_count']} passes")
        check(0 < r["passes_ms"] < r["frame_ms"], f"{what}: passes {r['passes_ms']} ms of a {r['frame_ms']} ms frame")
        check(abs(r["outside_passes_ms"] + r["passes_ms"] - r["frame_ms"]) < 1e-6, f"{what}: the parts do not add up")
        # One run: its shares and the parts they belong to are from the same frame.
        check(0 < r["layer_pixels_ms"] <= r["outside_passes_ms"],
              f"{what}: layer pixels {r['layer_pixels_ms']} ms outside passes of {r['outside_passes_ms']} ms")
        check(0 <= r["area_tables_ms"] <= r["passes_ms"],
              f"{what}: area tables {r['area_tables_ms']} ms in passes of {r['passes_ms']} ms")
        if r["kernel"] == "zero":
            check(r["area_tables_ms"] == 0, f"{what}: the zero kernel samples nothing, yet tables were built")
        check(r["peak_mib"] > 0, f"{what}: no peak memory")
        if r["kernel"] == "orbulon":
            # Scene b is all empty pixels: a speed-up over the reference and a cost per empty pixel.
            check(r["speedup"].endswith("x") and r["ns_empty"] != "-", f"{what}: speed-up {r['speedup']}, "
                  f"ns per empty pixel {r['ns_empty']}")


def main():
    build = pathlib.Path(sys.argv[1])
    with tempfile.TemporaryDirectory(prefix="orbulon-bench-test-") as tmp:
        check_zero_kernel(build, pathlib.Path(tmp))
        check_driver(build, pathlib.Path(tmp))
    for failure in failures:
        print("FAILED:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
