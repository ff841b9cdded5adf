// An example host in C++: the timekeeper as an object, its errors as exceptions.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <zuqxmtk.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <stdexcept>
#include <string>

namespace {

/// A status of this host. Owns its text. One thread at a time.
class Status {
public:
    Status() = default;
    Status(const Status&) = delete;
    Status& operator=(const Status&) = delete;
    ~Status() { grow(&status_, 0); }

    operator zuerr_Status*() { return &status_; }

    /// Throws the library's error if there is one.
    void check(const char* what) const {
        if (status_.code >= 0) return;
        throw std::runtime_error(std::string(what) + ": " + std::to_string(status_.code) + " " +
                                 (status_.json != nullptr ? status_.json : "null"));
    }

private:
    /// The text is followed by zeros and, last, the letter J.
    static bool grow(zuerr_Status* status, std::uint32_t size) {
        if (size != 0 && size <= status->capacity) return true;
        char* grown = nullptr;
        std::uint32_t capacity = 0;
        if (size != 0) {
            const char* const text = status->json != nullptr ? status->json : "{}";
            capacity = std::max({size, std::uint32_t{512}, static_cast<std::uint32_t>(std::strlen(text)) + 2});
            grown = new (std::nothrow) char[capacity]();
            if (grown == nullptr) return false;
            std::strcpy(grown, text);
            grown[capacity - 1] = 'J';
        }
        delete[] status->json;
        status->json = grown;
        status->capacity = capacity;
        return true;
    }

    zuerr_Status status_{0, 0, &Status::grow, nullptr};
};

/// The timekeeper, from initialisation to finalisation. Threads: as for the functions. Failure: std::runtime_error.
class Timekeeper {
public:
    Timekeeper() {
        Status status;
        zuqxmtk_initialize(status);
        status.check("initialize");
    }
    Timekeeper(const Timekeeper&) = delete;
    Timekeeper& operator=(const Timekeeper&) = delete;
    ~Timekeeper() { zuqxmtk_finalize(); }

    std::uint64_t nowNs() const {
        Status status;
        QxmTimestamp timeNs = 0;
        zuqxmtk_getTime(&timeNs, status);
        status.check("get the time");
        return timeNs;
    }
    void step(std::int64_t offsetNs) {
        Status status;
        zuqxmtk_snapTime(offsetNs, status);
        status.check("step");
    }
    void steer(std::int32_t correctionPpb) {
        Status status;
        zuqxmtk_setCorrectionPerSecond(correctionPpb, status);
        status.check("steer");
    }
};

bool isRefused(Timekeeper& timekeeper, std::int32_t correctionPpb) {
    try {
        timekeeper.steer(correctionPpb);
        return false;
    } catch (const std::runtime_error& error) {
        std::cerr << error.what() << '\n';
        return true;
    }
}

}  // namespace

int main() try {
    Timekeeper timekeeper;
    const std::uint64_t beforeNs = timekeeper.nowNs();
    timekeeper.step(1500000);
    const std::uint64_t afterNs = timekeeper.nowNs();
    timekeeper.steer(-1250);
    std::cout << "before   " << beforeNs << " ns\nafter    " << afterNs << " ns\n";
    return afterNs - beforeNs >= 1500000 && isRefused(timekeeper, 100000) ? 0 : 1;
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
