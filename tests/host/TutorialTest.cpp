// SPDX-License-Identifier: BSD-3-Clause
// The tutorial does what it says.
#include "KetmeshProgram.h"

#include <sstream>

namespace {

TEST_F(Ketmesh, RunsEveryCommandOfTheTutorial) {
    std::istringstream lines(Content(Data + "../docs/tutorial.md"));
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
    EXPECT_EQ(commands, 8);
}

} // namespace
