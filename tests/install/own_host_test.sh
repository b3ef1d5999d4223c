#!/usr/bin/env bash
# Puts another host in the place of ours: a file of the module is compiled as part of an application that has a target
# `zv_host` of its own, and every host header that it reads has to be the application's.
#
#   own_host_test.sh SOURCE_FOLDER COMPILER
set -euo pipefail
source="$1"
compiler="$2"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

mkdir "$work/application"
(cd "$source" && find host -name '*.h' -exec cp --parents {} "$work/application" \;)

cmake -G Ninja -S "$source/tests/install/own_host" -B "$work/build" -DCMAKE_CXX_COMPILER="$compiler" \
    -DOWN_HOST="$work/application" -DMODULE_SOURCE="$source" >"$work/configure.log" 2>&1 ||
    { cat "$work/configure.log"; exit 1; }

object=module/image_io/CMakeFiles/zv_image_io_objects.dir/format/tables.cpp.o
ninja -C "$work/build" "$object"
ninja -C "$work/build" -t deps "$object" | grep 'host/.*\.h$' >"$work/headers"
cat "$work/headers"
test -s "$work/headers"
if grep -v "$work/application/host/" "$work/headers"; then
    echo "there is a header of another host"
    exit 1
fi
if [ -n "$(ninja -C "$work/build" -t targets all | grep -E '^(module/host/|bin/zvio)')" ]; then
    echo "our host is built, too"
    exit 1
fi
