# Shared by the scripts beside this file; sourced, not run.

zv_root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"

# Debian 12 packages: what the build needs, then the independent readers and writers that tests and demo use.
zv_packages=(
    g++ cmake ninja-build ccache pkg-config git ca-certificates
    libopenimageio-dev libopenexr-dev libimath-dev libopencolorio-dev libtbb-dev
    libcli11-dev nlohmann-json3-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    openimageio-tools openexr fonts-dejavu-core
)

# What scripts/fuzz needs beside them.
zv_fuzz_packages=(clang-14 libclang-rt-14-dev llvm-14 python3)

# Prints the packages that are not installed, one a line.
zv_missing_packages() {
    local package
    for package in "${zv_packages[@]}"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || echo "$package"
    done
}

# Installs what is missing, and touches nothing when nothing is.
zv_install_packages() {
    command -v dpkg-query >/dev/null && command -v apt-get >/dev/null || {
        echo "This is no Debian system; please see to these packages' counterparts: ${zv_packages[*]}" >&2
        return 0
    }
    local missing as_root=()
    mapfile -t missing < <(zv_missing_packages)
    if [ ${#missing[@]} -eq 0 ]; then
        return 0
    fi
    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
}

# zv_build PRESET [TARGET...]: configures the preset and builds the targets, all of them by default.
zv_build() {
    local preset="$1"
    shift
    local targets=()
    if [ $# -gt 0 ]; then
        targets=(--target "$@")
    fi
    (cd "$zv_root" && cmake --preset "$preset" && cmake --build --preset "$preset" --parallel "$(nproc)" "${targets[@]}")
}
