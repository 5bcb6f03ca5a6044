#!/usr/bin/env bash
# Builds and runs the tests.  Usage: ./test.sh [PRESET] [further arguments for ctest]
set -eu
cd "$(dirname "$0")"

preset=${1:-release}
[ $# -gt 0 ] && shift
case $preset in
  release | debug | asan | tsan) tools/setup test ;;
  clang) tools/setup ci ;;
  *) echo "test.sh: no preset $preset; there are release, debug, asan, tsan and clang" >&2; exit 2 ;;
esac
echo "test.sh: configuring and building preset $preset" >&2
cmake --preset "$preset" -DBUILD_TESTING=ON > /dev/null
cmake --build "build/$preset"
exec ctest --test-dir "build/$preset" -LE slow --output-on-failure --no-tests=error \
  -j "$(nproc)" "$@"
