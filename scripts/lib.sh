# Shared by the repository's scripts; read with "source".  Expects to run from the repository's root.

say() { printf '\n== %s\n' "$*"; }

# configure PRESET [CMAKE ARGUMENT...]: once per build directory; afterwards ninja notices changes itself.
configure() {
    local preset=$1
    shift
    [ -f "build/$preset/build.ninja" ] && [ $# -eq 0 ] && return 0
    cmake --preset "$preset" "$@"
}

# build PRESET [TARGET...]: configures when needed.
build() {
    local preset=$1
    shift
    configure "$preset" && cmake --build --preset "$preset" -j "$(nproc)" ${1:+--target "$@"} -- -k 0
}

# quietly TEXT COMMAND...: the command's output is shown only when it fails, TEXT only when it takes its time.
quietly() {
    local text=$1 log status=0 teller
    shift
    log=$(mktemp)
    (sleep 3 && exec printf '%s\n' "$text") &
    teller=$!
    "$@" >"$log" 2>&1 || status=$?
    kill "$teller" 2>/dev/null
    wait "$teller" 2>/dev/null
    [ "$status" -eq 0 ] || cat "$log" >&2
    rm -f "$log"
    return "$status"
}

# our_sources: every C and C++ file of ours, one a line.
our_sources() {
    find backup bench db examples foundation fuzz include platform process site tests \
        -type f \( -name '*.c' -o -name '*.cpp' -o -name '*.h' \) 2>/dev/null | LC_ALL=C sort
}
