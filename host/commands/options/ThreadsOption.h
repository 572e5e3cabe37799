#pragma once

#include <host/commands/Command.h>

namespace ketmesh {

// The option of commands whose work is done on several threads. Results are the same on any number.
class ThreadsOption {
public:
    void Declare(CLI::App& command);
    // The context with the number that was asked for.
    KetSDK::MeshJobs::Context Limit(KetSDK::MeshJobs::Context context) const;

private:
    int m_count = 0; // 0: as many as there are cores
};

} // namespace ketmesh
