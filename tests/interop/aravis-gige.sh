#!/usr/bin/env bash
# Aravis, a GigE Vision client that nobody here wrote, against the simulated camera: the camera is
# served on a TAP interface inside a network namespace of its own, and arv-tool-0.8 finds it,
# reads its registers, features and memory, and downloads its XML. A capture of the session,
# read by Wireshark's GVCP dissector, shows every command answered. Needs root (network
# namespaces); exits 77, which ctest counts as skipped, where it cannot run.
# Usage: aravis-gige.sh SERVE_PROGRAM
set -u
serve=${1:?serving program}
skip() {
  echo "SKIPPED: $*"
  exit 77
}
command -v arv-tool-0.8 >/dev/null || skip "arv-tool-0.8 is not installed (scripts/install-deps.sh)"
command -v ip >/dev/null || skip "no ip command"
[ "$(id -u)" -eq 0 ] || skip "network namespaces need root"

ns=vskarv$$
tap=vska$$
dir=$(mktemp -d)
serving=
capturing=
cleanup() {
  [ -n "$capturing" ] && kill "$capturing" 2>/dev/null
  [ -n "$serving" ] && kill "$serving" 2>/dev/null
  wait 2>/dev/null
  ip netns del "$ns" 2>/dev/null
  rm -rf "$dir"
}
trap cleanup EXIT
ip netns add "$ns" 2>/dev/null || skip "this process may not make network namespaces"
in_ns() { timeout 20 ip netns exec "$ns" "$@"; }

failed=0
fail() {
  echo "FAIL: $*"
  failed=1
}

# Waits up to five seconds for a line matching pattern in file.
await() {
  for _ in $(seq 50); do
    grep -q "$2" "$1" 2>/dev/null && return 0
    sleep 0.1
  done
  echo "FAIL: no '$2' in $1: $(cat "$1" 2>/dev/null)"
  exit 1
}

model="Interop $$"
cat >"$dir/rig.xml" <<RIG
<rig>
  <board type="2898" ports="1" design="gige-korvid"/>
  <camera id="interop" vendor="Vesk Interop" modelName="$model" serial="IOP-7" xml="zipped">
    <link board="0" port="0"/>
  </camera>
</rig>
RIG

ip netns exec "$ns" "$serve" --rig "$dir/rig.xml" --seconds 120 "$tap" >"$dir/serve.log" 2>&1 &
serving=$!
await "$dir/serve.log" "^serving camera 'interop' on $tap"
ip -n "$ns" link set lo up
ip -n "$ns" addr add 169.254.0.1/16 dev "$tap"
ip -n "$ns" link set "$tap" up

pcap=$dir/session.pcapng
if command -v tshark >/dev/null; then
  ip netns exec "$ns" tshark -i "$tap" -f udp -w "$pcap" >"$dir/tshark.log" 2>&1 &
  capturing=$!
  await "$dir/tshark.log" "Capturing on"
fi

# Discovery: the camera by its identity and its link-local address.
in_ns arv-tool-0.8 >"$dir/found" 2>&1 || fail "discovery: $(cat "$dir/found")"
ip=$(sed -n "s/^Vesk Interop-$model-IOP-7 (\(169\.254\.[0-9.]*\))\$/\1/p" "$dir/found")
[ -n "$ip" ] || {
  echo "FAIL: not discovered: $(cat "$dir/found")"
  exit 1
}

# Features from the camera's feature table, its registers read by GVCP READREG: the GigE Vision
# version, the heartbeat time-out and the register behind Width.
in_ns arv-tool-0.8 -a "$ip" control DeviceModelName Width 'R[0x0000]' 'R[0x0938]' 'R[0x100108]' \
  >"$dir/control" 2>&1 || fail "control: $(cat "$dir/control")"
for line in "DeviceModelName = $model" "Width = 1920 " "R[0x00000000] = 0x00020000" \
  "R[0x00000938] = 0x00000bb8" "R[0x00100108] = 0x00000780"; do
  grep -qF "$line" "$dir/control" || fail "control: no '$line' in: $(cat "$dir/control")"
done

# The XML by READMEM from the first URL, zipped on the camera, whole.
in_ns arv-tool-0.8 -a "$ip" genicam >"$dir/camera.xml" 2>"$dir/genicam.log" ||
  fail "genicam: $(cat "$dir/genicam.log")"
grep -q "ModelName=\"${model// /_}\"" "$dir/camera.xml" || fail "genicam: not the camera's XML"
grep -q 'Name="Width"' "$dir/camera.xml" || fail "genicam: no Width in the XML"
tail -c 200 "$dir/camera.xml" | grep -q '</RegisterDescription>' || fail "genicam: XML cut short"

# Every command of the session that asked for an acknowledge got one, and they were of the kinds
# the steps above send.
if [ -n "$capturing" ]; then
  # The capture may have started just after the first discovery went out: one more, surely seen.
  in_ns arv-tool-0.8 >/dev/null 2>&1 || fail "second discovery"
  sleep 0.5
  kill -INT "$capturing"
  wait "$capturing" 2>/dev/null
  capturing=
  tshark -r "$pcap" -Y gvcp -T fields -E separator=, -e gvcp.cmd.command \
    -e gvcp.cmd.flag.acq_required -e gvcp.cmd.req_id -e gvcp.ack >"$dir/gvcp" 2>/dev/null
  unanswered=$(awk -F, '$1 != "" && ($2 == "True" || $2 == "1") { asked[$3] = $1 }
                        $4 != "" { delete asked[$3] }
                        END { for (id in asked) print asked[id] " " id }' "$dir/gvcp")
  [ -z "$unanswered" ] || fail "commands without an acknowledge: $unanswered"
  for command in 0x0002 0x0080 0x0084; do
    grep -q "^$command," "$dir/gvcp" || fail "no command $command in the capture"
  done
  echo "capture: $(grep -c '^0x' "$dir/gvcp") commands, all acknowledged"
else
  echo "capture skipped: tshark is not installed"
fi
exit "$failed"
