# shellcheck shell=bash
# What the scripts share. The caller has changed to the project's root.

# Tests and tools must not depend on the caller's language.
export LC_ALL=C.UTF-8

if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
    # Else it keeps nothing that is compiled with precompiled headers.
    export CCACHE_SLOPPINESS=pch_defines,time_macros
fi

step() { echo "== $*"; }

fail() {
    echo "$*" >&2
    exit 1
}

# Runs a command and shows what it said only when it fails.
quietly() {
    local output
    output=$("$@" 2>&1 </dev/null) || {
        printf '%s\n' "$output" >&2
        fail "failed: $*"
    }
}

# build PRESET [TARGET...]: configures and builds.
build() {
    local preset=$1
    shift
    quietly cmake --preset "$preset"
    quietly cmake --build --preset "$preset" --parallel "$(nproc)" ${1:+--target "$@"}
}

# run_tests ARGUMENT...: runs the tests that these arguments of ctest tell it, and shows its closing
# lines, or what failed.
run_tests() {
    local output
    output=$(ctest "$@" --parallel "$(nproc)" --no-tests=error --output-on-failure 2>&1 \
        </dev/null) || {
        printf '%s\n' "$output" | grep -Ev '^ *Start +[0-9]+:| Passed +[0-9.]+ sec$' >&2
        fail "failed: ctest $*"
    }
    printf '%s\n' "$output" | sed -n '/tests passed/,$p'
}
