#!/usr/bin/env bash
# Installs what is missing, builds with all warnings as errors, checks the formatting and runs every
# test, the second time under the address and undefined-behaviour sanitizers.
set -euo pipefail
cd "$(dirname "$0")"
. tools/setup.sh

install_packages "${build_packages[@]}" "${test_packages[@]}"

step "checking the formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror ||
    fail "some files are not formatted: run clang-format -i on them"

build release
step "running the tests (release)"
ctest --preset release

build asan
step "running the tests (address and undefined sanitizers)"
# VTK and the libraries below it keep some objects until the end of the process.
export LSAN_OPTIONS="suppressions=$PWD/tools/leaks.supp:print_suppressions=0"
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1"
ctest --preset asan

step "all tests passed"
