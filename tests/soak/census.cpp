// Resources of the process.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/soak/census.h"

#include "board/preload/descriptors.h"
#include "tests/support/processCensus.h"

namespace soak {
namespace {

/// Written memory only: a page that is only read becomes private by itself when other processes that map it end.
std::int64_t readWrittenKiB() {
    std::FILE* const file = std::fopen("/proc/self/smaps_rollup", "re");
    if (file == nullptr) std::abort();
    std::int64_t total = 0;
    char line[256];
    while (std::fgets(line, sizeof line, file) != nullptr) {
        if (std::strncmp(line, "Private_Dirty:", 14) == 0) total += std::atoll(std::strchr(line, ':') + 1);
    }
    std::fclose(file);
    return total;
}

}  // namespace

Census takeCensus() {
    Census census;
    testsupport::forEachDescriptor([&census](int fd) {
        ++census.descriptors;
        if (const halvexboard::OpenFile* file = halvexboard::findDescriptor(fd)) {
            ++census.onTarget[static_cast<std::size_t>(file->node()->target)];
        } else if (halvexboard::isNotedSocket(fd)) {
            ++census.sockets;
        }
    });
    census.threads = testsupport::countThreads();
    census.writtenKiB = readWrittenKiB();
    return census;
}

}  // namespace soak
