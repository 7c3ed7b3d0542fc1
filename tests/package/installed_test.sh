#!/usr/bin/env bash
# Installs the libraries, moves the installed folder, and builds against it as a user does: with
# find_package, and with pkg-config alone.
#
#   installed_test.sh SOURCE BUILD GENERATOR COMPILER PROGRAM
#
# PROGRAM is the README's program, a source file.
set -euo pipefail

source=$1 build=$2 generator=$3 compiler=$4 program=$5
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT
fail() {
    printf '%s\n' "$*" >&2
    exit 1
}
unset DESTDIR CXXFLAGS CFLAGS LDFLAGS LD_LIBRARY_PATH

cmake --install "$build" --prefix "$place/first" >/dev/null
mv "$place/first" "$place/moved"
prefix=$place/moved

# All public headers are installed, and no others.
diff <(cd "$prefix/include" && find . -type f | LC_ALL=C sort) \
    <(for folder in include fenletir/include hosts/include arrays/include parallel/include; do
        (cd "$source/$folder" && find . -type f)
    done | LC_ALL=C sort) || fail 'The installed headers are not the public ones.'

# No file names the folder of the build or of the first installation.
if grep -rlF -e "$source" -e "$build" -e "$place/first" "$prefix" --include='*.cmake' \
    --include='*.pc' --include='*.h'; then
    fail 'An installed file names the folders of the build.'
fi
for library in "$prefix"/lib*/*.so; do
    [ -e "$library" ] || continue # true for static libraries
    readelf --dynamic --wide "$library" | grep -E 'R(UN)?PATH' | grep -qF ': [$ORIGIN]' ||
        fail "$library looks for the others elsewhere than beside it."
done

cmake -S "$source/tests/package/consumer" -B "$place/consumer" -G "$generator" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE=Debug -DCMAKE_PREFIX_PATH="$prefix" \
    >"$place/log" || { cat "$place/log" && fail 'The package is not found.'; }
cmake --build "$place/consumer" >"$place/log" || {
    cat "$place/log" && fail 'The consumer does not build.'
}
"$place/consumer/consumer"
"$place/consumer/with_hosts"

# From here on, only pkg-config tells where the libraries are.
PKG_CONFIG_LIBDIR=$(echo "$prefix"/lib*/pkgconfig)
[ -d "$PKG_CONFIG_LIBDIR" ] || PKG_CONFIG_LIBDIR=$(echo "$prefix"/lib/*/pkgconfig)
export PKG_CONFIG_LIBDIR
version=$(sed -n 's/^project(fenletexec VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")
for library in fenletir fenletexec fenlethosts fenletarrays fenletparallel; do
    pkg-config --validate "$library"
    [ "$(pkg-config --modversion "$library")" = "$version" ] ||
        fail "pkg-config tells another version of $library."
    [ "$(realpath "$(pkg-config --variable=prefix "$library")")" = "$(realpath "$prefix")" ] ||
        fail "pkg-config tells another prefix of $library."
done

# Static libraries are linked by a C compiler, which does not add the C++ runtime.
linker=$compiler static=()
if ! compgen -G "${PKG_CONFIG_LIBDIR%/pkgconfig}/*.so" >/dev/null; then
    linker=cc static=(--static)
fi
build_and_run() { # build_and_run SOURCE LIBRARY: prints what the program prints
    local cflags libs
    read -ra cflags < <(pkg-config "${static[@]}" --cflags "$2")
    read -ra libs < <(pkg-config "${static[@]}" --libs "$2")
    "$compiler" -std=c++17 -c -o "$place/alone.o" "$1" "${cflags[@]}"
    "$linker" -o "$place/alone" "$place/alone.o" "${libs[@]}"
    LD_LIBRARY_PATH=${PKG_CONFIG_LIBDIR%/pkgconfig} "$place/alone"
}
build_and_run "$source/tests/package/consumer/listing.cpp" fenletir
build_and_run "$source/tests/package/consumer/main.cpp" fenletexec
[ "$(build_and_run "$program" fenletarrays)" = "$(printf '%s\n' -40 32 68 212)" ] ||
    fail "The README's program prints something else than it should."
