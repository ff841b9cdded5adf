// Command lines of both programs, and scripts for the verb run; no verb is carried out.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/mman.h>

#include "board/launcher/options.h"
#include "fuzz/expectation.h"
#include "fuzz/servedFiles.h"
#include "host/cli/command.h"
#include "host/cli/lineWords.h"
#include "host/cli/options.h"
#include "host/cli/usageError.h"
#include "host/cli/verbTable.h"
#include "host/session/inputLines.h"
#include "host/session/session.h"

namespace {

using namespace halvexctl;

std::size_t carriedOut;

/// The verbs, each of which only counts.
std::span<const Verb> idleVerbs() {
    static const std::vector<Verb> idle = [] {
        std::vector<Verb> verbs(halvexctl::verbs().begin(), halvexctl::verbs().end());
        for (Verb& verb : verbs) {
            verb.needsTimekeeper = false;
            verb.carryOut = [](Session&, const Command&, Result&) { ++carriedOut; };
        }
        return verbs;
    }();
    return idle;
}

class Counter : public Printer {
public:
    void begin(const std::string&, const std::string&) override {}
    void note(const std::string&) override {}
    void call(const std::string&) override {}
    void sample(const std::string&, const nlohmann::ordered_json&, bool) override {}
    void finish() override {}
    void result(const Result& result) override { ++(result.outcome == Outcome::ok ? done : refused); }

    std::size_t done = 0, refused = 0;
};

/// Words in single quotes are read back unchanged.
void checkQuoting(const std::vector<std::string>& words) {
    std::string quoted;
    for (const std::string& word : words) {
        quoted += '\'';
        for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        quoted += "' ";
    }
    EXPECT(cutWords(quoted) == words);
}

void checkCommandLine(const std::vector<std::string>& words) {
    std::vector<const char*> arguments;
    for (const std::string& word : words) arguments.push_back(word.c_str());
    const ReadOptions read = readOptions(arguments);
    EXPECT(read.isOver == !read.text.empty());
    try {
        const std::vector<Command> commands = readCommands(read.options.words, {idleVerbs(), read.options.yes});
        EXPECT(commands.size() <= read.options.words.size());
    } catch (const halvexctl::UsageError& error) {
        EXPECT(*error.what() != '\0');
    }
    try {
        const halvexboard::Options options = halvexboard::parseOptions(words);
        EXPECT(options.action != halvexboard::Options::Action::run || !options.command.empty());
    } catch (const halvexboard::UsageError& error) {
        EXPECT(*error.what() != '\0');
    }
}

/// What the programs find on standard input.
void putIn(std::string_view text) {
    static const int input = dup2(memfd_create("input", 0), STDIN_FILENO);
    EXPECT(ftruncate(input, 0) == 0 && pwrite(input, text.data(), text.size(), 0) >= 0);
    EXPECT(lseek(input, 0, SEEK_SET) == 0);
}

/// Every command of a script is carried out, and every line that is none is refused.
void checkScript() {
    Counter counter;
    carriedOut = 0;
    SessionSettings settings;
    settings.rules = {idleVerbs(), true};
    Session session(settings, counter);
    runLines(session);
    EXPECT(counter.done == carriedOut);
    EXPECT((session.exitCode() == ExitCode::failure) == (counter.refused > 0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string document = "{}";
    const ServedFiles files([](std::string_view path) { return path == "file" ? &document : nullptr; });
    const std::string_view script(reinterpret_cast<const char*>(data), size);
    putIn(script);
    checkScript();
    try {
        const std::vector<std::string> words = cutWords(script.substr(0, script.find('\n')));
        checkQuoting(words);
        checkCommandLine(words);
    } catch (const halvexctl::UsageError& error) {
        EXPECT(std::string_view(error.what()).starts_with("the quote "));
    }
    return 0;
}
