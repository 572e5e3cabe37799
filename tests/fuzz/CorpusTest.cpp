// SPDX-License-Identifier: BSD-3-Clause
// Every file of the corpus goes through its reader: what is real is read, and nothing that is damaged
// crashes, hangs or ends in an error that is not documented.
#include "FuzzTargets.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <iostream>
#include <set>

namespace fs = std::filesystem;

namespace {

class Corpus : public testing::TestWithParam<FuzzTargets::Target> {};

} // namespace

// The beginning of a file's name says what has to become of it: "real-" is read, "bad-" is refused; with
// "found-", for what fuzzing came upon, either will do.
TEST_P(Corpus, IsReadOrRefused) {
    std::set<fs::path> files; // in a fixed order
    for (auto const& entry : fs::directory_iterator(fs::path(KETSDK_CORPUS_DIR) / GetParam().name))
        files.insert(entry.path());
    ASSERT_FALSE(files.empty());
    for (fs::path const& path : files) {
        std::string const name = path.filename().string();
        std::cout << name << std::endl; // the last one is known after a crash
        std::string const content = Content(path);
        bool read = false;
        ASSERT_NO_THROW(read = GetParam().consume(std::as_bytes(std::span(content)))) << name;
        if (name.starts_with("real-"))
            EXPECT_TRUE(read) << name;
        else if (name.starts_with("bad-"))
            EXPECT_FALSE(read) << name;
        else
            EXPECT_TRUE(name.starts_with("found-")) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Targets, Corpus, testing::ValuesIn(FuzzTargets::AllTargets()),
                         [](auto const& target) { return target.param.name; });
