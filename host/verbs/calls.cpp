// Verbs that call the library once or evaluate its answers: info, init, freq, limits, expect-error and others.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include <optional>
#include <stdexcept>

#include "host/cli/command.h"
#include "host/cli/usageError.h"
#include "host/output/files.h"
#include "host/output/units.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

std::string ppbText(std::int32_t correctionPpb) {
    return correctionPpb == 0 ? "0 ppb" : fmt::format("{:+} ppb", correctionPpb);
}

void addLimits(HostCalls& calls, Result& result) {
    const std::int32_t minPpb = calls.getMinCorrectionPpb();
    const std::int32_t maxPpb = calls.getMaxCorrectionPpb();
    result.add("minCorrectionPpb", minPpb, "lowest correction", ppbText(minPpb));
    result.add("maxCorrectionPpb", maxPpb, "highest correction", ppbText(maxPpb));
}

void addCorrection(HostCalls& calls, Result& result) {
    const std::int32_t correctionPpb = calls.getCorrectionPpb();
    result.add("correctionPpb", correctionPpb, "correction", ppbText(correctionPpb));
}

void addInterfaceVersion(HostCalls& calls, Result& result) {
    const std::uint32_t apiVersion = calls.getApiVersion();
    result.add("apiVersion", apiVersion, "interface version", fmt::format("{}", apiVersion));
}

void addName(HostCalls& calls, Result& result) {
    const std::string timekeeperName = calls.getName();
    result.add("name", timekeeperName, "name", timekeeperName);
}

void addSeeded(HostCalls& calls, Result& result) {
    const bool isSeeded = calls.isSeeded();
    result.add("seeded", isSeeded, "seeded", isSeeded ? "yes" : "no");
}

}  // namespace

void version(Session& session, const Command&, Result& result) { addInterfaceVersion(session.calls(), result); }

void name(Session& session, const Command&, Result& result) { addName(session.calls(), result); }

void seeded(Session& session, const Command&, Result& result) { addSeeded(session.calls(), result); }

void info(Session& session, const Command&, Result& result) {
    HostCalls& calls = session.calls();
    result.add("library", session.settings().libraryPath, "library", session.settings().libraryPath);
    addInterfaceVersion(calls, result);
    addName(calls, result);
    addSeeded(calls, result);
    addLimits(calls, result);
    addCorrection(calls, result);
}

void init(Session& session, const Command&, Result&) { session.initialize(); }

void finalize(Session& session, const Command&, Result&) { session.finalize(); }

void limits(Session& session, const Command&, Result& result) { addLimits(session.calls(), result); }

Argument readCorrection(WordReader& words, const ReadingRules&) {
    return words.nextIsNumber() ? Argument(readCorrectionPpb(words.takeQuantity("freq", "PPB"))) : Argument();
}

void freq(Session& session, const Command& command, Result& result) {
    HostCalls& calls = session.calls();
    const auto* wantedPpb = std::get_if<std::int32_t>(&command.argument);
    if (wantedPpb == nullptr) {
        addCorrection(calls, result);
        return;
    }
    const std::int32_t minPpb = calls.getMinCorrectionPpb();
    const std::int32_t maxPpb = calls.getMaxCorrectionPpb();
    if ((*wantedPpb < minPpb || *wantedPpb > maxPpb) && !session.settings().rules.yes) {
        throw std::out_of_range(fmt::format("{} is beyond the limits {} to {}; nothing was set", ppbText(*wantedPpb),
                                            ppbText(minPpb), ppbText(maxPpb)));
    }
    calls.setCorrectionPpb(*wantedPpb);
    const std::int32_t readBackPpb = calls.getCorrectionPpb();
    result.add("requestedPpb", *wantedPpb, "set", ppbText(*wantedPpb));
    result.add("correctionPpb", readBackPpb, "read back", ppbText(readBackPpb));
    if (readBackPpb != *wantedPpb) {
        result.warn(fmt::format("{} was set and {} reads back", ppbText(*wantedPpb), ppbText(readBackPpb)));
    }
}

Argument readDocument(WordReader& words, const ReadingRules& rules) {
    Document typed{"the command line", ""};
    readOwnOptions(words, rules, "apply-metadata",
                   [&typed](std::string_view, const std::string& value) { typed.text = value; });
    if (!typed.text.empty()) {
        return typed;
    }
    const std::string& source = words.takeInput("apply-metadata", "FILE");
    if (source == "-" && !words.atEnd() && words.peek()->starts_with('{')) {
        throw UsageError("- is standard input; a document in the line follows --text");
    }
    std::optional<std::string> text = readFile(source);
    const std::string name = source == "-" ? "standard input" : source;
    if (!text) {
        throw UsageError(fmt::format("cannot read {}: {}", name, std::generic_category().message(errno)));
    }
    if (text->find('\0') != std::string::npos) {
        throw UsageError(fmt::format("{} holds a NUL; the library would see only what stands before it", name));
    }
    return Document{name, std::move(*text)};
}

void applyMetadata(Session& session, const Command& command, Result& result) {
    const auto& document = std::get<Document>(command.argument);
    session.calls().applyMetaData(document.text);
    result.add("source", document.source, "document",
               fmt::format("{} bytes from {}", document.text.size(), document.source));
    result.add("bytes", document.text.size(), "", "");
    if (!nlohmann::json::accept(document.text)) {
        result.warn("the document is not JSON; the devices' complaint reaches a later call");
    }
}

Argument readCode(WordReader& words, const ReadingRules&) {
    return words.nextIsNumber() ? Argument(readErrorCode(words.take())) : Argument();
}

void expectError(Session& session, const Command& command, Result&) {
    const auto* code = std::get_if<std::int32_t>(&command.argument);
    session.expectError(code == nullptr ? std::nullopt : std::optional(*code));
}

void clear(Session& session, const Command&, Result& result) {
    HostCalls& calls = session.calls();
    result.add("heldCode", calls.status().code(), "held", fmt::format("{}", calls.status().code()));
    calls.clearStatus();
}

}  // namespace halvexctl::actions
