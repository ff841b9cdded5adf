// A driver behind every descriptor: answers method calls by request number and keeps a journal of them.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/libcHooks.h"
#include "tests/support/test.h"

namespace testsupport {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesAt(std::uint64_t address, std::size_t size) {
    Bytes bytes(size);
    std::memcpy(bytes.data(), reinterpret_cast<const void*>(address), size);
    return bytes;
}

/// The bytes of a value as the driver reads them, least significant first.
template <typename Value>
Bytes bytesOf(const Value& value) {
    return bytesAt(reinterpret_cast<std::uint64_t>(&value), sizeof value);
}

/// One method call as the driver sees it.
struct DriverCall {
    int fd;
    unsigned long request;
    Bytes in;
    std::uint32_t outSize;
    std::uint64_t bytesReturned;

    std::uint64_t getArgument() const {
        std::uint64_t argument = 0;
        std::memcpy(&argument, in.data(), sizeof argument);
        return argument;
    }
};

/// The driver's answer. With an errno the call fails and no output is written.
struct DriverAnswer {
    std::int32_t status = 0;
    std::uint64_t value = 0;
    int error = 0;
    bool failsWithoutErrno = false;  ///< The output is written, and the call fails with errno 0.
};

/// Replaces ioctl for a scope. A request without a configured answer succeeds with value 0; a call on descriptor -1
/// fails as in the system.
class DriverFake {
    LibcHooksGuard guard_;  // first member: restores the previous hooks last

public:
    DriverFake() {
        libcHooks().ioctl = [this](int fd, unsigned long request, void* block) { return call(fd, request, block); };
    }
    DriverFake(const DriverFake&) = delete;
    DriverFake& operator=(const DriverFake&) = delete;

    std::map<unsigned long, DriverAnswer> answers;
    std::function<void(const DriverCall&)> onCall;  ///< Runs before the answer is looked up.
    std::uint64_t bytesReturned = 0;                ///< The block's value after a call.
    std::vector<DriverCall> calls;

    std::vector<unsigned long> getRequests() const {
        std::vector<unsigned long> requests;
        for (const DriverCall& call : calls) requests.push_back(call.request);
        return requests;
    }
    const DriverCall& getLastCall() const { return calls.back(); }

private:
    int call(int fd, unsigned long request, void* block) {
        const auto address = reinterpret_cast<std::uint64_t>(block);
        const Bytes head = bytesAt(address, 32);
        std::uint64_t in, out;
        std::uint32_t inSize, outSize;
        std::uint64_t before;
        std::memcpy(&in, &head[0], 8);
        std::memcpy(&out, &head[8], 8);
        std::memcpy(&inSize, &head[16], 4);
        std::memcpy(&outSize, &head[20], 4);
        std::memcpy(&before, &head[24], 8);
        calls.push_back({fd, request, bytesAt(in, inSize), outSize, before});
        if (fd == -1) return fail(EBADF);
        if (onCall) onCall(calls.back());
        std::memcpy(static_cast<char*>(block) + 24, &bytesReturned, 8);
        const DriverAnswer answer = answers[request];
        if (answer.error != 0) return fail(answer.error);
        auto* const output = reinterpret_cast<char*>(out);
        if (outSize == 16) std::memcpy(output, &answer.value, 8);
        std::memcpy(output + (outSize == 16 ? 8 : 0), &answer.status, 4);
        return answer.failsWithoutErrno ? fail(0) : 0;
    }
    static int fail(int error) {
        errno = error;
        return -1;
    }
};

}  // namespace testsupport
