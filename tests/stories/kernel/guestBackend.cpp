// Backend for stories on the board in the guest's own kernel.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/kernelCommands.h"
#include "tests/stories/backend.h"
#include "tests/system/machine.h"

namespace stories {
namespace {

/// Parses a message of syslog(3): "<14>Nov 21 23:00:00 program: text".
LogLine parsed(const std::string& sent) {
    const std::size_t behindPriority = sent.find('>') + 1, text = sent.find(": ") + 2;
    return {std::stoi(sent.substr(1, behindPriority - 2)) & 7, sent.substr(text)};
}

class GuestBackend final : public Backend {
public:
    GuestBackend() { systemtest::clearSyslog(); }

    bool isExact() const override { return false; }
    int seedsOfAStory() const override { return 20; }

    void switchOn(const board_config& config) override {
        for (const halvexboard::KernelCommand& command : halvexboard::kernelCommands(config)) {
            if (command.atNs != 0) throw std::runtime_error("a story's events are its own: " + command.text);
            obey(command.text);
            if (command.text == "on") clear();
        }
    }
    void switchOff() override { obey("off"); }
    void waitS(double seconds) override { systemtest::waitS(seconds); }

    void doEvent(const std::string& kind, const std::string& target, std::int64_t value) override {
        if (kind == "interface_up" || kind == "interface_down")
            systemtest::setInterfaceUp(target, kind == "interface_up");
        else if (kind == "kill_phc2sys")
            for (const int child : systemtest::livingPhc2sys()) kill(child, static_cast<int>(value));
        else
            obey("event " + kind + " " + target + " " + std::to_string(value));
    }
    void addFault(const board_fault_config& fault) override { obey(halvexboard::kernelFaultCommand(fault)); }

    Truth truth() override {
        Truth now = systemtest::readTruth();
        auto systemClock = now.clocks.extract("realtime");
        systemClock.key() = "system";
        now.clocks.insert(std::move(systemClock));
        return now;
    }
    Seen seen() override {
        for (const systemtest::Happening& happening : systemtest::takeJournal()) {
            if (happening.kind == "lost") throw std::runtime_error("the journal has overflowed");
            if (happening.kind == "step") seen_.steps.push_back({happening.target, happening.number("asked")});
            if (happening.kind == "status_record") seen_.statusRecords.push_back(happening.details.at("record"));
            if (happening.kind == "alignment_request") seen_.alignmentRequests.push_back(happening.number("value"));
            if (happening.kind == "epoch") ++seen_.epochs;
        }
        return seen_;
    }
    std::vector<LogLine> log() override {
        std::vector<LogLine> lines;
        for (const std::string& line : systemtest::syslogLines()) lines.push_back(parsed(line));
        return lines;
    }
    std::vector<std::string> phc2sysSources() override {
        std::vector<std::string> sources;
        for (const int child : systemtest::livingPhc2sys()) {
            const std::string words = testsupport::fileContents("/proc/" + std::to_string(child) + "/cmdline");
            const std::string option("-s\0", 3);
            const std::size_t at = words.find(option);
            sources.emplace_back(at == std::string::npos ? "" : words.c_str() + at + option.size());
        }
        return sources;
    }
    void clear() override {
        systemtest::takeJournal();
        seen_ = {};
        systemtest::clearSyslog();
    }

private:
    static void obey(const std::string& command) {
        if (!systemtest::control(command)) throw std::runtime_error("the board refuses: " + command);
    }

    Seen seen_;
};

}  // namespace

std::unique_ptr<Backend> makeBackend() { return std::make_unique<GuestBackend>(); }

}  // namespace stories
