// SPDX-License-Identifier: BSD-3-Clause
#include <host/commands/options/ConstantsInput.h>

#include <host/terminal/NumberList.h>

#include <cstddef>

namespace ketmesh {

namespace {

// Names may hold an equals sign, numbers do not.
std::size_t EndOfName(std::string const& text) {
    return text.rfind('=');
}

CLI::Validator Constants() {
    return CLI::Validator(
        [](std::string const& text) {
            std::size_t const end = EndOfName(text);
            if (end == std::string::npos || end == 0)
                return "\"" + text + "\" is no sub-volume with constants: NAME=DENSITY,E,NU";
            std::string numbers = text.substr(end + 1);
            return NumberList(3, "density [g/cm3], E [MPa] and Poisson's ratio of the sub-volume")(numbers);
        },
        "");
}

} // namespace

CLI::Option* ConstantsInput::Declare(CLI::App& command) {
    return command
        .add_option("--set", m_texts,
                    "Density in g/cm3, modulus in MPa and Poisson's ratio of all elements of a sub-volume, "
                    "whatever their grey values are; give it again for more")
        ->type_name("NAME=DENSITY,E,NU")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->check(Constants());
}

void ConstantsInput::SetConstants(KetSDK::MeshJobs::MaterialsOptions& options) const {
    options.constants.clear();
    for (std::string const& text : m_texts) {
        std::size_t const end = EndOfName(text);
        std::vector<double> const numbers = ParseNumbers(text.substr(end + 1));
        options.constants.push_back({text.substr(0, end), numbers[0], numbers[1], numbers[2]});
    }
}

} // namespace ketmesh
