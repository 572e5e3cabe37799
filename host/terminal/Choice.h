// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <host/terminal/CommandLine.h>

#include <string>
#include <utility>
#include <vector>

namespace ketmesh {

// An option that takes one of a few words, each of which stands for a value.
template <typename Value>
class Choice {
public:
    // The first word is the one unless another is given.
    explicit Choice(std::vector<std::pair<std::string, Value>> words)
        : m_words(std::move(words))
        , m_word(m_words.front().first) {}

    CLI::Option* Declare(CLI::App& command, std::string const& option, std::string const& description) {
        std::vector<std::string> words;
        for (auto const& [word, value] : m_words)
            words.push_back(word);
        return command.add_option(option, m_word, description)->check(CLI::IsMember(words));
    }

    std::string const& GetWord() const noexcept { return m_word; }
    Value Get() const {
        for (auto const& [word, value] : m_words)
            if (word == m_word)
                return value;
        return m_words.front().second;
    }

private:
    std::vector<std::pair<std::string, Value>> m_words;
    std::string m_word;
};

} // namespace ketmesh
