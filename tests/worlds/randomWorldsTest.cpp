// 100,000 random worlds, each aligned by the library and by an independent implementation of alignment. Calls, steps,
// log lines and the final error must be equal.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <random>

#include "source/zuHalvexTimekeeper/epochAlignment.h"
#include "tests/support/test.h"
#include "zuerr/exception.h"

namespace randomWorldsTest {

constexpr int kForeign = 1'000'000;  // an error foreign to the library

enum class Operation { isEnabled, arm, generate, read, adjust, clearFlag, log };

struct Happening {
    Operation operation;
    std::size_t slave;
    std::int64_t argument;
    std::string text;
    bool operator==(const Happening&) const = default;
};

/// Probabilities of failures in a world, per 10,000 calls.
struct Chances {
    unsigned timeOut, fault, warning, foreign, toggle, jump;
};

/// Clocks that drift, jump, lose time when stepped, go down, come up and fail, all determined by one seed. Threads:
/// one.
class World {
public:
    explicit World(std::uint64_t seed) : random_(seed) {
        const unsigned kinds[] = {0, 0, 0, 5, 100, 1500};
        const auto chance = [&] { return kinds[pick(6)]; };
        chances_ = {chance(),     pick(8) == 0 ? 20U : 0U, pick(20) == 0 ? 20U : 0U, pick(20) == 0 ? 20U : 0U,
                    chance() / 2, pick(8) == 0 ? 300U : 0U};
        const std::size_t count = pick(10) == 0 ? pick(65) : pick(5);
        const bool isRestless = pick(400) == 0;  // jitter beyond the tolerance: may need more than 2000 iterations
        for (std::size_t i = 0; i < count; ++i) slaves_.push_back(makeSlave(isRestless));
    }

    std::size_t count() const { return slaves_.size(); }
    static std::string nameOf(std::size_t slave) { return "slave" + std::to_string(slave); }

    bool isEnabled(std::size_t slave) {
        note(Operation::isEnabled, slave);
        if (happens(chances_.toggle)) slaves_[slave].isUp = !slaves_[slave].isUp;
        return slaves_[slave].isUp;
    }
    int arm(std::size_t slave) { return note(Operation::arm, slave), error(); }
    int generate(std::uint64_t& time) {
        note(Operation::generate, 0);
        masterNs_ += 1'000'000 + pick(1'000'000);
        for (Slave& slave : slaves_) {
            slave.differenceNs += slave.driftNs;
            if (happens(chances_.jump)) slave.differenceNs += pick(2'000'000) - 1'000'000;
        }
        time = masterNs_;
        return error();
    }
    int read(std::size_t slave, std::uint64_t& time) {
        note(Operation::read, slave);
        if (happens(chances_.timeOut)) return -52007;
        time = masterNs_ + slaves_[slave].differenceNs + jitter(slave);
        return error();
    }
    int adjust(std::size_t slave, std::int64_t offsetNs) {
        note(Operation::adjust, slave, offsetNs);
        slaves_[slave].differenceNs += static_cast<std::uint64_t>(offsetNs) - slaves_[slave].lossNs + jitter(slave);
        return error();
    }
    void clearFlag(std::size_t slave) { note(Operation::clearFlag, slave); }
    void log(int priority, const char* text) { journal.push_back({Operation::log, 0, priority, text}); }

    std::vector<Happening> journal;

private:
    struct Slave {
        std::uint64_t differenceNs;  ///< Wraps.
        std::uint64_t driftNs, lossNs, jitterNs;
        bool isUp;
    };

    std::uint64_t pick(std::uint64_t below) { return random_() % below; }
    bool happens(unsigned chance) { return chance != 0 && pick(10'000) < chance; }

    Slave makeSlave(bool isRestless) {
        const std::uint64_t far[] = {0,
                                     1,
                                     99,
                                     100,
                                     101,
                                     1500,
                                     1'000'000,
                                     3'000'000'000'000,
                                     1ULL << 62,
                                     1ULL << 63,
                                     (1ULL << 63) - 1,
                                     (1ULL << 63) + 1};
        const std::uint64_t ahead = far[pick(pick(30) == 0 ? 12 : 8)];
        return {.differenceNs = pick(2) == 0 ? ahead : 0 - ahead,
                .driftNs = pick(4) == 0 ? pick(41) - 20 : 0,
                .lossNs = pick(3) == 0 ? 0 : pick(3000),
                .jitterNs = isRestless ? 100'000'000 : pick(3) * 40,
                .isUp = pick(10) != 0};
    }
    std::uint64_t jitter(std::size_t slave) {
        const std::uint64_t width = slaves_[slave].jitterNs;
        return width == 0 ? 0 : pick(2 * width + 1) - width;
    }
    int error() {
        if (happens(chances_.fault)) return pick(2) == 0 ? -52024 : -52007;
        if (happens(chances_.warning)) return 5;
        return happens(chances_.foreign) ? kForeign : 0;
    }
    void note(Operation operation, std::size_t slave, std::int64_t argument = 0) {
        journal.push_back({operation, slave, argument, {}});
    }

    std::mt19937_64 random_;
    Chances chances_{};
    std::vector<Slave> slaves_;
    std::uint64_t masterNs_ = 1'000'000'000'000'000'000;
};

World* logging = nullptr;

// --- The library ----------------------------------------------------------------------------------------------------

void throwError(int code) {
    if (code == kForeign) throw std::runtime_error("foreign");
    if (code != 0) zuerr::raise({code, "device", 1}, "constant", {"broken"});
}

class Device : public halvexTimekeeper::EpochDeviceInterface {
public:
    Device(World& world, std::size_t slave, std::string name) : world_(world), slave_(slave), name_(std::move(name)) {}

    const std::string& getName() const override { return name_; }
    halvexTimekeeper::QxmTimestamp getTime() override { std::abort(); }
    void adjustTime(std::int64_t offsetNs) override { throwError(world_.adjust(slave_, offsetNs)); }
    bool isEnabled() override { return world_.isEnabled(slave_); }
    halvexTimekeeper::QxmTimestamp generateEpoch() override {
        std::uint64_t time = 0;
        throwError(world_.generate(time));
        return time;
    }
    void armEpochCapture() override { throwError(world_.arm(slave_)); }
    halvexTimekeeper::QxmTimestamp getEpochTimestamp() override {
        std::uint64_t time = 0;
        throwError(world_.read(slave_, time));
        return time;
    }
    void reinitialize() override { std::abort(); }
    void applyQxmMetadata(const std::string&) override { std::abort(); }
    bool hasBeenEpochAligned() override { std::abort(); }
    void setHasBeenEpochAligned(bool value) override { value ? std::abort() : world_.clearFlag(slave_); }

private:
    World& world_;
    std::size_t slave_;
    std::string name_;
};

/// The error text of the alignment, "" on success.
std::string alignByLibrary(World& world) {
    Device master(world, 0, "master");
    halvexTimekeeper::EpochDevices slaves;
    for (std::size_t i = 0; i < world.count(); ++i)
        slaves.push_back(std::make_shared<Device>(world, i, World::nameOf(i)));
    logging = &world;
    std::string end;
    try {
        halvexTimekeeper::EpochAlignment(master, slaves).run();
    } catch (const std::exception& error) {
        end = error.what();
    }
    logging = nullptr;
    return end;
}

// --- The second implementation
// -------------------------------------------------------------------------------------------

std::string textOf(const char* constant, const char* file, int line, const std::string& message) {
    return std::string(R"({"error_constant":")") + constant + R"(","file":")" + file + R"(","line":)" +
           std::to_string(line) + R"(,"component":"halvexTimekeeper","zuhalvexTimekeeper_debug":{"errorInfo":")" +
           message + R"("}})";
}

class Telling {
public:
    explicit Telling(World& world) : world_(world) {
        for (std::size_t i = 0; i < world.count(); ++i) remaining_.insert(i);
    }

    std::string align() {
        for (int iteration = 0;; ++iteration) {
            if (remaining_.empty()) {
                log(LOG_INFO, "Successfully aligned all timekeeping elements after " + std::to_string(iteration) +
                                  " iterations.");
                return "";
            }
            if (iteration == 2000) return giveUp();
            const int error = iterate(iteration % 2 == 1);
            if (error == 0) continue;
            report(error);
            if (error == -52007 && forgiven_ < 5) {
                ++forgiven_;
            } else {
                return error == kForeign ? "foreign" : error_;
            }
        }
    }

private:
    /// The error that ends the iteration, or 0.
    int iterate(bool isOdd) {
        for (const std::size_t slave : std::set<std::size_t>(remaining_)) {
            handled_ = World::nameOf(slave);
            if (!world_.isEnabled(slave)) {
                remaining_.erase(slave);
            } else if (const int error = world_.arm(slave); error != 0) {
                return error;
            }
        }
        if (remaining_.empty()) return 0;
        handled_ = "master";
        std::uint64_t masterTime = 0;
        if (const int error = world_.generate(masterTime); error != 0) return error;
        for (const std::size_t slave : std::set<std::size_t>(remaining_)) {
            if (const int error = alignOne(slave, masterTime, isOdd); error != 0) return error;
        }
        return 0;
    }

    int alignOne(std::size_t slave, std::uint64_t masterTime, bool isOdd) {
        handled_ = World::nameOf(slave);
        if (!world_.isEnabled(slave)) return done(slave);
        std::uint64_t time = 0;
        if (const int error = world_.read(slave, time); error != 0) return error;
        const __int128 exact = static_cast<__int128>(time) - static_cast<__int128>(masterTime);
        if (exact < INT64_MIN || exact > INT64_MAX) return kOverflow;
        if (exact >= -100 && exact <= 100) return done(slave);
        const auto step = static_cast<std::uint64_t>(-exact) * (isOdd ? 2 : 1);
        return world_.adjust(slave, static_cast<std::int64_t>(step));
    }

    int done(std::size_t slave) {
        remaining_.erase(slave);
        world_.clearFlag(slave);
        return 0;
    }

    void report(int error) {
        const bool isOverflow = error == kOverflow;
        const int code = isOverflow ? -52008 : error == kForeign ? -52003 : error;
        error_ = isOverflow ? textOf("zuplaterr_osFault", "halvexTimekeeper", 58, "Overflow/Underflow error occurred")
                            : textOf("constant", "device", 1, "broken");
        const std::string told =
            error == kForeign ? R"({"error_constant":"zuplaterr_softwareFaultPLATInternalUseOnly",)"
                                R"("file":"zuerr/tools/exception_errStatus","line":69,"component":"halvexTimekeeper",)"
                                R"("std_exception_what":"foreign"})"
                              : error_;
        log(LOG_ERR, "Encountered err while trying to sync " + handled_ + ", retry count " + std::to_string(forgiven_) +
                         ": " + (code < 0 ? "FAIL" : "WARN") + "(" + std::to_string(code) + "," + told + ")");
    }

    std::string giveUp() const {
        std::string names;
        for (const std::size_t slave : remaining_) names += World::nameOf(slave) + " ";
        return textOf("zuplaterr_communicationsFault", "halvexTimekeeper", 71,
                      "Failed to sync following slaves: " + names);
    }

    void log(int priority, const std::string& text) { world_.log(priority, text.c_str()); }

    static constexpr int kOverflow = 2'000'000;
    World& world_;
    std::set<std::size_t> remaining_;
    int forgiven_ = 0;
    std::string handled_, error_;
};

// --- The comparison -------------------------------------------------------------------------------------------------

struct Tally {
    long worlds = 0, aligned = 0, failed = 0, gaveUp = 0, calls = 0;
};

void compare(std::uint64_t seed, Tally& tally) {
    World first(seed), second(seed);
    const std::string seen = alignByLibrary(first);
    const std::string expected = Telling(second).align();
    ++tally.worlds;
    tally.calls += static_cast<long>(first.journal.size());
    ++(seen.empty() ? tally.aligned : seen.find("Failed to sync") != std::string::npos ? tally.gaveUp : tally.failed);
    ASSERT_EQ(seen, expected) << "seed " << seed;
    ASSERT_EQ(first.journal.size(), second.journal.size()) << "seed " << seed;
    for (std::size_t i = 0; i < first.journal.size(); ++i) {
        ASSERT_TRUE(first.journal[i] == second.journal[i]) << "seed " << seed << ", happening " << i << ": "
                                                           << first.journal[i].text << " / " << second.journal[i].text;
    }
}

TEST(RandomWorlds, AreAlignedCallByCallAsTheyMust) {
    const char* const chosen = std::getenv("HALVEX_SEED");
    const std::uint64_t seed = chosen != nullptr ? std::strtoull(chosen, nullptr, 0) : 1;
    Tally tally;
    for (std::uint64_t world = 0; world < 100'000 && !HasFailure(); ++world) compare(seed * 1'000'003 + world, tally);
    std::cout << "worlds: seed " << seed << ", " << tally.worlds << " worlds, " << tally.calls
              << " happenings: " << tally.aligned << " aligned, " << tally.failed << " failed, " << tally.gaveUp
              << " gave up\n";
    EXPECT_GT(tally.failed, 1000);
    EXPECT_GT(tally.gaveUp, 20);
}

}  // namespace randomWorldsTest

extern "C" {

static void logLine(int priority, const char* format, va_list arguments) {
    char text[4096];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (randomWorldsTest::logging != nullptr) randomWorldsTest::logging->log(priority, text);
}

void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logLine(priority, format, arguments);
    va_end(arguments);
}

}  // extern "C"
