// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/NumberCheck.h>

#include <cmath>
#include <string>

namespace ketmesh {

namespace {

CLI::Validator Check(char const* description, bool (*passes)(double)) {
    return CLI::Validator(
        [description, passes](std::string const& text) {
            double value = 0.0;
            bool const is_number = CLI::detail::lexical_cast(text, value) && std::isfinite(value);
            return is_number && passes(value) ? "" : "\"" + text + "\" is no " + description;
        },
        "");
}

} // namespace

CLI::Validator FiniteNumber() {
    return Check("finite number", [](double) { return true; });
}

CLI::Validator PositiveNumber() {
    return Check("positive number", [](double value) { return value > 0.0; });
}

CLI::Validator NonNegativeNumber() {
    return Check("number from 0 on", [](double value) { return value >= 0.0; });
}

CLI::Validator Count() {
    return Check("whole number from 0 on",
                 [](double value) { return value >= 0.0 && value < 0x1p53 && value == std::floor(value); });
}

} // namespace ketmesh
