// The verb report: generates a page from a record, a board's trace, or both.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/report.h"

#include <fmt/format.h>

#include <cstddef>
#include <filesystem>
#include <set>
#include <stdexcept>
#include <string_view>

#include "host/output/files.h"
#include "host/report/sources.h"

// The page, complete except for the data, whose place is marked.
asm(".section .rodata\n"
    ".global halvexctlPageBegin\n"
    ".global halvexctlPageEnd\n"
    "halvexctlPageBegin:\n"
    ".incbin \"" HALVEX_REPORT_PAGE
    "\"\n"
    "halvexctlPageEnd:\n"
    ".previous\n");

extern "C" {
extern const char halvexctlPageBegin[];
extern const char halvexctlPageEnd[];
}

namespace halvexctl {
namespace {

constexpr std::string_view kPlaceOfData = "@CHRONICLE@";

/// Beginning of the pages of all releases: older ones may be replaced too.
constexpr Replaceable kPage{"<!DOCTYPE html>\n<!-- A report of a timekeeper's session.", "a report"};

std::string titleOf(const ReportOptions& options) {
    return options.title.empty() ? std::string("Timekeeper report") : options.title;
}

/// Beside the record, or else the trace.
std::string pageNameOf(const ReportOptions& options) {
    std::filesystem::path name = options.recordPath.empty() ? options.tracePath : options.recordPath;
    return name.replace_extension(".html").string();
}

std::size_t countOfClocks(const Chronicle& chronicle) {
    std::set<std::string> names;
    for (const Table* table : {&chronicle.measured, &chronicle.truth}) {
        for (const Table::Column& column : table->columns()) {
            names.insert(column.name);
        }
    }
    return names.size();
}

void addCount(Result& result, const char* key, std::size_t count, const char* label) {
    result.add(key, count, label, std::to_string(count));
}

void mindSources(const Chronicle& chronicle, Result& result) {
    for (const Source& source : chronicle.sources) {
        if (source.unreadLines > 0) {
            result.warn(
                fmt::format("{} of {} lines of {} could not be read", source.unreadLines, source.lines, source.name));
        }
        if (!source.doubt.empty()) {
            result.warn(fmt::format("{}: {}", source.name, source.doubt));
        }
    }
}

}  // namespace

Chronicle readChronicle(const ReportOptions& options) {
    Chronicle chronicle;
    chronicle.title = titleOf(options);
    if (!options.recordPath.empty()) {
        readRecord(options.recordPath, chronicle);
    }
    if (!options.tracePath.empty()) {
        readTrace(options.tracePath, chronicle);
    }
    return chronicle;
}

std::string pageOf(const Chronicle& chronicle) {
    std::string page(halvexctlPageBegin, halvexctlPageEnd);
    const std::size_t place = page.find(kPlaceOfData);
    if (place == std::string::npos) {
        throw std::logic_error("the embedded page has no place for data");
    }
    return page.replace(place, kPlaceOfData.size(), asPageText(chronicleAsJson(chronicle)));
}

void makeReport(const ReportOptions& options, Result& result) {
    const Chronicle chronicle = readChronicle(options);
    const std::string page = pageOf(chronicle);
    const std::string path = options.pagePath.empty() ? pageNameOf(options) : options.pagePath;
    replaceFile(path, page, kPage);
    result.add("page", path, "page", fmt::format("{} ({} kB)", path, page.size() / 1000));
    result.add("bytes", page.size(), "", "");
    addCount(result, "clocks", countOfClocks(chronicle), "clocks");
    addCount(result, "samples", chronicle.measured.instantsNs().size(), "samples");
    addCount(result, "truths", chronicle.truth.instantsNs().size(), "truths of the board");
    addCount(result, "marks", chronicle.marks.size(), "marks");
    addCount(result, "alignments", chronicle.alignments.size(), "alignment runs");
    mindSources(chronicle, result);
}

}  // namespace halvexctl
