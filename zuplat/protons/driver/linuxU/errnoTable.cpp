// Maps errno values to codes of the platform layer.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/driver/linuxU/errnoTable.h"

#include <array>
#include <cerrno>
#include <cstddef>

#include "zuerr/codes.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000 {
namespace {

constexpr std::size_t kEntries = 131;  // errno 0 to 130

struct Meaning {
    int error;
    std::int32_t code;
};

constexpr Meaning kMeanings[] = {
    {0, 0},
    {EPERM, zuerr::kAccessDenied},
    {ENOENT, zuerr::zuplaterr_resourceNotFound},
    {ESRCH, zuerr::zuplaterr_resourceNotFound},
    {EINTR, zuerr::kInterrupted},
    {EIO, zuerr::zuplaterr_communicationsFault},
    {ENXIO, zuerr::zuplaterr_resourceNotFound},
    {EBADF, zuerr::zuplaterr_resourceNotFound},
    {ENOMEM, zuerr::zuplaterr_memoryFull},
    {EACCES, zuerr::kAccessDenied},
    {EBUSY, zuerr::kBusy},
    {EEXIST, zuerr::kAlreadyInUse},
    {ENODEV, zuerr::zuplaterr_resourceNotFound},
    {EINVAL, zuerr::zuplaterr_invalidParameter},
    {ENFILE, zuerr::zuplaterr_memoryFull},
    {EMFILE, zuerr::zuplaterr_memoryFull},
    {ENOTTY, zuerr::zuplaterr_featureUnsupported},
    {ENOSPC, zuerr::kRangeExceeded},
    {EROFS, zuerr::kAccessDenied},
    {EPIPE, zuerr::zuplaterr_communicationsFault},
    {EDEADLK, zuerr::kLockUnavailable},
    {ENOLCK, zuerr::kLockUnavailable},
    {EIDRM, zuerr::kIdentifierRemoved},
    {EBADMSG, zuerr::zuplaterr_communicationsFault},
    {EOVERFLOW, zuerr::kRangeExceeded},
    {ENOTSUP, zuerr::zuplaterr_featureUnsupported},
    {EADDRINUSE, zuerr::kAlreadyInUse},
    {ECONNABORTED, zuerr::kConnectionAborted},
    {ECONNRESET, zuerr::kInterrupted},
    {ENOBUFS, zuerr::kBufferTooSmall},
    {ETIMEDOUT, zuerr::zuplaterr_operationTimedOut},
    {EALREADY, zuerr::kOperationInProgress},
    {EINPROGRESS, zuerr::kOperationInProgress},
    {EOWNERDEAD, zuerr::kOwnerDied},
};

constexpr auto makeTable() {
    std::array<std::int32_t, kEntries> table{};
    table.fill(zuerr::zuplaterr_osFault);
    for (const Meaning& meaning : kMeanings) table[static_cast<std::size_t>(meaning.error)] = meaning.code;
    return table;
}

constexpr auto kCodes = makeTable();

}  // namespace

std::int32_t codeFromErrno(int error) noexcept {
    const auto entry = static_cast<std::size_t>(error);  // a negative number wraps to an index beyond the table
    return entry < kCodes.size() ? kCodes[entry] : zuerr::zuplaterr_osFault;
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000
