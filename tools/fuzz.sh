#!/usr/bin/env bash
# Builds the API fuzzer (clang, libFuzzer with ASan and UBSan, in build-fuzz/)
# and runs it on the seed corpus for a number of seconds (default 60).
#   tools/fuzz.sh            one minute, as CI runs it
#   tools/fuzz.sh 1800       half an hour
#   FUZZ_SEED=1 tools/fuzz.sh  with a fixed seed, as CI runs it, so that a
#                              run can be repeated (libFuzzer picks one
#                              at random otherwise)
# New inputs it finds go to build-fuzz/corpus, not into the repository;
# a finding is written as build-fuzz/crash-* and ends the run with an error.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-machine.sh
seconds=${1:-60}
CC=clang CXX=clang++ cmake -G Ninja -S . -B build-fuzz -DANNOTATION_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DANNOTATION_BUILD_TESTS=OFF -DANNOTATION_BUILD_TOOLS=OFF -DANNOTATION_BUILD_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"${JOBS:-2}" --target api_fuzzer
mkdir -p build-fuzz/corpus
# A small quarantine: the default one holds the large list blocks that long
# inputs free, and the process soon passes libFuzzer's 2 GB limit on its
# resident memory without any block being live.
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:quarantine_size_mb=32
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
seed=()
if [ -n "${FUZZ_SEED:-}" ]; then seed=(-seed="$FUZZ_SEED"); fi
build-fuzz/tests/fuzz/api_fuzzer "${seed[@]}" -max_total_time="$seconds" -print_final_stats=1 \
  -artifact_prefix=build-fuzz/ build-fuzz/corpus tests/fuzz/corpus
