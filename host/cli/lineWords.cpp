// Splits a line of input into words, with shell-like quotes.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/lineWords.h"

#include <optional>

#include "host/cli/usageError.h"

namespace halvexctl {

std::vector<std::string> cutWords(std::string_view line) {
    std::vector<std::string> words;
    std::optional<std::string> word;
    char quote = '\0';
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
        if (quote == '\0' && blank) {
            if (word) {
                words.push_back(*word);
                word.reset();
            }
            continue;
        }
        if (quote == '\0' && !word && c == '#') {
            break;
        }
        if (!word) {
            word.emplace();
        }
        if (c == '\\' && quote != '\'' && i + 1 < line.size()) {
            word->push_back(line[++i]);
        } else if (quote == '\0' && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == quote && quote != '\0') {
            quote = '\0';
        } else {
            word->push_back(c);
        }
    }
    if (quote != '\0') {
        throw UsageError(std::string("the quote ") + quote + " is not closed");
    }
    if (word) {
        words.push_back(*word);
    }
    return words;
}

}  // namespace halvexctl
