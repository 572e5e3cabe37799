# SPDX-License-Identifier: BSD-3-Clause
# Sourced by test.sh: the tests of parallel work under the thread sanitizer.

# The one place where tasks start and every user of it in the library, and memory that goes from thread to thread.
parallel_tests=(test_platform test_operators)
parallel_filter="LargePages.*:ParallelWork.*:*/ParallelRuns.*"

# origin_of PACKAGE: the address, the suite and the component that a package is installed from.
origin_of() {
    apt-cache policy "$1" | awk '$1 == 500 && $2 ~ /:/ { sub("/", " ", $3); print $2, $3; found = 1; exit }
                                 END { exit !found }'
}

# build_tbb FOLDER: builds there, from Debian's own source, the oneTBB that is installed, with the sanitizer: one
# without it would hide from the sanitizer that a task waits for another, and every such pair would be reported.
build_tbb() {
    local folder=$1 version origin
    version=$(dpkg-query -W -f='${source:Version}' libtbb12)
    [ "$(cat "$folder/version" 2>/dev/null)" = "$version" ] && return
    step "building oneTBB $version for the thread sanitizer"
    rm -rf "$folder"
    mkdir -p "$folder/lists/partial" "$folder/cache" "$folder/source"
    folder=$(realpath "$folder")
    # A list of sources of our own, from where the package came: a machine seldom has one, and nothing of its own is
    # changed.
    origin=$(origin_of libtbb12) || { apt-get update -qq && origin=$(origin_of libtbb12); } ||
        fail "apt does not know where libtbb12 came from: apt-get update tells it"
    echo "deb-src $origin" >"$folder/sources.list"
    local options=(-qq -o "Dir::Etc::sourcelist=$folder/sources.list" -o Dir::Etc::sourceparts=-
        -o "Dir::State::lists=$folder/lists" -o "Dir::Cache=$folder/cache" -o APT::Sandbox::User=root)
    apt-get "${options[@]}" update || fail "the list of Debian's sources cannot be fetched"
    (cd "$folder/source" && apt-get "${options[@]}" source "onetbb=$version" >/dev/null) ||
        fail "the source of onetbb $version cannot be fetched"
    # Without its allocator, oneTBB takes memory from malloc, which the sanitizer knows.
    cmake -G Ninja -S "$folder"/source/onetbb-*/ -B "$folder/build" -DCMAKE_BUILD_TYPE=Release -DTBB_SANITIZE=thread \
        -DCMAKE_CXX_FLAGS_RELEASE="-O1 -g1 -Wno-tsan" -DTBB_TEST=OFF -DTBB_STRICT=OFF -DTBBMALLOC_BUILD=OFF \
        -DTBB_DISABLE_HWLOC_AUTOMATIC_SEARCH=ON >"$folder/log" 2>&1 &&
        cmake --build "$folder/build" --target tbb >>"$folder/log" 2>&1 || {
        tail -n 20 "$folder/log" >&2
        fail "oneTBB cannot be built"
    }
    mkdir "$folder/lib"
    cp -P "$folder"/build/*_release/libtbb.so* "$folder/lib/"
    echo 'int without_functions;' | gcc -shared -fPIC -x c - -o "$folder/lib/libtbbmalloc.so.2"
    echo "$version" >"$folder/version"
}

check_parallel_work() {
    build_tbb build/onetbb
    build tsan --target "${parallel_tests[@]}"
    step "running the tests of parallel work (thread sanitizer)"
    local program shard running=()
    for program in "${parallel_tests[@]}"; do
        for shard in 0 1; do # what one of them does on one thread leaves a core to the other
            GTEST_TOTAL_SHARDS=2 GTEST_SHARD_INDEX=$shard LD_LIBRARY_PATH="$PWD/build/onetbb/lib" \
                TSAN_OPTIONS="halt_on_error=1" "build/tsan/tests/$program" --gtest_brief=1 \
                --gtest_filter="$parallel_filter" &
            running+=($!)
        done
    done
    for program in "${running[@]}"; do
        wait "$program" || fail "a test failed under the thread sanitizer"
    done
}
