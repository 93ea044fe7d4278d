# shellcheck shell=bash
# What the scripts of this folder share. To be sourced by a script that has set -euo pipefail.

# The root of the project, wherever the script was called from.
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd -P)"

# What a build needs, what the clip needs, and what the tests and the fuzz programs need besides.
# shellcheck disable=SC2034 # the scripts that source this file use them
{
    BUILD_PACKAGES=(g++ g++-multilib cmake ninja-build ccache libcli11-dev nlohmann-json3-dev libsimpleini-dev
        pkg-config libfuse3-dev libavformat-dev libcurl4-openssl-dev)
    RUN_PACKAGES=(ffmpeg fuse3)
    FTP_RUN_PACKAGES=(python3-pyftpdlib)
    TEST_PACKAGES=(clang clang-format python3 ffmpeg googletest libgtest-dev libgmock-dev libssl-dev openssl shellcheck e2fsprogs binutils fuse3
        pkg-config libgstreamer1.0-dev libavutil-dev libboost-dev
        curl iproute2 nftables python3-pyftpdlib samba-common-bin smbclient
        libwrap0 libhiredis0.14 libmemcached11 libmemcachedutil2 libsodium23 libpcre2-posix3 libidn2-0)
    # Servers that cannot be installed beside each other, or would run for everybody if they were installed; their
    # libraries are among the packages for tests.
    SERVER_PACKAGES=(vsftpd proftpd-core pure-ftpd nginx samba)
    FUZZ_PACKAGES=(clang libclang-rt-14-dev)
    BENCH_PACKAGES=(pkg-config python3 libbenchmark-dev libssl-dev libavformat-dev libavutil-dev
        libgstreamer1.0-dev libboost-dev libprotobuf-dev protobuf-compiler libcereal-dev fio
        curl lftp libwrap0 python3-pyftpdlib)
}

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# install_missing PACKAGE...: installs those of Debian's packages that are not there. Asks the network only
# when one is missing.
install_missing() {
    local missing=() package state
    for package in "$@"; do
        state="$(dpkg-query -W -f='${Status}' "$package" 2>/dev/null || true)"
        if [[ "$state" != "install ok installed" ]]; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return 0
    fi
    command -v apt-get >/dev/null || die "please install: ${missing[*]}"
    local as_root=()
    if ((EUID != 0)); then
        command -v sudo >/dev/null || die "neither root nor sudo, please install: ${missing[*]}"
        as_root=(sudo)
    fi
    printf 'Installing %s\n' "${missing[*]}" >&2
    local log
    log="$(mktemp)"
    local options=(-o DPkg::Lock::Timeout=300 -qq)
    if ! { "${as_root[@]}" apt-get "${options[@]}" update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get "${options[@]}" install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        cat "$log" >&2
        rm -f "$log"
        die "could not install ${missing[*]}"
    fi
    rm -f "$log"
}

# fetch_servers: unpacks the servers that the tests and the account run into build/servers, once for each list.
fetch_servers() {
    local folder="$ROOT/build/servers"
    local mark="$folder/packages"
    if [[ "$(cat "$mark" 2>/dev/null)" == "${SERVER_PACKAGES[*]}" ]]; then
        return 0
    fi
    command -v apt-get >/dev/null || die "please install one of each to be tested: ${SERVER_PACKAGES[*]}"
    printf 'Fetching %s\n' "${SERVER_PACKAGES[*]}" >&2
    rm -rf "$folder"
    mkdir -p "$folder/fetched"
    local log package
    log="$(mktemp)"
    for package in "${SERVER_PACKAGES[@]}"; do
        # The lists of packages may be missing, or older than what the archive keeps.
        if ! { fetch_package "$package" "$folder/fetched" || { refresh_package_lists &&
            fetch_package "$package" "$folder/fetched"; }; } >"$log" 2>&1 </dev/null; then
            cat "$log" >&2
            rm -f "$log"
            die "could not fetch $package"
        fi
    done
    rm -f "$log"
    for package in "$folder/fetched"/*.deb; do
        dpkg -x "$package" "$folder"
    done
    rm -rf "$folder/fetched"
    printf '%s' "${SERVER_PACKAGES[*]}" >"$mark"
}

fetch_package() { # PACKAGE FOLDER
    (cd "$2" && apt-get -qq download "$1")
}

refresh_package_lists() {
    if ((EUID == 0)); then
        apt-get -o DPkg::Lock::Timeout=300 -qq update
    else
        sudo apt-get -o DPkg::Lock::Timeout=300 -qq update
    fi
}

# use_compiler_cache: compiles through ccache where it is there.
use_compiler_cache() {
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache
        export CCACHE_BASEDIR="$ROOT" CCACHE_NOHASHDIR=1
    fi
}

# build_preset PRESET LOG [TARGET...]: configures and builds, with all the noise in LOG; shows it on
# standard error when that fails.
build_preset() {
    local preset="$1" log="$2"
    shift 2
    local targets=()
    if (($# > 0)); then
        targets=(--target "$@")
    fi
    mkdir -p "$(dirname "$log")"
    # The build configures again by itself when it must; it only does not see that the presets changed.
    local configure=(cmake --preset "$preset")
    if [[ "$ROOT/build/$preset/build.ninja" -nt "$ROOT/CMakePresets.json" ]]; then
        configure=(true)
    fi
    if ! (cd "$ROOT" && "${configure[@]}" && cmake --build --preset "$preset" "${targets[@]}") \
        >"$log" 2>&1 </dev/null; then
        tail -n 200 "$log" >&2
        printf 'The build of preset %s failed; all of its output is in %s\n' "$preset" "$log" >&2
        return 1
    fi
}
