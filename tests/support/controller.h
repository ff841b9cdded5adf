// One simulated controller with the built library on it: what stories of the whole plug-in run on.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "board/preload/linkedBoard.h"
#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"
#include "tests/support/usualBoard.h"

namespace testsupport {

/// The seed of this run: HALVEX_SEED, or 1. Printed by every story.
inline std::uint64_t seedOfRun() {
    const char* const chosen = std::getenv("HALVEX_SEED");
    return chosen != nullptr ? std::strtoull(chosen, nullptr, 0) : 1;
}

/// A board that is on for the length of a test, and a host that calls the library on it. Threads: one.
class Controller : public testing::Test {
protected:
    static constexpr std::int64_t kToleranceNs = 100;
    static constexpr int kFirstInterface = BOARD_CLOCK_PHC(1);   ///< enp1s0 stands second in the scenario.
    static constexpr int kSecondInterface = BOARD_CLOCK_PHC(0);  ///< enp2s0

    ~Controller() override {
        zuqxmtk_finalize();
        StatusHolder collected;  // an error that nobody has collected would meet the next test of this process
        zuqxmtk_getMaxCorrectionPerSecond(collected.get());
    }

    /// Switches the board on: the usual one with `further` scenario text behind it, or another.
    void switchOn(std::string_view further = "", std::string_view usual = kUsualBoard) {
        halvexboard::LinkedBoardOptions options;
        options.seed = seed_;
        board_ = std::make_unique<halvexboard::LinkedBoard>(std::string(usual) + std::string(further), options);
        std::cout << "seed " << seed_ << '\n';
    }

    void initialize() {
        StatusHolder status;
        zuqxmtk_initialize(status.get());
        ASSERT_EQ(status->code, 0) << status.getText();
    }

    /// Calls `function` with a fresh status; the code it reports.
    template <typename Function>
    std::int32_t codeOf(Function&& function) {
        StatusHolder status;
        function(status.get());
        lastText_ = status.getText();
        return status->code;
    }

    /// The message of the last call that codeOf made.
    std::string lastMessage() const {
        return nlohmann::json::parse(lastText_).at("zuhalvexTimekeeper_debug").at("errorInfo");
    }

    std::int32_t snapTime(std::int64_t offsetNs) {
        return codeOf([=](zuerr_Status* status) { zuqxmtk_snapTime(offsetNs, status); });
    }

    std::int32_t setCorrection(std::int32_t ppb) {
        return codeOf([=](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(ppb, status); });
    }

    std::int32_t applyMetaData(const char* metadata) {
        return codeOf([=](zuerr_Status* status) { zuqxmtk_applyMetaData(metadata, status); });
    }

    std::uint64_t getTime() {
        std::uint64_t time = 0;
        EXPECT_EQ(codeOf([&](zuerr_Status* status) { zuqxmtk_getTime(&time, status); }), 0) << lastText_;
        return time;
    }

    void waitS(double seconds) { board_->sleepNs(static_cast<std::uint64_t>(seconds * 1e9)); }

    /// Every clock that is in use except the system clock, which phc2sys disciplines in its own time.
    void expectAligned() {
        const board_truth truth = board_->truth();
        for (std::uint32_t clock = 0; clock < truth.clock_count; ++clock) {
            if (truth.enabled[clock] == 0 || clock == BOARD_CLOCK_SYSTEM) continue;
            EXPECT_LE(std::abs(truth.difference_ns[clock]), kToleranceNs) << "clock " << clock;
        }
    }

    /// The happenings of one kind so far.
    std::vector<nlohmann::json> happenings(const std::string& kind) const {
        std::vector<nlohmann::json> found;
        for (const std::string& line : board_->trace()) {
            auto happening = nlohmann::json::parse(line);
            if (happening.at("kind") == kind) found.push_back(std::move(happening));
        }
        return found;
    }

    /// The library's calls so far as words: call, target, file or request.
    std::vector<std::string> calls() const {
        std::vector<std::string> words;
        for (const auto& call : happenings("call")) {
            std::string word = call.at("call").get<std::string>() + " " + call.at("target").get<std::string>();
            if (call.contains("file")) word += " " + call.at("file").get<std::string>();
            if (call.contains("request"))
                word += " " + (call.at("request").is_string() ? call.at("request").get<std::string>()
                                                              : call.at("request").dump());
            words.push_back(word);
        }
        return words;
    }

    std::vector<std::string> syslogLines() const { return board_->syslogLines(); }

    long countSyslog(const std::string& part) const {
        const auto lines = syslogLines();
        return std::count_if(lines.begin(), lines.end(),
                             [&](const std::string& line) { return line.find(part) != std::string::npos; });
    }

    std::uint64_t seed_ = seedOfRun();
    std::unique_ptr<halvexboard::LinkedBoard> board_;
    std::string lastText_;
};

}  // namespace testsupport
