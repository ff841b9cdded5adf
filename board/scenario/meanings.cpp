// What the keys, events, targets and files of scenarios mean: see meanings.h.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/meanings.h"

#include <stdexcept>

namespace halvexboard {

namespace {

constexpr struct {
    std::string_view group, name;
    const char* meaning;
} kMeanings[] = {
    {"scenario", "title", "for people"},
    {"scenario", "seed", "of everything random; `--seed` overrides it"},
    {"scenario", "start_time", "`CLOCK_REALTIME` when the board is switched on"},
    {"scenario", "crystal_error_ppb", "of the oscillator that drives every clock but the system's"},
    {"scenario", "pulse_width", "of an epoch pulse, from its rising to its falling edge"},
    {"scenario", "truth_interval", "a `truth` line in the trace this often; 0: only the `epoch` lines"},
    {"[system_clock]", "crystal_error_ppb", "of the system clock's own crystal"},
    // Of every table that describes a clock.
    {"clock", "offset", "to `start_time` when the board is switched on"},
    {"clock", "step_loss", "each step ends up this much behind"},
    {"clock", "step_jitter", "standard deviation of the loss"},
    {"clock", "step_granularity", "a step is cut toward zero to a multiple of this"},
    {"clock", "present", "whether its driver is there"},
    {"clock", "interface_path", "contents of the driver's `interfacePath` file, exactly"},
    {"[fpga]", "running", "whether its time base runs"},
    {"[fpga]", "reads_zero", "it runs, and its time reads 0"},
    {"[fpga]", "starts_on_request", "a request for alignment starts a time base that stands still"},
    {"[si514]", "range_ppb", "the driver refuses more, either way, with EINVAL"},
    {"[si514]", "resolution_ppb", "of the steering; 0: exact"},
    {"[si514]", "ppb_offset", "steering when the board is switched on"},
    {"[si514]", "name", "contents of the client's `name` file"},
    {"[si514]", "client", "name of the bus's client"},
    {"[si514]", "ppb_offset_text", "contents of `ppb_offset` until it is written, instead of the number"},
    {"[phc2sys]", "interval", "between two samples"},
    {"[phc2sys]", "noise", "standard deviation of one reading"},
    {"[phc2sys]", "max_slew_ppb", "fastest change of the system clock's rate"},
    {"[[interface]]", "name", "as the kernel shows it"},
    {"[[interface]]", "phc_index", "N of its `/dev/ptpN`; -1: it has no clock"},
    {"[[interface]]", "vendor", "contents of `device/vendor`"},
    {"[[interface]]", "device", "contents of `device/device`"},
    {"[[interface]]", "up", "whether the interface is up"},
    {"[[interface]]", "reset_on_up", "coming up resets the clock, as the driver does"},
    {"[[interface]]", "max_adj_ppb", "largest frequency adjustment that the clock offers"},
    {"[[interface]]", "n_alarm", "alarms that the clock offers"},
    {"[[interface]]", "n_ext_ts", "channels of external time stamps"},
    {"[[interface]]", "n_per_out", "periodic outputs"},
    {"[[interface]]", "pps", "whether the clock offers a pulse per second"},
    {"[[interface]]", "n_pins", "programmable pins"},
    {"[[interface]]", "cross_timestamping", "whether the clock offers precise system time stamps"},
    {"[[interface]]", "interrupt_latency", "from an edge to its time stamp in the queue"},
    {"[[interface]]", "interrupt_jitter", "added to the latency, uniform from 0"},
    {"[[interface]]", "lost_edges_per_million", "edges that get no time stamp, by chance"},
    {"[[interface]]", "virtual_clocks", "virtual clocks are in use: adjusting is refused with EBUSY"},
    {"[[event]]", "at", "time since the board was switched on"},
    {"[[event]]", "kind", "what happens, see the events"},
    {"[[event]]", "target", "what it happens to"},
    {"[[fault]]", "call", "which call fails"},
    {"[[fault]]", "target", "of calls to this part only"},
    {"[[fault]]", "file", "of calls about this file only"},
    {"[[fault]]", "request", "of calls with this request only"},
    {"[[fault]]", "from", "calls before this time are not counted"},
    {"[[fault]]", "nth", "the first counted call that fails"},
    {"[[fault]]", "times", "how many counted calls in a row fail"},
    {"[[fault]]", "error", "the call fails with this errno"},
    {"[[fault]]", "short_count", "the call transfers this much and says so"},
    {"[[fault]]", "driver_status", "the driver reports this code; below 0 it does nothing else"},
    {"[[fault]]", "delay", "the call takes this much longer; alone, it succeeds"},
    {"[[cost]]", "call", "whose cost is set"},
    {"[[cost]]", "target", "for calls to this part only"},
    {"[[cost]]", "request", "for calls with this request only"},
    {"[[cost]]", "takes", "virtual time per call; later entries override earlier ones"},
    {"event", "interface_up", "the interface goes up, and its clock is reset unless `reset_on_up` is false"},
    {"event", "interface_down", "the interface goes down"},
    {"event", "phc_reset", "its clock takes the system's time and stops stamping; the interface stays up"},
    {"event", "fpga_stop", "the FPGA's time base stands still"},
    {"event", "fpga_run", "it runs, and can be read again"},
    {"event", "fpga_zero", "the FPGA's time reads 0"},
    {"event", "lose_edges", "the clock does not stamp the next pulses"},
    {"event", "stale_events", "old time stamps appear in the clock's queue, 1 us apart"},
    {"event", "driver_gone", "the driver is unloaded: its files vanish, calls fail with ENODEV"},
    {"event", "driver_back", "the driver is there again"},
    {"event", "kill_phc2sys", "every living `phc2sys` receives a signal"},
    {"event", "capabilities", "the clock offers other numbers of channels and pins"},
    {"event", "jump", "the clock jumps"},
    {"event", "crystal", "the board's crystal, or the system clock's own, has another error"},
    {"event", "pulse", "an unsolicited epoch pulse"},
    {"event", "pulse_every_second", "pulses at every whole second of Ferrox begin or end"},
    {"lose_edges", "count", "pulses to lose"},
    {"stale_events", "count", "time stamps to insert"},
    {"kill_phc2sys", "signal", "its number"},
    {"capabilities", "n_ext_ts", "channels of external time stamps"},
    {"capabilities", "n_per_out", "periodic outputs"},
    {"capabilities", "n_pins", "programmable pins"},
    {"jump", "by", "positive: forward"},
    {"crystal", "crystal_error_ppb", "the new error"},
    {"pulse_every_second", "on", "1: begin, 0: end"},
    {"target", "ferrox", "the timing chip, its driver and its clock: the epoch master"},
    {"target", "fpga", "the FPGA's time block, its driver and its clock"},
    {"target", "system", "`CLOCK_REALTIME`"},
    {"target", "si514", "the oscillator and its driver"},
    {"target", "phc2sys", "the child process"},
    {"target", "network", "the list of interfaces, and sockets that have not named one yet"},
    {"target", "INTERFACE", "an interface by its name: its files, flags and clock"},
    {"file", "any", "every file, and calls that are about none"},
    {"file", "vendor", "an interface's `device/vendor`"},
    {"file", "device", "an interface's `device/device`"},
    {"file", "ptp", "an interface's `/dev/ptpN`"},
    {"file", "node", "the device node of Ferrox or FPGA"},
    {"file", "interfacePath", "the file below `/proc/driver/zu` that names the node"},
    {"file", "name", "the oscillator's `name`"},
    {"file", "ppb_offset", "the oscillator's `ppb_offset`"},
    {"file", "directory", "any directory"},
    {"file", "socket", "any socket"},
};

}  // namespace

std::string meaningOf(std::string_view group, std::string_view name) {
    for (const std::string_view wanted : {group, std::string_view("clock")})
        for (const auto& known : kMeanings)
            if (known.group == wanted && known.name == name) return known.meaning;
    throw std::out_of_range("meanings.cpp does not say what " + std::string(name) + " of " + std::string(group) +
                            " means");
}

}  // namespace halvexboard
