#!/usr/bin/env python3
"""A quick pass over tests/mutation/faults.json: each fault is put into a built working copy,
only the targets its folder feeds are rebuilt, and only the test programs that can see it run,
each stopping at its first failing test. The full measure (every CTest test) is the mutation
tool's; this pass fits a 2-core machine's afternoon.

    tools/mutation/quick_mutants.py --work COPY [--list FILE] [--only ID,ID] [--json OUT]

COPY is a configured and built copy of the project (build tree COPY/build/linux), for example
the mutation tool's working copy. Every file is written back after its fault.
"""
import argparse
import json
import pathlib
import re
import signal
import subprocess
import sys
import time

# What a fault in each folder can change, and the programs that see it (cheapest first).
EFFECT = ["orbulon_effect", "orbulon_reference"]
AREAS = {
    "render": (EFFECT + ["render_tests", "assembly_tests", "renderer_tests"],
               ["render/render_tests", "assembly/assembly_tests", "renderer/renderer_tests"]),
    "scene": (EFFECT + ["effect_tests", "assembly_tests", "renderer_tests", "hostile_tests"],
              ["effect/effect_tests", "assembly/assembly_tests", "renderer/renderer_tests", "hostile/hostile_tests"]),
    "shell": (EFFECT + ["effect_tests", "assembly_tests", "hostile_tests", "renderer_tests", "host_tests"],
              ["effect/effect_tests", "assembly/assembly_tests", "hostile/hostile_tests",
               "renderer/renderer_tests", "host/host_tests"]),
    "AEO": (EFFECT + ["aeo_tests", "effect_tests", "assembly_tests", "hostile_tests", "renderer_tests"],
            ["aeo/aeo_tests", "effect/effect_tests", "assembly/assembly_tests", "hostile/hostile_tests",
             "renderer/renderer_tests"]),
    "host": (EFFECT + ["orbulon-render", "sampling_tests", "scene_tests", "comp_tests", "host_tests",
                       "assembly_tests", "cli_tests", "renderer_tests"],
             ["sampling/sampling_tests", "scene/scene_tests", "comp/comp_tests", "host/host_tests",
              "assembly/assembly_tests", "cli/cli_tests", "renderer/renderer_tests"]),
}


def mutate(text, record):
    if "regex" in record:
        found = list(re.finditer(record["regex"], text, re.M))
        if len(found) != 1:
            return None
        return re.sub(record["regex"], record["replace"], text, count=1, flags=re.M)
    if text.count(record["find"]) != 1:
        return None
    return text.replace(record["find"], record["replace"])


def run_mutant(work, build, record):
    source = work / record["file"]
    original = source.read_bytes()
    mutated = mutate(original.decode(), record)
    if mutated is None:
        return {"status": "stale"}
    targets, programs = AREAS[record["file"].split("/")[0]]
    started = time.time()
    try:
        source.write_text(mutated)
        built = subprocess.run(["ninja", "-C", str(build), *targets], capture_output=True, text=True)
        if built.returncode != 0:
            return {"status": "build-broken", "seconds": round(time.time() - started)}
        for program in programs:
            try:
                ran = subprocess.run([str(build / "tests" / program), "--gtest_fail_fast", "--gtest_brief=1"],
                                     capture_output=True, text=True, timeout=900, cwd=build)
            except subprocess.TimeoutExpired:
                return {"status": "timeout", "by": program, "seconds": round(time.time() - started)}
            if ran.returncode != 0:
                failed = re.findall(r"^\[  FAILED  \] (\S+)", ran.stdout, re.M)
                return {"status": "killed", "by": f"{program}: {failed[0] if failed else 'crashed'}",
                        "seconds": round(time.time() - started)}
        return {"status": "survived", "seconds": round(time.time() - started)}
    finally:
        source.write_bytes(original)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--work", required=True, type=pathlib.Path)
    parser.add_argument("--list", type=pathlib.Path,
                        default=pathlib.Path(__file__).resolve().parents[2] / "tests/mutation/faults.json")
    parser.add_argument("--only", default="")
    parser.add_argument("--json", type=pathlib.Path)
    args = parser.parse_args()
    # Stopped from outside, the file in hand is still written back (the finally of run_mutant).
    signal.signal(signal.SIGTERM, signal.default_int_handler)
    build = args.work / "build/linux"
    records = json.loads(args.list.read_text())
    if args.only:
        wanted = set(args.only.split(","))
        records = [r for r in records if r["id"] in wanted]
    results = {}
    for n, record in enumerate(records, 1):
        result = run_mutant(args.work, build, record)
        results[record["id"]] = result
        print(f"[{n}/{len(records)}] {record['id']}: {result['status']} {result.get('by', '')} "
              f"({result.get('seconds', 0)} s)", flush=True)
        if args.json:
            args.json.write_text(json.dumps(results, indent=1))
    subprocess.run(["ninja", "-C", str(build)], capture_output=True)
    counted = [r for r in results.values() if r["status"] in ("killed", "survived", "timeout")]
    killed = sum(r["status"] == "killed" for r in counted)
    print(f"quick mutants: {killed} killed of {len(counted)} "
          f"({', '.join(i for i, r in results.items() if r['status'] != 'killed') or 'none other'})")
    return 0


if __name__ == "__main__":
    sys.exit(main())
