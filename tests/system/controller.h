// A board switched on for one story, and a host that calls the library on it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"
#include "tests/system/machine.h"

namespace systemtest {

inline constexpr std::int64_t kToleranceNs = 100;  ///< What the alignment aims at.

/// The seed of this run; every story counts on from it.
inline std::uint64_t seedOfRun() {
    const char* const chosen = std::getenv("HALVEX_SEED");
    return chosen != nullptr ? std::strtoull(chosen, nullptr, 0) : 1;
}

class Controller : public testing::Test {
protected:
    Controller() { clearSyslog(); }
    ~Controller() override {
        zuqxmtk_finalize();
        testsupport::StatusHolder collected;  // an error nobody has collected would meet the next story
        zuqxmtk_getMaxCorrectionPerSecond(collected.get());
        control("off");
    }

    /// A board with nothing but what is named here: the usual two interfaces come with switchOn().
    void switchOnBare(const std::vector<std::string>& commands) {
        ASSERT_TRUE(control("off"));
        ASSERT_TRUE(control("defaults"));
        ASSERT_TRUE(control("set seed " + std::to_string(seedOfRun())));
        for (const std::string& command : commands) ASSERT_TRUE(control(command)) << command;
        ASSERT_TRUE(control("on"));
        takeJournal();
    }

    /// Two I210s (the kernel meets the second first), offsets up to seconds, every step short by 1.5 us with 50 ns
    /// jitter.
    void switchOn(const std::vector<std::string>& further = {}) {
        std::vector<std::string> commands = {"interface enp2s0",
                                             "interface enp1s0",
                                             "set crystal_error_ppt 3000000",
                                             "set ferrox_offset_ns 10000000000",
                                             "set fpga_offset_ns -730000000",
                                             "set fpga_step_loss_ns 1500",
                                             "set fpga_step_jitter_ns 50",
                                             "set enp2s0 offset_ns 3000000000",
                                             "set enp1s0 offset_ns -412",
                                             "set enp1s0 step_loss_ns 1500",
                                             "set enp1s0 step_jitter_ns 50",
                                             "set enp2s0 step_loss_ns 1500",
                                             "set enp2s0 step_jitter_ns 50"};
        commands.insert(commands.end(), further.begin(), further.end());
        switchOnBare(commands);
    }

    void initialize() {
        ASSERT_EQ(codeOf([](zuerr_Status* status) { zuqxmtk_initialize(status); }), 0) << lastText_;
    }

    /// Calls `function` with a fresh status; the code it reports.
    template <typename Function>
    std::int32_t codeOf(Function&& function) {
        testsupport::StatusHolder status;
        function(status.get());
        lastText_ = status.getText();
        return status->code;
    }
    std::int32_t initializeAndCatch() {
        return codeOf([](zuerr_Status* status) { zuqxmtk_initialize(status); });
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
    std::int32_t readTime() {
        return codeOf([this](zuerr_Status* status) { zuqxmtk_getTime(&time_, status); });
    }

    bool lastErrorSays(const std::string& text) const { return lastText_.find(text) != std::string::npos; }

    static long countSyslog(const std::string& part) {
        long count = 0;
        for (const std::string& line : syslogLines()) count += line.find(part) != std::string::npos;
        return count;
    }

    static std::vector<Happening> ofKind(const std::vector<Happening>& journal, const std::string& kind) {
        std::vector<Happening> found;
        for (const Happening& happening : journal)
            if (happening.kind == kind) found.push_back(happening);
        return found;
    }

    /// Every clock of the board that is in use, within the tolerance of the master.
    static void expectAligned() {
        const Truth truth = readTruth();
        ASSERT_GE(truth.clocks.size(), 3U);
        for (const auto& [name, clock] : truth.clocks) {
            if (name != "realtime" && clock.isEnabled) {
                EXPECT_LE(std::abs(clock.differenceNs), kToleranceNs) << name;
            }
        }
    }

    std::uint64_t time_ = 0;
    std::string lastText_;
};

}  // namespace systemtest
