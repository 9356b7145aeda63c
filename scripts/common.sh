# Shared by the project's scripts: package checks and the native build.
# Sourced, not run.

PROJECT_ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
BUILD_DIR=${BUILD_DIR:-$PROJECT_ROOT/build}
JOBS=${JOBS:-$(nproc 2>/dev/null || echo 2)}

# Installs the named Debian packages that are missing (as root), or says
# exactly what to install.
ensure_packages() {
    local missing=()
    local package
    for package in "$@"; do
        dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if [ "$(id -u)" -ne 0 ]; then
        echo "missing Debian packages; install them with: sudo apt-get install ${missing[*]}" >&2
        return 1
    fi
    echo "installing ${missing[*]}" >&2
    apt-get update -qq >/dev/null && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq "${missing[@]}" >/dev/null
}

native_packages() {
    ensure_packages cmake g++ make pkg-config python3 libgtest-dev libgmock-dev libbenchmark-dev \
        nlohmann-json3-dev libavformat-dev libavcodec-dev libavutil-dev
}

# Configures and builds the native tree in $BUILD_DIR: the named targets, or
# everything.
native_build() {
    native_packages
    cmake -S "$PROJECT_ROOT" -B "$BUILD_DIR" -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    if [ $# -gt 0 ]; then
        cmake --build "$BUILD_DIR" -j "$JOBS" --target "$@"
    else
        cmake --build "$BUILD_DIR" -j "$JOBS"
    fi
}
