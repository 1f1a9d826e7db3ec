#!/usr/bin/env bash
# Orbulon developer commands for a Debian machine.
#
#   ./dev.sh render [SCENE] [-o OUT]   install what a render needs, build orbulon-render and the effect (not the
#                                      tests), render a scene (default: scenes/default.json)
#   ./dev.sh test                      install what is missing, build Linux and Windows targets, run every test
#   ./dev.sh gallery                   install what is missing, build, render the example scenes into docs/gallery/
#                                      and the pictures of docs/controls.md into docs/controls/
#   ./dev.sh package                   build the Windows effect, write out/Orbulon-<version>-win64.zip and check it
#   ./dev.sh build                     build both targets only
#   ./dev.sh deps                      install the Debian packages the build and tests need
#   ./dev.sh bench [--runs N] [--frames N] [--json FILE]
#                                      build, time the benchmark scenes (scenes/bench/) with Orbulon and the
#                                      zero kernel on 1 and 2 threads, print the table (tools/bench/bench.py)
#   ./dev.sh sanitize [--ci]           build build/asan (ASan + UBSan) and build/tsan (TSan), run the tests and
#                                      render every example scene under them; --ci: the subset CI runs, with
#                                      ASan + UBSan in build/fuzz
#   ./dev.sh fuzz [SECONDS]            build build/fuzz (clang, libFuzzer) and run every fuzz target SECONDS (60) each
#   ./dev.sh farm-test                 as root: install Slurm and munge, build, run the README's job-array recipe
#                                      on a one-node Slurm cluster started here (tests/farm/slurm_job_array_test.sh)
set -euo pipefail
cd "$(dirname "$0")"
ROOT=$PWD
NATIVE=$ROOT/build/linux
WIN64=$ROOT/build/win64

# What configuring the native tree and building orbulon-render take; the rest is for the
# Windows build, Wine, the pictures, the benchmark and the sanitizer and fuzz builds.
RENDER_PACKAGES=(cmake ninja-build g++ python3 pkg-config
                 libopenimageio-dev nlohmann-json3-dev libcli11-dev libgtest-dev libgmock-dev)
PACKAGES=("${RENDER_PACKAGES[@]}"
          g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64
          openimageio-tools libbenchmark-dev
          clang libclang-rt-14-dev)
# The farm test's scheduler.
FARM_PACKAGES=(slurm-wlm munge)

install_missing() {   # [PACKAGES...] (default: PACKAGES)
    local missing=() wanted=("${PACKAGES[@]}")
    (($#)) && wanted=("$@")
    for p in "${wanted[@]}"; do
        dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
    done
    if ((${#missing[@]})); then
        echo "Installing: ${missing[*]}"
        local sudo=""
        [[ $(id -u) -ne 0 ]] && sudo=sudo
        $sudo apt-get update
        DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y "${missing[@]}"
    fi
}

build_native() {   # [TARGETS...] (default: everything, the tests included)
    cmake -S "$ROOT" -B "$NATIVE" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
    if (($#)); then
        cmake --build "$NATIVE" --target "$@"
    else
        cmake --build "$NATIVE"
    fi
}

# What a render needs: the program and the effect module (with its property list) beside it.
RENDER_TARGETS=(orbulon-render orbulon_effect)

# The gallery: one frame of each example scene, as "scene frame stops". The render is
# composited over a dark background and scaled to a thumbnail; "stops" scales its colour first
# (-2 shows a float render two stops down, where its highlights past 1.0 are no longer clipped).
GALLERY_DIR=docs/gallery
GALLERY_BACKGROUND=0.1,0.1,0.12
GALLERY_WIDTH=320     # thumbnails
HERO_WIDTH=960        # docs/gallery/default.png, the README's first picture
# PNGs without time stamps or paths, so that an unchanged render gives unchanged files.
PNG=(--eraseattrib ".*" --iscolorspace sRGB --attrib png:compressionLevel 9)
GALLERY=("default 0 0"
         "basic 12 0"
         "open_sphere 14 0"
         "spot_falloff 22 0"
         "shadow_transmission 30 0"
         "depth_of_field 40 0"
         "fog 24 0"
         "ellipsoid_control 18 0"
         "deep_color 12 0"
         "float_color 12 -2")

# make_gallery RENDER: renders the gallery with the program RENDER into $GALLERY_DIR: one
# thumbnail per scene (SCENE.png; default.png at the README's size instead) and contact_sheet.png.
# Intermediate files go to $work.
make_gallery() {
    local render=$1 scene frame stops gain entry thumbs=()
    mkdir -p "$GALLERY_DIR"
    for entry in "${GALLERY[@]}"; do
        read -r scene frame stops <<<"$entry"
        echo "Gallery: $scene, frame $frame"
        # .exr keeps a float render's values past 1.0 (and is premultiplied, as --over expects).
        "$render" "scenes/$scene.json" --frame "$frame" -o "$work/$scene.exr" >/dev/null
        gain=$(awk -v s="$stops" 'BEGIN { printf "%.6g", 2 ^ s }')
        oiiotool --nosoftwareattrib "$work/$scene.exr" --mulc "$gain,$gain,$gain,1" \
            --dup --mulc 0 --addc "$GALLERY_BACKGROUND,1" --over --ch R,G,B -d uint8 -o "$work/$scene.tif"
        if [[ $scene == default ]]; then
            oiiotool --nosoftwareattrib "$work/$scene.tif" --resize "${HERO_WIDTH}x0" "${PNG[@]}" \
                -o "$GALLERY_DIR/default.png"
            oiiotool --nosoftwareattrib "$work/$scene.tif" --resize "${GALLERY_WIDTH}x0" -o "$work/default_thumb.tif"
            thumbs+=("$work/default_thumb.tif")
        else
            oiiotool --nosoftwareattrib "$work/$scene.tif" --resize "${GALLERY_WIDTH}x0" "${PNG[@]}" \
                -o "$GALLERY_DIR/$scene.png"
            thumbs+=("$GALLERY_DIR/$scene.png")
        fi
    done
    oiiotool --nosoftwareattrib "${thumbs[@]}" --mosaic:pad=4 "5x$(((${#thumbs[@]} + 4) / 5))" "${PNG[@]}" \
        -o "$GALLERY_DIR/contact_sheet.png"
    echo "Gallery written to $GALLERY_DIR/"
}

# The pictures of docs/controls.md, as "name columns frames... [+X,Y]": the frames of
# scenes/controls/NAME.json (a control keyframed from one panel to the next) side by side,
# COLUMNS to a row, into docs/controls/NAME.png. Each frame is composited over a checkerboard,
# so that what the effect leaves transparent shows as such; +X,Y marks a point of every panel
# with a cross (where a control layer stands).
CONTROLS_DIR=docs/controls
CONTROLS_PICTURES=("opening 4 0 25 50 75 100 125 150 175"
                   "render_sides 3 0 25 50"
                   "depth_of_field 3 12 37 62"
                   "fog_fade 3 0 25 50"
                   "pivot_marks 2 0 25"
                   "control_layer 3 0 25 50 +160,120"
                   "no_texture_no_lights 3 0 25 50")
CHECKERBOARD=checker:width=16:height=16:color1=0.09,0.09,0.11,1:color2=0.16,0.16,0.19,1

make_controls_pictures() {   # RENDER
    local render=$1 entry name columns frame words panels tiles mark x y
    mkdir -p "$CONTROLS_DIR"
    for entry in "${CONTROLS_PICTURES[@]}"; do
        read -r name columns words <<<"$entry"
        echo "Controls picture: $name"
        panels=() mark=()
        for frame in $words; do
            if [[ $frame == +* ]]; then
                IFS=, read -r x y <<<"${frame#+}"
                mark=(--line:color=1,0.85,0.2 "$((x - 10)),$y,$((x + 10)),$y"
                      --line:color=1,0.85,0.2 "$x,$((y - 10)),$x,$((y + 10))")
                continue
            fi
            panels+=("$frame")
        done
        tiles=()
        for frame in "${panels[@]}"; do
            "$render" "scenes/controls/$name.json" --frame "$frame" -q -o "$work/$name-$frame.exr"
            oiiotool --nosoftwareattrib "$work/$name-$frame.exr" \
                --pattern "$CHECKERBOARD" "{TOP.width}x{TOP.height}" 4 --over --ch R,G,B "${mark[@]}" \
                -d uint8 -o "$work/$name-$frame.tif"
            tiles+=("$work/$name-$frame.tif")
        done
        oiiotool --nosoftwareattrib "${tiles[@]}" --mosaic:pad=4 \
            "${columns}x$(((${#panels[@]} + columns - 1) / columns))" "${PNG[@]}" -o "$CONTROLS_DIR/$name.png"
    done
    echo "Pictures of docs/controls.md written to $CONTROLS_DIR/"
}

# The README's picture of the Premiere Pro pose: scenes/default.json as After Effects and as
# Premiere Pro render it (orbulon-render --app premiere), side by side.
make_pose_picture() {   # RENDER
    local render=$1 app tiles=()
    echo "Gallery: the Premiere Pro pose"
    for app in aftereffects premiere; do
        "$render" scenes/default.json --frame 0 --downsample 2 --app "$app" -q -o "$work/pose-$app.exr"
        oiiotool --nosoftwareattrib "$work/pose-$app.exr" --pattern "$CHECKERBOARD" "{TOP.width}x{TOP.height}" 4 \
            --over --ch R,G,B -d uint8 -o "$work/pose-$app.tif"
        tiles+=("$work/pose-$app.tif")
    done
    oiiotool --nosoftwareattrib "${tiles[@]}" --mosaic:pad=4 2x1 --resize "${HERO_WIDTH}x0" "${PNG[@]}" \
        -o "$GALLERY_DIR/premiere_pose.png"
}

build_win64() {   # [TARGETS...] (default: everything)
    cmake -S "$ROOT" -B "$WIN64" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake" \
        -DORBULON_BUILD_TESTS=OFF -DORBULON_WITH_OIIO=OFF \
        -DORBULON_NATIVE_TOOLS_DIR="$NATIVE/tools"
    if (($#)); then
        cmake --build "$WIN64" --target "$@"
    else
        cmake --build "$WIN64"
    fi
}

# Sanitizer builds (cmake/sanitizers.cmake): the tests but the Wine ones, then one frame of
# every example scene at each bit depth on 8 iterate threads. A test that runs orbulon-render
# and expects it to fail must not take a sanitizer's exit for the failure it wanted, so a
# report exits with 86, which no test expects, and goes to a file as well, where any report
# fails the run (GCC's UBSan, a runtime of its own beside ASan's, writes to standard error only).
sanitize_build() {   # KIND (address | thread) DIR [TARGETS...]
    local kind=$1 dir=$2
    shift 2
    cmake -S "$ROOT" -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DORBULON_SANITIZE="$kind"
    if (($#)); then
        cmake --build "$dir" -j "$(nproc)" --target "$@"
    else
        cmake --build "$dir" -j "$(nproc)"
    fi
}

# LeakSanitizer's settings for the sanitizer runs and the fuzzers. A suppressed leak is not a
# report: without print_suppressions=0 it writes its "Suppressions used" table to the log, and
# any log fails a sanitizer run.
LSAN_SETTINGS="suppressions=$ROOT/tests/sanitizers/lsan.supp:print_suppressions=0"

sanitize_run() (   # KIND DIR [TEST PROGRAMS...]; a subshell, so that its settings stay in it
    kind=$1 dir=$2 failed=0
    shift 2
    logs=$(mktemp -d)
    out=$(mktemp -d)
    trap 'rm -rf "$logs" "$out"' EXIT
    export ASAN_OPTIONS="halt_on_error=1:detect_leaks=1:exitcode=86:log_path=$logs/asan"
    export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:exitcode=86:log_path=$logs/ubsan"
    export LSAN_OPTIONS=$LSAN_SETTINGS
    export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:exitcode=86:log_path=$logs/tsan"
    TSAN_OPTIONS+=":suppressions=$ROOT/tests/sanitizers/tsan.supp"
    prefix=()
    if [[ $kind == thread ]]; then
        # OpenImageIO's worker threads are invisible to ThreadSanitizer (the library is not
        # built with it): every pixel they decode reads as a race, and weighing each one makes a
        # texture load take minutes. One thread keeps the library's work on the calling thread.
        export OPENIMAGEIO_THREADS=1
        # ThreadSanitizer's memory layout does not fit a kernel that randomises more than 28
        # bits of mmap addresses; there it runs without address randomisation.
        if (($(cat /proc/sys/vm/mmap_rnd_bits 2>/dev/null || echo 28) > 28)); then
            prefix=(setarch "$(uname -m)" -R)
        fi
    fi
    if (($#)); then
        # Named programs run whole, one process each: a sanitizer's start-up costs more than
        # most single tests, and ctest starts one process per test.
        for program in "$@"; do
            echo "$kind: $program"
            "${prefix[@]}" "$dir/$program" --gtest_brief=1 || failed=1
        done
    else
        "${prefix[@]}" ctest --test-dir "$dir" --output-on-failure -j "$(nproc)" -E '^wine\.' || failed=1
    fi
    for scene in scenes/*.json; do
        # The frame the gallery shows for the scene, where it has one: the scene's feature at work.
        frame=0
        for entry in "${GALLERY[@]}"; do
            if [[ ${entry%% *} == $(basename "${scene%.json}") ]]; then
                frame=$(cut -d' ' -f2 <<<"$entry")
            fi
        done
        for depth in 8 16 32; do
            ext=png
            if [[ $depth == 32 ]]; then ext=exr; fi
            echo "$kind: $scene, frame $frame, $depth bits"
            "${prefix[@]}" "$dir/orbulon-render" "$scene" --frame "$frame" --bit-depth "$depth" --threads 8 \
                --downsample 4 -q -o "$out/render.$ext" || failed=1
        done
    done
    if compgen -G "$logs/*" >/dev/null; then
        echo "Sanitizer reports ($kind):" >&2
        cat "$logs"/* >&2
        failed=1
    fi
    exit $failed
)

# libFuzzer (cmake/fuzzing.cmake, tests/fuzz/): each target runs on a scratch copy of its seed
# corpus, so what the fuzzer adds stays out of the repository. Crashing inputs are kept in
# out/fuzz/TARGET/; one that shows a fault belongs in tests/fuzz/regressions/TARGET/.
FUZZ_DIR=$ROOT/build/fuzz
fuzz_build() {   # [TARGETS...] (default: the fuzz targets)
    cmake -S "$ROOT" -B "$FUZZ_DIR" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_CXX_COMPILER=clang++ -DORBULON_FUZZ=ON
    if (($#)); then
        cmake --build "$FUZZ_DIR" -j "$(nproc)" --target "$@"
    else
        cmake --build "$FUZZ_DIR" -j "$(nproc)" --target fuzz_targets
    fi
}

fuzz_run() {   # SECONDS
    local seconds=$1 source target work failed=0 dict
    for source in tests/fuzz/*_fuzz.cpp; do
        target=$(basename "${source%_fuzz.cpp}")
        work=$(mktemp -d)
        cp -r "tests/fuzz/corpus/$target" "$work/corpus"
        mkdir -p "out/fuzz/$target"
        dict=()
        [[ -f tests/fuzz/$target.dict ]] && dict=(-dict="tests/fuzz/$target.dict")
        echo "Fuzzing $target for $seconds s"
        ASAN_OPTIONS="detect_leaks=1" UBSAN_OPTIONS="print_stacktrace=1" \
            LSAN_OPTIONS=$LSAN_SETTINGS \
            "$FUZZ_DIR/tests/fuzz/${target}_fuzz" "$work/corpus" "${dict[@]}" -max_total_time="$seconds" \
            -timeout=20 -rss_limit_mb=4096 -verbosity=0 -print_funcs=0 -print_final_stats=1 \
            -artifact_prefix="out/fuzz/$target/" || failed=1
        rm -rf "$work"
    done
    if ((failed)); then
        echo "A fuzz target failed: its input is in out/fuzz/TARGET/; once understood, it goes into" \
             "tests/fuzz/regressions/TARGET/, which ctest replays (fuzz_replay.TARGET)." >&2
    fi
    return $failed
}

cmd=${1:-render}
shift || true
case "$cmd" in
    render)
        install_missing "${RENDER_PACKAGES[@]}"
        build_native "${RENDER_TARGETS[@]}"
        scene=scenes/default.json
        if [[ $# -gt 0 && $1 != -* ]]; then scene=$1; shift; fi
        out=""
        args=("$@")
        # The output as the user named it: -o FILE, --output FILE, -oFILE or --output=FILE.
        for ((i = 0; i < ${#args[@]}; i++)); do
            case ${args[i]} in
                -o | --output) out=${args[i + 1]:-} ;;
                --output=*) out=${args[i]#--output=} ;;
                -o?*) out=${args[i]#-o} ;;
            esac
        done
        if [[ -z $out ]]; then
            # No output named: a still of the scene's first frame, unless frames were asked for.
            out=out/$(basename "${scene%.json}").png
            args+=(-o "$out")
            [[ " ${args[*]} " == *" --frame"* ]] || args+=(--frame 0)
        fi
        mkdir -p out
        "$NATIVE/orbulon-render" "$scene" "${args[@]}"
        echo "Rendered $scene to $out"
        ;;
    gallery)
        install_missing
        build_native "${RENDER_TARGETS[@]}"
        work=$(mktemp -d)
        trap 'rm -rf "$work"' EXIT
        make_gallery "$NATIVE/orbulon-render"
        make_pose_picture "$NATIVE/orbulon-render"
        make_controls_pictures "$NATIVE/orbulon-render"
        ;;
    deps)
        install_missing
        ;;
    bench)
        install_missing
        build_native
        python3 tools/bench/bench.py --build "$NATIVE" "$@"
        ;;
    package)
        # The Windows tree needs the native property-list encoder; it builds only the effect.
        install_missing
        build_native pipl-encode
        build_win64 orbulon_effect
        version=$(sed -n 's/^project(Orbulon VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
        SOURCE_DATE_EPOCH=$(git log -1 --format=%ct 2>/dev/null || date +%s) \
            python3 tools/package/package.py --aex "$WIN64/Orbulon.aex" --version "$version" --out-dir out
        ;;
    build)
        install_missing
        build_native
        build_win64
        ;;
    test)
        install_missing
        build_native
        build_win64
        ORBULON_WIN64_DIR="$WIN64" ctest --test-dir "$NATIVE" --output-on-failure -j "$(nproc)"
        ;;
    sanitize)
        install_missing
        failed=0
        if [[ ${1:-} == --ci ]]; then
            # CI's share (README, "Sanitizers and fuzzing"). ASan and UBSan run in the fuzz
            # tree, which clang builds with both, so that CI compiles the host and the effect
            # once for them and for the fuzzers: the host's, the hostile host's, the command
            # line's and the effect's tests and the example renders. Under TSan the host's tests and the example
            # renders, which run the effect's passes on the iterate pool's threads.
            fuzz_build orbulon-render orbulon_effect host_tests hostile_tests cli_tests effect_tests
            sanitize_build thread "$ROOT/build/tsan" orbulon-render orbulon_effect host_tests
            sanitize_run address "$FUZZ_DIR" tests/host/host_tests tests/hostile/hostile_tests tests/cli/cli_tests \
                tests/effect/effect_tests || failed=1
            sanitize_run thread "$ROOT/build/tsan" tests/host/host_tests || failed=1
        else
            sanitize_build address "$ROOT/build/asan"
            sanitize_build thread "$ROOT/build/tsan"
            sanitize_run address "$ROOT/build/asan" || failed=1
            sanitize_run thread "$ROOT/build/tsan" || failed=1
        fi
        exit $failed
        ;;
    fuzz)
        install_missing
        fuzz_build
        fuzz_run "${1:-60}"
        ;;
    farm-test)
        install_missing
        install_missing "${FARM_PACKAGES[@]}"
        build_native
        # slurmd runs jobs as their users, so the cluster needs root.
        sudo=""
        [[ $(id -u) -ne 0 ]] && sudo=sudo
        $sudo tests/farm/slurm_job_array_test.sh "$NATIVE"
        ;;
    *)
        echo "usage: $0 render [SCENE.json] [-o OUT] | test | gallery | package | build | deps | bench [--runs N] [--frames N] [--json FILE] | sanitize [--ci] | fuzz [SECONDS] | farm-test" >&2
        exit 2
        ;;
esac
