#!/usr/bin/env bash
# The installed library as its users get it: built static and shared, installed into scratch
# prefixes, then a C-only project built against each through the CMake package and through
# pkg-config, and run. The shared library must export only what the installed headers declare,
# carry a versioned SONAME, and the installed tool must run from its prefix.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
scratch=$(mktemp -d "${TMPDIR:-/tmp}/propqos-install.XXXXXX")
trap 'rm -rf "$scratch"' EXIT
here=$root/tests/install/consumer

for kind in static shared; do
    shared=OFF; [ $kind = shared ] && shared=ON
    prefix=$scratch/$kind
    cmake -S "$root" -B "$scratch/build-$kind" -G Ninja -DBUILD_SHARED_LIBS=$shared \
        -DPROPQOS_BUILD_TESTS=OFF >/dev/null
    cmake --build "$scratch/build-$kind" -j "$(nproc)" >/dev/null
    # Installed elsewhere than configured, as packagers and `--prefix` users do.
    cmake --install "$scratch/build-$kind" --prefix "$prefix" >/dev/null

    cmake -S "$here" -B "$scratch/cmake-$kind" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
    cmake --build "$scratch/cmake-$kind" >/dev/null
    echo "$kind, CMake package: $(LD_LIBRARY_PATH="$prefix/lib" "$scratch/cmake-$kind/consumer")"

    static_flag=(); [ $kind = static ] && static_flag=(--static)
    export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
    # shellcheck disable=SC2046 # pkg-config prints a list of flags
    gcc -std=c11 -Wall -Werror "$here/main.c" -o "$scratch/pc-$kind" \
        $(pkg-config "${static_flag[@]}" --cflags --libs propqos) -Wl,-rpath,"$prefix/lib"
    echo "$kind, pkg-config: $("$scratch/pc-$kind")"
    sarif=$("$prefix/bin/propqos" check --format sarif "$root/examples/profiles.xml" || true)
    grep -qF "\"informationUri\": \"file://$prefix/share/doc/propqos/README.md\"" <<<"$sarif" ||
        { echo "the installed tool does not name its installed README" >&2; exit 1; }
done

lib=$scratch/shared/lib/libpropqos.so
objdump -p "$lib" | grep -q 'SONAME *libpropqos\.so\.0$' || { echo "no versioned SONAME" >&2; exit 1; }
declared=$(cat "$scratch"/shared/include/propqos/*.h* "$scratch"/shared/include/propqos/sys/*.h |
    grep -oE '[A-Za-z_][A-Za-z0-9_]*' | sort -u)
exported=$(nm -D --defined-only "$lib" | awk '{print $3}' | sort -u)
undeclared=$(comm -23 <(grep -v '^_Z' <<<"$exported") <(echo "$declared"))
# A C++ name is declared when it is in namespace propqos and each part of its qualified name is
# (operators and destructors aside).
while read -r name; do
    [ -n "$name" ] || continue
    qualified=$(sed -E 's/^(typeinfo name for|typeinfo for|vtable for) //; s/\[abi:[^]]*\]//g; s/\(.*//' <<<"$name")
    case $qualified in propqos::*) ;; *) undeclared+=$'\n'"$name"; continue ;; esac
    IFS=' ' read -ra parts <<<"${qualified//::/ }"
    for part in "${parts[@]}"; do
        case $part in operator* | '~'*) continue ;; esac
        grep -qx -- "$part" <<<"$declared" || { undeclared+=$'\n'"$name"; break; }
    done
done < <(grep '^_Z' <<<"$exported" | c++filt)
undeclared=$(sed '/^$/d' <<<"$undeclared")
if [ -n "$undeclared" ]; then
    echo "exported but declared in no installed header:" >&2
    echo "$undeclared" >&2
    exit 1
fi
echo "shared library: versioned SONAME, exports only declared names"
