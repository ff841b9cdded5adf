// Scenario files: converts TOML to the model's configuration.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/scenario.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>

#include "board/scenario/happeningReader.h"
#include "board/scenario/quantity.h"
#include "board/scenario/tableReader.h"

namespace halvexboard {

namespace {

constexpr std::int64_t kNsPerS = 1'000'000'000;
constexpr std::int64_t kDaysTo1970 = 719'468;  // from 0000-03-01
constexpr std::int64_t kMostCrystalPpt = 1'000'000'000;
constexpr std::int64_t kMostInt32 = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMostInt64 = std::numeric_limits<std::int64_t>::max();

std::uint32_t perMillion(TableReader& reader, const char* key) {
    return static_cast<std::uint32_t>(reader.integer(key, 0, 0, 1'000'000));
}

void readClock(TableReader& reader, board_clock_config& clock) {
    reader.duration("offset", clock.offset_ns);
    reader.duration("step_loss", clock.step_loss_ns);
    reader.duration("step_jitter", clock.step_jitter_ns, 0);
    reader.duration("step_granularity", clock.step_granularity_ns, 0);
    reader.duration("step_tail", clock.step_tail_ns, 0);
    reader.duration("step_other_loss", clock.step_other_loss_ns);
    clock.step_other_per_million = perMillion(reader, "step_other_per_million");
}

// One number a line, in ppb; a line that begins with # is a comment. Relative to the scenario's folder.
void readFrequencies(TableReader& reader, const std::string& source, board_crystal_config& crystal) {
    reader.describe("frequencies", "path, relative to the scenario's folder", "none");
    const std::string name = reader.text("frequencies", "");
    if (name.empty()) return;
    std::ifstream file(std::filesystem::path(source).parent_path() / name);
    if (!file) reader.refuse("frequencies", "cannot be read: " + name);
    std::uint32_t at = 0;
    for (std::string line; std::getline(file, line);) {
        ++at;
        if (line.empty() || line.front() == '#') continue;
        double ppb = 0;
        const char* const end = line.data() + line.size();
        const auto [rest, error] = std::from_chars(line.data(), end, ppb);
        const auto ppt = ppbToPpt(ppb);
        if (error != std::errc{} || rest != end || !ppt || std::abs(*ppt) > kMostCrystalPpt)
            reader.refuse("frequencies", name + ":" + std::to_string(at) + ": must be a number of ppb up to 1000000");
        if (crystal.frequency_count == BOARD_MAX_FREQUENCIES)
            reader.refuse("frequencies", name + " has more than " + std::to_string(BOARD_MAX_FREQUENCIES) + " numbers");
        crystal.frequencies_ppt[crystal.frequency_count++] = static_cast<std::int32_t>(*ppt);
    }
}

void readCrystal(TableReader& reader, const std::string& source, board_crystal_config& crystal) {
    reader.delay("interval", crystal.interval_ns);
    reader.ppb("white_ppb", crystal.white_ppt);
    reader.ppb("flicker_ppb", crystal.flicker_ppt);
    reader.ppb("random_walk_ppb", crystal.walk_ppt);
    reader.ppb("ageing_ppb_per_day", crystal.ageing_ppt_per_day);
    reader.ppb("ramp_ppb", crystal.ramp_ppt);
    reader.delay("ramp_at", crystal.ramp_at_ns);
    reader.delay("ramp_takes", crystal.ramp_takes_ns);
    readFrequencies(reader, source, crystal);
    reader.delay("frequencies_every", crystal.frequencies_every_ns);
}

// Date and time with offset to UTC at which the clock starts.
void readStartTime(TableReader& reader, board_config& config) {
    reader.describe("start_time", "date and time with an offset to UTC", "2023-11-14T22:13:20Z");
    const toml::node* const found = reader.node("start_time");
    if (found == nullptr) return;
    const auto value = found->value_exact<toml::date_time>();
    if (!value || !value->offset)
        reader.refuse("start_time", "must be a date and time with an offset, such as 2024-03-01T12:00:00Z");
    // Days since 1970-01-01 of the Gregorian calendar, years counted from March.
    const std::int64_t month = (value->date.month + 9) % 12;
    const std::int64_t year = value->date.year - (value->date.month < 3 ? 1 : 0);
    const std::int64_t dayOfYear = (month * 306 + 5) / 10 + value->date.day - 1;
    const std::int64_t day = 365 * year + year / 4 - year / 100 + year / 400 + dayOfYear - kDaysTo1970;
    const std::int64_t seconds =
        ((day * 24 + value->time.hour) * 60 + value->time.minute - value->offset->minutes) * 60 + value->time.second;
    if (seconds < 0 || seconds >= kMostInt64 / kNsPerS) reader.refuse("start_time", "must be a time from 1970 to 2262");
    config.start_time_ns = static_cast<std::uint64_t>(seconds * kNsPerS) + value->time.nanosecond;
}

void readDriver(TableReader& reader, board_driver_config& driver) {
    reader.flag("present", driver.present);
    reader.characters("interface_path", driver.interface_path);
    readClock(reader, driver.clock);
}

void readFpga(TableReader& reader, board_config& config) {
    readDriver(reader, config.fpga);
    reader.flag("running", config.fpga_running);
    reader.flag("reads_zero", config.fpga_reads_zero);
    reader.flag("starts_on_request", config.fpga_starts_on_request);
}

void readSi514(TableReader& reader, board_config& config) {
    reader.flag("present", config.si514_present);
    reader.ppb("range_ppb", config.si514_max_ppt);
    reader.ppb("resolution_ppb", config.si514_resolution_ppt);
    reader.ppb("ppb_offset", config.si514_initial_ppt);
    reader.characters("name", config.si514_name);
    reader.characters("client", config.si514_client);
    config.si514_has_text = reader.has("ppb_offset_text") ? 1 : 0;
    reader.characters("ppb_offset_text", config.si514_text);
}

void readPhc2sys(TableReader& reader, board_config& config) {
    reader.describe("program", "\"modelled\" or \"real\"", "\"modelled\"");
    const std::string program = reader.text("program", "modelled");
    if (program != "modelled" && program != "real")
        reader.refuse("program", "must be modelled or real, not " + program);
    config.phc2sys.is_real = program == "real" ? 1 : 0;
    reader.delay("interval", config.phc2sys.interval_ns);
    reader.duration("noise", config.phc2sys.noise_ns, 0);
    config.phc2sys.max_slew_ppb = reader.integer("max_slew_ppb", config.phc2sys.max_slew_ppb, 0, 100'000'000);
}

std::int32_t small(TableReader& reader, const char* key, std::int32_t otherwise, std::int64_t least,
                   std::int64_t most) {
    return static_cast<std::int32_t>(reader.integer(key, otherwise, least, most));
}

void readCapabilities(TableReader& reader, board_interface_config& interface) {
    interface.max_adj_ppb = small(reader, "max_adj_ppb", interface.max_adj_ppb, 0, 500'000'000);
    interface.n_alarm = small(reader, "n_alarm", interface.n_alarm, 0, kMostInt32);
    interface.n_ext_ts = small(reader, "n_ext_ts", interface.n_ext_ts, 0, BOARD_MAX_CHANNELS);
    interface.n_per_out = small(reader, "n_per_out", interface.n_per_out, 0, BOARD_MAX_CHANNELS);
    interface.pps = small(reader, "pps", interface.pps, 0, 1);
    interface.n_pins = small(reader, "n_pins", interface.n_pins, 0, BOARD_MAX_PINS);
    interface.cross_timestamping = small(reader, "cross_timestamping", interface.cross_timestamping, 0, 1);
}

void readInterface(TableReader& reader, board_interface_config& interface, std::int32_t position) {
    reader.require("name");
    board_interface_defaults(&interface, "", position);
    reader.characters("name", interface.name);
    if (interface.name[0] == '\0' || std::string_view(interface.name).find('/') != std::string_view::npos)
        reader.refuse("name", "is not an interface name");
    reader.describe("phc_index", "-1 to 1000", "its position");
    interface.phc_index = small(reader, "phc_index", position, -1, 1000);
    reader.characters("vendor", interface.vendor, "\n");
    reader.characters("device", interface.device, "\n");
    reader.flag("present", interface.present);
    reader.flag("up", interface.is_up);
    reader.flag("reset_on_up", interface.reset_on_up);
    readClock(reader, interface.clock);
    readCapabilities(reader, interface);
    reader.delay("interrupt_latency", interface.interrupt_latency_ns);
    reader.delay("interrupt_jitter", interface.interrupt_jitter_ns);
    interface.lost_edges_per_million = perMillion(reader, "lost_edges_per_million");
    reader.delay("slow_read", interface.slow_read_ns);
    interface.slow_reads_per_million = perMillion(reader, "slow_reads_per_million");
    reader.flag("virtual_clocks", interface.virtual_clocks);
}

/// Reads one scenario file. Borrows the parsed file.
class ScenarioReader {
public:
    ScenarioReader(const toml::table& root, std::string source, std::vector<KnownKey>* described = nullptr)
        : source_(std::move(source)), described_(described), root_(root, "scenario", source_, described) {}

    Scenario read();

private:
    template <typename Reader>
    void table(const char* key, Reader readInto);
    template <typename Reader>
    void tables(const char* key, std::uint32_t& count, std::size_t most, Reader readInto);
    void readBoard();
    void readInterfaces();
    void readHappenings();
    void check(const char* what, std::uint32_t line, const board_config& config) const;
    bool isAccepted(const board_config& config) const;

    std::string source_;
    std::vector<KnownKey>* described_;
    TableReader root_;
    Scenario scenario_{};
    std::vector<std::uint32_t> eventLines_;
    std::unique_ptr<std::uint64_t[]> storage_ =
        std::make_unique<std::uint64_t[]>(board_size() / sizeof(std::uint64_t) + 1);
};

template <typename Reader>
void ScenarioReader::table(const char* key, Reader readInto) {
    const toml::node* const found = root_.node(key);
    if (found == nullptr) return;
    if (!found->is_table()) root_.refuse(key, std::string("must be a table [") + key + "]");
    TableReader reader(*found->as_table(), std::string("[") + key + "]", source_, described_);
    readInto(reader, scenario_.config);
    reader.finish();
}

template <typename Reader>
void ScenarioReader::tables(const char* key, std::uint32_t& count, std::size_t most, Reader readInto) {
    const toml::node* const found = root_.node(key);
    if (found == nullptr) return;
    const toml::array* const array = found->as_array();
    if (array == nullptr || !array->is_array_of_tables())
        root_.refuse(key, std::string("must be an array of tables [[") + key + "]]");
    if (array->size() > most) root_.refuse(key, "can be given " + std::to_string(most) + " times at most");
    for (const toml::node& element : *array) {
        TableReader reader(*element.as_table(), std::string("[[") + key + "]]", source_, described_);
        readInto(reader, count);
        ++count;
        reader.finish();
    }
}

void ScenarioReader::readBoard() {
    board_config& config = scenario_.config;
    scenario_.title = root_.text("title", "");
    config.seed = static_cast<std::uint64_t>(root_.integer("seed", 1, 0, kMostInt64));
    readStartTime(root_, config);
    root_.ppb("crystal_error_ppb", config.crystal_error_ppt);
    table("crystal",
          [this](TableReader& reader, board_config& target) { readCrystal(reader, source_, target.crystal); });
    root_.delay("pulse_width", config.pulse_width_ns);
    root_.delay("truth_interval", config.truth_interval_ns);
    table("system_clock", [](TableReader& reader, board_config& target) {
        readClock(reader, target.system);
        reader.ppb("crystal_error_ppb", target.system_crystal_error_ppt);
    });
    table("ferrox", [](TableReader& reader, board_config& target) { readDriver(reader, target.ferrox); });
    table("fpga", readFpga);
    table("si514", readSi514);
    table("phc2sys", readPhc2sys);
}

void ScenarioReader::readInterfaces() {
    board_config& config = scenario_.config;
    std::set<std::string> names;
    std::set<std::int32_t> indices;
    tables("interface", config.interface_count, BOARD_MAX_INTERFACES, [&](TableReader& reader, std::uint32_t at) {
        readInterface(reader, config.interfaces[at], static_cast<std::int32_t>(at));
        if (!names.insert(config.interfaces[at].name).second) reader.refuse("name", "is taken by an interface above");
        if (config.interfaces[at].phc_index >= 0 && !indices.insert(config.interfaces[at].phc_index).second)
            reader.refuse("phc_index", "is taken by an interface above");
    });
}

void ScenarioReader::readHappenings() {
    board_config& config = scenario_.config;
    tables("event", config.event_count, BOARD_MAX_EVENTS, [&](TableReader& reader, std::uint32_t at) {
        readEvent(reader, config, config.events[at]);
        eventLines_.push_back(reader.line());
    });
    tables("fault", config.fault_count, BOARD_MAX_FAULTS,
           [&](TableReader& reader, std::uint32_t at) { readFault(reader, config, config.faults[at]); });
    tables("cost", config.cost_count, BOARD_MAX_COSTS,
           [&](TableReader& reader, std::uint32_t at) { readCost(reader, config, config.costs[at]); });
}

bool ScenarioReader::isAccepted(const board_config& config) const {
    return board_init(storage_.get(), &config, nullptr, nullptr) != nullptr;
}

// The model validates; each part is checked separately, so that the message can name the line.
void ScenarioReader::check(const char* what, std::uint32_t line, const board_config& config) const {
    if (!isAccepted(config)) throw ScenarioError(source_ + ":" + std::to_string(line) + ": " + what);
}

Scenario ScenarioReader::read() {
    board_config_defaults(&scenario_.config);
    readBoard();
    readInterfaces();
    readHappenings();
    root_.finish();
    board_config trial = scenario_.config;
    trial.event_count = 0;
    check("a value is beyond what the board can simulate", 1, trial);
    trial.event_count = 1;
    for (std::uint32_t at = 0; at < scenario_.config.event_count; ++at) {
        trial.events[0] = scenario_.config.events[at];
        check("[[event]]: target or value does not fit its kind", eventLines_[at], trial);
    }
    return scenario_;
}

}  // namespace

Scenario parseScenario(std::string_view text, const std::string& source) {
    try {
        const toml::table root = toml::parse(text, std::string_view(source));
        return ScenarioReader(root, source).read();
    } catch (const toml::parse_error& error) {
        throw ScenarioError(source + ":" + std::to_string(error.source().begin.line) + ": " +
                            std::string(error.description()));
    } catch (const std::domain_error&) {
        throw ScenarioError(source + ": a table's name or a key is malformed");
    }
}

std::vector<KnownKey> scenarioKeys() {
    static constexpr const char* kOneOfEach =
        "[crystal]\n[system_clock]\n[ferrox]\n[fpga]\n[si514]\n[phc2sys]\n[[interface]]\nname = 'enp1s0'\n"
        "[[event]]\nat = '0 s'\nkind = 'pulse'\n[[fault]]\ncall = 'any'\ndelay = '0 s'\n"
        "[[cost]]\ncall = 'any'\ntakes = '0 s'\n";
    std::vector<KnownKey> keys;
    const toml::table root = toml::parse(std::string_view(kOneOfEach));
    ScenarioReader(root, "", &keys).read();
    return keys;
}

Scenario loadScenario(const std::string& path) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf()))
        throw ScenarioError(
            path + ":1: " + (errno != 0 ? std::string("cannot be read: ") + std::strerror(errno) : "is empty"));
    return parseScenario(text.str(), path);
}

}  // namespace halvexboard
