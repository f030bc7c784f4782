#!/usr/bin/env bash
# Installs the build into a fresh prefix, the simulated runtime as a component of its own, and
# builds the first example against the installed package alone: with pkg-config and with CMake's
# find_package. Each program then runs on the installed simulator. The simulator is refused over
# a board runtime that is not the simulator.
# Usage: install-test.sh BUILD_DIR SOURCE_DIR C_COMPILER FAKE_RUNTIME
set -eu
build=$1 source=$2 cc=$3 fake_runtime=$4
work=$(mktemp -d /tmp/vesk-install-XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() {
  echo "FAILED: $*"
  exit 1
}

cmake --install "$build" --prefix "$prefix" > /dev/null
[ -e "$prefix/lib64/libvesk_genicam.so" ] || fail "no library"
[ -e "$prefix/lib64/libcommon-logging-dispatcher.so" ] || fail "no logging dispatcher"
[ -x "$prefix/bin/vesk-genicam" ] || fail "no tool"
[ ! -e "$prefix/lib64/libvesk_hal.so" ] || fail "the simulator came with the default install"
cmake --install "$build" --prefix "$prefix" --component sim > /dev/null

# Each public header alone, as C and as C++.
for header in vesk_genicam.h vesk_genicam_codes.h vesk_sim.h; do
  for language in c c++; do
    echo "#include <vesk_genicam/$header>" |
      "$cc" -x "$language" -fsyntax-only -Wall -Wextra -Werror -I"$prefix/include" - ||
      fail "$header does not compile alone as $language"
  done
done

# Runs a program built against the installation and checks what the example prints.
run() {
  out=$("$@") || fail "$1 ended with status $?: $out"
  echo "$out"
  echo "$out" | grep -q "Width is now 16" || fail "$1 did not write the feature"
}

export PKG_CONFIG_PATH=$prefix/share/pkgconfig
# shellcheck disable=SC2046
"$cc" "$source/examples/first_camera.c" $(pkg-config --cflags --libs vesk-genicam) \
  -o "$work/first_camera_pkgconfig"
LD_LIBRARY_PATH=$prefix/lib64 run "$work/first_camera_pkgconfig"

mkdir "$work/consumer"
cp "$source/examples/first_camera.c" "$work/consumer/"
cat > "$work/consumer/CMakeLists.txt" << 'CMAKE'
cmake_minimum_required(VERSION 3.22)
project(consumer C)
find_package(VeskGenICam REQUIRED)
add_executable(first_camera first_camera.c)
target_link_libraries(first_camera PRIVATE VeskGenICam::vesk_genicam)
CMAKE
cmake -S "$work/consumer" -B "$work/consumer/build" -DCMAKE_C_COMPILER="$cc" \
  -DCMAKE_PREFIX_PATH="$prefix" > /dev/null
cmake --build "$work/consumer/build" > /dev/null
run "$work/consumer/build/first_camera"

"$prefix/bin/vesk-genicam" scan | grep -q "0:0 .*CXP Dual" || fail "the installed tool found no camera"

# A board runtime that is not the simulator stays as it is.
other=$work/other
mkdir -p "$other/lib64"
cp "$fake_runtime" "$other/lib64/libvesk_hal.so"
if cmake --install "$build" --prefix "$other" --component sim > "$work/refused.txt" 2>&1; then
  fail "the simulator was installed over another board runtime"
fi
# CMake wraps the message's lines.
tr -s ' \n' '  ' < "$work/refused.txt" | grep -q "is a board runtime that is not the simulator" ||
  fail "no reason given"
cmp -s "$fake_runtime" "$other/lib64/libvesk_hal.so" || fail "the other board runtime was replaced"
echo "installed, built against and refused as it should"
