// A board switched on for a test.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "boardFixture.h"

#include "board/wire/driver.h"

extern "C" {
#include "board/model/decimal.h"
}

namespace halvexboard {

BoardFixture::BoardFixture() { board_config_defaults(&config); }

void BoardFixture::addInterface(const char* name, std::int32_t phcIndex) {
    board_interface_defaults(&config.interfaces[config.interface_count++], name, phcIndex);
}

void BoardFixture::addEvent(std::uint64_t atNs, board_event_kind kind, int target, std::int64_t value) {
    config.events[config.event_count++] = {atNs, kind, target, value};
}

void BoardFixture::observe(void* context, const board_happening* happening) {
    Recorded recorded;
    recorded.happening = *happening;
    if (happening->truth != nullptr) recorded.truth = *happening->truth;
    if (happening->step != nullptr) recorded.step = *happening->step;
    if (happening->stamp != nullptr) recorded.stamp = *happening->stamp;
    if (happening->event != nullptr) recorded.event = *happening->event;
    if (happening->child != nullptr) recorded.child = *happening->child;
    if (happening->outcome != nullptr) recorded.outcome = *happening->outcome;
    if (happening->record != nullptr)
        recorded.record.assign(happening->record, happening->record + happening->record_size);
    if (happening->text != nullptr) recorded.text.assign(happening->text, happening->text_size);
    static_cast<BoardFixture*>(context)->happenings.push_back(recorded);
}

board* BoardFixture::on() {
    if (board_ == nullptr) {
        storage_ = std::make_unique<std::uint64_t[]>(board_size() / sizeof(std::uint64_t) + 1);
        board_ = board_init(storage_.get(), &config, &BoardFixture::observe, this);
    }
    return board_;
}

std::vector<Recorded> BoardFixture::of(board_happening_kind kind) const {
    std::vector<Recorded> found;
    for (const Recorded& recorded : happenings)
        if (recorded.happening.kind == kind) found.push_back(recorded);
    return found;
}

std::int64_t BoardFixture::difference(std::uint64_t rawNs, int clock) {
    board_truth truth;
    board_get_truth(on(), rawNs, &truth);
    return truth.difference_ns[clock];
}

int BoardFixture::arm(std::uint64_t rawNs, int interface) {
    const int pinError = board_phc_set_pin(on(), rawNs, interface, 0, 1, 0);
    return pinError != 0 ? pinError : board_phc_extts(on(), rawNs, interface, 0, 3, 0);
}

board_driver_call BoardFixture::driverCall(std::uint64_t rawNs, int driver, std::uint32_t request,
                                           std::uint64_t argument) {
    board_driver_call call{};
    call.request = request;
    call.argument = argument;
    EXPECT_EQ(board_driver_do(on(), rawNs, driver, &call), 0);
    return call;
}

std::uint64_t BoardFixture::generateEpoch(std::uint64_t rawNs) {
    driverCall(rawNs, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL);
    return driverCall(rawNs, BOARD_TARGET_FERROX, BOARD_WIRE_FERROX_GET_EPOCH_TIMESTAMP).result;
}

void BoardFixture::steer(std::uint64_t rawNs, std::int64_t ppt) {
    char text[32];
    const std::uint32_t size = board_decimal_write(text, sizeof text, 3, ppt);
    ASSERT_EQ(board_si514_store(on(), rawNs, text, size), static_cast<int>(size));
}

int BoardFixture::event(std::uint64_t rawNs, board_event_kind kind, int target, std::int64_t value) {
    const board_event_config wanted{rawNs, kind, target, value};
    return board_do_event(on(), rawNs, &wanted);
}

}  // namespace halvexboard
