// SPDX-License-Identifier: BSD-3-Clause
// The tutorial and the page on cases do what they say.
#include "KetmeshProgram.h"

#include <sstream>

namespace {

struct Page {
    char const* name;
    int commands;
};
class KetmeshPage : public Ketmesh, public testing::WithParamInterface<Page> {};

TEST_P(KetmeshPage, RunsEveryCommand) {
    std::istringstream lines(Content(Data + "../docs/" + GetParam().name));
    std::string load_case;
    bool is_in_case = false;
    int commands = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```"))
            is_in_case = line == "```toml";
        else if (is_in_case)
            load_case += line + "\n";
        if (!line.starts_with("ketmesh "))
            continue;
        Save(Path("case.toml"), load_case);
        std::istringstream words(line.substr(8));
        std::vector<std::string> arguments;
        for (std::string word; words >> word;) {
            bool const is_file =
                word.find_first_of("./") != std::string::npos && word.find(',') == std::string::npos;
            bool const is_data = word.starts_with("data/");
            arguments.push_back(is_data                    ? Data + word.substr(5)
                                : is_file || word == "run" ? Path(word)
                                                           : word);
        }
        Result const result = Run(arguments);
        EXPECT_EQ(result.status, 0) << line << ": " << result.err;
        ++commands;
    }
    EXPECT_EQ(commands, GetParam().commands);
}
INSTANTIATE_TEST_SUITE_P(Docs, KetmeshPage, testing::Values(Page{"tutorial.md", 8}, Page{"cases.md", 4}),
                         [](auto const& page) { return std::string(page.param.name, 4); });

} // namespace
