// What the process holds at one moment.
#include "tests/soak/census.h"

#include <dirent.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "board/preload/descriptors.h"

namespace soak {
namespace {

template <typename Action>
void forEachEntry(const char* directory, Action action) {
    DIR* const stream = opendir(directory);
    if (stream == nullptr) std::abort();
    const int own = dirfd(stream);
    while (const dirent* entry = readdir(stream)) {
        if (entry->d_name[0] != '.') action(std::atoi(entry->d_name), own);
    }
    closedir(stream);
}

/// Written memory alone: a page of a file that is only read becomes private by itself when the other processes that map
/// it end.
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
    forEachEntry("/proc/self/fd", [&census](int fd, int own) {
        if (fd == own) return;
        ++census.descriptors;
        if (const halvexboard::OpenFile* file = halvexboard::findDescriptor(fd)) {
            ++census.onTarget[static_cast<std::size_t>(file->node->target)];
        } else if (halvexboard::isNotedSocket(fd)) {
            ++census.sockets;
        }
    });
    forEachEntry("/proc/self/task", [&census](int, int) { ++census.threads; });
    census.writtenKiB = readWrittenKiB();
    return census;
}

}  // namespace soak
