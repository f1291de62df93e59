#!/usr/bin/env bash
# Builds the project for a 32-bit x86 target (g++ -m32, in build-32/) and runs
# its whole test suite with ctest there: on 32 bits every record has exactly
# the layout its callers are given, pointers included.
#   tools/run-tests-32.sh            build and run every test
# Extra arguments go to ctest (for example -R Attachment). JOBS sets the
# parallelism of the builds and of ctest (default 2).
# GoogleTest is built for 32 bits from the sources that Debian's googletest
# package ships, once, into build-32/googletest. Benchmarks are off (Debian's
# benchmark library is 64-bit only), and so, as by default, are the fuzzer
# and coverage.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-machine.sh g++-multilib

jobs=${JOBS:-2}
build_dir=build-32
toolchain=$PWD/cmake/Toolchain-m32.cmake
gtest_dir=$PWD/$build_dir/googletest

if [[ ! -f $gtest_dir/install/lib/cmake/GTest/GTestConfig.cmake ]]; then
  cmake -G Ninja -S /usr/src/googletest -B "$gtest_dir/build" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
    -DCMAKE_BUILD_TYPE=Release -DBUILD_GMOCK=OFF -DCMAKE_INSTALL_PREFIX="$gtest_dir/install" \
    -DCMAKE_INSTALL_LIBDIR=lib >/dev/null
  cmake --build "$gtest_dir/build" -j"$jobs"
  cmake --install "$gtest_dir/build" >/dev/null
fi

cmake -G Ninja -S . -B "$build_dir" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$gtest_dir/install" -DANNOTATION_BUILD_BENCH=OFF >/dev/null
cmake --build "$build_dir" -j"$jobs"
ctest --test-dir "$build_dir" --output-on-failure -j"$jobs" "$@"
