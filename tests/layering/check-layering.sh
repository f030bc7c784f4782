#!/usr/bin/env bash
# Fails, naming file and include, when a source file reaches across a seam of the design:
#  - the simulator sees no library code but the two board-runtime headers, and a transport's
#    firmware half never reaches into a camera's half or into another transport;
#  - only the GenApi layer sees Aravis and GLib (tests, fuzz targets and benchmarks use Aravis
#    as their oracle and yardstick);
#  - no transport includes another (a GigE port may use the PHY drivers under it);
#  - packet classes reach no hardware, locks or threads, directly or through what they include.
# Usage: check-layering.sh SOURCE_ROOT
set -u
root=${1:?source root}
cd "$root" || exit 2
status=0

violation() {
  echo "$1: includes $2: $3"
  status=1
}

includes() {
  sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]\([^>"]*\)[>"].*/\1/p' "$1"
}

sources() {
  local dir
  for dir in "$@"; do
    [ -d "$dir" ] && find "$dir" -type f \( -name '*.h' -o -name '*.hpp' -o -name '*.c' -o -name '*.cpp' \)
  done
}

# Cxp, Clhs, Cl, Gbe or Phy by a unit's name; empty for the rest.
transport() {
  case $1 in
    vesk_genicam/impl/Clhs*) echo clhs ;;
    vesk_genicam/impl/Cl*) echo cl ;;
    vesk_genicam/impl/Cxp*) echo cxp ;;
    vesk_genicam/impl/Gbe*) echo gbe ;;
    vesk_genicam/impl/Phy* | vesk_genicam/impl/IPhy*) echo phy ;;
  esac
}

# The simulator's transport folder of a path (firmware/cxp, device/gige, ...); empty for the rest.
sim_half() {
  case $1 in
    sim/firmware/*/* | sim/device/*/*) echo "$1" | cut -d/ -f2,3 ;;
  esac
}

while IFS= read -r file; do
  half=$(sim_half "$file")
  while IFS= read -r inc; do
    case $inc in
      loader/vesk_hal.h | loader/dsnrt.h | sim/*) ;;
      vesk_genicam/* | genapi/* | templates/* | tools/* | core/* | loader/* | dispatcher/* | apps/*)
        violation "$file" "$inc" "the simulator uses no library code" ;;
    esac
    other=$(sim_half "$inc")
    if [ -n "$half" ] && [ -n "$other" ] && [ "$half" != "$other" ]; then
      violation "$file" "$inc" "firmware and device models of transports meet only through the link channel"
    fi
  done < <(includes "$file")
done < <(sources sim)

while IFS= read -r file; do
  while IFS= read -r inc; do
    case $inc in
      arv.h | arv[a-z]*.h | glib.h | glib-object.h | gio/* | glib/* | gobject/* | gmodule.h)
        violation "$file" "$inc" "only genapi/ sees Aravis and GLib" ;;
    esac
  done < <(includes "$file")
done < <(sources vesk_genicam templates tools core loader dispatcher apps sim examples)

while IFS= read -r file; do
  mine=$(transport "$file")
  [ -n "$mine" ] || continue
  while IFS= read -r inc; do
    theirs=$(transport "$inc")
    [ -n "$theirs" ] && [ "$theirs" != "$mine" ] || continue
    [ "$mine" = gbe ] && [ "$theirs" = phy ] && continue
    violation "$file" "$inc" "a transport does not include another"
  done < <(includes "$file")
done < <(sources vesk_genicam/impl)

# Everything a unit includes, through the project's own headers.
declare -A seen
closure() {
  local inc
  while IFS= read -r inc; do
    [ -n "${seen[$inc]:-}" ] && continue
    seen[$inc]=1
    echo "$inc"
    [ -f "$inc" ] && closure "$inc"
  done < <(includes "$1")
}

while IFS= read -r file; do
  seen=()
  while IFS= read -r inc; do
    case $inc in
      loader/* | templates/platform/* | thread | mutex | shared_mutex | condition_variable | future | \
        pthread.h | semaphore.h | *Port.h | *Controller*.h | *Driver*.h)
        violation "$file" "$inc" "a packet class reaches no hardware, locks or threads" ;;
    esac
  done < <(closure "$file")
done < <(sources vesk_genicam/impl | grep -E '/[A-Za-z]*Buffer(RW|Ret)\.(h|cpp)$')

exit $status
