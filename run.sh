#!/usr/bin/env bash
# Builds Morvane and starts it; installs what is missing first. Arguments go to the program.
set -eu
cd "$(dirname "$0")"

tools/setup build
if [ ! -f build/release/build.ninja ]; then
  echo "run.sh: configuring build/release" >&2
  mkdir -p build/release
  cmake --preset release -DBUILD_TESTING=OFF -DMORVANE_BENCH=OFF \
    > build/release/configure.log 2>&1 || { cat build/release/configure.log >&2; exit 1; }
fi
echo "run.sh: building" >&2
cmake --build build/release --target morvanectl >&2

# Until the window exists the command-line demo is what there is to see.
if [ $# -eq 0 ]; then set -- demo; fi
exec build/release/bin/morvanectl "$@"
