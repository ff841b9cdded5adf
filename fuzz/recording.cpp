// Records and boards' traces: through the report to its page's data, and through the launcher's summary.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/traceSummary.h"
#include "fuzz/expectation.h"
#include "fuzz/servedFiles.h"
#include "host/report/report.h"

namespace {

using namespace halvexctl;

std::string text;

/// Valid, in ASCII, and unable to end the element that holds it.
void checkPage(const std::string& record, const std::string& trace) {
    try {
        const std::string page = asPageText(chronicleAsJson(readChronicle({"", record, trace, ""})));
        EXPECT(nlohmann::json::accept(page));
        EXPECT(
            std::ranges::none_of(page, [](char c) { return c < ' ' || c > '~' || c == '<' || c == '>' || c == '&'; }));
    } catch (const std::runtime_error& error) {
        EXPECT(std::string_view(error.what()).starts_with("input "));
    }
}

void checkSummary() {
    std::istringstream trace(text);
    try {
        const halvexboard::TraceSummary summary = halvexboard::summariseTrace(trace);
        const std::string said = formatSummary(summary, true);
        const std::size_t last = said.find_last_of('\n', said.size() - 2) + 1;  // a name may hold the same words
        EXPECT(said.substr(last).starts_with("verdict: every enabled clock within") == summary.isAligned());
    } catch (const halvexboard::TraceError& error) {
        EXPECT(*error.what() != '\0');
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    text.assign(reinterpret_cast<const char*>(data), size);
    const ServedFiles files([](std::string_view) { return &text; });
    checkPage("input", "");
    checkPage("", "input");
    checkSummary();
    return 0;
}
