// SPDX-License-Identifier: BSD-3-Clause
// The fuzzer: `ketsdk_fuzz TARGET [libFuzzer's arguments]`; `ketsdk_fuzz --list` names the targets.
#include "FuzzTargets.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

FuzzTargets::Target target;

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    std::vector<FuzzTargets::Target> const targets = FuzzTargets::AllTargets();
    char const* const name = *argc > 1 ? (*argv)[1] : "";
    if (std::strcmp(name, "--list") == 0) {
        for (auto const& [listed, consume] : targets)
            std::puts(listed.c_str());
        std::exit(0);
    }
    auto const found = std::ranges::find(targets, name, &FuzzTargets::Target::name);
    if (found == targets.end()) {
        std::fprintf(stderr, "ketsdk_fuzz: there is no target \"%s\"; --list names them\n", name);
        std::exit(2);
    }
    target = *found;
    std::copy(*argv + 2, *argv + *argc, *argv + 1); // libFuzzer does not see the name
    --*argc;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size) {
    target.consume({reinterpret_cast<std::byte const*>(data), size});
    return 0;
}
