#!/usr/bin/env bash
# vesk-sim-gige-serve answers as a Unix tool does: 0 when it served, 1 when it could not, 2 for
# wrong usage; it serves until SIGTERM. Usage: sim-gige-serve.sh PROGRAM
set -u
serve=${1:?program}
failed=0

fail() {
  echo "FAIL: $*"
  failed=1
}

# Each row: the exit status wanted, then the arguments.
while read -r want args; do
  # shellcheck disable=SC2086
  timeout 10 "$serve" $args >/dev/null 2>&1
  got=$?
  [ "$got" -eq "$want" ] || fail "'$args' exited $got, not $want"
done <<'ROWS'
0 --help
2
2 --bogus vsk0
2 --seconds soon vsk0
2 --seconds -1 vsk0
2 vsk0 vsk1
1 --camera nosuch vsk0
1 --rig /nonexistent/rig.xml vsk0
1 --camera cxp-dual vsk0
1 vsk456789abcdef0
ROWS
"$serve" --help | grep -q '^usage: vesk-sim-gige-serve' || fail "--help prints no usage"

# Served until SIGTERM, on an interface that exists while it serves; skipped without the right
# to make interfaces.
tap=vsks$$
out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$serve" --seconds 20 "$tap" >"$out" 2>&1 &
pid=$!
for _ in $(seq 50); do
  grep -q . "$out" && break
  sleep 0.1
done
if grep -q 'Operation not permitted' "$out"; then
  wait "$pid"
  echo "serving skipped: this process may not make TAP interfaces"
else
  grep -q "^serving camera 'gige-korvid' on $tap" "$out" || fail "no serving line: $(cat "$out")"
  ip link show "$tap" >/dev/null 2>&1 || fail "$tap does not exist while served"
  kill -TERM "$pid"
  wait "$pid"
  status=$?
  [ "$status" -eq 0 ] || fail "SIGTERM ended it with $status"
  ip link show "$tap" >/dev/null 2>&1 && fail "$tap outlives the program"
fi
exit "$failed"
