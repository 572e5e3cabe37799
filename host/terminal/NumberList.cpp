// SPDX-License-Identifier: BSD-3-Clause
#include <host/terminal/NumberList.h>

#include <cmath>
#include <sstream>
#include <stdexcept>

namespace ketmesh {

std::vector<double> ParseNumbers(std::string const& text) {
    std::vector<double> numbers;
    std::istringstream list(text + ",");
    for (std::string part; std::getline(list, part, ',');) {
        double number = 0.0;
        if (!CLI::detail::lexical_cast(part, number) || !std::isfinite(number))
            throw std::invalid_argument("\"" + part + "\" in \"" + text + "\" is no finite number");
        numbers.push_back(number);
    }
    return numbers;
}

CLI::Validator NumberList(std::size_t count, std::string const& meaning) {
    return CLI::Validator(
        [count, meaning](std::string const& text) {
            try {
                std::size_t const given = ParseNumbers(text).size();
                return given == count ? std::string()
                                      : "\"" + text + "\" is " + std::to_string(given) +
                                            (given == 1 ? " number" : " numbers") + " instead of " +
                                            std::to_string(count) + ", " + meaning;
            } catch (std::invalid_argument const& e) {
                return std::string(e.what());
            }
        },
        "");
}

} // namespace ketmesh
