// Whether another thread of the test has gone to sleep, for tests in which one thread waits for another.
#pragma once

#include <sys/types.h>

#include <fstream>
#include <string>

namespace testsupport {

/// Whether the kernel has put a thread of this process to sleep. False for a thread that has ended.
inline bool isAsleep(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string text;
    std::getline(stat, text);
    const std::size_t nameEnd = text.rfind(')');
    return nameEnd != std::string::npos && text.substr(nameEnd + 2, 1) == "S";
}

}  // namespace testsupport
