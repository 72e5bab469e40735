#!/usr/bin/env bash
# Installs the Debian 12 packages that wdltcfg needs. Quick and silent when all of them are there.
# setup.sh build    to build the library and its tools
# setup.sh test     and the tests
# setup.sh all      and every gate (without an argument too)
set -euo pipefail

packages=(
    g++ cmake ninja-build python3          # compiler and build
    liblmdb-dev                            # the registry's store
    nettle-dev                             # AES, SHA-1, HMAC
    libicu-dev                             # code pages and charsets
    libcli11-dev nlohmann-json3-dev libfmt-dev # the tools
    libarchive-dev                         # their backups
    libcurl4-openssl-dev                   # their client of a store that many machines share
)
tests=(git libgtest-dev libgmock-dev python3-jsonschema)
gates=(
    clang clang-format clang-tidy libclang-rt-14-dev # sanitizers, fuzzing
    spin                                   # checks the model of the lock
    mypy python3-pip python3-setuptools python3-wheel # types and wheel of the Python package
    libbenchmark-dev libsqlite3-dev sqlite3 libre2-dev # benchmarks
    dpkg-dev file lintian mmdebstrap pkg-config # packages
    mandoc man-db bash-completion zsh fish                 # manual pages and completions
    squid curl                             # the helper of the proxy, as its users run it
    g++-mingw-w64-x86-64-posix wine64      # the library for Windows
    etcd-server etcd-client openssl        # the store itself, and certificates for it
)
case "${1:-all}" in
    build) ;;
    test) packages+=("${tests[@]}") ;;
    all) packages+=("${tests[@]}" "${gates[@]}") ;;
    *) sed -n '3,5s/^# //p' "$0"; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || { echo "setup.sh: run as root, or install sudo, to add: ${missing[*]}" >&2; exit 1; }
    as_root=(sudo)
fi
echo "setup.sh: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
install_missing() { "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null; }
# Without an update first: where the package lists are there and current, none is needed.
install_missing 2>/dev/null || { "${as_root[@]}" apt-get update -qq && install_missing; }
