#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# fuzz.sh SECONDS: builds the fuzzer with Clang and feeds every reader of files with damaged ones, all of them
# together for so many seconds. Ends with a table; exit status 1 when a reader failed, with the paths of the files
# that it failed on, which belong into tests/fuzz/corpus/<reader>/ once that is mended. What was learnt is kept
# in build/fuzz/learnt for the next run.
set -euo pipefail
cd "$(dirname "$0")/.."
. tools/setup.sh

seconds=${1:-}
[[ "$seconds" =~ ^[1-9][0-9]*$ ]] || fail "usage: tests/fuzz.sh SECONDS"
install_packages "${build_packages[@]}" "${clang_packages[@]}"
build fuzz

fuzzer=build/fuzz/tests/fuzz/ketsdk_fuzz
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1"
export LSAN_OPTIONS="suppressions=$PWD/tools/leaks.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1"

mapfile -t targets < <("$fuzzer" --list)
# The time that is left is shared among the readers that are left, so that it is not exceeded for the slow ones.
end=$(($(date +%s) + seconds))
left=${#targets[@]}
rows=() found=()
for target in "${targets[@]}"; do
    learnt=build/fuzz/learnt/$target log=build/fuzz/$target.log
    mkdir -p "$learnt"
    share=$(((end - $(date +%s)) / left--))
    step "$target"
    result=ok
    "$fuzzer" "$target" -max_total_time=$((share > 1 ? share : 1)) -max_len=16384 -timeout=10 -rss_limit_mb=1024 \
        -print_final_stats=1 -artifact_prefix="build/fuzz/$target-" "$learnt" "tests/fuzz/corpus/$target" >"$log" 2>&1 ||
        result=FAILED
    if [ $result = FAILED ]; then
        grep -E 'SUMMARY|what\(\)' "$log" || tail -n 20 "$log"
        found+=("$(sed -n 's/.*Test unit written to //p' "$log" | tail -n 1)")
    fi
    statistic() { sed -n "s/^stat::$1: *//p" "$log" | tail -n 1; }
    coverage=$(grep -oE 'cov: [0-9]+' "$log" | tail -n 1 | grep -oE '[0-9]+' || true)
    rows+=("$(printf '%-14s %10s %8s %8s %9s  %s' "$target" "$(statistic number_of_executed_units)" \
        "$(statistic average_exec_per_sec)" "$coverage" "$(statistic peak_rss_mb)" "$result")")
done

printf '\n%-14s %10s %8s %8s %9s\n' reader files per_s covered peak_MB
printf '%s\n' "${rows[@]}"
if [ ${#found[@]} -gt 0 ]; then
    printf '\nfailed on:\n'
    printf '  %s\n' "${found[@]}"
    exit 1
fi
