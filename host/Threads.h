#pragma once

#include <host/Command.h>

#include <tbb/global_control.h>

#include <optional>

namespace ketmesh {

// The option of commands whose work is done on several threads. Results are the same on any number.
class Threads {
public:
    void Declare(CLI::App& command);
    // Holds the program to the number that was asked for, until the object dies. Whether that is more than
    // one.
    bool Start();

private:
    int m_count = 0; // 0: as many as there are cores
    std::optional<tbb::global_control> m_limit;
};

} // namespace ketmesh
