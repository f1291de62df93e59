#!/usr/bin/env bash
# Builds the project and runs its whole test suite with ctest.
#   tools/run-tests.sh             plain build in build/
#   tools/run-tests.sh --sanitize  AddressSanitizer + UndefinedBehaviorSanitizer, in build-asan/
# Extra arguments after the mode go to ctest (for example -R Attachment).
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-machine.sh

build_dir=build
cmake_args=()
if [[ ${1:-} == --sanitize ]]; then
  shift
  build_dir=build-asan
  cmake_args+=(-DANNOTATION_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:strict_string_checks=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi

cmake -G Ninja -S . -B "$build_dir" "${cmake_args[@]}" >/dev/null
cmake --build "$build_dir" -j2
ctest --test-dir "$build_dir" --output-on-failure -j2 "$@"
