// Operations of all stories on their controller, on either board.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/stories/controller.h"

#include <nlohmann/json.hpp>

#include "board/scenario/scenario.h"
#include "board/wire/driver.h"

namespace stories {

std::uint64_t seedOfRun() {
    const char* const chosen = std::getenv("HALVEX_SEED");
    return chosen != nullptr ? std::strtoull(chosen, nullptr, 0) : 1;
}

Controller::Controller() : backend_(makeBackend()) {}

Controller::~Controller() {
    zuqxmtk_finalize();
    testsupport::StatusHolder collected;  // an uncollected error would fail the next test in this process
    zuqxmtk_getMaxCorrectionPerSecond(collected.get());
    backend_->switchOff();
}

void Controller::switchOn(std::string_view further, std::string_view usual) {
    scenario_ = std::string(usual) + std::string(further);
    config_ = halvexboard::parseScenario(scenario_, "scenario").config;
    restart(seed_);
    std::cout << "seed " << seed_ << '\n';
}

std::string Controller::usualBoardWith(const std::string& line, const std::string& key) {
    std::string text(testsupport::kUsualBoard);
    const std::size_t at = text.find(line + "\n");
    EXPECT_NE(at, std::string::npos) << line;
    return text.insert(at + line.size() + 1, key + "\n");
}

void Controller::restart(std::uint64_t seed) {
    config_.seed = seed;
    backend_->switchOff();
    backend_->switchOn(config_);
}

void Controller::initialize() { ASSERT_EQ(initializeAndCatch(), 0) << lastText_; }

std::int32_t Controller::initializeAndCatch() {
    return codeOf([](zuerr_Status* status) { zuqxmtk_initialize(status); });
}

std::string Controller::lastMessage() const {
    return nlohmann::json::parse(lastText_).at("zuhalvexTimekeeper_debug").at("errorInfo");
}

std::int32_t Controller::snapTime(std::int64_t offsetNs) {
    return codeOf([=](zuerr_Status* status) { zuqxmtk_snapTime(offsetNs, status); });
}

std::int32_t Controller::setCorrection(std::int32_t ppb) {
    return codeOf([=](zuerr_Status* status) { zuqxmtk_setCorrectionPerSecond(ppb, status); });
}

std::int32_t Controller::applyMetaData(const char* metadata) {
    return codeOf([=](zuerr_Status* status) { zuqxmtk_applyMetaData(metadata, status); });
}

std::int32_t Controller::readTime() {
    return codeOf([this](zuerr_Status* status) { zuqxmtk_getTime(&time_, status); });
}

std::uint64_t Controller::getTime() {
    EXPECT_EQ(readTime(), 0) << lastText_;
    return time_;
}

void Controller::addFault(const std::string& table) {
    const board_config config = halvexboard::parseScenario(scenario_ + table, "fault").config;
    ASSERT_GT(config.fault_count, 0U);
    backend_->addFault(config.faults[config.fault_count - 1]);
}

void Controller::expectAligned() {
    const Truth now = truth();
    ASSERT_GE(now.clocks.size(), 3U);
    for (const auto& [name, clock] : now.clocks) {
        if (name != "system" && clock.isEnabled) {
            EXPECT_LE(std::abs(clock.differenceNs), kToleranceNs) << name;
        }
    }
}

void Controller::expectSystemTimeWithin(std::int64_t boundNs) {
    const Truth now = truth();
    EXPECT_LE(std::abs(now["system"].timeNs - now["enp1s0"].timeNs), boundNs);
}

std::vector<StatusRecord> Controller::statusRecords() {
    std::vector<StatusRecord> records;
    for (const std::string& text : seen().statusRecords) {
        board_wire_fpga_status wire{};
        auto* const bytes = reinterpret_cast<unsigned char*>(&wire);
        for (std::size_t at = 0; at < sizeof wire && 2 * at + 1 < text.size(); ++at)
            bytes[at] = static_cast<unsigned char>(std::stoi(text.substr(2 * at, 2), nullptr, 16));
        StatusRecord record{wire.not_aligned != 0, wire.reference_kind, {}, {}};
        // By value: members of the packed record may be misaligned.
        if (wire.has_reference_offset != 0) record.referenceOffset = std::int32_t{wire.reference_offset};
        if (wire.has_utc_offset != 0) record.utcOffset = std::int32_t{wire.utc_offset};
        records.push_back(record);
    }
    return records;
}

std::vector<std::string> Controller::syslogLines() {
    std::vector<std::string> texts;
    for (const LogLine& line : backend_->log()) texts.push_back(line.text);
    return texts;
}

long Controller::countSyslog(const std::string& part) {
    const auto lines = syslogLines();
    return std::count_if(lines.begin(), lines.end(),
                         [&](const std::string& line) { return line.find(part) != std::string::npos; });
}

}  // namespace stories
