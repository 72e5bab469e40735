# Sourced by the gates that run programs for Windows, from the checkout's root. Sets `runtime` (no such file where it isn't
# installed), and by `prepare_runtime` a folder `scratch` with a prefix of its own, and the layer's home beside it, which
# are removed at the end.
runtime=$(command -v wine64 || echo /usr/lib/wine/wine64)

prepare_runtime() {
    export WINEPREFIX WINEDEBUG=-all WARDLET_HOME WARDLET_DURABILITY=process
    scratch=$(mktemp -d)
    WINEPREFIX=$scratch/prefix
    WARDLET_HOME=$scratch/home
    trap remove_runtime EXIT
    mkdir "$WINEPREFIX" "$WARDLET_HOME" "$scratch"/{here,there}
}
# The runtime's server ends by itself soon after the last program; until then its prefix is in use.
remove_runtime() {
    "$(dirname "$runtime")/wineserver" -k >/dev/null 2>&1 || true
    rm -rf "$scratch"
}
