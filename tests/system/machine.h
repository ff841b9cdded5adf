// The virtual controller as a story sees it: the module's control files, the machine's processes, interfaces and log.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/stories/backend.h"

namespace systemtest {

using stories::ClockTruth;
using stories::Truth;

/// A line of the board's journal.
struct Happening {
    std::int64_t rawNs = 0;
    std::string kind;
    std::string target;
    std::map<std::string, std::string> details;

    std::int64_t number(const std::string& name) const { return std::stoll(details.at(name)); }
};

/// Gives the board one command; true when it obeyed.
bool control(const std::string& command);
Truth readTruth();  ///< The machine's CLOCK_REALTIME as "realtime".
std::vector<Happening> takeJournal();

/// Writes a file of the kernel or the machine in one go; true when all of it was taken.
bool writeFile(const std::string& path, const std::string& text);
std::string readFile(const std::string& path);

void setInterfaceUp(const std::string& name, bool isUp);
void waitS(double seconds);

/// Process ids of the phc2sys children that are alive: neither zombies nor killed, whether or not they have run since.
std::vector<int> livingPhc2sys();

/// Everything that reached the machine's log since the last call of clearSyslog.
std::vector<std::string> syslogLines();
void clearSyslog();

}  // namespace systemtest
