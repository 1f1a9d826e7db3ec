#!/usr/bin/env bash
# Orbulon developer commands for a Debian machine.
#
#   ./dev.sh render [SCENE] [-o OUT]   install what is missing, build, render a scene (default: scenes/default.json)
#   ./dev.sh test                      install what is missing, build Linux and Windows targets, run every test
#   ./dev.sh build                     build both targets only
#   ./dev.sh deps                      install the Debian packages the build and tests need
set -euo pipefail
cd "$(dirname "$0")"
ROOT=$PWD
NATIVE=$ROOT/build/linux
WIN64=$ROOT/build/win64

PACKAGES=(cmake ninja-build g++ python3 pkg-config
          g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64
          libopenimageio-dev openimageio-tools nlohmann-json3-dev libcli11-dev
          libgtest-dev libgmock-dev libbenchmark-dev)

install_missing() {
    local missing=()
    for p in "${PACKAGES[@]}"; do
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

build_native() {
    cmake -S "$ROOT" -B "$NATIVE" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
    cmake --build "$NATIVE"
}

build_win64() {
    cmake -S "$ROOT" -B "$WIN64" -G Ninja -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake" \
        -DORBULON_BUILD_TESTS=OFF -DORBULON_WITH_OIIO=OFF \
        -DORBULON_NATIVE_TOOLS_DIR="$NATIVE/tools"
    cmake --build "$WIN64"
}

cmd=${1:-render}
shift || true
case "$cmd" in
    render)
        install_missing
        build_native
        scene=scenes/default.json
        if [[ $# -gt 0 && $1 != -* ]]; then scene=$1; shift; fi
        out=out/$(basename "${scene%.json}").png
        args=("$@")
        [[ " ${args[*]} " == *" -o "* ]] || args+=(-o "$out")
        mkdir -p out
        "$NATIVE/orbulon-render" "$scene" "${args[@]}"
        for ((i = 0; i < ${#args[@]}; i++)); do
            [[ ${args[i]} == -o || ${args[i]} == --output ]] && out=${args[i + 1]}
        done
        echo "Rendered $scene to $out"
        ;;
    deps)
        install_missing
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
    *)
        echo "usage: $0 render [SCENE.json] [-o OUT] | test | build | deps" >&2
        exit 2
        ;;
esac
