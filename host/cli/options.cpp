// The options of the command line, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/options.h"

#include <algorithm>
#include <span>

#include "host/cli/command.h"
#include "host/cli/completion.h"
#include "host/cli/help.h"
#include "host/cli/manual.h"
#include "host/cli/usageError.h"
#include "host/cli/verbTable.h"

namespace halvexctl {
namespace {

/// The options behind "-ej" or "-lFILE" by their names; the word itself if one is unknown.
std::vector<std::string> spelledOut(const std::string& word) {
    std::vector<std::string> names;
    for (std::size_t i = 1; i < word.size(); ++i) {
        const auto row = std::ranges::find(toolOptions(), word[i], &OptionRow::letter);
        if (word.front() != '-' || row == toolOptions().end()) {
            return {word};
        }
        names.emplace_back(row->name);
        if (!row->argument.empty() && i + 1 < word.size()) {
            names.back() += "=" + word.substr(word[i + 1] == '=' ? i + 2 : i + 1);
            break;
        }
    }
    return names.empty() ? std::vector{word} : names;
}

std::string described(const std::string& form) {
    std::string text = form == "mdoc" ? manualLists() : completionFor(form);
    if (text.empty()) {
        throw UsageError("--describe must be bash, zsh, fish or mdoc");
    }
    return text;
}

/// Keeps an option of the tool, or returns the text that it asks for.
std::string keep(const GivenOption& given, Options& options) {
    if (given.name == "--help") {
        return helpAskedFor(options.words, verbs());
    }
    if (given.name == "--version") {
        return "halvexctl " HALVEX_VERSION "\n";
    }
    if (given.name == "--describe") {
        return described(given.value);
    }
    if (given.name == "--library") {
        if (!options.library.empty()) {
            throw UsageError("--library is given twice");
        }
        options.library = given.value;
    }
    options.echo = options.echo || given.name == "--echo";
    options.yes = options.yes || given.name == "--yes";
    return "";
}

}  // namespace

ReadOptions readOptions(std::span<const char* const> arguments) {
    ReadOptions read;
    std::vector<std::string> words;
    auto rest = arguments.begin();
    for (; rest != arguments.end() && std::string_view(*rest) != "--"; ++rest) {
        std::ranges::copy(spelledOut(*rest), std::back_inserter(words));
    }
    read.options.json = std::ranges::find(words, "--json") != words.end();
    try {
        WordReader reader(words);
        while (read.text.empty() && !reader.atEnd()) {
            if (const auto given = takeOption(reader, toolOptions(), "")) {
                read.text = keep(*given, read.options);
            } else {
                read.options.words.push_back(reader.take());
            }
        }
    } catch (const UsageError& error) {
        read.text = error.what();
        read.isUsageError = true;
    }
    read.isOver = !read.text.empty();
    read.options.words.insert(read.options.words.end(), rest, arguments.end());
    return read;
}

}  // namespace halvexctl
