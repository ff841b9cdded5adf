// Formats one happening on the board as a line of JSON: the members of each kind.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/trace/traceLine.h"

#include <cstring>

#include "board/trace/jsonLine.h"
#include "board/wire/driver.h"

namespace halvexboard {

namespace {

const char* const kChildStates[] = {"none", "running", "exited", "killed"};

void addError(JsonLine& line, int error) {
    const char* const name = strerrorname_np(error);
    if (name != nullptr)
        line.text("error", name);
    else
        line.number("error", error);
}

void addRequest(JsonLine& line, const board_call& call) {
    if (call.kind == BOARD_CALL_IOCTL) {
        const char* const name = board_request_name(call.target, call.detail);
        if (name != nullptr)
            line.text("request", name);
        else
            line.count("request", call.detail);
    } else if (call.detail != 0) {
        line.count("detail", call.detail);
    }
}

void addAskedCall(JsonLine& line, const board& theBoard, const board_call& call) {
    line.text("call", board_call_kind_name(call.kind));
    line.text("target", board_target_name(board_configuration(&theBoard), call.target));
    if (call.file != BOARD_FILE_ANY) line.text("file", board_file_name(call.file));
    addRequest(line, call);
    if (call.argument_count == 0) return;
    line.openArray("arguments");
    for (std::uint32_t at = 0; at < call.argument_count && at < 4; ++at) line.element(call.arguments[at]);
    line.closeArray();
}

void addCall(JsonLine& line, const board& theBoard, const board_happening& happening) {
    addAskedCall(line, theBoard, *happening.call);
    line.number("result", happening.call->result);
    if (happening.call->error != 0) addError(line, happening.call->error);
}

void addFault(JsonLine& line, const board& theBoard, const board_happening& happening) {
    const board_fault_outcome& outcome = *happening.outcome;
    line.count("fault", outcome.fault);
    addAskedCall(line, theBoard, *happening.call);
    if (outcome.error != 0) addError(line, outcome.error);
    if (outcome.short_count >= 0) line.number("short_count", outcome.short_count);
    if (outcome.driver_status != 0) line.number("driver_status", outcome.driver_status);
    if (outcome.delay_ns != 0) line.count("delay_ns", outcome.delay_ns);
    if (outcome.kills != 0) line.flag("kills", true);
}

void addStep(JsonLine& line, const board& theBoard, const board_step& step) {
    line.text("clock", board_clock_name(&theBoard, step.clock));
    line.number("asked_ns", step.asked_ns);
    line.number("real_ns", step.real_ns);
    line.count("before_ns", step.before_ns);
    line.count("after_ns", step.after_ns);
    line.text("by", step.by_phc2sys != 0 ? "phc2sys" : "program");
}

void addTruth(JsonLine& line, const board& theBoard, const board_truth& truth) {
    line.count("tick_ns", truth.tick_ns);
    line.openObject("clocks");
    for (int clock = 0; clock < static_cast<int>(truth.clock_count); ++clock) {
        line.openObject(board_clock_name(&theBoard, clock));
        line.number("difference_ns", truth.difference_ns[clock]);
        line.count("time_ns", truth.time_ns[clock]);
        line.flag("enabled", truth.enabled[clock] != 0);
        line.closeObject();
    }
    line.closeObject();
}

void addStamp(JsonLine& line, const board& theBoard, const board_stamp& stamp) {
    line.text("clock", board_clock_name(&theBoard, stamp.clock));
    line.count("channel", stamp.channel);
    line.text("edge", stamp.falling != 0 ? "falling" : "rising");
    line.count("time_ns", stamp.time_ns);
    if (stamp.lost != 0) line.flag("lost", true);
    if (stamp.stale != 0) line.flag("stale", true);
}

void addOptional(JsonLine& line, const char* key, bool isPresent, std::int32_t value) {
    if (isPresent)
        line.number(key, value);
    else
        line.nothing(key);
}

void addStatusRecord(JsonLine& line, const board_happening& happening) {
    board_wire_fpga_status record{};
    std::memcpy(&record, happening.record, sizeof record);
    line.hex("record", happening.record, happening.record_size);
    line.flag("not_aligned", record.not_aligned != 0);
    line.count("reference_kind", record.reference_kind);
    addOptional(line, "reference_offset", record.has_reference_offset != 0, record.reference_offset);
    addOptional(line, "utc_offset", record.has_utc_offset != 0, record.utc_offset);
}

void addChild(JsonLine& line, const board& theBoard, const board_child& child) {
    line.number("pid", child.pid);
    line.text("state", kChildStates[child.state]);
    if (child.state == BOARD_CHILD_EXITED) line.number("exit_code", child.status);
    if (child.state == BOARD_CHILD_KILLED) line.number("signal", child.status);
    if (child.source >= 0)
        line.text("source", board_target_name(board_configuration(&theBoard), BOARD_TARGET_INTERFACE(child.source)));
    else
        line.nothing("source");
}

void addStart(JsonLine& line, const board& theBoard) {
    const board_config& config = *board_configuration(&theBoard);
    line.count("seed", config.seed);
    line.number("crystal_error_ppt", config.crystal_error_ppt);
    line.count("start_time_ns", config.start_time_ns);
    line.openArray("clocks");
    for (int clock = 0; clock < BOARD_CLOCK_FIRST_PHC + static_cast<int>(config.interface_count); ++clock)
        line.element(std::string_view(board_clock_name(&theBoard, clock)));
    line.closeArray();
}

void addText(JsonLine& line, const board_happening& happening) {
    line.number("priority", happening.value);
    line.text("text", std::string_view(happening.text, happening.text_size));
}

void addEvent(JsonLine& line, const board& theBoard, const board_happening& happening) {
    line.text("event", board_event_kind_name(happening.event->kind));
    line.text("target", board_target_name(board_configuration(&theBoard), happening.target));
    line.number("value", happening.value);
}

void addMembers(JsonLine& line, const board& theBoard, const board_happening& happening) {
    switch (happening.kind) {
        case BOARD_HAPPENING_START:
            return addStart(line, theBoard);
        case BOARD_HAPPENING_CALL:
            return addCall(line, theBoard, happening);
        case BOARD_HAPPENING_STEP:
            return addStep(line, theBoard, *happening.step);
        case BOARD_HAPPENING_EPOCH:
        case BOARD_HAPPENING_TRUTH:
            return addTruth(line, theBoard, *happening.truth);
        case BOARD_HAPPENING_STAMP:
            return addStamp(line, theBoard, *happening.stamp);
        case BOARD_HAPPENING_FAULT:
            return addFault(line, theBoard, happening);
        case BOARD_HAPPENING_EVENT:
            return addEvent(line, theBoard, happening);
        case BOARD_HAPPENING_STEERING:
            return line.number("steering_ppt", happening.value);
        case BOARD_HAPPENING_STATUS_RECORD:
            return addStatusRecord(line, happening);
        case BOARD_HAPPENING_ALIGNMENT_REQUEST:
            return line.number("value", happening.value);
        case BOARD_HAPPENING_PHC2SYS:
            return addChild(line, theBoard, *happening.child);
        case BOARD_HAPPENING_SYSLOG:
            return addText(line, happening);
        case BOARD_HAPPENING_KINDS:
            return;
    }
}

}  // namespace

std::size_t formatHappening(const board& theBoard, const board_happening& happening, char* out, std::size_t capacity) {
    JsonLine line(out, capacity);
    line.count("seq", happening.sequence);
    line.count("raw_ns", happening.raw_ns);
    line.text("kind", board_happening_kind_name(happening.kind));
    addMembers(line, theBoard, happening);
    return line.finish();
}

}  // namespace halvexboard
