// The verb map: interfaces, clocks and drivers, and which of them the library uses.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/map.h"

#include <fmt/format.h>

namespace halvexctl {
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
    const std::string pci = !facts.vendor.empty() ? facts.vendor + ":" + facts.device
                            : facts.error.empty() ? "no PCI device"
                                                  : "unknown";
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

void mind(const std::string& error, Result& result) {
    if (!error.empty()) {
        result.warn("not everything could be read");
    }
}

/// Adds a driver's row: `text`, or why that cannot be known.
void addDriver(Result& result, const char* key, ordered_json object, const char* label, const std::string& text,
               const std::string& error) {
    if (!error.empty()) {
        object["error"] = error;
    }
    mind(error, result);
    result.add(key, object, label, error.empty() ? text : error);
}

void addDriver(Result& result, const char* key, const char* label, const DriverFacts& facts) {
    addDriver(result, key, {{"directory", facts.directory}, {"node", facts.node}, {"present", facts.nodeIsThere}},
              label, facts.directory.empty() ? "no driver" : facts.node + (facts.nodeIsThere ? "" : " (missing)"),
              facts.error);
}

}  // namespace

void showMap(const ControllerFacts& facts, Result& result) {
    ordered_json interfaces = ordered_json::array();
    for (const InterfaceFacts& interface : facts.interfaces) {
        const Choice choice = choiceOf(interface);
        interfaces.push_back(interfaceAsJson(interface, choice));
        result.add("", nullptr, interface.name, interfaceAsText(interface, choice));
        mind(interface.vendor.empty() ? interface.error : "", result);
    }
    mind(facts.interfacesError, result);
    result.add("interfaces", interfaces, facts.interfacesError.empty() ? "" : "interfaces", facts.interfacesError);
    addDriver(result, "ferrox", "Ferrox", facts.ferrox);
    addDriver(result, "fpga", "FPGA", facts.fpga);
    addDriver(result, "si514", {{"client", facts.si514.client}, {"name", facts.si514.name}}, "Si514",
              facts.si514.client.empty() ? "no driver" : facts.si514.client + " " + facts.si514.name,
              facts.si514.error);
}

}  // namespace halvexctl
