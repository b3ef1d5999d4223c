#!/usr/bin/env bash
# Installs a build into a folder of its own and builds programs against it, through the CMake package and through
# pkg-config. Every installed header has to compile by itself.
#
#   install_test.sh BUILD_FOLDER SOURCE_FOLDER COMPILER [COMPILER FLAGS]
set -euo pipefail
build="$1"
source="$2"
compiler="$3"
flags="${4:-}"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/installed"

step() { echo "-- $*"; }

step "install"
cmake --install "$build" --prefix "$work/first" >/dev/null
mv "$work/first" "$prefix" # an installed tree can be moved
libraries="$(dirname "$(find "$prefix" -name 'libzv_image_io.so')")"

step "zvio finds its libraries"
"$prefix/bin/zvio" --version

step "the CMake package"
cmake -S "$source/tests/install/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="$flags" >"$work/configure.log" 2>&1 || { cat "$work/configure.log"; exit 1; }
cmake --build "$work/cmake" >"$work/build.log" 2>&1 || { cat "$work/build.log"; exit 1; }
"$work/cmake/surface" "$work/a.png"
"$work/cmake/embedding" "$work/a.png"
"$work/cmake/renderer" "$work/a.png" "$work/frame.exr"
"$prefix/bin/zvio" verify "$work/frame.exr"

step "pkg-config"
export PKG_CONFIG_PATH="$libraries/pkgconfig${PKG_CONFIG_PATH:+:$PKG_CONFIG_PATH}"
words="$(pkg-config --cflags --libs zv_image_io)"
# shellcheck disable=SC2086 # flags are words
"$compiler" -std=c++20 $flags "$source/tests/install/consumer/surface.cpp" -o "$work/surface" $words -Wl,-rpath,"$libraries"
"$work/surface" "$work/b.png"
test "$(pkg-config --modversion zv_image_io)" = "$("$prefix/bin/zvio" --version | cut -d' ' -f2)"

step "the example of the README is the one that was built"
sed -n '/^```cpp$/,/^```$/p' "$source/README.md" | sed '1d;$d' | diff - "$source/tests/install/consumer/embedding.cpp"

step "the renderer of the documentation is the one that was built"
sed -n '/^```cpp$/,/^```$/p' "$source/docs/embedding.md" | sed '1d;$d' | diff - "$source/tests/install/consumer/renderer.cpp"

step "every operation has a test, and docs/api.md lists them all"
"$source/scripts/api-table" | diff "$source/docs/api.md" -

step "headers compile by themselves"
includes="$(pkg-config --cflags zv_image_io)"
export compiler includes
find "$prefix/include" -name '*.h' -print0 |
    xargs -0 -P "$(nproc)" -I{} sh -c '$compiler -std=c++20 -fsyntax-only -Wall -Wextra $includes -x c++ -include "$1" /dev/null || exit 255' sh {}

step "the library links what it may"
readelf -d "$libraries/libzv_image_io.so" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | sort >"$work/needed"
cat "$work/needed"
if grep -Evq '^(libzv_host|libOpenImageIO(_Util)?|libOpenEXR(Core|Util)?-|libIex-|libIlmThread-|libImath-|libOpenColorIO|libstdc\+\+|libm\.|libgcc_s|libc\.|ld-linux|libasan|libubsan|libtsan|libpthread|libz\.)' "$work/needed"; then
    echo "there is a library too many"
    exit 1
fi
