#!/usr/bin/env bash
# two_machines.sh NUB TOOL MACHINE [TEST]
# Run in a network namespace of its own: makes a second one, joins the two by a pair of interfaces,
# serves the cards of MACHINE in the second and asks for them in the first. Prints what the tool
# prints. With TEST, a program that compares cards, that is run in the first instead.
set -e
nub_program=$1 tool=$2 machine=$3 test=$4

unshare -n sleep 600 & far=$!
nub=
trap 'kill $far $nub 2>/dev/null || true' EXIT
until [ "$(readlink /proc/$far/ns/net)" != "$(readlink /proc/self/ns/net)" ]; do sleep 0.02; done
inside() { nsenter -t $far -n "$@"; }

ip link add near type veth peer name far
ip link set far netns $far
ip addr add 10.77.0.1/24 dev near
ip link set near up
inside ip addr add 10.77.0.2/24 dev far
inside ip link set far up

said=$(mktemp)
nsenter -t $far -n "$nub_program" --machine "$machine" --bind 10.77.0.2 --allow 10.77.0.0/24 \
  > "$said" & nub=$!
until grep -q serving "$said"; do kill -0 $nub; sleep 0.02; done
rm "$said"

unset MORVANE_NUB_PORT  # it is the usual one
if [ -n "$test" ]; then
  MORVANE_TEST_NUB_HOST=10.77.0.2 "$test" --gtest_filter='Boards/*'
  kill -TERM $nub
  wait $nub
  exit
fi
"$tool" --json registers multi 50 126 --host 10.77.0.2
"$tool" --json status --host 10.77.0.2
"$tool" --json registers build --host 10.77.0.2
"$tool" --json registers multi $(seq 100 195) --host 10.77.0.2 > /dev/null
"$tool" registers write 68 99 --host 10.77.0.2 > /dev/null
"$tool" --json registers read 68 --host 10.77.0.2
kill -TERM $nub
wait $nub
