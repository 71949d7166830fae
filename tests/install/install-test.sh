#!/bin/bash
# Installs the build into a prefix, moves the prefix, and checks that applications can use it there: with CMake, with
# pkg-config, header by header, and as programs.
set -Eeuo pipefail

[ $# -eq 4 ] || { echo "usage: install-test.sh BUILD-DIRECTORY SOURCE-DIRECTORY LIBRARY-DIRECTORY COMPILER" >&2; exit 2; }
build=$1 source=$2 library_directory=$3 compiler=$4

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
trap 'echo "failed in line $LINENO" >&2' ERR
prefix=$place/moved

step() { printf -- '-- %s\n' "$*"; }
fail() {
    echo "$*" >&2
    exit 1
}
quietly() { "$@" >"$place/log" 2>&1 || { cat "$place/log" >&2; return 1; }; }

step 'Install, and move the prefix'
quietly cmake --install "$build" --prefix "$place/first"
mv "$place/first" "$prefix"
if grep -rlE --include='*.cmake' --include='*.pc' "$place|$source|$build" "$prefix"; then
    fail 'These files name directories of the build; they would not be valid anywhere else.'
fi

step 'The runtime component is libraries alone'
quietly cmake --install "$build" --prefix "$place/runtime" --component runtime
others=$(find "$place/runtime" ! -type d ! -name 'lib*.so.*' ! -name 'libZebAccess*.so')
[ -z "$others" ] || fail "It has also: $others"

step 'The schemas are there'
for schema in ClientConfig bus scenario; do
    /usr/bin/python3 -m json.tool "$prefix/share/clampcontrolclient/$schema.schema.json" >/dev/null ||
        fail "The schema $schema.schema.json is missing or is not JSON."
done

step 'The sample files are there, and the launcher'
for file in bus/{vehicle,drive,faults,subscribe-again}.json config/ClientConfig.json {bus,scenario}.schema.json; do
    /usr/bin/python3 -m json.tool "$prefix/share/clampcontrolclient/$file" >/dev/null ||
        fail "$file is missing or is not JSON."
done
bus=$prefix/share/clampcontrolclient/bus
# shellcheck disable=SC2016  # a key
schema=$(/usr/bin/python3 -c 'import json, sys; print(json.load(open(sys.argv[1]))["$schema"])' "$bus/vehicle.json")
[ -f "$bus/$schema" ] || fail "vehicle.json names the schema $schema, which is not there."
"$prefix/bin/with-client-config" "$prefix/share/clampcontrolclient/config/ClientConfig.json" -- \
    "$prefix/bin/clamp-monitor" --version >/dev/null || fail 'The launcher does not run a program.'

step 'The package answers to its own minor version alone'
for wanted in 0.1 0.2; do
    mkdir "$place/version-$wanted"
    cat >"$place/version-$wanted/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(Version LANGUAGES CXX)
find_package(ClampControlClient $wanted REQUIRED)
EOT
done
configure() { cmake -S "$1" -B "$1/build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" "${@:2}"; }
quietly configure "$place/version-0.1"
if configure "$place/version-0.2" >"$place/log" 2>&1; then fail 'Version 0.2 was accepted.'; fi

export PKG_CONFIG_PATH=$prefix/$library_directory/pkgconfig
for example in "$source"/examples/*/CMakeLists.txt; do
    name=$(basename "$(dirname "$example")")
    step "Example $name, with CMake"
    cp -r "$source/examples/$name" "$place/$name"
    quietly configure "$place/$name" -DCMAKE_BUILD_TYPE=Debug
    quietly cmake --build "$place/$name/build"

    step "Example $name, with pkg-config"
    # shellcheck disable=SC2046  # flags, split on purpose
    quietly "$compiler" -std=c++17 $(pkg-config --cflags clampcontrolclient) "$place/$name"/*.cpp \
        -o "$place/$name/program" $(pkg-config --libs clampcontrolclient)
    missing=$(LD_LIBRARY_PATH=$prefix/$library_directory ldd "$place/$name/program" | grep 'not found' || true)
    [ -z "$missing" ] || fail "$missing"
done

step 'Each public header alone'
if grep -rnE '#include <boost/' "$prefix/include"; then fail 'Public headers stay free of Boost.'; fi
# shellcheck disable=SC2016,SC2046  # for the inner shell to expand; flags, split on purpose
find "$prefix/include" -name '*.h' -printf '%P\0' |
    xargs -0 -P 2 -I{} bash -c 'echo "#include <$1>" | "${@:2}" || { echo "in header $1" >&2; exit 1; }' bash {} \
        "$compiler" -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -x c++ \
        $(pkg-config --cflags clampcontrolclient) -

step 'No symbols of other libraries are exported'
for library in "$prefix/$library_directory"/lib*.so; do
    foreign=$(nm -DC --defined-only "$library" |
        grep -E '^[0-9a-f]+ [A-Za-z] ((typeinfo|vtable|VTT|typeinfo name|guard variable) for )?(Poco|boost|testing)::' || true)
    [ -z "$foreign" ] || fail "$library: $foreign"
done

step 'Each program tells its version, has a help of 80 columns, and 2 for wrong usage'
version=$(sed -n 's/^ *VERSION \([0-9.]*\)$/\1/p' "$source/CMakeLists.txt" | head -n 1)
for program in "$prefix"/bin/*; do
    name=$(basename "$program")
    [ "$("$program" --version)" = "$name $version" ] || fail "$name --version prints $("$program" --version)."
    wide=$("$program" --help | grep -nE '.{81}' || true)
    [ -z "$wide" ] || fail "The help of $name is wider: $wide"
    status=0
    "$program" --no-such-option >/dev/null 2>"$place/log" || status=$?
    [ "$status,$(wc -l <"$place/log")" = 2,1 ] || fail "$name --no-such-option ends with $status: $(cat "$place/log")"
done

step 'The programs find their libraries'
for program in clamp-monitor zeb-bus-sim; do
    quietly "$prefix/bin/$program" --help
    ! ldd "$prefix/bin/$program" | grep -E "not found|$build" || fail "$program does not use the moved libraries."
done
