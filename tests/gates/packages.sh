#!/usr/bin/env bash
# Uses what BUILD installs as others do, and makes Debian's packages: packages.sh BUILD [--root]
# --root: installs the packages in a clean Debian 12 root too; needs root, the network and a few minutes.
set -euo pipefail
cd "$(dirname "$0")/../.."
source_dir=$PWD
build=$(cd "$1" && pwd)
work=$(mktemp -d)
prefix_before=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
fail() { echo "packages: $*"; exit 1; }
# The programs are linked with room for their run path below the prefix.
build_for() {
    cmake "$build" -DCMAKE_INSTALL_PREFIX="$1" >/dev/null
    cmake --build "$build" --target wdltctl wdltreg wardlet-acl wardlet-peer WdMsg WdDbg64 WdTar WdHttp compressed_documents >/dev/null
}
finish() {
    build_for "$prefix_before"
    rm -rf "$work"
}
trap finish EXIT

# A folder that is moved after the installation. Only its paths are in the environment.
build_for "$prefix_before"
cmake --install "$build" --prefix "$work/installed" >/dev/null
mkdir "$work/other"
prefix=$work/other/place
mv "$work/installed" "$prefix"
if found=$(grep -rlF -e "$source_dir" -e "$work" "$prefix"); then
    fail "these files know where they were made: $found"
fi
libraries=$(dirname "$(find "$prefix" -name 'libWdltCfg.so.1')")
clean() {
    env -i HOME="$work/nobody" PATH="$prefix/bin:/usr/bin:/bin" WARDLET_HOME="$work/home" CMAKE_PREFIX_PATH="$prefix" \
        PKG_CONFIG_PATH="$libraries/pkgconfig" XDG_DATA_DIRS="$prefix/share:/usr/share" "$@"
}

# The tools find all libraries that are loaded by name: the charsets, the archives, and the trace library for the log.
printf '[ServiceSession]\nEnable=1\nLevel=257\n[InteractiveSession]\nEnable=1\nLevel=257\n' >"$libraries/Wardlet.ini"
clean wdltctl init --install "$work/home/wardlet" >/dev/null
clean wdltctl add items card '4711 0815' >/dev/null
clean wdltctl backup "$work/backup" >/dev/null
[ "$(clean wdltctl get system proxy-port)" = 6999 ]
[ "$(clean wdltreg query -r SOFTWARE/Halvermoor/PLK/Wardlet | wc -l)" -gt 200 ]
lines() { wc -l <"$work/home/log/qxcWdltCfg.log"; }
before=$(lines)
clean wdltctl enable pvs >/dev/null
[ "$(lines)" -gt "$before" ] || fail "the log is on, and the tools don't write it"
rm "$libraries/Wardlet.ini"

# docs/getting-started.md with its program; then the same program and one with the layer by way of CMake.
mkdir "$work/program"
sed -n '/^```c$/,/^```$/{/^```/!p}' docs/getting-started.md >"$work/program/port.c"
(cd "$work/program" && clean "$source_dir/tests/gates/operating.sh" "$prefix" docs/getting-started.md 12)
cat >"$work/program/mutex.cpp" <<'CPP'
#include <platform/win32.h>
int main() {
    const HANDLE mutex = CreateMutexA(nullptr, FALSE, "Global\\wdlt_change_mutex");
    return mutex != nullptr && WaitForSingleObject(mutex, INFINITE) == WAIT_OBJECT_0 && ReleaseMutex(mutex) ? 0 : 1;
}
CPP
cat >"$work/program/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(programs LANGUAGES C CXX)
find_package(wdltcfg 1.0 REQUIRED)
add_executable(port port.c)
target_link_libraries(port PRIVATE wdltcfg::wdltcfg)
add_executable(mutex mutex.cpp)
target_link_libraries(mutex PRIVATE wdltcfg::platform)
CMAKE
clean cmake -S "$work/program" -B "$work/program/build" >/dev/null
clean cmake --build "$work/program/build" >/dev/null
clean "$work/program/build/port" >/dev/null
clean "$work/program/build/mutex"
clean g++ -std=c++17 -Wpedantic -Werror "$work/program/mutex.cpp" $(clean pkg-config --cflags --libs wdltcfg-platform) -o "$work/program/linked"

# Manual pages without a warning, in which each verb is; completions in which it is too.
for tool in wdltctl wdltreg wardlet-acl wardlet-peer; do
    page=$prefix/share/man/man1/$tool.1.gz
    mandoc -Tlint -W warning "$page"
    warnings=$(LC_ALL=C.UTF-8 man --warnings -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$tool.1: $warnings"
    for verb in $(clean "$tool" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z-]*\) .*/\1/p'); do
        zcat "$page" | grep -q "^\.SS.* ${verb//-/\\\\-}\|^\.SS.* ${verb//-/\\\\-}\\\\fR" || fail "$tool.1 has no $verb"
        clean "$tool" --complete "$verb" | grep -q "^$verb"$'\t' || fail "$tool doesn't complete $verb"
    done
done
clean wdltctl --complete '' | grep -q '^set'$'\t' # or the loop had nothing to look at
[ "$(clean wdltreg --complete query software/h)" = software/Halvermoor/ ]
clean wdltreg --complete query SOFTWARE/Halvermoor/PLK/Wardlet/ proxyp | grep -q '^ProxyPort'

# What the three shells make of it, which find it as docs/getting-started.md says: the line up to the cursor, and the words that may come next.
zsh_dir=$(dirname "$(find "$prefix" -name _wdltctl)")
in_bash() {
    clean bash -c '. /usr/share/bash-completion/bash_completion; _completion_loader wdltctl; compopt() { :; }
        COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _wdltctl; printf "%s\n" "${COMPREPLY[@]}"' "$0" "$@"
}
in_zsh() {
    clean zsh -fc 'fpath=($0 $fpath); autoload -U _wdltctl; compadd() { print -rl -- ${(P)@[-1]} }
        words=("$@"); CURRENT=$#; _wdltctl' "$zsh_dir" "$@"
}
in_fish() {
    clean fish -c 'complete -C "$argv" | string replace -r "\t.*" ""; true' "$@"
}
for shell in in_bash in_zsh in_fish; do
    while IFS='|' read -r typed expected; do
        read -ra words <<<"$typed"
        [[ $typed != *' ' ]] || words+=('')
        found=$($shell "${words[@]}" | sort | xargs)
        [ "$found" = "$expected" ] || fail "$shell: $typed gives $found"
    done <<'ROWS'
wdltctl st|status
wdltctl get handler |HTTP POP3 SMTP
wdltctl set system prox|proxy-port=
wdltctl get virus f|files
wdltctl enable fire|firefox
wdltctl enable pdp --protocol |4 5 6 7 http smtp
wdltctl list re|records redirects
wdltctl add urls |black white
wdltctl check-url http://example.com/ --list b|black
wdltctl get system --sec|--secrets
wdltctl get nothing |
ROWS
done

# The documents lead nowhere else, and the examples are programs.
documents=$prefix/share/doc/wdltcfg
while IFS=: read -r document link; do
    link=${link#](}
    [ -e "$(dirname "$document")/${link%%[#)]*}" ] || fail "$document: $link isn't installed"
done < <(grep -roE '\]\([^):]*\)' --include='*.md' "$documents")
clean "$documents/examples/run.sh" "$prefix"

# Without the tools, what they alone need isn't looked for.
cmake -S . -B "$work/bare" -G Ninja --no-warn-unused-cli -DWDLT_BUILD_TOOLS=OFF -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON \
    -DCMAKE_DISABLE_FIND_PACKAGE_fmt=ON -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON >/dev/null
! grep -q -- -Werror "$work/bare/build.ninja" || fail "warnings are errors without a preset"

# Debian's packages.
build_for /usr
cpack --config "$build/CPackConfig.cmake" -B "$work/debs" >"$work/cpack.log" 2>&1 || fail "$(cat "$work/cpack.log")"
lintian --allow-root --fail-on error --suppress-tags initial-upload-closes-no-bugs "$work"/debs/*.deb
[ "$(cd "$work/debs" && ls ./*.deb | wc -l)" = 4 ]

if [ "${2:-}" != --root ]; then
    echo "packages: good; not installed in a clean root (--root does that)"
    exit 0
fi
chmod 755 "$work"
mmdebstrap --quiet --variant=minbase --format=null --include=gcc,g++,libc6-dev,pkg-config,cmake,make,python3 \
    --customize-hook="copy-in $work/debs $source_dir/docs $source_dir/tests $source_dir/examples /root" \
    --customize-hook="copy-in $work/program /root" \
    --customize-hook='chroot "$1" sh -ec "apt-get install -qq --no-install-recommends /root/debs/*.deb >/dev/null"' \
    --customize-hook='chroot "$1" sh -ec "cd /root/program && ../tests/gates/operating.sh /usr docs/getting-started.md 12"' \
    --customize-hook='chroot "$1" sh -ec "cd /root && examples/run.sh /usr"' \
    --customize-hook='chroot "$1" sh -ec "apt-get purge -qq libwdltcfg1 >/dev/null; ! find /usr/lib | grep -i wdlt"' \
    bookworm /dev/null /etc/apt/sources.list.d/*.sources
echo "packages: good, in a clean root too"
