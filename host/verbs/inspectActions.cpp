// What the verbs do that look at the controller and at errors without touching anything.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <fmt/format.h>

#include "host/clocks/monitor.h"
#include "host/errors/explanation.h"
#include "host/inspect/controllerFacts.h"
#include "host/inspect/doctor.h"
#include "host/report/report.h"
#include "host/session/session.h"
#include "host/verbs/verbActions.h"

namespace halvexctl::actions {
namespace {

using nlohmann::ordered_json;

template <typename Value>
ordered_json orNull(const std::optional<Value>& value) {
    return value ? ordered_json(*value) : ordered_json(nullptr);
}

ordered_json interfaceAsJson(const InterfaceFacts& facts, const Choice& choice) {
    ordered_json pins = ordered_json::array();
    for (const PtpPin& pin : facts.pins) {
        pins.push_back({{"name", pin.name}, {"function", pinFunctionName(pin.function)}, {"channel", pin.channel}});
    }
    ordered_json object{{"name", facts.name},
                        {"vendor", facts.vendor},
                        {"device", facts.device},
                        {"up", orNull(facts.isUp)},
                        {"ptpIndex", orNull(facts.ptpIndex)},
                        {"node", facts.node},
                        {"pins", pins},
                        {"chosen", choice.isChosen},
                        {"reason", choice.reason}};
    if (facts.capabilities) {
        object["stampChannels"] = facts.capabilities->stampChannels;
        object["periodicOutputs"] = facts.capabilities->periodicOutputs;
        object["maxAdjustmentPpb"] = facts.capabilities->maxAdjustmentPpb;
    }
    return object;
}

std::string interfaceAsText(const InterfaceFacts& facts, const Choice& choice) {
    const std::string pci = facts.vendor.empty() ? "no PCI device" : facts.vendor + ":" + facts.device;
    std::string text = fmt::format("{:<13}  {:<10}  {}: {}", pci, facts.node.empty() ? "no clock" : facts.node,
                                   choice.isChosen             ? "chosen"
                                   : choice.endsInitialisation ? "broken"
                                                               : "left out",
                                   choice.reason);
    for (const PtpPin& pin : facts.pins) {
        text += fmt::format("\n{} {}{}", pin.name, pinFunctionName(pin.function),
                            pin.function == 0 ? "" : fmt::format(", channel {}", pin.channel));
    }
    return text;
}

ordered_json driverAsJson(const DriverFacts& facts) {
    return {{"directory", facts.directory}, {"node", facts.node}, {"present", facts.nodeIsThere}};
}

std::string driverAsText(const DriverFacts& facts) {
    return facts.directory.empty() ? "no driver" : facts.node + (facts.nodeIsThere ? "" : " (missing)");
}

void conclude(const std::vector<Finding>& findings, Result& result) {
    std::size_t failures = 0, warnings = 0;
    for (const Finding& finding : findings) {
        failures += finding.health == Health::fail ? 1 : 0;
        warnings += finding.health == Health::warn ? 1 : 0;
    }
    result.add("failures", failures, "", "");
    result.add("warnings", warnings, "", "");
    if (failures > 0) {
        result.outcome = Outcome::failed;
        result.message = fmt::format("{} of {} checks failed, {} warned", failures, findings.size(), warnings);
    } else if (warnings > 0) {
        result.warn(fmt::format("{} of {} checks warned", warnings, findings.size()));
    }
}

}  // namespace

void explain(Session&, const Command& command, Result& result) {
    explainTopic(std::get<std::string>(command.argument), result);
}

void map(Session&, const Command&, Result& result) {
    const ControllerFacts facts = gatherFacts();
    ordered_json interfaces = ordered_json::array();
    for (const InterfaceFacts& interface : facts.interfaces) {
        const Choice choice = choiceOf(interface);
        interfaces.push_back(interfaceAsJson(interface, choice));
        result.add("", nullptr, interface.name, interfaceAsText(interface, choice));
    }
    result.add("interfaces", interfaces, "", "");
    result.add("ferrox", driverAsJson(facts.ferrox), "Ferrox", driverAsText(facts.ferrox));
    result.add("fpga", driverAsJson(facts.fpga), "FPGA", driverAsText(facts.fpga));
    result.add("si514", ordered_json{{"client", facts.si514.client}, {"name", facts.si514.name}}, "Si514",
               facts.si514.client.empty() ? "no driver" : facts.si514.client + " " + facts.si514.name);
}

void doctor(Session&, const Command&, Result& result) {
    const std::vector<Finding> findings = examine(gatherFacts());
    ordered_json checks = ordered_json::array();
    for (const Finding& finding : findings) {
        checks.push_back({{"check", finding.check},
                          {"health", healthName(finding.health)},
                          {"text", finding.text},
                          {"remedy", finding.remedy}});
        result.add("", nullptr, fmt::format("{:<4}  {}", healthName(finding.health), finding.check),
                   finding.text + (finding.remedy.empty() ? "" : "\nremedy: " + finding.remedy));
    }
    result.add("checks", checks, "", "");
    conclude(findings, result);
}

void monitor(Session& session, const Command& command, Result& result) {
    watchClocks(session, std::get<MonitorOptions>(command.argument), result);
}

void record(Session& session, const Command& command, Result& result) {
    const auto& options = std::get<RecordOptions>(command.argument);
    session.startRecording(options);
    result.add("file", options.path, "", "");
    if (!options.durationNs) {
        return;  // the session goes on, and is kept to its end
    }
    MonitorOptions watching;
    watching.isQuiet = true;
    watching.intervalNs = options.intervalNs;
    watching.count =
        static_cast<std::uint64_t>((*options.durationNs + options.intervalNs - 1) / options.intervalNs) + 1;
    watchClocks(session, watching, result);
    session.stopRecording();
}

void report(Session& session, const Command& command, Result& result) {
    ReportOptions options = std::get<ReportOptions>(command.argument);
    if (options.recordPath.empty() && options.tracePath.empty()) {
        options.recordPath = session.recordPath();
    }
    if (options.recordPath.empty() && options.tracePath.empty()) {
        throw std::runtime_error(
            "there is nothing to report: nothing was recorded, and neither --from nor --trace is given");
    }
    if (session.printer().showsProgress()) {
        session.printer().progress("  reading what was kept");
    }
    makeReport(options, result);
    if (session.printer().showsProgress()) {
        session.printer().progress("");
    }
}

}  // namespace halvexctl::actions
