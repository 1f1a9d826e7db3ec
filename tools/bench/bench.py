#!/usr/bin/env python3
"""Times orbulon-render on the benchmark scenes (scenes/bench/) with the real effect, with the same
effect built without its shortcuts (OrbulonReference.so: no silhouette bounds, every pixel takes
the full path) and with the zero kernel, on 1 and 2 iterate threads, and prints one table of
medians over the runs.

Every run is one process rendering frames 0 to N-1 (--frames, default 5). The figures are the
medians over those frames, so they show a frame of a sequence in its steady state; the slowest
frame, frame 0, is shown too: it pays for decoding and converting the layers' images, kept for
every later frame. --frames 1 times frame 0 alone, as a single-frame render pays for it. The
host's --stats-json splits
SMART_RENDER into its iterate passes and the rest ("outside passes": the effect's scene
assembly, the checkouts and worlds), and names the host's own share of each: layer worlds made
at checkout, area sampling tables built during the passes. The zero kernel runs the same
command with the per-pixel work taken out, so its passes are the iterate's own cost.

For Orbulon's rows the table adds the speed-up over the reference effect (its frame time over
Orbulon's, both from the same run) and what a pixel costs a core beyond the zero kernel: per
empty pixel (from scene b, where every pixel is empty) and per covered pixel (a pixel with
non-zero alpha in the rendered frame, the empty ones' share taken out).

Runs go round-robin over the configurations, so that a burst of load elsewhere on the machine
touches one run of many rows rather than every run of one.
"""
import argparse
import json
import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCENES = {
    "a": "a_sphere.json",
    "b": "b_offscreen.json",
    "c": "c_uhd_float.json",
    "d": "d_depth_of_field.json",
}
KERNELS = ("orbulon", "reference", "zero")
MODULES = {   # in the build tree; Orbulon itself is the program's default
    "reference": pathlib.Path("OrbulonReference.so"),
    "zero": pathlib.Path("tools/bench/orbulon_zero_kernel.so"),
}

# (key, column heading, format) of the printed table, in order.
COLUMNS = (
    ("scene", "scene", "{}"),
    ("kernel", "kernel", "{}"),
    ("threads", "threads", "{}"),
    ("frame_ms", "frame ms", "{:.1f}"),
    ("slowest_frame_ms", "slowest frame ms", "{:.1f}"),
    ("outside_passes_ms", "outside passes ms", "{:.1f}"),
    ("layer_pixels_ms", "of which layer pixels", "{:.1f}"),
    ("passes_ms", "passes ms", "{:.1f}"),
    ("area_tables_ms", "of which area tables", "{:.1f}"),
    ("peak_mib", "peak MiB", "{:.0f}"),
    ("speedup", "speed-up", "{}"),
    ("ns_empty", "ns/empty px", "{}"),
    ("ns_covered", "ns/covered px", "{}"),
)


def parse_args(argv):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build" / "linux",
                        help="build tree holding orbulon-render, Orbulon.so and the zero kernel (default: build/linux)")
    parser.add_argument("--runs", type=int, default=5, help="runs per configuration (default 5)")
    parser.add_argument("--frames", type=int, default=5,
                        help="frames rendered by each run, from frame 0; figures are their medians (default 5)")
    parser.add_argument("--scenes", default="abcd", help="which scenes, by letter (default abcd)")
    parser.add_argument("--threads", default="1,2", help="iterate thread counts, comma separated (default 1,2)")
    parser.add_argument("--kernels", default=",".join(KERNELS), help="orbulon, reference, zero, comma separated (default all three)")
    parser.add_argument("--json", type=pathlib.Path, help="also write the table, with every run's figures, here")
    args = parser.parse_args(argv)
    if args.runs < 1:
        parser.error("--runs must be at least 1")
    if args.frames < 1:
        parser.error("--frames must be at least 1")
    unknown = set(args.scenes) - set(SCENES)
    if unknown or not args.scenes:
        parser.error(f"--scenes takes letters among {''.join(SCENES)}, got '{args.scenes}'")
    try:
        args.threads = [int(t) for t in args.threads.split(",")]
    except ValueError:
        parser.error(f"--threads takes whole numbers, got '{args.threads}'")
    if any(t < 1 for t in args.threads):
        parser.error("--threads takes counts of 1 or more")
    args.kernels = args.kernels.split(",")
    if not args.kernels or any(k not in KERNELS for k in args.kernels):
        parser.error(f"--kernels takes {', '.join(KERNELS)}")
    return args


def figures_of(stats):
    """One run's figures (milliseconds, MiB) from orbulon-render's --stats-json document."""
    render = stats["commands"]["SMART_RENDER"]
    passes = stats["iterate_passes"]
    passes_ms = sum(p["median_ms"] for p in passes)
    return {
        "frame_ms": render["median_ms"],
        "slowest_frame_ms": render["max_ms"],
        "outside_passes_ms": render["median_ms"] - passes_ms,
        "layer_pixels_ms": render["layer_pixels"]["median_ms"],
        "passes_ms": passes_ms,
        "area_tables_ms": sum(p["area_tables"]["median_ms"] for p in passes),
        "pass_count": len(passes),
        "peak_mib": stats["peak_memory_bytes"] / (1024 * 1024),
    }


def pixel_counts(frame):
    """(pixels, pixels with non-zero alpha) of a PAM frame; alpha is the fourth channel (a
    16-bit one is two bytes, high first)."""
    data = frame.read_bytes()
    end = data.index(b"ENDHDR\n") + len(b"ENDHDR\n")
    header = dict(line.split(" ", 1) for line in data[:end].decode().splitlines()[1:-1])
    width, height, maxval = int(header["WIDTH"]), int(header["HEIGHT"]), int(header["MAXVAL"])
    if maxval < 256:
        alpha = data[end + 3::4]
    else:
        high, low = data[end + 6::8], data[end + 7::8]
        alpha = (int.from_bytes(high, "big") | int.from_bytes(low, "big")).to_bytes(len(high), "big")
    return width * height, len(alpha) - alpha.count(0)


def run_once(program, module, scene, threads, frames, folder, keep_frame=None):
    stats_path = folder / "stats.json"
    command = [str(program), str(scene), "--frames", f"0-{frames - 1}", "--threads", str(threads),
               "--stats-json", str(stats_path), "-q", "-o", str(folder / "frame####.pam")]
    if module:
        command += ["--module", str(module)]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"bench: {' '.join(command)} exited {result.returncode}\n{result.stderr}")
    with open(stats_path) as file:
        figures = figures_of(json.load(file))
    if keep_frame:
        # Counted after every run is timed: reading a large frame here would swell this
        # process, and a child starts with its parent's peak memory as its own.
        (folder / f"frame{frames - 1:04d}.pam").replace(keep_frame)
    return figures


def add_derived(rows):
    """Speed-up over the reference effect and core nanoseconds per empty and per covered pixel,
    for Orbulon's rows; '-' where the run lacks what a figure needs."""
    by = {(r["scene"], r["kernel"], r["threads"]): r for r in rows}
    empty_ns = {}
    for r in rows:
        zero = by.get((r["scene"], "zero", r["threads"]))
        if r["kernel"] == "orbulon" and zero and r.get("covered") == 0:
            empty_ns[r["threads"]] = (r["passes_ms"] - zero["passes_ms"]) * 1e6 * r["threads"] / r["pixels"]
    for r in rows:
        r["speedup"] = r["ns_empty"] = r["ns_covered"] = "-"
        if r["kernel"] != "orbulon":
            continue
        reference = by.get((r["scene"], "reference", r["threads"]))
        if reference:
            r["speedup"] = f"{reference['frame_ms'] / r['frame_ms']:.1f}x"
        zero = by.get((r["scene"], "zero", r["threads"]))
        e = empty_ns.get(r["threads"])
        if e is not None:
            r["ns_empty"] = f"{e:.1f}"
            if zero and r["covered"]:
                extra = (r["passes_ms"] - zero["passes_ms"]) * 1e6 * r["threads"]
                r["ns_covered"] = f"{(extra - e * (r['pixels'] - r['covered'])) / r['covered']:.0f}"


def print_table(rows, header):
    cells = [[heading for _, heading, _ in COLUMNS]]
    cells += [[fmt.format(row[key]) for key, _, fmt in COLUMNS] for row in rows]
    widths = [max(len(line[i]) for line in cells) for i in range(len(COLUMNS))]
    print(header)
    print()
    for n, line in enumerate(cells):
        # Text left, numbers right, as a Markdown table that also reads as plain text.
        padded = [c.ljust(w) if i < 2 else c.rjust(w) for i, (c, w) in enumerate(zip(line, widths))]
        print("| " + " | ".join(padded) + " |")
        if n == 0:
            print("|" + "|".join("-" * (w + 1) + (":" if i >= 2 else "-") for i, w in enumerate(widths)) + "|")


def main(argv):
    args = parse_args(argv)
    program = args.build / "orbulon-render"
    modules = {kernel: args.build / path for kernel, path in MODULES.items()}
    for needed in [program] + [modules[k] for k in args.kernels if k in modules]:
        if not needed.exists():
            sys.exit(f"bench: {needed} is missing: build the tree first (./dev.sh bench builds build/linux)")

    configs = [(letter, kernel, threads) for letter in args.scenes for kernel in args.kernels
               for threads in args.threads]
    runs = {config: [] for config in configs}
    with tempfile.TemporaryDirectory(prefix="orbulon-bench-") as tmp:
        for run in range(args.runs):
            for letter, kernel, threads in configs:
                scene = ROOT / "scenes" / "bench" / SCENES[letter]
                module = modules.get(kernel)
                keep = None
                if run == 0 and kernel == "orbulon":
                    keep = pathlib.Path(tmp) / f"{letter}_{threads}.pam"
                runs[(letter, kernel, threads)].append(run_once(program, module, scene, threads,
                                                                args.frames, pathlib.Path(tmp), keep))
        for (letter, kernel, threads), figures in runs.items():
            if kernel == "orbulon":
                figures[0]["pixels"], figures[0]["covered"] = pixel_counts(pathlib.Path(tmp) / f"{letter}_{threads}.pam")

    rows = []
    for (letter, kernel, threads), figures in runs.items():
        row = {"scene": SCENES[letter].removesuffix(".json"), "kernel": kernel, "threads": threads}
        for key in figures[0]:
            row[key] = statistics.median(f[key] for f in figures if key in f)
        row["runs"] = figures
        rows.append(row)
    add_derived(rows)

    cores = os.cpu_count()
    print_table(rows, f"orbulon-render, frames 0-{args.frames - 1} of each scene, medians over the frames "
                      f"and over {args.runs} run(s); {cores} cores; times per frame in ms")
    if args.json:
        document = {"cores": cores, "runs": args.runs, "frames": args.frames, "build": str(args.build), "rows": rows}
        args.json.write_text(json.dumps(document, indent=2) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
