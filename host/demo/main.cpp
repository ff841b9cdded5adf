// halvexdemo: plays a controller's life on the simulated controller and narrates it, chapter by chapter.
#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include "host/demo/boardRun.h"
#include "host/demo/clockTable.h"
#include "host/demo/story.h"
#include "host/demo/traceFollower.h"

namespace halvexdemo {
namespace {

constexpr std::size_t kWidth = 100;

void say(const std::string& text) {
    fmt::print("{}\n", text);
    std::fflush(stdout);
}

/// Further lines begin under the first.
std::string indented(std::string_view text) {
    std::string lines(text);
    for (std::size_t at = lines.find('\n'); at != std::string::npos; at = lines.find('\n', at + 1)) {
        lines.insert(at + 1, std::string_view("Expected: ").size(), ' ');
    }
    return lines;
}

/// One line of the board's console: "[   20.000123456] syslog info    text"; or of its launcher.
std::optional<std::string> consoleText(const std::string& line) {
    if (line.starts_with("halvexboard: ")) {
        return line;
    }
    const std::size_t end = line.find("] ");
    return line.starts_with("[") && end != std::string::npos ? std::optional(line.substr(end + 2)) : std::nullopt;
}

class Narrator {
public:
    Narrator(std::string build, std::string seed, std::string scenario)
        : build_(std::move(build)), seed_(std::move(seed)), scenario_(std::move(scenario)), trace_(tracePath()) {}

    bool tell() {
        std::remove(tracePath().c_str());
        std::remove(recordPath().c_str());
        say(fmt::format("A controller's life: two I210 ports, FPGA and Ferrox, on the simulated controller (seed {}).",
                        seed_));
        say("Times in brackets are the board's, in seconds since it was switched on.");
        BoardRun run(boardCommand());
        while (const std::optional<std::string> line = run.nextLine()) {
            hear(*line);
        }
        const int exitCode = run.wait();
        endChapter(std::nullopt);
        note(current_ == chapters().size(), "every chapter is played",
             fmt::format("{} of {}", current_, chapters().size()));
        note(exitCode == 0, "the host ends without an error", fmt::format("exit code {}", exitCode));
        const bool summaryIsGood = sumUp();
        const bool isReported = makeReport();
        note(summaryIsGood, "the board's own summary of the trace agrees", summaryIsGood ? "it does" : "it does not");
        note(isReported, "record and trace make a report", isReported ? "they do" : "they do not");
        return conclude();
    }

private:
    std::string tracePath() const { return build_ + "/demo-trace.jsonl"; }
    std::string recordPath() const { return build_ + "/demo-record.jsonl"; }
    std::string reportPath() const { return build_ + "/demo-report.html"; }

    std::vector<std::string> boardCommand() const {
        // clang-format off
        std::vector<std::string> command{
            build_ + "/bin/halvexboard", "run", "--console", "--scenario", scenario_, "--seed", seed_, "--trace", tracePath(),
            "--", build_ + "/bin/halvexctl", "--echo", "--yes", "--library", build_ + "/lib/libzuHalvexTimekeeper.so"};
        // clang-format on
        command.insert(command.end(), {"record", recordPath()});
        for (std::size_t i = 0; i < chapters().size(); ++i) {
            command.insert(command.end(), {"remark", markOf(i + 1, chapters()[i])});
            for (const std::string_view word : chapters()[i].words) {
                command.emplace_back(word);
            }
        }
        return command;
    }

    void hear(const std::string& line) {
        const std::optional<std::string> text = consoleText(line);
        const bool known = current_ < chapters().size();
        const std::string mark = known ? markOf(current_ + 1, chapters()[current_]) : std::string();
        if (known && line == "remark " + mark) {
            return;
        }
        if (text && known && text->starts_with("syslog") && text->ends_with(mark)) {
            const std::size_t position = trace_.readThroughLogLine(mark);
            endChapter(position);
            beginChapter(position);
            return;
        }
        if (!text) {
            hostLines_.push_back(line);
        }
        say((text ? "  board | " : "  host  | ") + line);
    }

    void beginChapter(std::size_t position) {
        const Chapter& chapter = chapters()[current_++];
        begin_ = position;
        hostLines_.clear();
        const std::string heading = fmt::format("-- {}. {} ", current_, chapter.title);
        say(fmt::format("\n{:-<{}}", heading, kWidth));
        say(fmt::format("Expected: {}\n", indented(chapter.expectation)));
    }

    /// Looks at what the chapter that is being played left behind, up to `end` or to the end of the trace.
    void endChapter(std::optional<std::size_t> end) {
        if (current_ == 0) {
            return;
        }
        if (!end) {
            trace_.readToEnd();
        }
        const Chapter& chapter = chapters()[current_ - 1];
        const std::span<const Happening> all(trace_.happenings().data(), end.value_or(trace_.happenings().size()));
        const Evidence evidence(all, begin_, hostLines_);
        showTable(chapter, evidence);
        Findings findings;
        chapter.check(evidence, findings);
        const std::string away = clocksAway(evidence.truthAtEnd());
        findings.check(away.empty(), "all enabled clocks end within 100 ns of the master",
                       away.empty() ? "they do" : away);
        for (const Finding& finding : findings.list()) {
            note(finding.asExpected, finding.expected, finding.seen);
        }
    }

    void showTable(const Chapter& chapter, const Evidence& evidence) {
        std::vector<TableColumn> columns{{"before", evidence.truthBefore()}};
        const std::optional<Truth> moment = chapter.moment == nullptr ? std::nullopt : chapter.moment(evidence);
        if (moment) {
            columns.push_back({std::string(chapter.momentHeading), *moment});
        }
        columns.push_back({"after", evidence.truthAtEnd()});
        say("\n  True difference to the master:\n" + clockTable(columns));
    }

    void note(bool asExpected, const std::string& expected, const std::string& seen) {
        ++checks_;
        failures_ += asExpected ? 0 : 1;
        say(fmt::format("  {}  {}\n        seen: {}", asExpected ? "[ok]  " : "[FAIL]", expected, seen));
    }

    bool sumUp() {
        say(fmt::format("\n{:-<{}}", "-- Summary of the trace ", kWidth));
        BoardRun summary({build_ + "/bin/halvexboard", "summary", tracePath()});
        while (const std::optional<std::string> line = summary.nextLine()) {
            say("  " + *line);
        }
        return summary.wait() == 0;
    }

    /// A page of what the host recorded, with the truth of the trace beside it.
    bool makeReport() {
        BoardRun report({build_ + "/bin/halvexctl", "report", reportPath(), "--from", recordPath(), "--trace",
                         tracePath(), "--title", "A controller's life"});
        while (const std::optional<std::string> line = report.nextLine()) {
            say("  " + *line);
        }
        return report.wait() == 0;
    }

    bool conclude() {
        say(fmt::format("\nReport: {}", reportPath()));
        if (failures_ != 0) {
            say(fmt::format("VERDICT: FAILED, {} of {} checks (trace: {})", failures_, checks_, tracePath()));
            return false;
        }
        say(fmt::format("VERDICT: passed, all {} checks; every clock is within 100 ns of the master (trace: {})",
                        checks_, tracePath()));
        return true;
    }

    std::string build_;
    std::string seed_;
    std::string scenario_;
    TraceFollower trace_;
    std::size_t current_ = 0;  // chapters begun
    std::size_t begin_ = 0;
    std::vector<std::string> hostLines_;
    std::size_t checks_ = 0;
    std::size_t failures_ = 0;
};

}  // namespace
}  // namespace halvexdemo

int main(int argc, char** argv) {
    if (argc < 2 || argc > 4) {
        fmt::print(stderr, "Usage: halvexdemo BUILD [SEED [SCENARIO]]\n");
        return 2;
    }
    try {
        halvexdemo::Narrator narrator(argv[1], argc > 2 ? argv[2] : "1", argc > 3 ? argv[3] : "demo");
        return narrator.tell() ? 0 : 1;
    } catch (const std::exception& exception) {
        fmt::print(stderr, "\nVERDICT: FAILED, {}\n", exception.what());
        return 1;
    }
}
