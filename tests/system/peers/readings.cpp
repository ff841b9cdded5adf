// The cost of one clock reading: phc_ctl of linuxptp, and the library.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/system/peers/contenders.h"

#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"

namespace peers {
namespace {

constexpr int kMore = 1000;  ///< Further readings in one process.

struct Cost {
    double wallUs = 0;
    double cpuUs = 0;
};

double nowUs(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) * 1e6 + static_cast<double>(now.tv_nsec) / 1e3;
}

double usOf(const timeval& time) { return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec); }

/// One process from fork to exit.
Cost costOfProgram(std::vector<const char*> words) {
    words.push_back(nullptr);
    const double begin = nowUs(CLOCK_MONOTONIC_RAW);
    const pid_t process = fork();
    if (process == 0) {
        const int output = open("/tmp/readings.log", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(output, 1);
        dup2(output, 2);
        execv(words[0], const_cast<char* const*>(words.data()));
        _exit(127);
    }
    int status = 0;
    rusage used{};
    wait4(process, &status, 0, &used);
    if (status != 0) {
        std::printf("peers: %s failed\n", words[0]);
        std::exit(1);
    }
    return {nowUs(CLOCK_MONOTONIC_RAW) - begin, usOf(used.ru_utime) + usOf(used.ru_stime)};
}

/// One of many calls in a running host.
Cost costOfCall() {
    testsupport::StatusHolder status;
    zuqxmtk_initialize(status.get());
    QxmTimestamp time = 0;
    zuqxmtk_getTime(&time, status.get());
    const double beginWall = nowUs(CLOCK_MONOTONIC_RAW), beginCpu = nowUs(CLOCK_THREAD_CPUTIME_ID);
    for (int count = 0; count < kMore; ++count) zuqxmtk_getTime(&time, status.get());
    const Cost cost{(nowUs(CLOCK_MONOTONIC_RAW) - beginWall) / kMore,
                    (nowUs(CLOCK_THREAD_CPUTIME_ID) - beginCpu) / kMore};
    if (status->code != 0) std::printf("peers: %s\n", status.getText().c_str());
    zuqxmtk_finalize();
    return cost;
}

std::string json(const char* name, const Cost& cost) {
    char text[128];
    std::snprintf(text, sizeof text, "\"%s\":{\"wallUs\":%.2f,\"cpuUs\":%.2f}", name, cost.wallUs, cost.cpuUs);
    return text;
}

}  // namespace

std::string measureReadings() {
    const std::vector<const char*> phcCtl = {"/bin/phc_ctl", "/dev/ptp0", "get"};
    std::vector<const char*> many = phcCtl;
    many.insert(many.end(), kMore, "get");
    costOfProgram(phcCtl);  // warms up its pages
    const Cost one = costOfProgram(phcCtl), all = costOfProgram(many);
    const Cost further{(all.wallUs - one.wallUs) / kMore, (all.cpuUs - one.cpuUs) / kMore};
    const Cost companion = costOfProgram({"/bin/halvexctl", "get"});
    return "{" + json("phcCtlProcess", one) + "," + json("phcCtlFurther", further) + "," +
           json("halvexctlProcess", companion) + "," + json("getTime", costOfCall()) + "}";
}

}  // namespace peers
