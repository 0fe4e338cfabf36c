# What ./run, ./test and ./fuzz share: packages, builds and the Wine prefix. Sourced by them, from the project's root.

set -euo pipefail

export WINEPREFIX="$PWD/build/wine"
export WINEDEBUG=-all
# No crash dialogs, no menu entries, no offers to download what nothing here uses.
export WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe,winemenubuilder.exe="
# File names reach Windows programs as UTF-8.
export LC_ALL=C.UTF-8

BUILD_PACKAGES=(cmake ninja-build g++ g++-mingw-w64-x86-64-posix mingw-w64-tools googletest
    nlohmann-json3-dev libcli11-dev wine wine64)
CLANG_PACKAGES=(clang libclang-rt-14-dev llvm)  # sanitizers, libFuzzer, line coverage
TEST_PACKAGES=("${CLANG_PACKAGES[@]}" clang-format clang-tidy cppcheck ffmpeg python3 python3-pytest xvfb xauth)

say() {
    printf '== %s\n' "$*"
}

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

# Installs those of the packages that are not there yet.
install_packages() {
    local missing=() package
    for package in "$@"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    say "installing ${missing[*]}"
    mkdir -p build
    {
        as_root apt-get update
        DEBIAN_FRONTEND=noninteractive as_root apt-get install -y --no-install-recommends "${missing[@]}"
    } >build/install.log 2>&1 || { tail -n 20 build/install.log >&2; exit 2; }
}

# build PRESET TARGET... : quick when nothing changed, and silent then
build() {
    local preset=$1 log
    shift
    mkdir -p build
    log="build/$preset.log"
    if [ ! -f "build/$preset/build.ninja" ]; then
        say "configuring $preset"
        cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2; exit 2; }
    fi
    { sleep 1 && say "building $preset"; } &  # nobody needs to know of less
    local notice=$! status=0
    ninja -C "build/$preset" "$@" >"$log" 2>&1 || status=$?
    kill "$notice" 2>/dev/null || true
    wait "$notice" 2>/dev/null || true
    [ "$status" -eq 0 ] || { cat "$log" >&2; exit 2; }
}

# A Wine prefix of the project's own.
prepare_wine() {
    [ -f "$WINEPREFIX/.ready" ] && return
    say "preparing the Wine prefix"
    mkdir -p build
    DISPLAY='' wineboot --init >build/wineboot.log 2>&1 || true
    wineserver -w
    [ -f "$WINEPREFIX/system.reg" ] || { cat build/wineboot.log >&2; exit 2; }
    touch "$WINEPREFIX/.ready"
}
