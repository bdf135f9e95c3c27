#!/usr/bin/env bash
# Installs whatever the build, the tests, the benchmarks and the fuzzers need and this
# machine lacks. Safe to run again: it only installs what is missing.
set -euo pipefail

debian_packages=(
    g++ cmake ninja-build ccache pkg-config clang-format
    libgtest-dev libgmock-dev libbenchmark-dev
    nlohmann-json3-dev libcurl4-openssl-dev ca-certificates
    qt6-base-dev qt6-qpa-plugins fonts-noto-cjk
    libsensors-dev libsystemd-dev umockdev libumockdev-dev gir1.2-umockdev-1.0 python3-gi
    python3-dbusmock
    clang libclang-rt-dev
    gcovr
    python3 xvfb xauth
)
brew_packages=(cmake ninja ccache googletest google-benchmark nlohmann-json curl qt llvm gcovr)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

case "$(uname -s)" in
Linux)
    if ! command -v dpkg-query >/dev/null 2>&1; then
        echo "install-deps: only Debian and Ubuntu are supported on Linux; install by hand:" >&2
        echo "  ${debian_packages[*]}" >&2
        exit 1
    fi
    missing=()
    for package in "${debian_packages[@]}"; do
        if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
            missing+=("$package")
        fi
    done
    if [ "${#missing[@]}" -gt 0 ]; then
        echo "install-deps: installing ${missing[*]}"
        as_root apt-get update -qq
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
            "${missing[@]}"
    fi
    ;;
Darwin)
    if ! command -v brew >/dev/null 2>&1; then
        echo "install-deps: Homebrew is needed on macOS (https://brew.sh)" >&2
        exit 1
    fi
    for package in "${brew_packages[@]}"; do
        brew list --versions "$package" >/dev/null 2>&1 || brew install "$package"
    done
    ;;
*)
    echo "install-deps: unsupported system $(uname -s)" >&2
    exit 1
    ;;
esac
