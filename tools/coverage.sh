#!/usr/bin/env bash
# Builds the project with clang source-based coverage (in build-cov/), runs
# the whole test suite with ctest, and reports line, branch and function
# coverage of the module's own files (annotation/), leaving out the tests,
# the stand-in engine, the tools and system headers.
#   tools/coverage.sh                        summary on stdout, HTML in build-cov/coverage-html
#   tools/coverage.sh --check LINES BRANCHES also fail when annotation/ is below
#                                            these percentages (for example --check 95 90)
# Extra arguments go to ctest (for example -R Attachment). JOBS sets the
# parallelism of the build and of ctest (default 2).
# The exit status is nonzero when a test fails (the report is printed all
# the same) or, with --check, when a threshold is not met.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/setup-machine.sh

min_lines=
min_branches=
if [[ ${1:-} == --check ]]; then
  if (($# < 3)); then
    echo "usage: tools/coverage.sh [--check LINES BRANCHES] [ctest arguments]" >&2
    exit 2
  fi
  min_lines=$2
  min_branches=$3
  shift 3
fi
jobs=${JOBS:-2}

build_dir=build-cov
root=$PWD
CC=clang CXX=clang++ cmake -G Ninja -S . -B "$build_dir" -DANNOTATION_COVERAGE=ON -DCMAKE_BUILD_TYPE=Debug \
  -DANNOTATION_BUILD_BENCH=OFF >/dev/null
cmake --build "$build_dir" -j"$jobs"

# Every test process writes its own raw profile: %p is its process id, %m
# keeps apart the modules of one process that carry their own copy of the
# profile runtime (libannotation hides it behind its export list).
profile_dir=$root/$build_dir/profiles
rm -rf "$profile_dir" "$build_dir/coverage.profdata" "$build_dir/coverage-html"
mkdir -p "$profile_dir"
tests_status=0
LLVM_PROFILE_FILE="$profile_dir/%p-%m.profraw" \
  ctest --test-dir "$build_dir" --output-on-failure -j"$jobs" "$@" || tests_status=$?

find "$profile_dir" -name '*.profraw' >"$build_dir/profiles.list"
if [[ ! -s $build_dir/profiles.list ]]; then
  echo "coverage: no profile was written" >&2
  exit 1
fi
llvm-profdata merge -sparse -f "$build_dir/profiles.list" -o "$build_dir/coverage.profdata"

# Every instrumented binary of the build: the module's code lives in the
# test programs (its static build), in libannotation and, for the header-only
# C++ layer, in whatever includes it.
objects=()
while IFS= read -r file; do
  if readelf -S "$file" 2>/dev/null | grep __llvm_covmap >/dev/null; then
    objects+=(-object "$file")
  fi
done < <(find "$build_dir" -type f \( -perm -u+x -o -name '*.so*' \) \
           -not -path '*/CMakeFiles/*' -not -path '*/install-test/*' | sort)
if ((${#objects[@]} == 0)); then
  echo "coverage: no instrumented binary in $build_dir" >&2
  exit 1
fi

# Only annotation/ is measured: everything else of the tree, and the
# system's headers (the standard library, GoogleTest), is left out.
root_regex=$(printf '%s' "$root" | sed 's/[][\.*^$+?(){}|]/\\&/g')
ignore="^/usr/|^$root_regex/(tests|engine|tools|bench|platform|build[^/]*)/"
cov_args=(-instr-profile="$build_dir/coverage.profdata" -ignore-filename-regex="$ignore" "${objects[@]:2}")
first_object=${objects[1]}

# Branch figures need an llvm-cov that can summarise them (LLVM 12 on).
branch_summary=()
if llvm-cov report --help | grep -- -show-branch-summary >/dev/null; then
  branch_summary=(-show-branch-summary)
fi
# An inline function of the C++ layer that one program never calls is kept
# there as a placeholder without counts; llvm-cov warns that its data does
# not match and takes the counts from the programs that call it.
report=$(llvm-cov report "$first_object" "${cov_args[@]}" "${branch_summary[@]}")
printf '%s\n' "$report"
llvm-cov show "$first_object" "${cov_args[@]}" -format=html -output-dir="$build_dir/coverage-html" \
  -show-branches=count -show-line-counts-or-regions -project-title="annotation/"
echo "coverage: HTML report in $build_dir/coverage-html/index.html"

# TOTAL  regions missed cover  functions missed executed  lines missed cover  [branches missed cover]
read -r lines_cover branches_cover functions_cover < <(printf '%s\n' "$report" |
  awk '$1 == "TOTAL" { gsub("%", ""); print $10, (NF >= 13 ? $13 : "-"), $7 }')
echo "coverage: annotation/ lines ${lines_cover}%, branches ${branches_cover}%, functions ${functions_cover}%"

status=$tests_status
if ((tests_status != 0)); then
  echo "coverage: tests failed (ctest exit status $tests_status)" >&2
fi
if [[ -n $min_lines ]]; then
  if awk -v have="$lines_cover" -v want="$min_lines" 'BEGIN { exit !(have + 0 < want + 0) }'; then
    echo "coverage: lines ${lines_cover}% below ${min_lines}%" >&2
    status=1
  fi
  if [[ $branches_cover == - ]]; then
    echo "coverage: this llvm-cov gives no branch figures to check" >&2
    status=1
  elif awk -v have="$branches_cover" -v want="$min_branches" 'BEGIN { exit !(have + 0 < want + 0) }'; then
    echo "coverage: branches ${branches_cover}% below ${min_branches}%" >&2
    status=1
  fi
fi
exit "$status"
