#!/bin/bash
# Builds the client library on an external platform: here the bundled one, installed separately and described by its own
# packages, as a vehicle's platform would be.
set -Eeuo pipefail

[ $# -eq 3 ] || { echo "usage: external-platform-test.sh BUILD-DIRECTORY SOURCE-DIRECTORY COMPILER" >&2; exit 2; }
build=$1 source=$2 compiler=$3

place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
trap 'echo "failed in line $LINENO" >&2' ERR
platform=$place/platform

step() { printf -- '-- %s\n' "$*"; }
quietly() { "$@" >"$place/log" 2>&1 || { cat "$place/log" >&2; return 1; }; }

step 'A platform: its libraries, its headers, and nothing of the client'
quietly cmake --install "$build" --prefix "$place/all"
mkdir -p "$platform"/{include,lib,cmake}
cp -a "$place"/all/include/{zeb,zebutil,ara} "$platform/include"
find "$place/all" \( -name 'libZebAccess*.so*' -o -name 'libaralog.so*' \) -exec cp -a {} "$platform/lib" \;

describe() { # PACKAGE TARGET LIBRARY
    cat >>"$platform/cmake/$1Config.cmake" <<EOT
add_library($2 SHARED IMPORTED)
set_target_properties($2 PROPERTIES
  IMPORTED_LOCATION $platform/lib/$3
  INTERFACE_INCLUDE_DIRECTORIES $platform/include)
EOT
}
describe ZebAccess Zeb::AccessUtility libZebAccessUtility.so
describe ZebAccess Zeb::Access libZebAccess.so
describe AraLog Ara::Log libaralog.so

step 'The client library on it'
quietly cmake -S "$source" -B "$place/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug \
    -DCLAMPCONTROL_PLATFORM=external -DCLAMPCONTROL_BUILD_TOOLS=OFF -DBUILD_TESTING=OFF \
    -DCLAMPCONTROL_WARNINGS_AS_ERRORS=ON \
    -DCMAKE_PREFIX_PATH="$platform" -DZebAccess_DIR="$platform/cmake" -DAraLog_DIR="$platform/cmake"
quietly cmake --build "$place/build"
quietly cmake --install "$place/build" --prefix "$place/prefix"
brought=$(find "$place/prefix" -path '*/zeb/*' -o -path '*/zebutil/*' -o -path '*/ara/*' -o -name 'libZeb*' -o -name 'libaralog*')
[ -z "$brought" ] || { echo "The client's package brings the platform along: $brought" >&2; exit 1; }

step 'An application on both'
cp -r "$source/examples/first-client" "$place/application"
quietly cmake -S "$place/application" -B "$place/application/build" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_PREFIX_PATH="$place/prefix" -DZebAccess_DIR="$platform/cmake" -DAraLog_DIR="$platform/cmake"
quietly cmake --build "$place/application/build"
# On a vehicle the loader finds the platform's libraries.
used=$(LD_LIBRARY_PATH=$platform/lib ldd "$place/application/build/first-client")
for library in "$place/prefix" "$platform"; do
    grep -qF "$library" <<<"$used" || { echo "The application does not use $library: $used" >&2; exit 1; }
done
