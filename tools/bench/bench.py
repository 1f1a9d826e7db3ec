#!/usr/bin/env python3
"""Times orbulon-render on the benchmark scenes (scenes/bench/) with the real effect and with the
zero kernel, on 1 and 2 iterate threads, and prints one table of medians over the runs.

Every run is one process rendering frames 0 to N-1 (--frames, default 5). The figures are the
medians over those frames, so they show a frame of a sequence in its steady state; the slowest
frame, frame 0, is shown too: it pays for decoding and converting the layers' images, kept for
every later frame. --frames 1 times frame 0 alone, as a single-frame render pays for it. The
host's --stats-json splits
SMART_RENDER into its iterate passes and the rest ("outside passes": the effect's scene
assembly, the checkouts and worlds), and names the host's own share of each: layer worlds made
at checkout, area sampling tables built during the passes. The zero kernel runs the same
command with the per-pixel work taken out, so its passes are the iterate's own cost.

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
KERNELS = ("orbulon", "zero")
ZERO_KERNEL = pathlib.Path("tools/bench/orbulon_zero_kernel.so")   # in the build tree

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
    parser.add_argument("--kernels", default=",".join(KERNELS), help="orbulon, zero or both (default both)")
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


def run_once(program, module, scene, threads, frames, folder):
    stats_path = folder / "stats.json"
    command = [str(program), str(scene), "--frames", f"0-{frames - 1}", "--threads", str(threads),
               "--stats-json", str(stats_path), "-q", "-o", str(folder / "frame####.pam")]
    if module:
        command += ["--module", str(module)]
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"bench: {' '.join(command)} exited {result.returncode}\n{result.stderr}")
    with open(stats_path) as file:
        return figures_of(json.load(file))


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
    zero = args.build / ZERO_KERNEL
    for needed in [program] + ([zero] if "zero" in args.kernels else []):
        if not needed.exists():
            sys.exit(f"bench: {needed} is missing: build the tree first (./dev.sh bench builds build/linux)")

    configs = [(letter, kernel, threads) for letter in args.scenes for kernel in args.kernels
               for threads in args.threads]
    runs = {config: [] for config in configs}
    with tempfile.TemporaryDirectory(prefix="orbulon-bench-") as tmp:
        for _ in range(args.runs):
            for letter, kernel, threads in configs:
                scene = ROOT / "scenes" / "bench" / SCENES[letter]
                module = zero if kernel == "zero" else None
                runs[(letter, kernel, threads)].append(run_once(program, module, scene, threads,
                                                                args.frames, pathlib.Path(tmp)))

    rows = []
    for (letter, kernel, threads), figures in runs.items():
        row = {"scene": SCENES[letter].removesuffix(".json"), "kernel": kernel, "threads": threads}
        for key in figures[0]:
            row[key] = statistics.median(f[key] for f in figures)
        row["runs"] = figures
        rows.append(row)

    cores = os.cpu_count()
    print_table(rows, f"orbulon-render, frames 0-{args.frames - 1} of each scene, medians over the frames "
                      f"and over {args.runs} run(s); {cores} cores; times per frame in ms")
    if args.json:
        document = {"cores": cores, "runs": args.runs, "frames": args.frames, "build": str(args.build), "rows": rows}
        args.json.write_text(json.dumps(document, indent=2) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
