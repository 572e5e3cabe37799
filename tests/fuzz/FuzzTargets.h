// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

// What reads files that nobody vouches for, each as one function over the bytes of a file. The fuzzer and the
// test that replays the corpus both run these.
namespace FuzzTargets {

// Reads the bytes as one kind of file. True when an object came out of them, false when they were refused
// with an error that the reader documents. Every other exception goes through, and an object that is not
// what it should be throws std::logic_error. One thread at a time.
using Consume = bool (*)(std::span<std::byte const> bytes);

struct Target {
    std::string name; // of the folder with its corpus
    Consume consume;
};

// The library's own files; the operators behind them; and those that come through VTK's readers, where the
// bridge is built.
std::vector<Target> LibraryTargets();
std::vector<Target> OperatorTargets();
std::vector<Target> SolverTargets();
std::vector<Target> VtkTargets();
// All of them, in the order in which they are run.
inline std::vector<Target> AllTargets() {
    std::vector<Target> targets;
    for (auto const more : {
             LibraryTargets,
             OperatorTargets,
             SolverTargets,
#ifdef KETSDK_WITH_VTK
             VtkTargets,
#endif
         })
        for (Target& target : more())
            targets.push_back(std::move(target));
    return targets;
}

} // namespace FuzzTargets
