// Verbs without library calls: map, doctor, explain, help, remark and run.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>
#include <syslog.h>

#include <algorithm>

#include "host/cli/command.h"
#include "host/cli/help.h"
#include "host/cli/usageError.h"
#include "host/errors/explanation.h"
#include "host/inspect/controllerFacts.h"
#include "host/inspect/doctor.h"
#include "host/inspect/map.h"
#include "host/session/inputLines.h"
#include "host/session/session.h"
#include "host/verbs/verbs.h"

namespace halvexctl::actions {
namespace {

using nlohmann::ordered_json;

void conclude(const std::vector<Finding>& findings, Result& result) {
    const auto count = [&findings](Health health) {
        return std::count_if(findings.begin(), findings.end(),
                             [health](const Finding& finding) { return finding.health == health; });
    };
    const auto failures = count(Health::fail), warnings = count(Health::warn), unknown = count(Health::unknown);
    result.add("failures", failures, "", "");
    result.add("warnings", warnings, "", "");
    result.add("unknown", unknown, "", "");
    const std::string rest = fmt::format("{} warned, {} could not be made", warnings, unknown);
    if (failures > 0) {
        result.outcome = Outcome::failed;
        result.message = fmt::format("{} of {} checks failed, {}", failures, findings.size(), rest);
    } else if (warnings + unknown > 0) {
        result.warn(fmt::format("of {} checks {}", findings.size(), rest));
    }
}

}  // namespace

void map(Session&, const Command&, Result& result) { showMap(gatherFacts(), result); }

void doctor(Session&, const Command&, Result& result) {
    const std::vector<Finding> findings = examine(gatherFacts());
    ordered_json checks = ordered_json::array();
    for (const Finding& finding : findings) {
        checks.push_back({{"check", finding.check},
                          {"health", healthName(finding.health)},
                          {"text", finding.text},
                          {"remedy", finding.remedy}});
        result.add("", nullptr, fmt::format("{:<7}  {}", healthName(finding.health), finding.check),
                   finding.text + (finding.remedy.empty() ? "" : "\nremedy: " + finding.remedy),
                   finding.health == Health::fail ? Outcome::failed
                   : finding.health == Health::ok ? Outcome::ok
                                                  : Outcome::warning);
    }
    result.add("checks", checks, "", "");
    conclude(findings, result);
}

Argument readExplanationTopic(WordReader& words, const ReadingRules&) {
    const std::string& topic = words.takeArgument("explain", "CODE");
    checkExplanationTopic(topic);
    return topic;
}

void explain(Session&, const Command& command, Result& result) {
    explainTopic(std::get<std::string>(command.argument), result);
}

Argument readHelpTopic(WordReader& words, const ReadingRules& rules) {
    const std::string* topic = words.peek();
    if (topic == nullptr) {
        return {};
    }
    if (findVerb(rules.verbs, *topic) == nullptr) {
        throw UsageError(fmt::format("there is no help on \"{}\"; halvexctl --help lists the verbs", *topic));
    }
    return words.take();
}

void help(Session& session, const Command& command, Result& result) {
    const auto* topic = std::get_if<std::string>(&command.argument);
    const std::span<const Verb> verbs = session.settings().rules.verbs;
    std::string text = topic == nullptr ? helpText(verbs) : verbHelpText(*findVerb(verbs, *topic));
    text.erase(text.find_last_not_of('\n') + 1);
    session.printer().note(text);
    result.add("text", text, "", "");
}

Argument readRemark(WordReader& words, const ReadingRules&) { return words.takeArgument("remark", "TEXT"); }

void remark(Session&, const Command& command, Result&) {
    ::syslog(LOG_INFO, "%s", std::get<std::string>(command.argument).c_str());
}

void run(Session& session, const Command&, Result&) { runLines(session); }

}  // namespace halvexctl::actions
