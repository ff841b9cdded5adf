// Backend for stories on the board linked into the program.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/callNames.h"
#include "tests/stories/userSpace/controller.h"

namespace stories {
namespace {

using nlohmann::json;

std::vector<json> happeningsOf(const halvexboard::LinkedBoard& board, const std::string& kind) {
    const std::string wanted = "\"kind\":\"" + kind + "\"";
    std::vector<json> found;
    for (const std::string& line : board.trace())
        if (line.find(wanted) != std::string::npos) found.push_back(json::parse(line));
    return found;
}

class LinkedBackend final : public Backend {
public:
    bool isExact() const override { return true; }
    int seedsOfAStory() const override { return 1000; }

    void switchOn(const board_config& config) override {
        config_ = config;
        board_ = std::make_unique<halvexboard::LinkedBoard>(config, halvexboard::LinkedBoardOptions{});
        sources_.clear();
    }
    void switchOff() override { board_.reset(); }
    void waitS(double seconds) override { board_->sleepNs(static_cast<std::uint64_t>(seconds * 1e9)); }

    void doEvent(const std::string& kind, const std::string& target, std::int64_t value) override {
        const int number = target == "board" ? BOARD_TARGET_ANY : halvexboard::targetNamed(config_, target).value();
        if (!board_->doEvent(halvexboard::eventKindNamed(kind).value(), number, value))
            throw std::runtime_error("the board refuses the event " + kind);
    }
    void addFault(const board_fault_config& fault) override {
        board_->withModel([&](::board& model, std::uint64_t) {
            if (board_add_fault(&model, &fault) != 0) throw std::runtime_error("the board refuses the fault");
        });
    }

    Truth truth() override {
        Truth now;
        board_->withModel([&](::board& model, std::uint64_t rawNs) {
            board_truth all{};
            board_get_truth(&model, rawNs, &all);
            now.rawNs = static_cast<std::int64_t>(rawNs);
            for (int clock = 0; clock < static_cast<int>(all.clock_count); ++clock)
                now.clocks[board_clock_name(&model, clock)] = {static_cast<std::int64_t>(all.time_ns[clock]),
                                                               all.difference_ns[clock], all.enabled[clock] != 0};
        });
        return now;
    }
    Seen seen() override {
        Seen all;
        for (const json& step : happeningsOf(*board_, "step"))
            if (step.at("by") == "program") all.steps.push_back({step.at("clock"), step.at("asked_ns")});
        for (const json& record : happeningsOf(*board_, "status_record"))
            all.statusRecords.push_back(record.at("record"));
        for (const json& request : happeningsOf(*board_, "alignment_request"))
            all.alignmentRequests.push_back(request.at("value"));
        all.epochs = static_cast<int>(happeningsOf(*board_, "epoch").size());
        return all;
    }
    std::vector<LogLine> log() override {
        std::vector<LogLine> lines;
        for (const json& line : happeningsOf(*board_, "syslog"))
            lines.push_back({line.at("priority"), line.at("text")});
        return lines;
    }
    std::vector<std::string> phc2sysSources() override {
        std::vector<std::string> living = sources_;
        for (const json& child : happeningsOf(*board_, "phc2sys")) {
            if (child.at("state") == "running")
                living.push_back(child.at("source"));
            else if (!living.empty())
                living.pop_back();
        }
        return living;
    }
    void clear() override {
        sources_ = phc2sysSources();
        board_->clearTrace();
    }

    halvexboard::LinkedBoard& board() { return *board_; }

private:
    board_config config_{};
    std::unique_ptr<halvexboard::LinkedBoard> board_;
    std::vector<std::string> sources_;  ///< Of children running when the trace was cleared.
};

}  // namespace

std::unique_ptr<Backend> makeBackend() { return std::make_unique<LinkedBackend>(); }

halvexboard::LinkedBoard& UserSpaceController::linkedBoard() { return static_cast<LinkedBackend&>(*backend_).board(); }

std::vector<json> UserSpaceController::happenings(const std::string& kind) { return happeningsOf(linkedBoard(), kind); }

std::vector<std::string> UserSpaceController::calls() {
    std::vector<std::string> words;
    for (const json& call : happenings("call")) {
        std::string word = call.at("call").get<std::string>() + " " + call.at("target").get<std::string>();
        if (call.contains("file")) word += " " + call.at("file").get<std::string>();
        if (call.contains("request")) {
            const json& request = call.at("request");
            word += " " + (request.is_string() ? request.get<std::string>() : request.dump());
        }
        words.push_back(word);
    }
    return words;
}

}  // namespace stories
