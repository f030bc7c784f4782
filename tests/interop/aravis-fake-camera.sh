#!/usr/bin/env bash
# The library's GigE port against a GigE Vision device that nobody here wrote: Aravis's fake
# camera, with the XML of its own, in a network namespace on the TAP interface to which the
# simulator bridges a port. The port finds the device by AutoIP and discovery, takes it over and
# reads and writes its features by name; a capture of the session, read by Wireshark's GVCP
# dissector, shows every command answered. Needs root (network namespaces); exits 77, which
# ctest counts as skipped, where it cannot run.
# Usage: aravis-fake-camera.sh CLIENT_PROGRAM FAKE_CAMERA_PROGRAM
set -u
client=${1:?client program}
camera=${2:?fake camera program}
skip() {
  echo "SKIPPED: $*"
  exit 77
}
command -v ip >/dev/null || skip "no ip command"
[ "$(id -u)" -eq 0 ] || skip "network namespaces need root"

ns=vskfake$$
tap=vskf$$
dir=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  ip netns del "$ns" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
ip netns add "$ns" 2>/dev/null || skip "this process may not make network namespaces"

# Waits up to five seconds for a line matching pattern in file.
await() {
  for _ in $(seq 50); do
    grep -q "$2" "$1" 2>/dev/null && return 0
    sleep 0.1
  done
  echo "FAIL: no '$2' in $1: $(cat "$1" 2>/dev/null)"
  exit 1
}

ip netns exec "$ns" timeout 90 "$client" "$tap" 60 "$dir/release" >"$dir/client.log" 2>&1 &
client_pid=$!
await "$dir/client.log" "^attached"
ip -n "$ns" link set lo up
ip -n "$ns" addr add 169.254.0.1/16 dev "$tap"
ip -n "$ns" link set "$tap" up

pcap=$dir/session.pcapng
capturing=
if command -v tshark >/dev/null; then
  ip netns exec "$ns" tshark -i "$tap" -f udp -w "$pcap" >"$dir/tshark.log" 2>&1 &
  capturing=$!
  pids+=("$capturing")
  await "$dir/tshark.log" "Capturing on"
fi
ip netns exec "$ns" "$camera" "$tap" 90 >"$dir/camera.log" 2>&1 &
pids+=($!)
await "$dir/camera.log" "^fake camera on"

# The capture ends before the client takes the interface away.
for _ in $(seq 600); do
  grep -q "^done" "$dir/client.log" 2>/dev/null && break
  kill -0 "$client_pid" 2>/dev/null || break
  sleep 0.1
done
if [ -n "$capturing" ]; then
  sleep 0.5
  kill -INT "$capturing"
  wait "$capturing" 2>/dev/null
fi
touch "$dir/release"
wait "$client_pid"
status=$?
cat "$dir/client.log"
[ "$status" -eq 0 ] || exit 1

if [ -n "$capturing" ]; then
  tshark -r "$pcap" -Y gvcp -T fields -E separator=, -e gvcp.cmd.command \
    -e gvcp.cmd.flag.acq_required -e gvcp.cmd.req_id -e gvcp.ack >"$dir/gvcp" 2>/dev/null
  # Discovery is repeated until the device is there to answer, and an action command with no
  # keys set is answered by no device.
  unanswered=$(awk -F, '$1 != "" && $1 != "0x0100" && ($2 == "True" || $2 == "1") { asked[$3] = $1 }
                        $4 != "" { if (asked[$3] == "0x0002") found = 1; delete asked[$3] }
                        END { for (id in asked) if (asked[id] != "0x0002" || !found) print asked[id] " " id }' "$dir/gvcp")
  [ -z "$unanswered" ] && echo "capture: $(grep -c '^0x' "$dir/gvcp") commands, all acknowledged" || {
    echo "FAIL: commands without an acknowledge: $unanswered"
    exit 1
  }
  for command in 0x0002 0x0082 0x0084; do
    grep -q "^$command," "$dir/gvcp" || {
      echo "FAIL: no command $command in the capture"
      exit 1
    }
  done
else
  echo "capture skipped: tshark is not installed"
fi
exit 0
