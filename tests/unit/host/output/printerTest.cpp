// Tests of both printers.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <pty.h>

#include "host/output/jsonPrinter.h"
#include "host/output/textPrinter.h"
#include "tests/support/test.h"

namespace halvexctl::printerTest {

/// A stream that captures its output.
class TextStream {
public:
    TextStream() : stream_(::open_memstream(&text_, &length_)) {}
    ~TextStream() {
        std::fclose(stream_);
        std::free(text_);
    }
    TextStream(const TextStream&) = delete;
    TextStream& operator=(const TextStream&) = delete;
    std::FILE* get() { return stream_; }
    std::string text() {
        std::fflush(stream_);
        return {text_, length_};
    }

private:
    char* text_ = nullptr;
    std::size_t length_ = 0;
    std::FILE* stream_;
};

class PrinterTest : public testing::Test {
protected:
    TextStream output_, errors_;
};

TEST_F(PrinterTest, TextAlignsTheValuesUnderTheirVerb) {
    TextPrinter printer(output_.get(), errors_.get());
    printer.begin("step", "+1.5ms");
    printer.note("a note");
    printer.call("-> call");
    Result result{"step", "+1.5ms", Outcome::ok, {}, "", {}};
    result.add("a", 1, "cut to", "+1.5 ms");
    result.add("hidden", 5, "", "");
    result.add("b", 2, "highest correction", "62000 ppb");
    printer.result(result);
    printer.finish();
    EXPECT_EQ(output_.text(),
              "step +1.5ms\n  a note\n  -> call\n  cut to              +1.5 ms\n  highest correction  62000 ppb\n");
    EXPECT_EQ(errors_.text(), "");
}

TEST_F(PrinterTest, TextPutsFailuresOnTheOtherStream) {
    TextPrinter printer(output_.get(), errors_.get());
    printer.result({"get", "", Outcome::failed, {}, "it broke", {}});
    printer.result({"freq", "5", Outcome::skipped, {}, "", {}});
    EXPECT_EQ(output_.text(), "");
    EXPECT_EQ(errors_.text(), "halvexctl: get: it broke\nhalvexctl: not carried out: freq 5\n");
}

TEST_F(PrinterTest, TextIsNeitherColouredNorClearedWithoutATerminal) {
    TextPrinter printer(output_.get(), errors_.get());
    printer.sample("plain\n", {}, false);
    EXPECT_EQ(output_.text(), "plain\n");
    EXPECT_FALSE(printer.screen().inColour);
    EXPECT_EQ(printer.screen().width, SIZE_MAX);
    EXPECT_FALSE(printer.showsProgress());
}

TEST_F(PrinterTest, TextOnATerminalHeedsNoColorAndADumbTerminal) {
    int master = -1, slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    std::FILE* const terminal = ::fdopen(slave, "w");
    const auto shown = [&](const char* type, const char* noColour) {
        ::setenv("TERM", type, 1);
        ::setenv("NO_COLOR", noColour, 1);
        TextPrinter printer(terminal, terminal);
        printer.sample(printer.screen().inColour ? "red" : "plain", {}, false);
        std::array<char, 100> chunk{};
        const ssize_t length = ::read(master, chunk.data(), chunk.size());
        return std::string(chunk.data(), static_cast<std::size_t>(length)) + (printer.showsProgress() ? "+" : "");
    };
    EXPECT_EQ(shown("xterm", ""), "\x1b[H\x1b[2Jred+");
    EXPECT_EQ(shown("xterm", "1"), "\x1b[H\x1b[2Jplain+");
    EXPECT_EQ(shown("dumb", ""), "plain");
    std::fclose(terminal);
    ::close(master);
    ::unsetenv("NO_COLOR");
}

TEST_F(PrinterTest, TextColoursTheLabelsOfFailuresAndWarningsOnATerminalAlone) {
    Result result{"doctor", "", Outcome::ok, {}, "", {}};
    result.add("", nullptr, "FAIL", "one", Outcome::failed);
    result.add("", nullptr, "WARN", "two", Outcome::warning);
    result.add("", nullptr, "OK", "three");
    TextPrinter(output_.get(), errors_.get()).result(result);
    EXPECT_EQ(output_.text(), "  FAIL  one\n  WARN  two\n  OK    three\n");
    int master = -1, slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    std::FILE* const terminal = ::fdopen(slave, "w");
    ::setenv("TERM", "xterm", 1);
    TextPrinter(terminal, terminal).result(result);
    std::fclose(terminal);
    std::string shown;
    char next = 0;
    while (::read(master, &next, 1) == 1) shown += next;  // a terminal may hand on line by line
    EXPECT_EQ(shown, "  \x1b[31mFAIL\x1b[0m  one\r\n  \x1b[33mWARN\x1b[0m  two\r\n  OK    three\r\n");
    ::close(master);
}

TEST_F(PrinterTest, TextKnowsHowWideItsTerminalIs) {
    const winsize size{24, 35, 0, 0};
    int master = -1, slave = -1;
    ASSERT_EQ(::openpty(&master, &slave, nullptr, nullptr, &size), 0);
    std::FILE* const terminal = ::fdopen(slave, "w");
    EXPECT_EQ(TextPrinter(terminal, terminal).screen().width, 35U);
    std::fclose(terminal);
    ::close(master);
}

TEST_F(PrinterTest, TextPutsFurtherLinesOfAValueBelowItsFirst) {
    TextPrinter printer(output_.get(), errors_.get());
    Result result{"map", "", Outcome::ok, {}, "", {}};
    result.add("a", 1, "eth0", "one\ntwo");
    printer.result(result);
    EXPECT_EQ(output_.text(), "  eth0  one\n        two\n");
}

TEST_F(PrinterTest, JsonPrintsEachOfSeveralSamplesAsALineAndTheResultsAsOne) {
    JsonPrinter printer(output_.get(), errors_.get());
    printer.sample("", {{"a", 1}}, false);
    EXPECT_EQ(output_.text(), "{\"a\":1}\n");
    Result result{"monitor", "", Outcome::ok, {}, "", {}};
    result.add("", nullptr, "text", "alone");
    result.add("samples", 1, "", "");
    printer.result(result);
    printer.finish();
    EXPECT_EQ(output_.text(), "{\"a\":1}\n[{\"verb\":\"monitor\",\"outcome\":\"ok\",\"values\":{\"samples\":1}}]\n");
}

TEST_F(PrinterTest, JsonLeavesTheOnlySampleToTheDocument) {
    JsonPrinter printer(output_.get(), errors_.get());
    printer.sample("", {{"a", 1}}, true);
    EXPECT_EQ(output_.text(), "");
}

TEST_F(PrinterTest, TextTellsWarnings) {
    TextPrinter printer(output_.get(), errors_.get());
    printer.result({"get", "", Outcome::warning, {}, "mind this", {}});
    EXPECT_EQ(output_.text(), "  warning: mind this\n");
}

TEST_F(PrinterTest, JsonIsOneDocumentWithEverything) {
    JsonPrinter printer(output_.get(), errors_.get());
    printer.begin("get", "");
    printer.note("a note");
    printer.call("-> call");
    Result good{"freq", "5", Outcome::ok, {}, "", {}};
    good.add("correctionPpb", 5, "", "");
    printer.result(good);
    Result bad{"get", "", Outcome::failed, {}, "it broke", {}};
    bad.error = ErrorReport{"zuqxmtk_getTime", -52024, R"({"line":5})"};
    printer.result(bad);
    Result thrown{"name", "", Outcome::failed, {}, "it threw", {}};
    thrown.error = ErrorReport{"zuqxmtk_getName", std::nullopt, "plain text"};
    printer.result(thrown);
    EXPECT_EQ(output_.text(), "");
    printer.finish();
    EXPECT_EQ(nlohmann::json::parse(output_.text()), nlohmann::json::parse(R"([
        {"verb":"freq","argument":"5","outcome":"ok","values":{"correctionPpb":5}},
        {"verb":"get","outcome":"failed","message":"it broke",
         "error":{"function":"zuqxmtk_getTime","code":-52024,"information":{"line":5}}},
        {"verb":"name","outcome":"failed","message":"it threw",
         "error":{"function":"zuqxmtk_getName","code":null,"information":"plain text"}}])"));
    EXPECT_EQ(errors_.text(), "-> call\n");
}

TEST_F(PrinterTest, JsonSurvivesBytesThatAreNoUtf8) {
    JsonPrinter printer(output_.get(), errors_.get());
    printer.result({"get", "", Outcome::failed, {}, "bad \xff byte", {}});
    printer.finish();
    EXPECT_TRUE(nlohmann::json::accept(output_.text()));
}

TEST_F(PrinterTest, JsonIsAnEmptyArrayWhenNothingHappened) {
    JsonPrinter printer(output_.get(), errors_.get());
    printer.finish();
    EXPECT_EQ(output_.text(), "[]\n");
}

}  // namespace halvexctl::printerTest
