// The plausible failures of each kind of call.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "tests/faults/catalog.h"

#include <glob.h>

#include <initializer_list>

namespace faults {
namespace {

constexpr int kBeyondTable = 131;  // ENOTRECOVERABLE: the first errno without a platform code
constexpr int kFarBeyondTable = 133;

std::vector<Outcome> errors(std::initializer_list<int> numbers, std::initializer_list<long> counts = {}) {
    std::vector<Outcome> outcomes;
    for (const int number : numbers) outcomes.push_back({number, std::nullopt, 0});
    for (const long count : counts) outcomes.push_back({0, count, 0});
    return outcomes;
}

const std::vector<Outcome> kRequests = errors({EINTR, EIO, EINVAL, ENOTTY, ENODEV, EBUSY, EOPNOTSUPP, EPERM, EFAULT,
                                               ENOMEM, ETIMEDOUT, kBeyondTable, kFarBeyondTable});

/// A driver fails the call, or completes it with a status: errors, and a warning.
std::vector<Outcome> driverOutcomes() {
    std::vector<Outcome> outcomes = kRequests;
    for (const std::int32_t status : {-52024, -52006, -52007, 7}) outcomes.push_back({0, std::nullopt, status});
    return outcomes;
}

const std::vector<Outcome> kDriverRequests = driverOutcomes();
const std::vector<Outcome> kOpens =
    errors({ENOENT, EACCES, EPERM, EMFILE, ENFILE, ENODEV, ENXIO, EBUSY, EINTR, ENOMEM});

const std::map<Call, std::vector<Outcome>> kOutcomes{
    {Call::open, kOpens},
    {Call::close, errors({EINTR, EIO, EBADF})},
    {Call::read, errors({EINTR, EIO, EAGAIN}, {0, 1, 31})},
    {Call::write, errors({EINTR, EIO, EINVAL, ENODEV, ENOSPC}, {0, 1})},
    {Call::seek, errors({EINVAL, ESPIPE, EBADF}, {5})},
    {Call::ioctl, kRequests},
    {Call::select, errors({EINTR, EBADF, EINVAL, ENOMEM}, {0})},
    {Call::socket, errors({EACCES, EPERM, EAFNOSUPPORT, EMFILE, ENFILE, ENOBUFS, ENOMEM})},
    {Call::readClock, errors({EINVAL, EFAULT, EPERM})},
    {Call::setClock, errors({EPERM, EINVAL, EFAULT})},
    {Call::adjustClock, errors({EINVAL, EPERM, ENODEV, EBUSY, ERANGE, EOPNOTSUPP})},
    {Call::openDirectory, errors({ENOENT, EACCES, EMFILE, ENFILE, ENOMEM, EINTR})},
    {Call::readDirectory, errors({EBADF, ENOENT})},
    {Call::closeDirectory, errors({EBADF})},
    {Call::glob, errors({}, {GLOB_NOSPACE, GLOB_ABORTED, GLOB_NOMATCH})},
    {Call::openStream, kOpens},
    {Call::readStream, errors({EIO, EINTR}, {0, 1, 255, 256, 4096})},
    {Call::closeStream, errors({EIO, EINTR})},
    {Call::spawn, errors({ENOENT, EACCES, EAGAIN, ENOMEM}, {ENOEXEC})},
    {Call::kill, errors({ESRCH, EPERM})},
    {Call::sleep, errors({EINTR})},
    {Call::startThread, errors({EAGAIN, EPERM})},
    {Call::makeMutex, errors({ENOMEM, EAGAIN})},
    {Call::makeCondition, errors({ENOMEM, EAGAIN})},
    {Call::wait, errors({EINVAL, EPERM})},
};

}  // namespace

const std::vector<Outcome>& outcomesOf(Call call, bool isDriver) {
    return call == Call::ioctl && isDriver ? kDriverRequests : kOutcomes.at(call);
}

}  // namespace faults
