// Facts about the controller, gathered without changing anything; evaluated elsewhere.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/inspect/ptpClock.h"

namespace halvexctl {

struct InterfaceFacts {
    std::string name;
    std::string vendor, device;  ///< PCI ids as in sysfs ("0x8086"); empty: not a PCI device.
    std::optional<bool> isUp;
    std::optional<std::int32_t> ptpIndex;             ///< -1: no clock; empty: cannot be queried.
    std::string node;                                 ///< "/dev/ptp0", or empty.
    bool nodeIsThere = false, nodeIsAllowed = false;  ///< Allowed: for reading and writing.
    std::string error;  ///< Error of reading its files, or of opening or querying the clock.
    std::optional<PtpCapabilities> capabilities;
    std::vector<PtpPin> pins;
    std::optional<std::int32_t> virtualClocks;
    std::vector<std::string> users;  ///< Other processes that have the node open: "chronyd (812)".

    bool isI210() const { return vendor == "0x8086" && device == "0x1533"; }
};

/// How the library treats an interface, by its own rules.
struct Choice {
    bool isChosen = false;
    bool endsInitialisation = false;  ///< Not just skipped: zuqxmtk_initialize fails.
    std::string reason;
};
Choice choiceOf(const InterfaceFacts& interface);

/// A driver with instances under /proc/driver/zu.
struct DriverFacts {
    std::string directory;  ///< Of the first instance; empty: none.
    std::string node;       ///< Contents of its interfacePath.
    bool nodeIsThere = false, nodeIsAllowed = false;
    std::string error{};  ///< Why something that is there could not be read.
};

struct Si514Facts {
    bool driverIsThere = false;
    std::string client;  ///< "0-0055"; empty: the driver has none.
    std::string name;
    std::optional<std::string> offsetText;  ///< Contents of ppb_offset; empty: missing or unreadable.
    bool offsetIsThere = false, offsetIsAllowed = false;
    std::string error{};  ///< As above.
};

struct ProcessFacts {
    std::int32_t pid = 0;
    std::string name;
    bool hasEnded = false;  ///< Exited, not reaped: a zombie.
    std::int32_t parentPid = 0;
    std::int64_t startTicks = 0;  ///< Clock ticks from the machine's start, field 22 of proc(5); 0: unknown.
};

struct KernelClockFacts {
    bool isKnown = false, isSynchronised = false;
    std::int64_t maxErrorNs = 0;
    std::int32_t taiOffsetS = 0;
    double frequencyPpb = 0;
};

struct ControllerFacts {
    std::vector<InterfaceFacts> interfaces;  ///< By name, in the library's order.
    std::string interfacesError;             ///< Why they could not be listed.
    DriverFacts ferrox, fpga;
    Si514Facts si514;
    bool phc2sysIsThere = false, phc2sysIsExecutable = false;
    std::vector<ProcessFacts> processes;
    bool allProcessesAreVisible = false;
    bool allDescriptorsAreVisible = false;  ///< Those of every process in `processes`.
    std::optional<bool> maySetTime;         ///< CAP_SYS_TIME; empty: unknown.
    KernelClockFacts kernelClock;
};

inline constexpr const char* kPhc2SysPath = "/usr/local/tarnesk/share/Horlix/TimeKeepers/phc2sys";

inline constexpr const char* kPhc2SysName = "phc2sys";

std::vector<InterfaceFacts> gatherInterfaces(std::string* why = nullptr);  ///< `why` as in namesIn().
std::vector<ProcessFacts> gatherProcesses(std::string_view name = {});     ///< Processes of that name; empty: all.
std::optional<ProcessFacts> gatherProcess(std::int32_t pid, std::string_view name = {});  ///< Empty: not there.
std::int64_t ageNs(const ProcessFacts& process);  ///< To the second; 0: unknown.
/// Processes that own the clocks, as "phc2sys (812)": each phc2sys, and any that has a PTP clock open for writing.
/// Neither this process nor its children, and only those that this user may see.
std::vector<std::string> clockOwners();
bool areAllProcessesVisible();  ///< False if /proc is missing or hides processes of other users.
ControllerFacts gatherFacts();
KernelClockFacts readKernelClock();

/// The correction reported by the oscillator's driver, in ppb; empty if unreadable. Uses a descriptor of its own.
std::optional<double> readSteeringPpb();

}  // namespace halvexctl
