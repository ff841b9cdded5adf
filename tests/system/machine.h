// The virtual controller for stories: the module's control files, the machine's processes, interfaces and log.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/stories/backend.h"
#include "tests/support/files.h"

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

/// Sends the board one command; returns whether it succeeded.
bool control(const std::string& command);
Truth readTruth();  ///< The machine's CLOCK_REALTIME as "realtime".
std::vector<Happening> takeJournal();

/// Writes a file of the kernel or the machine in one write; returns whether all of it was accepted.
bool writeFile(const std::string& path, const std::string& text);

void setInterfaceUp(const std::string& name, bool isUp);
void waitS(double seconds);

/// Pids of running phc2sys children: neither zombies nor killed, whether or not they have been scheduled since.
std::vector<int> livingPhc2sys();

/// Lines logged since the last clearSyslog.
std::vector<std::string> syslogLines();
void clearSyslog();

}  // namespace systemtest
