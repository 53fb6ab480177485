#!/usr/bin/env bash
# Installs the library, static and shared, into an empty prefix, and builds and runs a consumer
# through the CMake package, through pkg-config, and with the sources as a subdirectory.
# usage: test.sh SOURCE-FOLDER
set -euo pipefail
source=$1
here=$source/tests/package
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

build() { # build FOLDER SOURCE OPTION...
    cmake -G Ninja -S "$2" -B "$1" "${@:3}" >"$1.log" && cmake --build "$1" >>"$1.log" ||
        { cat "$1.log"; exit 1; }
}
expect() { # expect WHAT COMMAND...
    [ "$("${@:2}")" = $'aW5zdGFsbGVk\r' ] || { echo "failed: $1"; exit 1; }
    echo "ok: $1"
}

for shared in OFF ON; do
    prefix=$work/prefix-$shared
    build "library-$shared" "$source" -DBUILD_SHARED_LIBS=$shared -DCMAKE_INSTALL_PREFIX="$prefix" \
        -DCONTENTCODING_BUILD_TESTS=OFF -DCONTENTCODING_BUILD_TOOL=OFF
    cmake --install "library-$shared" >/dev/null

    build "package-$shared" "$here" -DCMAKE_PREFIX_PATH="$prefix"
    expect "CMake package, shared $shared" "package-$shared/consumer"

    pc=$(find "$prefix" -name contentcoding.pc -printf %h)
    read -ra flags <<<"$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs contentcoding)"
    c++ -std=c++20 "$here/main.cpp" "${flags[@]}" -Wl,-rpath,"$(dirname "$pc")" -o "pc-$shared"
    expect "pkg-config, shared $shared" "./pc-$shared"
done

# What a shared library shows is what its headers name (and templates of the standard library).
foreign=$(nm -D --defined-only library-ON/libcontentcoding.so | grep -vE ' _Z+(N|NK)?St' |
    c++filt | cut -d' ' -f3- | grep -vE '^(typeinfo |typeinfo name |vtable )?(for )?(ContentCoding|StringBuffer|DataBuffer|ByteArrayOwner|Log(Base|Null|Text|ContextExitor)|XString|RefCountedObject(Owner)?|ClsJson(Object|Array)|EncodingConvert|CharsetNaming|_zq(Output|IoParams|Charset|UrlEncode)|zqNew(Char|UnsignedChar|Uint32)|zqStr(Len|Str)|contentcoding::(knownCharsets|JsonContainer|ByteStorage|TypedArrayPointer|StringBufferOutput|FileOutput))\b' || true)
[ -z "$foreign" ] || { printf 'exported without need:\n%s\n' "$foreign"; exit 1; }

build subdirectory "$here" -DCONTENTCODING_SOURCE="$source"
expect "subdirectory" subdirectory/consumer
more=$(find subdirectory/contentcoding -type f \( -name 'contentcode*' -o -name '*_tests' \))
[ -z "$more" ] || { printf 'built for a consumer without need:\n%s\n' "$more"; exit 1; }
