// A board of the model whose raw time the test controls, with a record of its happenings.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "board/model/board.h"
#include "board/wire/driver.h"
#include "tests/support/test.h"

namespace halvexboard {

inline constexpr std::uint64_t kUs = 1'000;
inline constexpr std::uint64_t kMs = 1'000'000;
inline constexpr std::uint64_t kS = 1'000'000'000;

/// A happening with copies of its referenced data.
struct Recorded {
    board_happening happening{};
    board_truth truth{};
    board_step step{};
    board_stamp stamp{};
    board_child child{};
    board_event_config event{};
    board_fault_outcome outcome{};
    std::vector<std::uint8_t> record;
    std::string text;
};

inline board_call callOf(board_call_kind kind, int target = BOARD_TARGET_ANY, std::uint32_t detail = 0) {
    board_call call{};
    call.kind = kind;
    call.target = target;
    call.detail = detail;
    return call;
}

/// Switches on a board from `config` at the first call.
class ModelBoard {
public:
    ModelBoard() { board_config_defaults(&config); }
    explicit ModelBoard(const board_config& wanted) : config(wanted) {}
    virtual ~ModelBoard() = default;
    ModelBoard(const ModelBoard&) = delete;
    ModelBoard& operator=(const ModelBoard&) = delete;

    void addInterface(const char* name, std::int32_t phcIndex) {
        board_interface_defaults(&config.interfaces[config.interface_count++], name, phcIndex);
    }
    void addEvent(std::uint64_t atNs, board_event_kind kind, int target, std::int64_t value = 0) {
        config.events[config.event_count++] = {atNs, kind, target, value};
    }

    /// The board; null if it refuses the configuration.
    board* on() {
        if (board_ == nullptr) board_ = board_init(storage_.get(), &config, &ModelBoard::observe, this);
        return board_;
    }

    std::vector<Recorded> of(board_happening_kind kind) const {
        std::vector<Recorded> found;
        for (const Recorded& recorded : happenings)
            if (recorded.happening.kind == kind) found.push_back(recorded);
        return found;
    }
    board_truth truth(std::uint64_t rawNs) {
        board_truth truth;
        board_get_truth(on(), rawNs, &truth);
        return truth;
    }
    std::int64_t difference(std::uint64_t rawNs, int clock) { return truth(rawNs).difference_ns[clock]; }

    /// Pin 0 to external time stamps, stamping on; returns the first error.
    int arm(std::uint64_t rawNs, int interface) {
        const int pinError = board_phc_set_pin(on(), rawNs, interface, 0, BOARD_WIRE_PIN_EXTTS, 0);
        return pinError != 0 ? pinError : board_phc_extts(on(), rawNs, interface, 0, 3, 0);
    }
    /// Empties the queue of a clock.
    std::vector<board_phc_event> take(std::uint64_t rawNs, int interface) {
        std::vector<board_phc_event> events(BOARD_QUEUE_SIZE);
        const int count = board_phc_take(on(), rawNs, interface, events.data(), BOARD_QUEUE_SIZE);
        EXPECT_GE(count, 0);
        events.resize(static_cast<std::size_t>(count));
        return events;
    }
    /// clock_adjtime with ADJ_SETOFFSET.
    int step(std::uint64_t rawNs, int interface, std::int64_t seconds, std::int64_t nanoseconds,
             std::uint32_t modes = BOARD_WIRE_ADJ_SETOFFSET | BOARD_WIRE_ADJ_NANO) {
        board_wire_timex timex{};
        timex.modes = modes;
        timex.time_sec = seconds;
        timex.time_usec = nanoseconds;
        return board_phc_adjtime(on(), rawNs, interface, &timex);
    }

    board_driver_call driverCall(std::uint64_t rawNs, int driver, std::uint32_t request, std::uint64_t argument = 0,
                                 int expected = 0) {
        board_driver_call call{};
        call.request = request;
        call.argument = argument;
        EXPECT_EQ(board_driver_do(on(), rawNs, driver, &call), expected);
        return call;
    }
    /// Returns the master's time.
    std::uint64_t generateEpoch(std::uint64_t rawNs) {
        driverCall(rawNs, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
        return driverCall(rawNs, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP).result;
    }

    int event(std::uint64_t rawNs, board_event_kind kind, int target, std::int64_t value = 0) {
        const board_event_config wanted{rawNs, kind, target, value};
        return board_do_event(on(), rawNs, &wanted);
    }
    std::int32_t startPhc2sys(std::uint64_t rawNs, const char* source) {
        board_phc2sys_options options{};
        std::strcpy(options.source, source);
        options.valid = 1;
        return board_phc2sys_start(on(), rawNs, &options);
    }

    board_config config;
    std::vector<Recorded> happenings;

protected:
    virtual void see(const board_happening& happening) {
        Recorded& recorded = happenings.emplace_back();
        recorded.happening = happening;
        if (happening.truth != nullptr) recorded.truth = *happening.truth;
        if (happening.step != nullptr) recorded.step = *happening.step;
        if (happening.stamp != nullptr) recorded.stamp = *happening.stamp;
        if (happening.event != nullptr) recorded.event = *happening.event;
        if (happening.child != nullptr) recorded.child = *happening.child;
        if (happening.outcome != nullptr) recorded.outcome = *happening.outcome;
        if (happening.record != nullptr)
            recorded.record.assign(happening.record, happening.record + happening.record_size);
        if (happening.text != nullptr) recorded.text.assign(happening.text, happening.text_size);
    }

private:
    static void observe(void* context, const board_happening* happening) {
        static_cast<ModelBoard*>(context)->see(*happening);
    }

    std::unique_ptr<std::uint64_t[]> storage_ =
        std::make_unique<std::uint64_t[]>(board_size() / sizeof(std::uint64_t) + 1);
    board* board_ = nullptr;
};

class ModelBoardTest : public testing::Test, public ModelBoard {};

}  // namespace halvexboard
