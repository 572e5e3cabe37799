#pragma once

#include <host/terminal/Output.h>

#include <string>

namespace ketmesh {

// What a user may not expect of a result that a command goes on to give: told on standard error at once, and
// kept for the report.
class Warnings {
public:
    // `message` names the file that it is about, or is about the job as a whole.
    void Add(std::string const& message);

    // The messages, for the key "warnings".
    Json const& GetList() const noexcept { return m_list; }

private:
    Json m_list = Json::array();
};

} // namespace ketmesh
