// What /proc and /sys hold, as map, doctor and the search for owners of the clocks read it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <linux/ethtool.h>
#include <linux/ptp_clock.h>
#include <linux/sockios.h>
#include <net/if.h>

#include "fuzz/expectation.h"
#include "fuzz/servedFiles.h"
#include "host/inspect/doctor.h"
#include "host/inspect/map.h"
#include "host/output/jsonPrinter.h"

namespace {

using namespace halvexctl;

std::map<std::string, std::string, std::less<>> files;  ///< Contents by path; a link's are its target.
std::set<std::string> entries;                          ///< Of the directory that is open.

/// A line that begins with a slash is a path; the lines behind it are what the file holds.
void readFiles(std::string_view text) {
    files.clear();
    while (!text.empty()) {
        const std::size_t end = std::min(text.find("\n/"), text.size());
        const std::string_view file = text.substr(0, end);
        const std::size_t name = std::min(file.find('\n'), file.size());
        files.emplace(file.substr(0, name), file.substr(std::min(name + 1, file.size())));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

const std::string* contentsOf(std::string_view path) {
    const auto found = files.find(path);
    return found == files.end() ? nullptr : &found->second;
}

DIR* openDirectory(const char* path) {
    static const auto real = reinterpret_cast<DIR* (*)(const char*)>(dlsym(RTLD_NEXT, "opendir"));
    const std::string directory = std::string(path) + (std::string_view(path).ends_with('/') ? "" : "/");
    entries.clear();
    for (auto file = files.lower_bound(directory); file != files.end() && file->first.starts_with(directory); ++file) {
        entries.insert(
            file->first.substr(directory.size(), file->first.find('/', directory.size()) - directory.size()));
    }
    return entries.empty() ? nullptr : real("/");
}

struct dirent* readEntry(DIR*) {
    static struct dirent entry;
    if (entries.empty()) return nullptr;
    const std::string name = entries.extract(entries.begin()).value();
    entry.d_name[name.copy(entry.d_name, sizeof entry.d_name - 1)] = '\0';
    return &entry;
}

/// Every interface is up and has the clock 0, with one pin more than the library needs.
int answer(int, unsigned long request, void* argument) {
    if (request == SIOCETHTOOL) {
        reinterpret_cast<ethtool_ts_info*>(static_cast<ifreq*>(argument)->ifr_data)->phc_index = 0;
    } else if (request == PTP_CLOCK_GETCAPS) {
        auto& capabilities = *static_cast<ptp_clock_caps*>(argument);
        capabilities.n_ext_ts = capabilities.n_per_out = 1;
        capabilities.n_pins = 5;
    }
    return 0;
}

void checkMap(const ControllerFacts& facts) {
    Result result;
    showMap(facts, result);
    for (const Field& field : result.fields) EXPECT(nlohmann::json::accept(jsonText(field.value)));
}

void checkFindings(const ControllerFacts& facts) {
    const std::vector<Finding> findings = examine(facts);
    EXPECT(findings.size() == 21);
    for (const Finding& finding : findings)
        EXPECT(!finding.text.empty() && (finding.health == Health::ok) == finding.remedy.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    readFiles({reinterpret_cast<const char*>(data), size});
    const ServedFiles served(contentsOf);
    testsupport::LibcHooks& hooks = testsupport::libcHooks();
    hooks.opendir = openDirectory;
    hooks.readdir = readEntry;
    hooks.ioctl = answer;
    hooks.access = [](const char* path, int) { return contentsOf(path) == nullptr ? -1 : 0; };
    hooks.readlink = [](const char* path, char* target, std::size_t room) -> ssize_t {
        const std::string* const contents = contentsOf(path);
        return contents == nullptr ? -1 : static_cast<ssize_t>(contents->copy(target, room));
    };
    const ControllerFacts facts = gatherFacts();
    checkMap(facts);
    checkFindings(facts);
    for (const ProcessFacts& process : facts.processes) EXPECT(ageNs(process) >= 0);
    EXPECT(clockOwners().size() <= facts.processes.size());
    readSteeringPpb();
    return 0;
}
