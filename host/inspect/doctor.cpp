// The doctor's checks: evaluates the facts about a controller and suggests remedies.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/inspect/doctor.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <functional>
#include <string_view>

#include "host/output/units.h"

namespace halvexctl {
namespace {

using Names = std::vector<std::string>;

Finding well(std::string text) { return {"", Health::ok, std::move(text), ""}; }
/// What could not be looked at, or is not there to be looked at, is not well.
Finding unknown(std::string text, std::string remedy) {
    return {"", Health::unknown, std::move(text), std::move(remedy)};
}
Finding warn(std::string text, std::string remedy) { return {"", Health::warn, std::move(text), std::move(remedy)}; }
Finding fail(std::string text, std::string remedy) { return {"", Health::fail, std::move(text), std::move(remedy)}; }

std::string joined(const Names& names) { return fmt::format("{}", fmt::join(names, ", ")); }

/// Results of `describe` for every I210 with a clock, without the empty ones.
Names aboutClocks(const ControllerFacts& facts, const std::function<std::string(const InterfaceFacts&)>& describe) {
    Names said;
    for (const InterfaceFacts& interface : facts.interfaces) {
        std::string text = interface.isI210() && !interface.node.empty() ? describe(interface) : std::string();
        if (!text.empty()) {
            said.push_back(std::move(text));
        }
    }
    return said;
}

constexpr const char* kNoClock = "there is no I210 with a clock";
constexpr const char* kSeeMap = "halvexctl map shows the interfaces.";
constexpr const char* kWhoMayRead = "Run as root; look in the kernel's log.";

bool hasClock(const ControllerFacts& facts) {
    return std::any_of(facts.interfaces.begin(), facts.interfaces.end(),
                       [](const InterfaceFacts& it) { return it.isI210() && !it.node.empty(); });
}

/// A check of clocks that found nothing amiss: well, unless there was none or `unseen` names those not looked at.
Finding wellOfClocks(const ControllerFacts& facts, const Names& unseen, const char* text) {
    return !hasClock(facts)  ? unknown(kNoClock, kSeeMap)
           : !unseen.empty() ? unknown(joined(unseen) + " cannot be read", "See the checks of nodes and rights.")
                             : well(text);
}

Finding interfaces(const ControllerFacts& facts) {
    Names chosen, fatal;
    for (const InterfaceFacts& interface : facts.interfaces) {
        const Choice choice = choiceOf(interface);
        if (choice.isChosen) {
            chosen.push_back(interface.name);
        } else if (choice.endsInitialisation) {
            fatal.push_back(fmt::format("{} ({})", interface.name, choice.reason));
        }
    }
    if (!fatal.empty()) {
        return fail("initialisation will fail because of " + joined(fatal),
                    "Repair the named clock; see the checks below.");
    }
    return !chosen.empty() ? well(joined(chosen) + " will be synchronised")
           : !facts.interfacesError.empty()
               ? unknown(facts.interfacesError, kWhoMayRead)
               : fail("no usable I210", "halvexctl map says why each interface is left out.");
}

Finding leftOut(const ControllerFacts& facts) {
    Names left;
    for (const InterfaceFacts& interface : facts.interfaces) {
        const Choice choice = choiceOf(interface);
        if (interface.isI210() && !choice.isChosen) {
            left.push_back(fmt::format("{} {}", interface.name, choice.reason));
        }
    }
    const bool isAny = std::any_of(facts.interfaces.begin(), facts.interfaces.end(),
                                   [](const InterfaceFacts& interface) { return interface.isI210(); });
    return !isAny         ? unknown("there is no I210", kSeeMap)
           : left.empty() ? well("every I210 is usable")
                          : warn(joined(left), "Update the interface's driver, or live without its clock.");
}

Finding links(const ControllerFacts& facts) {
    Names up, down, unseen;
    for (const InterfaceFacts& interface : facts.interfaces) {
        if (choiceOf(interface).isChosen) {
            (!interface.isUp ? unseen : *interface.isUp ? up : down).push_back(interface.name);
        }
    }
    if (!down.empty()) {
        return warn(joined(down) + " down: not aligned until up", "ip link set dev NAME up");
    }
    return !unseen.empty() ? unknown(joined(unseen) + " cannot be asked", "Look in the kernel's log.")
           : up.empty()    ? unknown("there is no usable I210", kSeeMap)
                           : well("all usable interfaces are up");
}

Finding clockNodes(const ControllerFacts& facts) {
    const Names missing = aboutClocks(facts, [](const InterfaceFacts& it) { return it.nodeIsThere ? "" : it.node; });
    return missing.empty() ? wellOfClocks(facts, {}, "every clock has its node")
                           : fail(joined(missing) + " missing", "Is udev running, and /dev that of the machine?");
}

Finding clockRights(const ControllerFacts& facts) {
    const Names refused =
        aboutClocks(facts, [](const InterfaceFacts& it) { return it.nodeIsThere && !it.nodeIsAllowed ? it.node : ""; });
    const Names unseen = aboutClocks(facts, [](const InterfaceFacts& it) { return it.nodeIsThere ? "" : it.node; });
    return refused.empty() ? wellOfClocks(facts, unseen, "clocks may be read and written")
                           : fail(joined(refused) + " may not be read and written by this user",
                                  "Run as root, or give the user's group access by a udev rule.");
}

Finding clockPins(const ControllerFacts& facts) {
    const Names taken = aboutClocks(facts, [](const InterfaceFacts& it) -> std::string {
        const bool isFree =
            it.pins.empty() || it.pins[0].function == 0 || (it.pins[0].function == 1 && it.pins[0].channel == 0);
        return isFree ? ""
                      : fmt::format("{} {} is used for {}", it.name, it.pins[0].name,
                                    pinFunctionName(it.pins[0].function));
    });
    const Names doubled = aboutClocks(facts, [](const InterfaceFacts& it) -> std::string {
        for (std::size_t i = 1; i < it.pins.size(); ++i) {
            if (it.pins[i].function == 1 && it.pins[i].channel == 0) {
                return fmt::format("{} {} has time-stamp channel 0", it.name, it.pins[i].name);
            }
        }
        return "";
    });
    if (!taken.empty()) {
        return warn(joined(taken), "The library takes pin 0 for the epoch; stop its other user.");
    }
    const Names unseen = aboutClocks(
        facts, [](const InterfaceFacts& it) { return it.pins.empty() ? "pins of " + it.node : std::string(); });
    return doubled.empty() ? wellOfClocks(facts, unseen, "pin 0 is free for the epoch")
                           : warn(joined(doubled), "The library needs channel 0 on pin 0; stop its other user.");
}

Finding virtualClocks(const ControllerFacts& facts) {
    const Names some = aboutClocks(facts, [](const InterfaceFacts& it) {
        return it.virtualClocks.value_or(0) > 0 ? fmt::format("{} has {}", it.node, *it.virtualClocks) : "";
    });
    const Names unseen = aboutClocks(facts, [](const InterfaceFacts& it) {
        return it.virtualClocks ? "" : fmt::format("/sys/class/ptp/ptp{}/n_vclocks", it.ptpIndex.value_or(-1));
    });
    return some.empty() ? wellOfClocks(facts, unseen, "no virtual clocks")
                        : fail(joined(some) + ": stepping will fail as busy", "echo 0 > /sys/class/ptp/ptpN/n_vclocks");
}

Finding clockUsers(const ControllerFacts& facts) {
    const Names used = aboutClocks(facts, [](const InterfaceFacts& it) {
        return it.users.empty() ? "" : fmt::format("{}: {}", it.node, joined(it.users));
    });
    if (!used.empty()) {
        return warn(joined(used),
                    "Two readers steal each other's time stamps. Is it the host? Then all is "
                    "well; end any other.");
    }
    return facts.allDescriptorsAreVisible
               ? wellOfClocks(facts, {}, "no other process seen on a clock")
               : unknown("the files of other users' processes cannot be seen", "Run as root.");
}

Finding driver(const DriverFacts& facts, const char* name) {
    return facts.directory.empty() && !facts.error.empty() ? unknown(facts.error, kWhoMayRead)
           : facts.directory.empty()
               ? fail(fmt::format("no {} under /proc/driver/zu", name), "Load its driver; look in the kernel's log.")
               : well(facts.directory);
}

Finding driverNode(const DriverFacts& facts, const char* name) {
    if (facts.directory.empty()) {
        return unknown(fmt::format("unknown without the {} driver", name), "Load its driver first.");
    }
    if (facts.node.empty()) {
        return fail(facts.error.empty() ? "interfacePath is empty" : facts.error,
                    "Look in the kernel's log for the driver.");
    }
    if (!facts.nodeIsThere) {
        return fail(facts.node + " is missing", "Is udev running? Load the driver again.");
    }
    return facts.nodeIsAllowed ? well(facts.node)
                               : fail(facts.node + " may not be read and written by this user",
                                      "Run as root, or give the user's group access by a udev rule.");
}

Finding si514Driver(const ControllerFacts& facts) {
    if (!facts.si514.driverIsThere) {
        return fail("/sys/bus/i2c/drivers/si514 is missing", "Load the Si514 driver.");
    }
    return facts.si514.client.empty() && !facts.si514.error.empty() ? unknown(facts.si514.error, kWhoMayRead)
           : facts.si514.client.empty()
               ? fail("the driver has no oscillator", "Is the I2C device declared? Look in the kernel's log.")
               : well(fmt::format("{} at {}", facts.si514.name.empty() ? "oscillator" : facts.si514.name,
                                  facts.si514.client));
}

Finding si514Attribute(const ControllerFacts& facts) {
    if (facts.si514.client.empty()) {
        return unknown("unknown without the driver", "Load the Si514 driver first.");
    }
    if (!facts.si514.offsetText && facts.si514.offsetIsThere) {
        return unknown("ppb_offset cannot be read", "Run as root; look in the kernel's log for the I2C bus.");
    }
    if (!facts.si514.offsetText) {
        return fail("ppb_offset is missing: a driver of the same name that only sets frequencies",
                    "Unload the kernel's own clk-si514 and load the steering driver.");
    }
    const std::string& text = *facts.si514.offsetText;
    return leadingNumber<double>(text) ? well(fmt::format("ppb_offset holds {}", text))
                                       : fail(fmt::format("ppb_offset holds no number: \"{}\"", text),
                                              "Look in the kernel's log for the I2C bus.");
}

Finding si514Rights(const ControllerFacts& facts) {
    if (!facts.si514.offsetText) {
        return unknown("unknown without ppb_offset", "See the check before.");
    }
    return facts.si514.offsetIsAllowed ? well("ppb_offset may be written")
                                       : fail("ppb_offset may not be written by this user", "Run as root.");
}

Finding phc2sysFile(const ControllerFacts& facts) {
    if (!facts.phc2sysIsThere) {
        return fail(fmt::format("{} is missing", kPhc2SysPath), "Install it there; no other place is looked at.");
    }
    return facts.phc2sysIsExecutable ? well(kPhc2SysPath)
                                     : fail(fmt::format("{} is not executable", kPhc2SysPath), "chmod +x it.");
}

Names running(const ControllerFacts& facts, const std::function<bool(std::string_view)>& isMeant) {
    Names found;
    for (const ProcessFacts& process : facts.processes) {
        if (isMeant(process.name)) {
            found.push_back(fmt::format("{} ({})", process.name, process.pid));
        }
    }
    return found;
}

/// Each locked update of phc2sys zeroes the kernel's bound, which then grows by 500 ppm.
Finding phc2sysUpdates(const KernelClockFacts& clock, const std::string& process) {
    constexpr std::int64_t kLongestWithoutUpdateS = 10;
    constexpr std::int64_t kGrowthNsPerS = 500'000;
    if (!clock.isKnown) {
        return unknown(process + " runs; whether it updates the system clock cannot be seen",
                       "adjtimex refuses: does a sandbox forbid it?");
    }
    if (!clock.isSynchronised) {
        return warn(process + " runs and has not disciplined the system clock yet",
                    "In its first seconds that is normal; afterwards look whether its clock runs: halvexctl monitor.");
    }
    if (clock.maxErrorNs > kLongestWithoutUpdateS * kGrowthNsPerS) {
        return warn(fmt::format("{} runs, but the system clock has not been updated for some {} s", process,
                                clock.maxErrorNs / kGrowthNsPerS),
                    "Does its clock still run? halvexctl monitor; then let the host finalize and initialise again.");
    }
    return well(process);
}

constexpr const char* kHiddenProcesses = "the processes of other users cannot be seen";
constexpr const char* kSeeProcesses = "Run as root; is /proc mounted with hidepid?";

Finding phc2sysProcess(const ControllerFacts& facts) {
    Names alive, ended;
    for (const ProcessFacts& process : facts.processes) {
        if (process.name == "phc2sys") {
            (process.hasEnded ? ended : alive).push_back(fmt::format("{} ({})", process.name, process.pid));
        }
    }
    if (alive.size() > 1) {
        return warn(joined(alive) + ": they fight over the system clock", "End those that no host has started.");
    }
    if (alive.empty() && !ended.empty()) {
        return warn(joined(ended) + " has ended: the system clock runs free",
                    "Nothing starts it again; let the host finalize and initialise again.");
    }
    if (alive.empty() && !facts.allProcessesAreVisible) {
        return unknown(kHiddenProcesses, kSeeProcesses);
    }
    return alive.empty() ? well("none is running: no host is up") : phc2sysUpdates(facts.kernelClock, alive.front());
}

Finding timeDaemons(const ControllerFacts& facts) {
    static constexpr std::array<std::string_view, 9> kDaemons{"chronyd", "ntpd", "systemd-timesyn", "openntpd", "ptp4l",
                                                              "ts2phc",  "ptpd", "timemaster",      "sfptpd"};
    const Names found = running(facts, [](std::string_view name) {
        return std::find(kDaemons.begin(), kDaemons.end(), name) != kDaemons.end();
    });
    if (!found.empty()) {
        return warn(joined(found) + " may steer the same clocks", "systemctl stop it, and disable it.");
    }
    return facts.allProcessesAreVisible ? well("no other time daemon") : unknown(kHiddenProcesses, kSeeProcesses);
}

Finding timeCapability(const ControllerFacts& facts) {
    if (!facts.maySetTime) {
        return unknown("/proc/self/status cannot be read", "Is /proc mounted?");
    }
    return *facts.maySetTime ? well("CAP_SYS_TIME is there")
                             : fail("CAP_SYS_TIME is missing: clocks cannot be stepped",
                                    "Run as root, or give the host AmbientCapabilities=CAP_SYS_TIME.");
}

constexpr const char* kNoKernelClock = "adjtimex refuses";
constexpr const char* kSandbox = "Does a sandbox forbid it?";

Finding kernelClock(const ControllerFacts& facts) {
    if (!facts.kernelClock.isKnown) {
        return unknown(kNoKernelClock, kSandbox);
    }
    const std::string text = fmt::format("maxerror {}", durationText(facts.kernelClock.maxErrorNs));
    return facts.kernelClock.isSynchronised ? well("synchronised, " + text)
                                            : well("nothing disciplines the system clock, " + text);
}

Finding taiOffset(const ControllerFacts& facts) {
    if (!facts.kernelClock.isKnown) {
        return unknown(kNoKernelClock, kSandbox);
    }
    const std::int32_t offsetS = facts.kernelClock.taiOffsetS;
    return offsetS == 0 ? well("no TAI offset set in the kernel")
                        : warn(fmt::format("the kernel's TAI offset is {} s", offsetS),
                               "System time and clocks share one timescale here; see who feeds TAI to a clock.");
}

struct Check {
    const char* name;
    std::function<Finding(const ControllerFacts&)> judge;
};

std::vector<Check> checks() {
    return {{"interfaces", interfaces},
            {"interfaces-left-out", leftOut},
            {"links", links},
            {"clock-nodes", clockNodes},
            {"clock-rights", clockRights},
            {"clock-pins", clockPins},
            {"virtual-clocks", virtualClocks},
            {"clock-users", clockUsers},
            {"ferrox-driver", [](const ControllerFacts& facts) { return driver(facts.ferrox, "Ferrox"); }},
            {"ferrox-node", [](const ControllerFacts& facts) { return driverNode(facts.ferrox, "Ferrox"); }},
            {"fpga-driver", [](const ControllerFacts& facts) { return driver(facts.fpga, "FPGA"); }},
            {"fpga-node", [](const ControllerFacts& facts) { return driverNode(facts.fpga, "FPGA"); }},
            {"si514-driver", si514Driver},
            {"si514-attribute", si514Attribute},
            {"si514-rights", si514Rights},
            {"phc2sys-file", phc2sysFile},
            {"phc2sys-process", phc2sysProcess},
            {"time-daemons", timeDaemons},
            {"cap-sys-time", timeCapability},
            {"kernel-clock", kernelClock},
            {"tai-offset", taiOffset}};
}

}  // namespace

std::string_view healthName(Health health) {
    switch (health) {
        case Health::ok:
            return "OK";
        case Health::unknown:
            return "UNKNOWN";
        case Health::warn:
            return "WARN";
        case Health::fail:
            return "FAIL";
    }
    return "FAIL";
}

std::vector<Finding> examine(const ControllerFacts& facts) {
    std::vector<Finding> findings;
    for (const Check& check : checks()) {
        Finding finding = check.judge(facts);
        finding.check = check.name;
        findings.push_back(std::move(finding));
    }
    return findings;
}

}  // namespace halvexctl
