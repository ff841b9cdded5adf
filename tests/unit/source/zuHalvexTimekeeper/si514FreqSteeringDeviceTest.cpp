// The Si514 oscillator.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/si514FreqSteeringDevice.h"

#include <sched.h>

#include <clocale>

#include "tests/support/allocationCount.h"
#include "tests/support/libcHooks.h"
#include "tests/support/numericLocale.h"
#include "tests/support/raisedError.h"

namespace halvexTimekeeper::si514FreqSteeringDeviceTest {

using namespace testsupport;

constexpr std::int32_t kLargest = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kSmallest = std::numeric_limits<std::int32_t>::min();

RaisedError notFound(std::int32_t line, const std::string& message) {
    return makeError({-52006, "zuplaterr_resourceNotFound", "si514FreqSteeringDevice", line}, message);
}
RaisedError refusal(std::int32_t ppb, const std::string& range) {
    return makeError({-52005, "zuplaterr_invalidParameter", "si514FreqSteeringDevice", 77},
                     "si514: requested ppb value " + std::to_string(ppb) + " is beyond the supported range: " + range);
}

/// The driver's directory with entries made by the test.
struct Si514Directory : testing::Test {
    LibcHooksGuard hooks;
    RedirectedDirectory directory{"/sys/bus/i2c/drivers/si514"};
    SyslogCapture log;

    Si514Directory() {
        for (const char* entry : {"bind", "unbind", "uevent"}) directory.writeFile(entry, "");
        std::filesystem::create_directory_symlink("/", directory.getRealPath() + "/module");
    }

    void addClient(const std::string& entry, const std::string& offset = "0\n", const std::string& name = "si514\n") {
        directory.writeFile(entry + "/name", name);
        directory.writeFile(entry + "/ppb_offset", offset);
    }

    struct Entry {
        std::string name;
        unsigned char type;
    };

    /// Lists these entries in this order.
    void listInOrder(std::vector<Entry> entries) {
        libcHooks().readdir = [entries, next = std::size_t{0}, listed = dirent{}](DIR*) mutable -> dirent* {
            if (next == entries.size()) return nullptr;
            listed = {};
            entries[next].name.copy(listed.d_name, sizeof listed.d_name - 1);
            listed.d_type = entries[next].type;
            ++next;
            return &listed;
        };
    }

    static RaisedError raisedByMaking() {
        return raisedBy([] { Si514FreqSteeringDevice(62000, -62000); });
    }

    /// Whether a lone entry is accepted as a client.
    bool isTaken(const std::string& entry) {
        addClient(entry);
        const RaisedError raised = raisedByMaking();
        std::filesystem::remove_all(directory.getRealPath() + "/" + entry);
        if (raised.code == 0) return true;
        EXPECT_EQ(raised, notFound(140, "si514: unable to find si514 module on the system."));
        return false;
    }
};

TEST_F(Si514Directory, LeadsToAClientThatIsASymbolicLink) {
    const RedirectedDirectory elsewhere("/unused");
    elsewhere.writeFile("name", "si514\n");
    elsewhere.writeFile("ppb_offset", "42\n");
    std::filesystem::create_directory_symlink(elsewhere.getRealPath(), directory.getRealPath() + "/1-0055");
    EXPECT_EQ(Si514FreqSteeringDevice(1, -1).getCorrectionPerSecond(), 42);
}

TEST_F(Si514Directory, TakesADecimalBusAndAHexadecimalAddressToTheEndForAClient) {
    for (const char* entry : {"0-0055", "1-55", "29-abCD"}) EXPECT_TRUE(isTaken(entry)) << entry;
    for (const char* entry : {"1-0055x", "1_0055", "a-0055", "1-00 55", "55"}) EXPECT_FALSE(isTaken(entry)) << entry;
}

TEST_F(Si514Directory, TakesWhateverStrtolTakesForANumber) {
    for (const char* entry : {"-", "3-", " 3- 55", "3-0x55", "+3-+55"}) EXPECT_TRUE(isTaken(entry)) << entry;
}

TEST_F(Si514Directory, HoldsNoClientWhenTheFirstOneHasANegativeNumber) {
    EXPECT_FALSE(isTaken("-3-0055"));
    EXPECT_FALSE(isTaken("3--55"));
    addClient("-3-0055");
    addClient("4-0055");
    listInOrder({{"-3-0055", DT_DIR}, {"4-0055", DT_DIR}});
    EXPECT_EQ(raisedByMaking(), notFound(140, "si514: unable to find si514 module on the system."));
}

TEST_F(Si514Directory, GivesTheFirstClientInTheOrderOfTheListing) {
    addClient("2-0055", "2\n");
    addClient("1-0055", "1\n");
    listInOrder({{"bind", DT_REG}, {"2-0055", DT_DIR}, {"1-0055", DT_DIR}});
    EXPECT_EQ(Si514FreqSteeringDevice(1, -1).getCorrectionPerSecond(), 2);
}

TEST_F(Si514Directory, PassesOverEntriesThatAreNeitherDirectoriesNorLinks) {
    addClient("1-0055");
    addClient("2-0055");
    addClient("3-0055", "3\n");
    listInOrder({{"1-0055", DT_REG}, {"2-0055", DT_UNKNOWN}, {"3-0055", DT_LNK}});
    EXPECT_EQ(Si514FreqSteeringDevice(1, -1).getCorrectionPerSecond(), 3);
}

TEST_F(Si514Directory, GivesTheNameAsReadUpToItsFirstZeroByte) {
    const std::vector<std::pair<std::string, std::string>> names = {{"si514\n", "si514\n"},
                                                                    {std::string("  si\0"
                                                                                 "514",
                                                                                 8),
                                                                     "  si"},
                                                                    {"", ""},
                                                                    {std::string(200, 'n'), std::string(128, 'n')}};
    for (const auto& [content, name] : names) {
        addClient("0-0055", "0\n", content);
        EXPECT_EQ(Si514FreqSteeringDevice(1, -1).getName(), name);
    }
}

struct Si514FreqSteeringDeviceTest : Si514Directory {
    Si514FreqSteeringDeviceTest() { addClient("0-0055"); }

    void setAttribute(const std::string& text) { directory.writeFile("0-0055/ppb_offset", text); }
    std::string getAttribute() const { return directory.readFile("0-0055/ppb_offset"); }

    std::int32_t readAs(const std::string& text) {
        setAttribute(text);
        return device().getCorrectionPerSecond();
    }
    std::string writtenFor(std::int32_t correctionPpb) {
        setAttribute("");
        device().setCorrectionPerSecond(correctionPpb);
        return getAttribute();
    }
    RaisedError raisedBySetting(std::int32_t correctionPpb) {
        return raisedBy([&] { device().setCorrectionPerSecond(correctionPpb); });
    }
    /// The text of the standard error that reading `text` throws.
    template <typename Error>
    std::string saidOf(const std::string& text) {
        try {
            readAs(text);
        } catch (const Error& error) {
            return typeid(error) == typeid(Error) ? error.what() : "an error of another type";
        }
        return "nothing thrown";
    }

    Si514FreqSteeringDevice& device() {
        if (!device_) device_ = std::make_unique<Si514FreqSteeringDevice>(62000, -62000);
        return *device_;
    }

    std::unique_ptr<Si514FreqSteeringDevice> device_;
};

TEST_F(Si514FreqSteeringDeviceTest, ReturnsItsLimitsWithoutTouchingTheAttribute) {
    Si514FreqSteeringDevice lopsided(500, -70000);
    libcHooks().lseek = [](int, off_t, int) {
        ADD_FAILURE() << "a seek";
        return off_t{-1};
    };
    EXPECT_EQ(lopsided.getMaxCorrectionPerSecond(), 500);
    EXPECT_EQ(lopsided.getMinCorrectionPerSecond(), -70000);
    EXPECT_EQ(lopsided.getName(), "si514\n");
}

TEST_F(Si514FreqSteeringDeviceTest, RoundsHalvesAwayFromZero) {
    EXPECT_EQ(readAs("12.5"), 13);
    EXPECT_EQ(readAs("-12.5"), -13);
    EXPECT_EQ(readAs("12.499999"), 12);
    EXPECT_EQ(readAs("-0.4"), 0);
}

TEST_F(Si514FreqSteeringDeviceTest, SkipsLeadingBlanksAndIgnoresWhatFollowsTheNumber) {
    EXPECT_EQ(readAs("  7\n"), 7);
    EXPECT_EQ(readAs("\t-1250.000000\n"), -1250);
    EXPECT_EQ(readAs("3e2 ppb"), 300);
    EXPECT_EQ(readAs("0x10"), 16);
}

TEST_F(Si514FreqSteeringDeviceTest, RaisesTheStandardInvalidArgumentWithoutANumber) {
    for (const char* text : {"", "\n", "fast"}) EXPECT_EQ(saidOf<std::invalid_argument>(text), "stod") << text;
}

TEST_F(Si514FreqSteeringDeviceTest, RaisesTheStandardOutOfRangeForANumberThatDoesNotFit) {
    for (const char* text :
         {"1e999", "-1e999", "1e-999", "inf", "-infinity", "nan", "2147483647.5", "-2147483648.5", "1e12"}) {
        EXPECT_EQ(saidOf<std::out_of_range>(text), "stod") << text;
    }
    EXPECT_EQ(readAs("2147483647.4"), kLargest);
    EXPECT_EQ(readAs("-2147483648.4"), kSmallest);
}

TEST_F(Si514FreqSteeringDeviceTest, IgnoresAnErrnoFromBeforeAndLeavesItAlone) {
    device();
    errno = ERANGE;
    EXPECT_EQ(readAs("5"), 5);
    errno = ENOTTY;
    EXPECT_EQ(device().getCorrectionPerSecond(), 5);
    EXPECT_EQ(errno, ENOTTY);
}

TEST_F(Si514FreqSteeringDeviceTest, ReadsTheFirst32BytesOfALongText) {
    EXPECT_EQ(readAs(std::string(28, '0') + "1234"), 1234);
    EXPECT_EQ(readAs(std::string(28, '0') + "12345678"), 1234);
    EXPECT_EQ(readAs(std::string(31, ' ') + "98"), 9);
    EXPECT_EQ(saidOf<std::invalid_argument>(std::string(32, ' ') + "9"), "stod");
}

TEST_F(Si514FreqSteeringDeviceTest, WritesSixDecimalsWithoutALineEndUpToThePlusAndMinusMaximum) {
    EXPECT_EQ(writtenFor(-1250), "-1250.000000");
    EXPECT_EQ(writtenFor(0), "0.000000");
    EXPECT_EQ(writtenFor(62000), "62000.000000");
    EXPECT_EQ(writtenFor(-62000), "-62000.000000");
}

TEST_F(Si514FreqSteeringDeviceTest, RejectsARequestBeyondTheMaximumAndWritesNothing) {
    setAttribute("5\n");
    for (const std::int32_t ppb : {62001, -62001, 70000, kSmallest}) {
        EXPECT_EQ(raisedBySetting(ppb), refusal(ppb, "[62000, -62000]"));
    }
    EXPECT_EQ(getAttribute(), "5\n");
}

TEST_F(Si514FreqSteeringDeviceTest, IsBoundedByTheFirstLimitAloneInBothDirections) {
    device_ = std::make_unique<Si514FreqSteeringDevice>(100, -5);
    EXPECT_EQ(writtenFor(100), "100.000000");
    EXPECT_EQ(writtenFor(-100), "-100.000000");
    EXPECT_EQ(raisedBySetting(-101).code, -52005);
    device_ = std::make_unique<Si514FreqSteeringDevice>(5, -100);
    EXPECT_EQ(raisedBySetting(-6).code, -52005);
}

TEST_F(Si514FreqSteeringDeviceTest, TakesNothingWithANegativeMaximum) {
    device_ = std::make_unique<Si514FreqSteeringDevice>(kSmallest, 0);
    EXPECT_EQ(raisedBySetting(0), refusal(0, "[-2147483648, 2147483648]"));
}

TEST_F(Si514FreqSteeringDeviceTest, WritesTheWidestNumbers) {
    device_ = std::make_unique<Si514FreqSteeringDevice>(kLargest, 0);
    EXPECT_EQ(writtenFor(kLargest), "2147483647.000000");
    EXPECT_EQ(writtenFor(-kLargest), "-2147483647.000000");
}

TEST_F(Si514FreqSteeringDeviceTest, WritesWhatPrintfWrites) {
    for (std::int32_t ppb = -62000; ppb <= 62000; ppb += 997) {
        char expected[32];
        snprintf(expected, sizeof expected, "%f", static_cast<double>(ppb));
        EXPECT_EQ(writtenFor(ppb), expected);
    }
}

TEST_F(Si514FreqSteeringDeviceTest, MakesTwoSystemCallsAndNoAllocationToSetACorrectionAndNoAllocationToReadIt) {
    setAttribute("-1250.000000\n");
    device();
    long before = countAllocations();
    EXPECT_EQ(device().getCorrectionPerSecond(), -1250);
    EXPECT_EQ(countAllocations(), before);

    int seeks = 0;
    int writes = 0;
    libcHooks().lseek = [&](int, off_t offset, int) {
        ++seeks;
        return offset;
    };
    libcHooks().write = [&](int, const void*, size_t length) {
        ++writes;
        return static_cast<ssize_t>(length);
    };
    before = countAllocations();
    device().setCorrectionPerSecond(-1250);
    EXPECT_EQ(countAllocations(), before);
    EXPECT_EQ(seeks, 1);
    EXPECT_EQ(writes, 1);
}

TEST_F(Si514FreqSteeringDeviceTest, KeepsEverySeekTogetherWithItsReadOrWrite) {
    device();
    constexpr int kRequests = 2000;
    std::atomic<pid_t> lastSeeker = 0;
    std::atomic<int> strangers = 0;
    libcHooks().lseek = [&](int, off_t offset, int) {
        lastSeeker = gettid();
        sched_yield();
        return offset;
    };
    libcHooks().read = [&](int, void* buffer, size_t) {
        if (lastSeeker != gettid()) ++strangers;
        static_cast<char*>(buffer)[0] = '1';
        return ssize_t{1};
    };
    libcHooks().write = [&](int, const void*, size_t length) {
        if (lastSeeker != gettid()) ++strangers;
        return static_cast<ssize_t>(length);
    };
    std::thread writer([&] {
        for (int request = 0; request < kRequests; ++request) device().setCorrectionPerSecond(request);
    });
    for (int request = 0; request < kRequests; ++request) device().getCorrectionPerSecond();
    writer.join();
    EXPECT_EQ(strangers, 0);
}

TEST_F(Si514FreqSteeringDeviceTest, ReadsAndWritesAPointUnderALocaleWithAComma) {
    const NumericLocale locale(NumericLocale::kComma);
    if (!locale.isSet()) GTEST_SKIP() << NumericLocale::kWhyNotSet;
    EXPECT_EQ(std::strtod("12.5", nullptr), 12.0);  // a conversion by the host's locale
    EXPECT_EQ(readAs("12.5"), 13);
    EXPECT_EQ(readAs("12,9"), 12);
    EXPECT_EQ(writtenFor(-1250), "-1250.000000");
    EXPECT_EQ(raisedBySetting(70000), refusal(70000, "[62000, -62000]"));
}

TEST_F(Si514FreqSteeringDeviceTest, ChangesNothingOfTheHostsLocale) {
    const std::string before = setlocale(LC_ALL, nullptr);
    device().setCorrectionPerSecond(5);
    device().getCorrectionPerSecond();
    EXPECT_EQ(before, setlocale(LC_ALL, nullptr));
}

}  // namespace halvexTimekeeper::si514FreqSteeringDeviceTest
