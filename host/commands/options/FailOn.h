// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

#include <cstdint>
#include <optional>
#include <string>

namespace ketmesh {

// The option that says how much of something is too much: the command then ends with CheckFailed.
class FailOn {
public:
    // Declares --fail-on.
    void Declare(CLI::App& command, std::string const& description);

    // Never without the option.
    bool IsExceededBy(std::uint64_t count) const { return m_most && count > *m_most; }
    // "at most 3"
    std::string Describe() const { return "at most " + std::to_string(*m_most); }

private:
    std::optional<std::uint64_t> m_most;
};

} // namespace ketmesh
