#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing; checks the formatting; builds with GCC, all warnings as errors, and runs every test;
# the same with Clang under the address and undefined-behaviour sanitizers; the tests of parallel work under the
# thread sanitizer; and clang-tidy on the libraries' sources.
set -euo pipefail
cd "$(dirname "$0")"
. tools/setup.sh
. tools/thread_sanitizer.sh

install_packages "${build_packages[@]}" "${test_packages[@]}"

step "checking the formatting"
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror ||
    fail "some files are not formatted: run clang-format -i on them"

build test
step "running the tests (GCC, release)"
ctest --preset test

build asan
step "running the tests (Clang, address and undefined sanitizers)"
# VTK and the libraries below it keep some objects until the end of the process.
export LSAN_OPTIONS="suppressions=$PWD/tools/leaks.supp:print_suppressions=0"
export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1"
# Left out: programs that use the package, which were built and run above, and what compares whole meshes with plain
# arithmetic, number by number. That takes minutes here, and the others read and write the same memory.
ctest --preset asan --exclude-regex '^install|AWalkOverAllTriangles|OriginsRealMesh|TrianglesInFilesLie|WhateverTheThreads|DoNotDependOnThreads|VoxelsAreThoseInTheElement|MarksTheBoundaryOfTheGrown'

check_parallel_work

step "running clang-tidy on the libraries (its checks and their reasons: .clang-tidy)"
# Most sources are compiled several at a time: those are looked at together.
run-clang-tidy -quiet -p build/asan "$PWD/KetSDK/Mesh/.*\.cpp\$" "$PWD/build/asan/KetSDK/Mesh(Jobs|Solver)?/.*\.cxx\$" \
    >build/clang-tidy.log 2>&1 || { grep -E 'warning:|error:' build/clang-tidy.log | sort -u; fail "see build/clang-tidy.log"; }

step "all tests passed"
