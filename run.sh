#!/usr/bin/env bash
# Builds Morvane and starts it; installs what is missing first. Without arguments that is the
# window; arguments go to morvanectl.
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
cmake --build build/release --target morvane-gui morvanectl >&2

# Without arguments the window opens; where there is no display the command line's demo runs.
if [ $# -eq 0 ] && [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
  exec build/release/bin/morvane-gui
fi
if [ $# -eq 0 ]; then set -- demo; fi
exec build/release/bin/morvanectl "$@"
