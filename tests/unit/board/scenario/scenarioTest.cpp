// Scenario files: the meaning of each key, and how mistakes are reported.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/scenario/scenario.h"

#include "board/scenario/vocabulary.h"
#include "board/trace/traceLine.h"
#include "tests/support/files.h"
#include "tests/support/modelBoard.h"

namespace halvexboard::scenarioTest {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

board_config configOf(const std::string& text) { return parseScenario(text, "story.toml").config; }

std::string mistakeOf(const std::string& text) {
    try {
        parseScenario(text, "story.toml");
    } catch (const ScenarioError& error) {
        return error.what();
    }
    return "accepted";
}

std::string mistakeInFile(const std::string& path) {
    try {
        loadScenario(path);
    } catch (const ScenarioError& error) {
        return error.what();
    }
    return "accepted";
}

const std::string kPorts = "[[interface]]\nname = \"enp2s0\"\n[[interface]]\nname = \"enp1s0\"\n";  // four lines

TEST(Scenario, AnEmptyTextIsAHealthyBoardWithoutInterfaces) {
    const board_config config = configOf("");
    EXPECT_EQ(config.interface_count, 0U);
    EXPECT_TRUE(config.ferrox.present);
    EXPECT_TRUE(config.fpga.present);
    EXPECT_TRUE(config.fpga_running);
    EXPECT_EQ(config.ferrox.clock.step_granularity_ns, 200);
    EXPECT_STREQ(config.ferrox.interface_path, "/dev/zu/horlixFerrox0");
}

TEST(Scenario, ReadsTheBoardItself) {
    const Scenario scenario = parseScenario(
        "title = \"t\"\nseed = 7\ncrystal_error_ppb = -12.5\npulse_width = \"10 us\"\ntruth_interval = \"1 s\"\n"
        "[system_clock]\noffset = \"-3 ms\"\ncrystal_error_ppb = 9\n[phc2sys]\nnoise = \"0 ns\"\ninterval = \"500 "
        "ms\"\n",
        "story.toml");
    EXPECT_EQ(scenario.title, "t");
    EXPECT_EQ(scenario.config.seed, 7U);
    EXPECT_EQ(scenario.config.crystal_error_ppt, -12'500);
    EXPECT_EQ(scenario.config.pulse_width_ns, 10'000U);
    EXPECT_EQ(scenario.config.truth_interval_ns, 1'000'000'000U);
    EXPECT_EQ(scenario.config.system.offset_ns, -3'000'000);
    EXPECT_EQ(scenario.config.system_crystal_error_ppt, 9'000);
    EXPECT_EQ(scenario.config.phc2sys.noise_ns, 0);
    EXPECT_EQ(scenario.config.phc2sys.interval_ns, 500'000'000U);
}

TEST(Scenario, ReadsTheCrystal) {
    const board_crystal_config crystal =
        configOf(
            "[crystal]\ninterval = \"10 ms\"\nwhite_ppb = 0.1\nflicker_ppb = 0.02\nrandom_walk_ppb = 0.003\n"
            "ageing_ppb_per_day = -5\nramp_ppb = 80\nramp_at = \"1 h\"\nramp_takes = \"30 min\"\n")
            .crystal;
    EXPECT_EQ(crystal.interval_ns, 10'000'000U);
    EXPECT_THAT((std::array{crystal.white_ppt, crystal.flicker_ppt, crystal.walk_ppt}),
                testing::ElementsAre(100, 20, 3));
    EXPECT_EQ(crystal.ageing_ppt_per_day, -5'000);
    EXPECT_EQ(crystal.ramp_ppt, 80'000);
    EXPECT_EQ(crystal.ramp_at_ns, 3600 * kS);
    EXPECT_EQ(crystal.ramp_takes_ns, 1800 * kS);
}

/// A scenario beside a file of measured frequencies, read as scenario files are.
class Frequencies : public testing::Test {
protected:
    std::string fileWith(const std::string& numbers) {
        std::ofstream(folder_ / "measured.txt") << numbers;
        std::ofstream(folder_ / "story.toml")
            << "[crystal]\nfrequencies = \"measured.txt\"\nfrequencies_every = \"2 s\"\n";
        return folder_ / "story.toml";
    }

private:
    const testsupport::ScratchDirectory folder_;
};

TEST_F(Frequencies, AreReadFromAFileBesideTheScenario) {
    const board_crystal_config crystal = loadScenario(fileWith("# ppb\n12.5\n\n-3\n1e2\n")).config.crystal;
    ASSERT_EQ(crystal.frequency_count, 3U);
    EXPECT_THAT(std::vector(crystal.frequencies_ppt, crystal.frequencies_ppt + 3),
                testing::ElementsAre(12'500, -3'000, 100'000));
    EXPECT_EQ(crystal.frequencies_every_ns, 2 * kS);
}

TEST_F(Frequencies, ThatAreMistakenNameTheirLine) {
    EXPECT_THAT(
        mistakeInFile(fileWith("1\n2 ppb\n")),
        EndsWith("/story.toml:2: [crystal]: frequencies measured.txt:2: must be a number of ppb up to 1000000"));
    EXPECT_THAT(mistakeInFile(fileWith("1e7\n")), HasSubstr("measured.txt:1: must be a number"));
    std::string many;
    for (int line = 0; line <= BOARD_MAX_FREQUENCIES; ++line) many += "0\n";
    EXPECT_THAT(mistakeInFile(fileWith(many)), HasSubstr("measured.txt has more than 4096 numbers"));
    EXPECT_THAT(mistakeOf("[crystal]\nfrequencies = \"none.txt\""), HasSubstr("cannot be read: none.txt"));
}

TEST(Scenario, ReadsTheTimeOfTheStart) {
    EXPECT_EQ(configOf("start_time = 1970-01-01T00:00:00Z").start_time_ns, 0U);
    EXPECT_EQ(configOf("start_time = 2024-02-29T12:34:56.000000789Z").start_time_ns, 1'709'210'096'000'000'789U);
    EXPECT_EQ(configOf("start_time = 2024-03-01T01:00:00+02:00").start_time_ns, 1'709'247'600'000'000'000U);
    EXPECT_THAT(mistakeOf("start_time = 2024-03-01T01:00:00"), HasSubstr("must be a date and time with an offset"));
    EXPECT_THAT(mistakeOf("start_time = 1969-12-31T23:59:59Z"), HasSubstr("from 1970"));
    EXPECT_THAT(mistakeOf("start_time = 2300-01-01T00:00:00Z"), HasSubstr("to 2262"));
}

TEST(Scenario, ReadsDriversAndOscillator) {
    const board_config config = configOf(
        "[ferrox]\npresent = false\n[fpga]\noffset = \"1 s\"\nstep_loss = \"1500 ns\"\nstep_jitter = \"50 ns\"\n"
        "step_tail = \"20 ns\"\nstep_other_loss = \"5 us\"\nstep_other_per_million = 300\n"
        "step_granularity = \"8 ns\"\ninterface_path = \"/dev/other\\n\"\nrunning = false\nreads_zero = true\n"
        "starts_on_request = false\n[si514]\nppb_offset = 12.5\nrange_ppb = 100\nresolution_ppb = 0.026\n"
        "ppb_offset_text = \"\"\nname = \"clock\\n\"\nclient = \"1-55\"\n");
    EXPECT_FALSE(config.ferrox.present);
    EXPECT_EQ(config.fpga.clock.offset_ns, 1'000'000'000);
    EXPECT_EQ(config.fpga.clock.step_loss_ns, 1500);
    EXPECT_EQ(config.fpga.clock.step_jitter_ns, 50);
    EXPECT_EQ(config.fpga.clock.step_granularity_ns, 8);
    EXPECT_EQ(config.fpga.clock.step_tail_ns, 20);
    EXPECT_EQ(config.fpga.clock.step_other_loss_ns, 5000);
    EXPECT_EQ(config.fpga.clock.step_other_per_million, 300U);
    EXPECT_STREQ(config.fpga.interface_path, "/dev/other\n");
    EXPECT_FALSE(config.fpga_running);
    EXPECT_TRUE(config.fpga_reads_zero);
    EXPECT_FALSE(config.fpga_starts_on_request);
    EXPECT_EQ(config.si514_initial_ppt, 12'500);
    EXPECT_EQ(config.si514_max_ppt, 100'000);
    EXPECT_EQ(config.si514_resolution_ppt, 26);
    EXPECT_TRUE(config.si514_has_text);
    EXPECT_STREQ(config.si514_text, "");
    EXPECT_STREQ(config.si514_name, "clock\n");
    EXPECT_STREQ(config.si514_client, "1-55");
}

TEST(Scenario, ReadsInterfacesInTheOrderTheKernelListsThem) {
    const board_config config = configOf(
        "[[interface]]\nname = \"enp2s0\"\nphc_index = 4\nup = false\nreset_on_up = false\nvendor = \"0x8086 \"\n"
        "device = \"0x1521\"\nn_pins = 3\nn_per_out = 0\nn_ext_ts = 1\nmax_adj_ppb = 5\noffset = \"2 s\"\n"
        "interrupt_latency = \"1 ms\"\ninterrupt_jitter = \"2 us\"\nlost_edges_per_million = 9\nvirtual_clocks = true\n"
        "slow_read = \"10 us\"\nslow_reads_per_million = 50\n"
        "present = false\n[[interface]]\nname = \"enp1s0\"\n");
    ASSERT_EQ(config.interface_count, 2U);
    const board_interface_config& first = config.interfaces[0];
    EXPECT_STREQ(first.name, "enp2s0");
    EXPECT_EQ(first.phc_index, 4);
    EXPECT_FALSE(first.is_up || first.reset_on_up || first.present);
    EXPECT_STREQ(first.vendor, "0x8086 \n");
    EXPECT_STREQ(first.device, "0x1521\n");
    EXPECT_EQ(first.n_pins, 3);
    EXPECT_EQ(first.n_per_out, 0);
    EXPECT_EQ(first.n_ext_ts, 1);
    EXPECT_EQ(first.max_adj_ppb, 5);
    EXPECT_EQ(first.clock.offset_ns, 2'000'000'000);
    EXPECT_EQ(first.interrupt_latency_ns, 1'000'000U);
    EXPECT_EQ(first.interrupt_jitter_ns, 2'000U);
    EXPECT_EQ(first.lost_edges_per_million, 9U);
    EXPECT_EQ(first.slow_read_ns, 10'000U);
    EXPECT_EQ(first.slow_reads_per_million, 50U);
    EXPECT_TRUE(first.virtual_clocks);
    EXPECT_STREQ(config.interfaces[1].name, "enp1s0");
    EXPECT_EQ(config.interfaces[1].phc_index, 1);
    EXPECT_STREQ(config.interfaces[1].vendor, "0x8086\n");
}

TEST(Scenario, ReadsEvents) {
    const board_config config =
        configOf(kPorts +
                 "[[event]]\nat = \"2 s\"\nkind = \"jump\"\ntarget = \"enp1s0\"\nby = \"-3 us\"\n"
                 "[[event]]\nat = \"1 s\"\nkind = \"crystal\"\ncrystal_error_ppb = 5\n"
                 "[[event]]\nat = \"1 s\"\nkind = \"kill_phc2sys\"\n"
                 "[[event]]\nat = \"1 s\"\nkind = \"lose_edges\"\ntarget = \"fpga\"\ncount = 4\n"
                 "[[event]]\nat = \"1 s\"\nkind = \"capabilities\"\ntarget = \"enp2s0\"\nn_pins = 3\n");
    ASSERT_EQ(config.event_count, 5U);
    EXPECT_EQ(config.events[0].at_ns, 2'000'000'000U);
    EXPECT_EQ(config.events[0].target, BOARD_TARGET_INTERFACE(1));
    EXPECT_EQ(config.events[0].value, -3000);
    EXPECT_EQ(config.events[1].value, 5000);
    EXPECT_EQ(config.events[2].value, 9);
    EXPECT_EQ(config.events[3].value, 4);
    EXPECT_EQ(config.events[4].value, 2 | 2 << 8 | 3 << 16);
}

TEST(Scenario, ReadsFaults) {
    const board_config config =
        configOf(kPorts +
                 "[[fault]]\ncall = \"ioctl\"\ntarget = \"enp1s0\"\nrequest = \"PTP_PIN_SETFUNC\"\nnth = 3\n"
                 "times = \"forever\"\nerror = \"EIO\"\n"
                 "[[fault]]\ncall = \"read\"\nfile = \"ppb_offset\"\nfrom = \"5 s\"\ntimes = 2\nshort_count = 0\n"
                 "[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"getTime\"\ndriver_status = -52024\n"
                 "[[fault]]\ncall = \"any\"\nerror = 5\ndelay = \"3 ms\"\n");
    ASSERT_EQ(config.fault_count, 4U);
    EXPECT_EQ(config.faults[0].kind, BOARD_CALL_IOCTL);
    EXPECT_EQ(config.faults[0].target, BOARD_TARGET_INTERFACE(1));
    EXPECT_TRUE(config.faults[0].has_detail);
    EXPECT_EQ(config.faults[0].detail, BOARD_WIRE_PTP_PIN_SETFUNC);
    EXPECT_EQ(config.faults[0].nth, 3U);
    EXPECT_EQ(config.faults[0].times, BOARD_FOREVER);
    EXPECT_EQ(config.faults[0].error, EIO);
    EXPECT_EQ(config.faults[1].file, BOARD_FILE_PPB_OFFSET);
    EXPECT_EQ(config.faults[1].from_ns, 5'000'000'000U);
    EXPECT_EQ(config.faults[1].times, 2U);
    EXPECT_TRUE(config.faults[1].has_short_count);
    EXPECT_FALSE(config.faults[0].has_short_count);
    EXPECT_EQ(config.faults[2].detail, 0x80207500U);
    EXPECT_EQ(config.faults[2].driver_status, -52024);
    EXPECT_EQ(config.faults[3].kind, BOARD_CALL_ANY);
    EXPECT_EQ(config.faults[3].error, 5);
    EXPECT_EQ(config.faults[3].delay_ns, 3'000'000U);
}

TEST(Scenario, ReadsCosts) {
    const board_config config =
        configOf("[[cost]]\ncall = \"ioctl\"\ntarget = \"fpga\"\nrequest = \"getTime\"\ntakes = \"2 us\"\n");
    ASSERT_EQ(config.cost_count, 1U);
    EXPECT_EQ(config.costs[0].cost_ns, 2000U);
    EXPECT_EQ(config.costs[0].detail, 0xC0207504U);
}

TEST(ScenarioMistake, AnUnknownKeyNamesItsLine) {
    EXPECT_THAT(mistakeOf("seed = 1\n\nsede = 2\n"),
                StartsWith("story.toml:3: scenario: unknown key 'sede'; known are "));
    EXPECT_THAT(mistakeOf("[fpga]\noffset = \"1 s\"\nofset = \"1 s\"\n"),
                StartsWith("story.toml:3: [fpga]: unknown key 'ofset'; known are "));
    EXPECT_THAT(mistakeOf(kPorts + "colour = 1\n"),
                StartsWith("story.toml:5: [[interface]]: unknown key 'colour'; known are "));
    EXPECT_THAT(mistakeOf("[ferox]\n"), StartsWith("story.toml:1: scenario: unknown key 'ferox'; known are "));
    EXPECT_THAT(mistakeOf("[[event]]\nat = \"1 s\"\nkind = \"pulse\"\nby = \"1 s\"\n"),
                StartsWith("story.toml:4: [[event]]: unknown key 'by'; known are "));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\nerror = \"EIO\"\nerrror = 1\n"),
                StartsWith("story.toml:4: [[fault]]: unknown key 'errror'; known are "));
    EXPECT_THAT(mistakeOf("[[cost]]\ncall = \"read\"\ntakes = \"1 us\"\nx = 1\n"),
                StartsWith("story.toml:4: [[cost]]: unknown key 'x'; known are "));
}

TEST(ScenarioMistake, AMalformedNameOfATableOrAKeyIsRefused) {
    EXPECT_EQ(mistakeOf("[{i514]\n"), "story.toml: a table's name or a key is malformed");
    EXPECT_THAT(mistakeOf("t\u00c8t = 1"), HasSubstr("story.toml:1: "));
}

TEST(ScenarioMistake, BrokenTomlNamesItsLine) {
    EXPECT_EQ(mistakeOf("seed = 1\nseed = = 2\n").substr(0, 14), "story.toml:2: ");
    EXPECT_EQ(mistakeOf("seed = 1\nseed = 2\n").substr(0, 14), "story.toml:2: ");
}

TEST(ScenarioMistake, AValueOfTheWrongKindSaysWhatIsWanted) {
    EXPECT_EQ(mistakeOf("\npulse_width = 1000\n"),
              "story.toml:2: scenario: pulse_width must be a duration with a unit, such as \"1.5 ms\"");
    EXPECT_EQ(mistakeOf("pulse_width = \"-1 us\"\n"), "story.toml:1: scenario: pulse_width cannot be negative");
    EXPECT_EQ(mistakeOf("seed = \"x\"\n").substr(0, 52), "story.toml:1: scenario: seed must be an integer from");
    EXPECT_EQ(mistakeOf("crystal_error_ppb = \"12\"\n"),
              "story.toml:1: scenario: crystal_error_ppb must be a number of ppb");
    EXPECT_EQ(mistakeOf("[fpga]\nrunning = 1\n"), "story.toml:2: [fpga]: running must be true or false");
    EXPECT_EQ(mistakeOf("title = 1\n"), "story.toml:1: scenario: title must be a text");
    EXPECT_EQ(mistakeOf("fpga = 1\n"), "story.toml:1: scenario: fpga must be a table [fpga]");
    EXPECT_EQ(mistakeOf("[interface]\nname = \"x\"\n"),
              "story.toml:1: scenario: interface must be an array of tables [[interface]]");
}

TEST(ScenarioMistake, ValuesOutOfRangeAreRefused) {
    EXPECT_THAT(mistakeOf(kPorts + "n_pins = 5\n"), HasSubstr("story.toml:5: [[interface]]: n_pins"));
    EXPECT_THAT(mistakeOf(kPorts + "phc_index = -2\n"), HasSubstr("phc_index"));
    EXPECT_THAT(mistakeOf("crystal_error_ppb = 2e6\n"), HasSubstr("beyond what the board can simulate"));
    EXPECT_THAT(mistakeOf("[[interface]]\nname = \"sixteen-letters!\"\n"), HasSubstr("longer than 15"));
    EXPECT_THAT(mistakeOf("[[interface]]\nname = \"\"\n"), HasSubstr("not an interface name"));
    EXPECT_THAT(mistakeOf("[[interface]]\nname = \"../x\"\n"), HasSubstr("not an interface name"));
    EXPECT_THAT(mistakeOf("[si514]\nname = \"a\\u0000b\"\n"), HasSubstr("zero character"));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\nerror = 0\n"), HasSubstr("story.toml:3: [[fault]]: error"));
}

TEST(ScenarioMistake, InterfacesNeedNamesAndClocksOfTheirOwn) {
    EXPECT_EQ(mistakeOf("[[interface]]\nup = true\n"), "story.toml:1: [[interface]]: name is missing");
    EXPECT_EQ(mistakeOf("[[interface]]\nname = \"a\"\n[[interface]]\nname = \"a\"\n"),
              "story.toml:4: [[interface]]: name is taken by an interface above");
    EXPECT_EQ(mistakeOf("[[interface]]\nname = \"a\"\n[[interface]]\nname = \"b\"\nphc_index = 0\n"),
              "story.toml:5: [[interface]]: phc_index is taken by an interface above");
}

TEST(ScenarioMistake, EventsAreCheckedAgainstTheBoard) {
    EXPECT_EQ(mistakeOf("[[event]]\nkind = \"pulse\"\n"), "story.toml:1: [[event]]: at is missing");
    EXPECT_THAT(mistakeOf("[[event]]\nat = \"1 s\"\nkind = \"party\"\n"),
                StartsWith("story.toml:3: [[event]]: kind 'party' is not a kind of event: "));
    EXPECT_THAT(mistakeOf("[[event]]\nat = \"1 s\"\nkind = \"jump\"\ntarget = \"eth7\"\nby = \"1 s\"\n"),
                StartsWith("story.toml:4: [[event]]: target 'eth7' is not part of the board: "));
    EXPECT_EQ(mistakeOf(kPorts + "[[event]]\nat = \"1 s\"\nkind = \"interface_down\"\ntarget = \"fpga\"\n"),
              "story.toml:5: [[event]]: target or value does not fit its kind");
    EXPECT_EQ(mistakeOf("[[event]]\nat = \"1 s\"\nkind = \"jump\"\ntarget = \"fpga\"\n"),
              "story.toml:1: [[event]]: by is missing");
}

TEST(ScenarioMistake, FaultsNeedACallAndOneOutcome) {
    EXPECT_EQ(mistakeOf("[[fault]]\nerror = \"EIO\"\n"), "story.toml:1: [[fault]]: call is missing");
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\n"), HasSubstr("is missing"));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\nerror = \"EIO\"\nshort_count = 1\n"), HasSubstr("only one of"));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"juggle\"\nerror = \"EIO\"\n"),
                StartsWith("story.toml:2: [[fault]]: call 'juggle' is not a call of the board: "));
    EXPECT_EQ(mistakeOf("[[fault]]\ncall = \"read\"\nerror = \"EFUN\"\n"),
              "story.toml:3: [[fault]]: error 'EFUN' is not an errno");
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\nfile = \"diary\"\nerror = \"EIO\"\n"),
                StartsWith("story.toml:3: [[fault]]: file 'diary' is not a file of the board: "));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"ioctl\"\nrequest = \"getTime\"\nerror = \"EIO\"\n"),
                StartsWith("story.toml:3: [[fault]]: request 'getTime' is not a request of that target: "));
    EXPECT_EQ(mistakeOf("[[fault]]\ncall = \"read\"\ntimes = \"often\"\nerror = \"EIO\"\n"),
              "story.toml:3: [[fault]]: times must be a number or \"forever\"");
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"read\"\nnth = 0\nerror = \"EIO\"\n"),
                HasSubstr("nth must be an integer from 1"));
}

TEST(ScenarioMistake, TooManyOfAKindAreRefused) {
    std::string text;
    for (int interface = 0; interface <= BOARD_MAX_INTERFACES; ++interface)
        text += "[[interface]]\nname = \"e" + std::to_string(interface) + "\"\n";
    EXPECT_EQ(mistakeOf(text), "story.toml:1: scenario: interface can be given 16 times at most");
}

TEST(ScenarioMistake, AFileThatCannotBeReadIsNamedWithTheReason) {
    EXPECT_EQ(mistakeInFile("/nonexistent/story.toml"),
              "/nonexistent/story.toml:1: cannot be read: No such file or directory");
    EXPECT_EQ(mistakeInFile("/dev"), "/dev:1: cannot be read: Is a directory");
    EXPECT_EQ(mistakeInFile("/dev/null"), "/dev/null:1: is empty");
}

TEST(ScenarioMistake, AWrongNameIsAnsweredWithTheRightOnes) {
    EXPECT_THAT(mistakeOf("[phc2sys]\nnoize = 1\n"), EndsWith("known are program, interval, noise, max_slew_ppb"));
    EXPECT_THAT(mistakeOf("[[event]]\nat = \"1 s\"\nkind = \"party\"\n"),
                HasSubstr(": interface_up, interface_down, "));
    EXPECT_THAT(mistakeOf(kPorts + "[[event]]\nat = \"1 s\"\nkind = \"pulse\"\ntarget = \"eth7\"\n"),
                HasSubstr(": ferrox, fpga, system, si514, phc2sys, network, "));
    EXPECT_THAT(mistakeOf("[[fault]]\ncall = \"ioctl\"\ntarget = \"ferrox\"\nrequest = \"x\"\nerror = 5\n"),
                EndsWith(": getTime, generateEpochSignal, getEpochTimestamp, adjustTime, getTimeOffset"));
}

TEST(Vocabulary, IsWhatTheBoardsPageShows) {
    std::ifstream file(BOARD_PAGE);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    for (const std::string& topic : vocabularyTopics())
        EXPECT_NE(page.find("\n\n" + vocabularyTable(topic) + "\n"), std::string::npos)
            << "docs/board.md lacks what `halvexboard list " << topic << "` prints";
}

TEST(Vocabulary, HoldsEveryKeyOfEveryTableAndEveryKindOfEvent) {
    const std::string keys = vocabularyTable("keys"), events = vocabularyTable("events");
    EXPECT_THAT(keys, HasSubstr("| (top) | `pulse_width` | duration, not negative | 1 us | "));
    EXPECT_THAT(keys, HasSubstr("| `[ferrox]` | `step_granularity` | duration, not negative | 200 ns | "));
    EXPECT_THAT(keys, HasSubstr("| `[[interface]]` | `name` | text, up to 15 characters | required | "));
    EXPECT_THAT(keys, HasSubstr("| `[si514]` | `range_ppb` | ppb | 1000000 | "));
    EXPECT_THAT(events, HasSubstr("| `lose_edges` | `fpga`, `INTERFACE` | | | | "));
    EXPECT_THAT(events, HasSubstr("| `crystal` | the board, `system` | | | | "));
    for (int kind = BOARD_EVENT_NONE + 1; kind < BOARD_EVENT_KINDS; ++kind)
        for (const board_event_key* key = board_event_keys(static_cast<board_event_kind>(kind));
             key->unit != BOARD_UNIT_NONE; ++key)
            EXPECT_THAT(events, HasSubstr("| | | `" + std::string(key->name) + "` | "));
    EXPECT_THAT(vocabularyTable("costs"), HasSubstr("| `clock_gettime` | 22 | 22 | 22 | 3022 |\n"));
    EXPECT_THAT(vocabularyTable("requests"), HasSubstr("| `ferrox` | `getTime` | 3148 |\n"));
    EXPECT_EQ(vocabularyTable("birds"), "");
}

// The built-in scenarios: all of them load, and those that other tests rely on have the expected contents.

Scenario readyMade(const std::string& name) { return loadScenario(BOARD_SCENARIOS "/" + name); }

TEST(ReadyMade, EveryOneLoadsAndHasATitleThatBeginsWithItsName) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(BOARD_SCENARIOS)) {
        ASSERT_EQ(entry.path().extension(), ".toml");
        const Scenario scenario = loadScenario(entry.path().string());
        EXPECT_EQ(scenario.title.substr(0, scenario.title.find(':')), entry.path().stem().string());
        ++count;
    }
    EXPECT_GE(count, 8);
}

TEST(ReadyMade, PlainHasTwoI210sListedUnsortedAndNothingFails) {
    const board_config config = readyMade("plain.toml").config;
    ASSERT_EQ(config.interface_count, 2U);
    EXPECT_STREQ(config.interfaces[0].name, "enp2s0");
    EXPECT_STREQ(config.interfaces[1].name, "enp1s0");
    EXPECT_EQ(config.interfaces[1].phc_index, 0);
    EXPECT_EQ(config.fault_count + config.event_count, 0U);
    EXPECT_EQ(config.crystal_error_ppt, 0);
    for (const board_clock_config& clock :
         {config.interfaces[0].clock, config.interfaces[1].clock, config.fpga.clock}) {
        EXPECT_EQ(clock.step_loss_ns, 0);
        EXPECT_EQ(clock.step_jitter_ns, 0);
    }
}

TEST(ReadyMade, DemoHasWhatItIsToShow) {
    const board_config config = readyMade("demo.toml").config;
    EXPECT_EQ(config.crystal_error_ppt, 12'000'000);
    EXPECT_EQ(config.truth_interval_ns, 100'000'000U);
    std::vector<std::int64_t> distances;
    for (const board_clock_config& clock :
         {config.interfaces[0].clock, config.interfaces[1].clock, config.fpga.clock}) {
        EXPECT_EQ(clock.step_loss_ns, 1500);
        EXPECT_EQ(clock.step_jitter_ns, 50);
        distances.push_back(std::abs(clock.offset_ns - config.ferrox.clock.offset_ns));
    }
    EXPECT_LT(*std::min_element(distances.begin(), distances.end()), 1'000) << "nanoseconds";
    EXPECT_GT(*std::max_element(distances.begin(), distances.end()), 1'000'000'000) << "seconds";
    ASSERT_EQ(config.event_count, 3U);
    EXPECT_EQ(config.events[0].kind, BOARD_EVENT_INTERFACE_DOWN);
    EXPECT_EQ(config.events[1].kind, BOARD_EVENT_INTERFACE_UP);
    EXPECT_EQ(config.events[2].kind, BOARD_EVENT_JUMP)
        << "coming up, its clock is disturbed: there is something to align";
    EXPECT_EQ(config.events[2].at_ns, config.events[1].at_ns);
    ASSERT_EQ(config.fault_count, 1U);
    EXPECT_EQ(config.faults[0].times, 1U);
}

/// Checksum of the trace of a fixed half minute on a board: epochs, steps of every clock, a phc2sys.
class Play : public ModelBoard {
public:
    explicit Play(const board_config& wanted) : ModelBoard(wanted) {
        startPhc2sys(0, "enp1s0");
        for (std::uint64_t second = 1; second <= 30; ++second) playSecond(second * kS);
    }

    std::uint64_t checksum = 14695981039346656037U;

private:
    void see(const board_happening& happening) override {
        char line[kMaxTraceLine];
        const std::size_t size = formatHappening(*happening.where, happening, line, sizeof line);
        for (std::size_t at = 0; at < size; ++at)
            checksum = (checksum ^ static_cast<unsigned char>(line[at])) * 1099511628211U;
    }
    void playSecond(std::uint64_t rawNs) {
        for (int interface = 0; interface < static_cast<int>(config.interface_count); ++interface) {
            step(rawNs, interface, 0, 1'000 + interface);
            arm(rawNs, interface);
        }
        board_driver_call call{};
        call.request = BOARD_WIRE_FPGA_ADJUST_TIME;
        call.argument = 777;
        board_driver_do(on(), rawNs, BOARD_TARGET_FPGA, &call);
        call.request = BOARD_WIRE_FERROX_GENERATE_EPOCH_SIGNAL;
        board_driver_do(on(), rawNs, BOARD_TARGET_FERROX, &call);
    }
};

TEST(ReadyMade, EveryOnePlaysToTheByteAsItAlwaysDid) {
    static constexpr struct {
        const char* name;
        std::uint64_t checksums[3];  // of seeds 1, 7 and 4242
    } kPlays[] = {
        {"demo", {6255341415745382807U, 10973698744150156737U, 1871256614807490370U}},
        {"failingDrivers", {7047495619412660050U, 9309076958530004748U, 9068693911733365565U}},
        {"lossyEdges", {15475357476506419273U, 17549589589608615407U, 3264193393616390348U}},
        {"phcReset", {8052596579447796616U, 2805567734601705974U, 7803522811342991361U}},
        {"plain", {4635344913855104701U, 12197862920649481135U, 17634334355811405292U}},
        {"restlessFpga", {11257715042620043321U, 10752511583841003641U, 6927813753703214442U}},
        {"stepLoss", {9090527118452817560U, 1471944458905376602U, 4640737488042328387U}},
        {"unusableInterfaces", {922481133291612865U, 6438915045245051095U, 10592831880485486316U}},
    };
    for (const auto& play : kPlays)
        for (int at = 0; at < 3; ++at) {
            board_config config = readyMade(std::string(play.name) + ".toml").config;
            config.seed = std::array{1, 7, 4242}[at];
            EXPECT_EQ(Play(config).checksum, play.checksums[at]) << play.name << ", seed " << config.seed;
        }
}

}  // namespace halvexboard::scenarioTest
