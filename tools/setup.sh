# SPDX-License-Identifier: BSD-3-Clause
# Sourced by demo.sh and test.sh: the packages that a fresh Debian 12 machine lacks, and the build.

fail() {
    echo "$(basename "$0"): $*" >&2
    exit 1
}

step() {
    printf '\n== %s\n' "$*"
}

build_packages=(
    g++ cmake ninja-build
    libtbb-dev libboost-dev libboost-filesystem-dev robin-map-dev libeigen3-dev libexpat1-dev libxxhash-dev zlib1g-dev
    libfast-float-dev
    libvtk9-dev libopenmpi-dev libcli11-dev nlohmann-json3-dev libgtest-dev
    libtomlplusplus-dev libxml2-dev calculix-ccx # the solver that ketmesh solve runs
    python3-dev python3-numpy pybind11-dev
)
# The page of ketmesh view. Where Node.js comes from elsewhere, Debian's npm conflicts with it.
command -v npm >/dev/null || build_packages+=(nodejs npm)
clang_packages=(clang libclang-rt-14-dev llvm) # llvm names the functions in what a sanitizer reports
test_packages=("${clang_packages[@]}" libbenchmark-dev clang-format clang-tidy dpkg-dev
    python3-pytest python3-distributed python3-meshio python3-vtk9 python3-matplotlib mypy python3-pip python3-setuptools python3-wheel
    doxygen python3-sphinx python3-myst-parser furo
    chromium fonts-dejavu-core) # the page is tested in a browser

# install_packages NAME...: installs with apt what is missing, and says so when it cannot.
install_packages() {
    command -v dpkg-query >/dev/null || fail "this script installs Debian packages; elsewhere see CONTRIBUTING.md for what to install"
    local missing=() name
    for name in "$@"; do
        dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'install ok installed' || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] && return
    step "installing ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing and only root can install them: ${missing[*]}"
        as_root=(sudo)
    fi
    export DEBIAN_FRONTEND=noninteractive
    "${as_root[@]}" apt-get update -qq || fail "apt-get update failed: is the network there?"
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        fail "apt-get could not install: ${missing[*]}"
}

# build PRESET [CMAKE-BUILD-ARGUMENT...]: configures and builds into build/PRESET.
build() {
    local preset=$1 launcher=()
    shift
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    step "building ($preset)"
    cmake --preset "$preset" "${launcher[@]}" >"/tmp/ketsdk-configure-$$.log" 2>&1 || {
        cat "/tmp/ketsdk-configure-$$.log" >&2
        rm -f "/tmp/ketsdk-configure-$$.log"
        fail "configuring failed"
    }
    rm -f "/tmp/ketsdk-configure-$$.log"
    cmake --build --preset "$preset" "$@" || fail "building failed"
}
