#!/usr/bin/env bash
# Installs the library and the tool, static and shared, into an empty prefix, and builds and runs a
# consumer through the CMake package, through pkg-config, and with the sources as a subdirectory.
# usage: test.sh SOURCE-FOLDER
set -euo pipefail
source=$1
here=$source/tests/package
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

configure() { # configure FOLDER SOURCE OPTION...
    cmake -G Ninja -S "$2" -B "$1" "${@:3}" >"$1.log" 2>&1 || { cat "$1.log"; exit 1; }
}
build() { # build FOLDER SOURCE OPTION...
    configure "$@"
    cmake --build "$1" >>"$1.log" || { cat "$1.log"; exit 1; }
}
expect() { # expect WHAT COMMAND...
    [ "$("${@:2}" | tr -d '\r')" = aW5zdGFsbGVk ] || { echo "failed: $1"; exit 1; }
    echo "ok: $1"
}

mkdir elsewhere
for row in "static OFF lib" "shared ON lib" "absolute ON $work/elsewhere/lib"; do
    read -r name shared libdir <<<"$row"
    prefix=$work/prefix-$name
    build library "$source" -DBUILD_SHARED_LIBS="$shared" -DCMAKE_INSTALL_PREFIX="$prefix" \
        -DCMAKE_INSTALL_LIBDIR="$libdir" -DCONTENTCODING_BUILD_TESTS=OFF
    cmake --install library >/dev/null
    expect "built tool, $name" library/tool/contentcode encode base64 <(printf installed)
    expect "installed tool, $name" "$prefix/bin/contentcode" encode base64 <(printf installed)
    made=({library/tool,"$prefix/bin"}/contentcode)
    [ "$shared" = OFF ] || mapfile -t -O 2 made < <(find library "$prefix" elsewhere -name '*.so.0.1')
    [ "$shared" = OFF ] || [ ${#made[@]} -ge 4 ] || { echo "not all is made: ${made[*]}"; exit 1; }
    "$here/check-binaries.sh" "${made[@]}"

    build "package-$name" "$here" -DCMAKE_PREFIX_PATH="$prefix;$work/elsewhere"
    expect "CMake package, $name" "package-$name/consumer"

    pc=$(find "$prefix" elsewhere -name contentcoding.pc -printf %h)
    read -ra flags <<<"$(PKG_CONFIG_PATH=$pc pkg-config --cflags --libs contentcoding)"
    c++ -std=c++20 "$here/main.cpp" "${flags[@]}" -Wl,-rpath,"$(cd "$pc/.." && pwd)" -o "pc-$name"
    expect "pkg-config, $name" "./pc-$name"
done
readelf -d library/libcontentcoding.so | grep -q 'SONAME.*\[libcontentcoding\.so\.0\.1\]' || { echo "other SONAME"; exit 1; }

# What a shared library shows is what its headers name (and templates of the standard library).
foreign=$(nm -D --defined-only library/libcontentcoding.so | grep -vE ' _Z+(N|NK)?St' |
    c++filt | cut -d' ' -f3- | grep -vE '^(typeinfo |typeinfo name |vtable )?(for )?(ContentCoding|StringBuffer|DataBuffer|ByteArrayOwner|Log(Base|Null|Text|ContextExitor)|XString|RefCountedObject(Owner)?|ClsJson(Object|Array)|EncodingConvert|CharsetNaming|_zq(Output|IoParams|Charset|UrlEncode)|zqNew(Char|UnsignedChar|Uint32)|zqStr(Len|Str)|contentcoding::((ascii85|base16|base32|base58|base64|charset|dkim|eda|einvoice|header|mailbox|parameter|quoted_printable|transfer)::.*|Error::message|position|knownCharsets|JsonContainer|ByteStorage|TypedArrayPointer|StringBufferOutput))\b' || true)
[ -z "$foreign" ] || { printf 'exported without need:\n%s\n' "$foreign"; exit 1; }

# RapidJSON is taken from where its own package says.
mkdir json
printf 'set(RAPIDJSON_INCLUDE_DIRS %s)\n' "$work/json" >json/RapidJSONConfig.cmake
build subdirectory "$here" -DCONTENTCODING_SOURCE="$source" -DRapidJSON_DIR="$work/json"
grep -q -- "-isystem $work/json" subdirectory/build.ninja || { echo "RapidJSON's folder is not used"; exit 1; }
expect "subdirectory" subdirectory/consumer
more=$(find subdirectory/contentcoding -type f \( -name 'contentcode*' -o -name '*_tests' \))
[ -z "$more" ] || { printf 'built for a consumer without need:\n%s\n' "$more"; exit 1; }

# A static build of any preset looks for libraries in the system's folders only. ARM's kernels are chosen
# whatever a system calls that processor.
for row in {dev,release,asan-ubsan,tsan,coverage,debug-stl,bench}:contentcode {aarch64,arm64,ARM64}:CONTENTCODING_NEON; do
    of=${row%:*} options=(-DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR="${row%:*}")
    [ "${row#*:}" != contentcode ] || options=(--preset "$of" -DCONTENTCODING_BUILD_BENCHMARKS=OFF)
    configure "$of" "$source" "${options[@]}" -DCONTENTCODING_BUILD_TESTS=OFF
    grep -q "${row#*:}" "$of/build.ninja" || { echo "$of: no ${row#*:}"; exit 1; }
    ! grep -o -- '-rpath,.*' "$of/build.ninja" || { echo "^ in a static build, $of"; exit 1; }
done
