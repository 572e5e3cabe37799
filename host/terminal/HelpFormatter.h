// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include <string>

namespace ketmesh {

// Breaks the lines of help texts so that a terminal of 80 columns shows them whole.
class HelpFormatter : public CLI::Formatter {
public:
    std::string make_option_desc(CLI::Option const* option) const override;
    // Breaks its paragraphs anew. A line that begins with a space, as in lists and examples, stays as it is.
    std::string make_footer(CLI::App const* app) const override;
};

} // namespace ketmesh
