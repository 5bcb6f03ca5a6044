#!/usr/bin/env bash
# Builds and runs the tests.  Usage: ./test.sh [PRESET] [further arguments for ctest]
set -eu
cd "$(dirname "$0")"

preset=${1:-release}
[ $# -gt 0 ] && shift
tools/setup test
if [ "$preset" = clang ]; then tools/setup ci; fi
echo "test.sh: configuring and building preset $preset" >&2
cmake --preset "$preset" -DBUILD_TESTING=ON > /dev/null
cmake --build "build/$preset"
exec ctest --test-dir "build/$preset" -LE slow --output-on-failure --no-tests=error \
  -j "$(nproc)" "$@"
