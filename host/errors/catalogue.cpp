// Catalogue of the timekeeper's error codes: meaning, source and remedy.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/errors/catalogue.h"

#include <fnmatch.h>

#include <array>

namespace halvexctl {
namespace {

constexpr auto kEntries = std::to_array<ErrorEntry>({
    {-52000, "zuplaterr_memoryFull", "memory or descriptors ran out", "ENOMEM, ENFILE, EMFILE",
     "Free memory, or raise the limit of open files of the host (ulimit -n); look for a descriptor leak in the host."},
    {-52002, "zuplaterr_featureUnsupported", "the hardware or its driver cannot do what was asked", "ENOTTY, ENOTSUP",
     "halvexctl map says which interface lacks what; halvexctl doctor checks drivers and directories."},
    {-52003, "zuplaterr_softwareFaultPLATInternalUseOnly",
     "an error without a code of its own: the text under std_exception_what says which", "",
     "Read the text. \"stod\" means that ppb_offset does not hold a number: see what the Si514 driver answers."},
    {-52004, "", "a metadata document holds a value of another type than expected", "",
     "Correct the document that was handed to zuqxmtk_applyMetaData; halvexctl apply-metadata tries it out."},
    {-52005, "zuplaterr_invalidParameter", "a parameter is out of range, or a text is not JSON", "EINVAL",
     "halvexctl limits shows the corrections that are allowed; check metadata with halvexctl apply-metadata."},
    {-52006, "zuplaterr_resourceNotFound", "a file, device or driver is not there",
     "ENOENT, ESRCH, ENXIO, EBADF, ENODEV",
     "halvexctl doctor names the directory or node that is missing; load the driver that makes it."},
    {-52007, "zuplaterr_operationTimedOut", "something expected within a time did not happen", "ETIMEDOUT",
     "An epoch edge was not seen: check the epoch wire to pin 0, and that no other process reads the clock's time "
     "stamps."},
    {-52008, "zuplaterr_osFault", "the operating system refused a call", "any other number",
     "The message holds the number of the system error. Setting the time needs CAP_SYS_TIME: halvexctl doctor checks."},
    {-52010, "zuplaterr_resourceNotInitialized",
     "the library is not initialised, or something that it needs is not enabled", "",
     "Call zuqxmtk_initialize first; if that failed, its own error says why. At least one I210 must be usable."},
    {-52011, "", "the driver is still busy with an earlier request", "EALREADY, EINPROGRESS", "Try again."},
    {-52012, "", "a value does not fit", "ENOSPC, EOVERFLOW", "Look at the offset or correction that was asked for."},
    {-52013, "", "something is in use already", "EEXIST, EADDRINUSE",
     "Find the other user; halvexctl doctor looks for some."},
    {-52014, "", "the owner of a lock ended while holding it", "EOWNERDEAD", "Start the host again."},
    {-52015, "", "a lock cannot be had", "EDEADLK, ENOLCK",
     "Start the host again; if it stays, report it with the log."},
    {-52019, "", "a buffer is too small", "ENOBUFS",
     "Library and driver disagree: check that their versions belong together."},
    {-52020, "", "what an identifier stood for was removed", "EIDRM", "Was a driver unloaded? Start the host again."},
    {-52023, "", "a connection was aborted", "ECONNABORTED", "Look in the kernel's log for the device."},
    {-52024, "zuplaterr_communicationsFault", "a device did not answer as it should, or clocks could not be aligned",
     "EIO, EPIPE, EBADMSG",
     "Look in the kernel's log for the device. \"Failed to sync\" names the clocks that stayed off: halvexctl monitor "
     "shows by how much."},
    {-52025, "", "a call was interrupted", "EINTR, ECONNRESET", "Try again."},
    {-52026, "", "access was denied", "EPERM, EACCES, EROFS", "halvexctl doctor checks the rights on device nodes."},
    {-52031, "", "a device is busy", "EBUSY",
     "A pin or a clock has another user, or virtual clocks exist: halvexctl doctor checks both."},
});

constexpr auto kPlaces = std::to_array<ErrorPlace>({
    {-52000, "zuerr/tools/exception_errStatus", 62, "memory ran out inside a call"},
    {-52002, "i210EpochDeviceFactory", 35, "/sys/class/net cannot be listed"},
    {-52002, "fpgaEpochDevice", 150, "the FPGA was asked to emit an epoch"},
    {-52002, "i210EpochDevice", 96, "an I210 was asked to emit an epoch"},
    {-52002, "i210EpochDevice", 167, "a clock has too few pins, time-stamp channels or outputs"},
    {-52002, "i210EpochHelpers", 148, "an interface has no PTP clock"},
    {-52002, "ferroxEpochDevice", 118, "the master was asked to wait for an epoch"},
    {-52002, "ferroxEpochDevice", 124, "the master was asked for a captured epoch"},
    {-52002, "ferroxEpochDevice", 136, "the master was given metadata"},
    {-52002, "ferroxEpochDevice", 142, "the master was asked whether it is aligned"},
    {-52002, "ferroxEpochDevice", 149, "the master was marked as aligned"},
    {-52003, "zuerr/tools/exception_errStatus", 69, "an error of the C++ library"},
    {-52003, "zuerr/tools/exception_errStatus", 74, "an exception of unknown kind"},
    {-52003, "synchronization", 655, "an event's mutex cannot be made"},
    {-52003, "tDeviceInterfaceIterator", 58, "/proc/driver cannot be searched"},
    {-52004, "cJSONUtils", 281, "metadata: not a number"},
    {-52004, "cJSONUtils", 305, "metadata: not a string"},
    {-52005, "CppJson", 34, "metadata: not JSON"},
    {-52005, "halvexTimekeeperPlugin", 168, "the pointer for the answer is null"},
    {-52005, "si514FreqSteeringDevice", 77, "the correction is beyond the limits"},
    {-52006, "fileWrapper", 20, "a file cannot be opened"},
    {-52006, "ferroxEpochDevice", 49, "there is no Ferrox"},
    {-52006, "fpgaEpochDevice", 71, "there is no FPGA"},
    {-52006, "linuxDevEnumHelper", 41, "interfacePath cannot be opened"},
    {-52006, "si514FreqSteeringDevice", 102, "the Si514 driver's directory is missing"},
    {-52006, "si514FreqSteeringDevice", 140, "the Si514 driver has no oscillator"},
    {-52007, "fpgaEpochDevice", 181, "the FPGA saw no epoch"},
    {-52007, "i210EpochHelpers", 107, "an I210 saw no epoch"},
    {-52008, "halvexTimekeeper", 58, "two times are too far apart"},
    {-52008, "linuxFunctionHelpers", 42, "a clock shows a time that is none"},
    {-52008, "linuxFunctionHelpers", 51, "a clock shows a time beyond 64 bits"},
    {-52008, "spawnPhc2Sys", 58, "phc2sys cannot be started"},
    {-52008, "synchronization", 1717, "an event's condition cannot be made"},
    {-52008, "synchronization", 1760, "waiting for an event failed"},
    {-52008, "systemTimeClock", 47, "the system time cannot be read"},
    {-52008, "systemTimeClock", 66, "a step of the system time overflows"},
    {-52008, "systemTimeClock", 78, "the system time cannot be set"},
    {-52010, "halvexTimekeeper", 44, "the master is not enabled"},
    {-52010, "halvexTimekeeperPlugin", 75, "no I210 is usable"},
    {-52010, "halvexTimekeeperPlugin", 160, "a call before initialisation"},
    {-52024, "fileWrapper", 44, "a file cannot be read from its start"},
    {-52024, "fileWrapper", 62, "a file cannot be read"},
    {-52024, "fileWrapper", 106, "a file cannot be written"},
    {-52024, "halvexTimekeeper", 71, "an alignment left clocks off by more than 100 ns"},
    {-52024, "linuxDevEnumHelper", 53, "interfacePath cannot be read"},
    {-52024, "i210EpochHelpers", 28, "a request to a PTP clock or an interface failed"},
    {-52024, "i210EpochHelpers", 40, "a PTP clock cannot be opened"},
    {-52024, "i210EpochHelpers", 53, "no socket could be made"},
    {-52024, "i210EpochHelpers", 65, "a PTP clock cannot be stepped"},
    {-52024, "i210EpochHelpers", 77, "a PTP clock cannot be read"},
    {-52024, "i210EpochHelpers", 97, "waiting for a time stamp failed"},
    {-52024, "i210EpochHelpers", 124, "a time stamp cannot be read"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 44, "the Ferrox cannot be looked for"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 56, "the Ferrox's interfacePath cannot be read"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 59, "the Ferrox's node cannot be opened"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 60, "the Ferrox's node cannot be opened again"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 83, "the Ferrox's time cannot be read"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 92, "the Ferrox cannot be stepped"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 106, "the Ferrox cannot emit an epoch"},
    {kCodeOfTheDriver, "ferroxEpochDevice", 110, "the emitted epoch's time cannot be read"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 66, "the FPGA cannot be looked for"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 78, "the FPGA's interfacePath cannot be read"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 81, "the FPGA's node cannot be opened"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 97, "the FPGA's status cannot be reset"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 100, "the FPGA's alignment cannot be reset"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 118, "the FPGA's time cannot be read"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 127, "the FPGA cannot be stepped"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 159, "the FPGA cannot wait for an epoch"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 171, "the captured epoch's time cannot be read"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 219, "the FPGA's status cannot be set"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 238, "the FPGA's running bit cannot be read"},
    {kCodeOfTheDriver, "fpgaEpochDevice", 246, "the FPGA cannot be asked to align"},
});

constexpr auto kLogLines = std::to_array<LogLineEntry>({
    {"Encountered error in %s: %s(%i,%s)", "error", "the call named failed; its status says the same",
     "As for the code."},
    {"Encountered err while trying to sync %s, retry count %d: %s(%i,%s)", "error",
     "an error of the named clock during alignment; five missed epochs are tolerated",
     "-52007 now and then: none; often: check the epoch's wire and other readers of that clock."},
    {"Monitoring thread encountered an error: %s(%i,%s)", "error",
     "a pass of the monitoring thread failed; the next call reports it", "As for the code."},
    {"smbusPath: %s", "error", "nothing is wrong: the Si514's path, written at each initialisation", "None."},
    {"*** warning: Interface %s is not usable and will not be synchronized.", "warning",
     "an I210 without a PTP clock, or whose clock cannot stamp external events",
     "None for a port that is not wired; otherwise check driver and kernel."},
    {"Interface %s will be synchronized.", "info", "an I210 was taken", "None."},
    {"System time will be synchronized to %s.", "info",
     "the clock that phc2sys follows: the first I210 in the order of names", "None."},
    {"Successfully aligned all timekeeping elements after %d iterations.", "info",
     "an alignment ended well, typically after 2 or 3", "None; when the number grows, steps lose varying time."},
    {"%s is enabled.", "info", "a clock came back, or is new, and is aligned",
     "None; when it comes again and again, the clock's link goes up and down."},
});

}  // namespace

std::span<const ErrorEntry> errorEntries() { return kEntries; }

std::span<const LogLineEntry> logLineEntries() { return kLogLines; }

const LogLineEntry* findLogLine(const std::string& text) {
    for (const LogLineEntry& entry : kLogLines) {
        std::string pattern = "*";  // the time and the program stand before a line in the log
        for (std::size_t i = 0; i < entry.format.size(); ++i) {
            const bool isPlaceholder = entry.format[i] == '%';
            pattern += isPlaceholder ? '*' : entry.format[i];
            i += isPlaceholder ? 1 : 0;
        }
        if (::fnmatch(pattern.c_str(), text.c_str(), 0) == 0) {
            return &entry;
        }
    }
    return nullptr;
}

std::span<const ErrorPlace> errorPlaces() { return kPlaces; }

const ErrorEntry* findErrorEntry(std::int32_t code) {
    for (const ErrorEntry& entry : kEntries) {
        if (entry.code == code) {
            return &entry;
        }
    }
    return nullptr;
}

const ErrorEntry* findErrorEntry(std::string_view name) {
    for (const ErrorEntry& entry : kEntries) {
        if (!name.empty() && entry.name == name) {
            return &entry;
        }
    }
    return nullptr;
}

const ErrorPlace* findErrorPlace(std::string_view unit, std::int32_t line) {
    for (const ErrorPlace& place : kPlaces) {
        if (place.unit == unit && place.line == line) {
            return &place;
        }
    }
    return nullptr;
}

}  // namespace halvexctl
