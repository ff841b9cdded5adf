// One happening as a line: the members of every kind.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/traceLine.h"

#include <cjson/cJSON.h>

#include "tests/support/allocationCount.h"
#include "tests/support/files.h"
#include "tests/support/modelBoard.h"

namespace halvexboard::traceLineTest {

/// A board that formats its happenings as lines.
class TraceLine : public ModelBoardTest {
protected:
    TraceLine() {
        config.start_time_ns = 1000;
        addInterface("enp1s0", 0);
        config.interfaces[0].interrupt_jitter_ns = 0;
    }

    /// Every line that a test made is as the published schema says.
    void TearDown() override {
        const testsupport::ScratchDirectory directory;
        std::ofstream file(directory / "lines");
        for (const std::string& line : lines) file << line;
        file.close();
        const std::string root = HALVEX_SOURCE_DIR;
        const std::string command = "'" + root + "/tests/tool/validate' '" + root +
                                    "/docs/schema/halvexboard-trace.schema.json' <'" + (directory / "lines") + "' >'" +
                                    (directory / "complaints") + "'";
        ASSERT_EQ(std::system(command.c_str()), 0);
        EXPECT_EQ(testsupport::fileContents(directory / "complaints"), std::string(lines.size(), '\n'));
    }

    std::string lastOf(const std::string& kind) const {
        std::string found;
        for (const std::string& line : lines)
            if (line.find("\"kind\":\"" + kind + "\"") != std::string::npos) found = line;
        return found;
    }
    board_driver_call ferrox(std::uint32_t request, std::uint64_t argument = 0) {
        return driverCall(5, BOARD_TARGET_FERROX, request, argument);
    }

    std::vector<std::string> lines;
    long allocationsWhileFormatting = 0;

private:
    void see(const board_happening& happening) override {
        char line[kMaxTraceLine];
        const long before = testsupport::countAllocations();
        const std::size_t length = formatHappening(*happening.where, happening, line, sizeof line);
        allocationsWhileFormatting += testsupport::countAllocations() - before;
        lines.emplace_back(line, length);
    }
};

TEST_F(TraceLine, OfTheStart) {
    config.seed = 7;
    on();
    EXPECT_EQ(lastOf("start"),
              "{\"seq\":0,\"raw_ns\":0,\"kind\":\"start\",\"seed\":7,\"crystal_error_ppt\":0,"
              "\"start_time_ns\":1000,\"clocks\":[\"ferrox\",\"fpga\",\"system\",\"enp1s0\"]}\n");
}

TEST_F(TraceLine, OfTheTruth) {
    config.interfaces[0].clock.offset_ns = -250;
    config.truth_interval_ns = 7;
    board_advance(on(), 7);
    EXPECT_EQ(lastOf("truth"),
              "{\"seq\":2,\"raw_ns\":7,\"kind\":\"truth\",\"tick_ns\":7,\"clocks\":{"
              "\"ferrox\":{\"difference_ns\":0,\"time_ns\":1007,\"enabled\":true},"
              "\"fpga\":{\"difference_ns\":0,\"time_ns\":1007,\"enabled\":true},"
              "\"system\":{\"difference_ns\":0,\"time_ns\":1007,\"enabled\":false},"
              "\"enp1s0\":{\"difference_ns\":-250,\"time_ns\":757,\"enabled\":true}}}\n");
}

TEST_F(TraceLine, OfAnEpochAndItsStamps) {
    ASSERT_EQ(arm(1, 0), 0);
    ferrox(BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    board_advance(on(), 10'000);
    EXPECT_THAT(lastOf("epoch"), testing::HasSubstr("\"clocks\":{\"ferrox\":{\"difference_ns\":0"));
    EXPECT_EQ(lastOf("stamp"),
              "{\"seq\":5,\"raw_ns\":1005,\"kind\":\"stamp\",\"clock\":\"enp1s0\",\"channel\":0,"
              "\"edge\":\"falling\",\"time_ns\":2005}\n");
}

TEST_F(TraceLine, OfALostAndAStaleStamp) {
    ASSERT_EQ(event(0, BOARD_EVENT_LOSE_EDGES, BOARD_TARGET_FPGA, 1), 0);
    ferrox(BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    EXPECT_THAT(lastOf("stamp"), testing::HasSubstr("\"clock\":\"fpga\""));
    EXPECT_THAT(lastOf("stamp"), testing::HasSubstr(",\"lost\":true}"));
    ASSERT_EQ(event(10, BOARD_EVENT_STALE_EVENTS, BOARD_TARGET_INTERFACE(0), 1), 0);
    EXPECT_THAT(lastOf("stamp"), testing::HasSubstr(",\"stale\":true}"));
}

TEST_F(TraceLine, OfAStep) {
    ferrox(BOARD_WIRE_FERROX_ADJUST_TIME, 399);
    EXPECT_EQ(lastOf("step"),
              "{\"seq\":2,\"raw_ns\":5,\"kind\":\"step\",\"clock\":\"ferrox\",\"asked_ns\":399,\"real_ns\":200,"
              "\"before_ns\":1005,\"after_ns\":1205,\"by\":\"program\"}\n");
}

TEST_F(TraceLine, OfACall) {
    board_call call = callOf(BOARD_CALL_IOCTL, BOARD_TARGET_INTERFACE(0), BOARD_WIRE_PTP_PIN_SETFUNC);
    call.file = BOARD_FILE_PTP;
    call.argument_count = 3;
    call.arguments[1] = 1;
    call.arguments[2] = -5;
    call.result = -1;
    call.error = EBUSY;
    board_tell_call(on(), 9, &call);
    EXPECT_EQ(lastOf("call"),
              "{\"seq\":2,\"raw_ns\":9,\"kind\":\"call\",\"call\":\"ioctl\",\"target\":\"enp1s0\",\"file\":\"ptp\","
              "\"request\":\"PTP_PIN_SETFUNC\",\"arguments\":[0,1,-5],\"result\":-1,\"error\":\"EBUSY\"}\n");
}

TEST_F(TraceLine, OfACallWithoutNames) {
    board_call call = callOf(BOARD_CALL_IOCTL, BOARD_TARGET_FPGA, 99);
    call.error = 3000;
    board_tell_call(on(), 9, &call);
    EXPECT_THAT(lastOf("call"), testing::HasSubstr("\"request\":99,\"result\":0,\"error\":3000}"));
}

TEST_F(TraceLine, OfAFault) {
    config.fault_count = 1;
    config.faults[0].kind = BOARD_CALL_IOCTL;
    config.faults[0].nth = config.faults[0].times = 1;
    config.faults[0].driver_status = -52024;
    config.faults[0].delay_ns = 4;
    const board_call call = callOf(BOARD_CALL_IOCTL, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_SET_STATUS_INFO);
    board_fault_outcome outcome;
    ASSERT_EQ(board_fault_due(on(), 3, &call, &outcome), 1);
    EXPECT_EQ(lastOf("fault"),
              "{\"seq\":2,\"raw_ns\":3,\"kind\":\"fault\",\"fault\":0,\"call\":\"ioctl\",\"target\":\"fpga\","
              "\"request\":\"setStatusInfo\",\"driver_status\":-52024,\"delay_ns\":4}\n");
}

TEST_F(TraceLine, OfAnEvent) {
    ASSERT_EQ(event(3, BOARD_EVENT_INTERFACE_DOWN, BOARD_TARGET_INTERFACE(0)), 0);
    EXPECT_EQ(
        lastOf("event"),
        "{\"seq\":2,\"raw_ns\":3,\"kind\":\"event\",\"event\":\"interface_down\",\"target\":\"enp1s0\",\"value\":0}\n");
}

TEST_F(TraceLine, OfSteering) {
    ASSERT_EQ(board_si514_store(on(), 3, "-12.5", 5), 5);
    EXPECT_EQ(lastOf("steering"), "{\"seq\":2,\"raw_ns\":3,\"kind\":\"steering\",\"steering_ppt\":-12500}\n");
}

TEST_F(TraceLine, OfTheStatusRecordWithItsOptionalFields) {
    board_driver_call call{};
    call.request = BOARD_WIRE_FPGA_SET_STATUS_INFO;
    const board_wire_fpga_status record{19, 0, 2, 0, 0, 37, 1};
    std::memcpy(call.record, &record, sizeof record);
    ASSERT_EQ(board_driver_do(on(), 3, BOARD_TARGET_FPGA, &call), 0);
    EXPECT_EQ(
        lastOf("status_record"),
        "{\"seq\":2,\"raw_ns\":3,\"kind\":\"status_record\",\"record\":\"13000000000200000000000000002500000001\","
        "\"not_aligned\":false,\"reference_kind\":2,\"reference_offset\":null,\"utc_offset\":37}\n");
}

TEST_F(TraceLine, OfAnAlignmentRequest) {
    driverCall(3, BOARD_TARGET_FPGA, BOARD_WIRE_FPGA_REQUEST_EPOCH_ALIGNMENT, 4'000'000'000);
    EXPECT_EQ(lastOf("alignment_request"),
              "{\"seq\":2,\"raw_ns\":3,\"kind\":\"alignment_request\",\"value\":4000000000}\n");
}

TEST_F(TraceLine, OfAChildsLife) {
    const std::int32_t pid = startPhc2sys(3, "enp1s0");
    EXPECT_EQ(lastOf("phc2sys"),
              "{\"seq\":2,\"raw_ns\":3,\"kind\":\"phc2sys\",\"pid\":5000001,\"state\":\"running\","
              "\"source\":\"enp1s0\"}\n");
    ASSERT_EQ(board_child_signal(on(), 4, pid, 9), 0);
    EXPECT_THAT(lastOf("phc2sys"), testing::HasSubstr("\"state\":\"killed\",\"signal\":9,"));
    startPhc2sys(5, "");
    EXPECT_THAT(lastOf("phc2sys"), testing::HasSubstr("\"state\":\"exited\",\"exit_code\":255,\"source\":null}"));
}

TEST_F(TraceLine, OfTextsCutToWhatALineHolds) {
    board_tell_syslog(on(), 3, 6, "50% \"ready\"\n", 12);
    EXPECT_EQ(lastOf("syslog"),
              "{\"seq\":2,\"raw_ns\":3,\"kind\":\"syslog\",\"priority\":6,\"text\":\"50% \\\"ready\\\"\\u000a\"}\n");
    const std::string large(20'000, 'x');
    board_tell_syslog(on(), 3, 6, large.data(), 20'000);
    ASSERT_GT(lastOf("syslog").size(), 8000U);
    EXPECT_EQ(lastOf("syslog").substr(lastOf("syslog").size() - 3), "\"}\n");
}

TEST_F(TraceLine, EveryKindIsWholeJsonAndAllocatesNothing) {
    for (int interface = 1; interface < BOARD_MAX_INTERFACES; ++interface)
        addInterface(("longestname-e" + std::to_string(interface)).c_str(), interface);
    config.truth_interval_ns = 7;
    board_advance(on(), 7);
    ferrox(BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    for (const std::string& line : lines) {
        cJSON* const parsed = cJSON_ParseWithLength(line.data(), line.size());
        EXPECT_TRUE(cJSON_IsObject(parsed)) << line;
        cJSON_Delete(parsed);
    }
    EXPECT_EQ(allocationsWhileFormatting, 0);
}

TEST_F(TraceLine, ThatDoesNotFitIsNothing) {
    board_happening happening{};
    happening.kind = BOARD_HAPPENING_STEERING;
    char small[20];
    EXPECT_EQ(formatHappening(*on(), happening, small, sizeof small), 0U);
}

}  // namespace halvexboard::traceLineTest
