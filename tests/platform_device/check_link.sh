#!/bin/sh
# Builds the program for platform "device" and holds that it asks of the maker's libraries exactly what src/platform
# declares: a call that no header declares, or a declaration that nobody needs, would only be found on the device.
#
# usage: check_link.sh CMAKE SOURCE_FOLDER BUILD_FOLDER STUB_LIBRARY CC CXX NM READELF
set -eu

if [ $# -ne 8 ]; then
    echo "usage: check_link.sh CMAKE SOURCE_FOLDER BUILD_FOLDER STUB_LIBRARY CC CXX NM READELF" >&2
    exit 2
fi
cmake=$1 source=$2 build=$3 stub=$4 cc=$5 cxx=$6 nm=$7 readelf=$8
calls='^(tesa_|os[A-Z]|util[A-Z]|open_ra)'

fail() {
    echo "check_link.sh: $*" >&2
    exit 1
}

# same WHAT FILE: the lines of FILE are the declared names.
same() {
    diff "$build.declared" "$2" >&2 || fail "$1 (<: declared in src/platform, >: found)"
}

rm -rf "$build"
mkdir -p "$build"
"$cmake" -S "$source" -B "$build" -DCMAKE_BUILD_TYPE=MinSizeRel -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" \
    -DIPV6CTL_PLATFORM=device -DIPV6CTL_DEVICE_LIBRARIES="$stub" -DIPV6CTL_TESTS=OFF >"$build.log" 2>&1 ||
    { cat "$build.log" >&2; fail "the build could not be configured"; }
"$cmake" --build "$build" >>"$build.log" 2>&1 || { cat "$build.log" >&2; fail "the program could not be built"; }

# A declaration begins at the start of a line; a name in a comment does not.
grep -hE '^[a-z].*\(' "$source/src/platform/config_store.h" "$source/src/platform/common_library.h" |
    sed 's/(.*//; s/.* //; s/^\**//' | LC_ALL=C sort -u >"$build.declared"
[ "$(wc -l <"$build.declared")" -ge 12 ] || fail "the declarations of src/platform could not be read"

"$nm" -D --defined-only "$stub" | sed 's/.* //' | grep -E "$calls" | LC_ALL=C sort -u >"$build.stub"
same "the stub does not answer what is declared" "$build.stub"

"$nm" -D --undefined-only "$build/ipv6ctl" | sed 's/.* //' | grep -E "$calls" | LC_ALL=C sort -u >"$build.asked"
same "the program does not ask for what is declared" "$build.asked"

if grep -q "$source/platform/" "$build/compile_commands.json"; then
    fail "something of platform/ was compiled"
fi
"$readelf" -d "$build/ipv6ctl" | sed -n 's/.*NEEDED.*\[\(.*\)\]/\1/p' | LC_ALL=C sort >"$build.needed"
if grep -vE '^(libmaker_stub\.so|libc\.so.*|ld[-.6].*)$' "$build.needed" >&2; then
    fail "the program needs a library that is neither the C library nor the maker's"
fi
grep -q '^libmaker_stub\.so$' "$build.needed" || fail "the program is not linked against the maker's library"
echo "the program asks for exactly the $(wc -l <"$build.declared") calls that src/platform declares"
