// The library's codes as the tests restate them, and the codes of the errnos of a driver call.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/standard.h"

namespace testsupport {

enum ErrorCode : std::int32_t {
    kMemoryFull = -52000,
    kUnsupported = -52002,
    kSoftwareFault = -52003,
    kInvalid = -52005,
    kNotFound = -52006,
    kTimedOut = -52007,
    kOsFault = -52008,
    kNotInitialized = -52010,
    kCommunications = -52024,
};

/// The platform layer's code for an errno of a driver call.
inline std::int32_t platformCode(int error) noexcept {
    static constexpr std::array<std::pair<int, std::int32_t>, 33> kMeanings{
        {{EPERM, -52026},      {ENOENT, -52006},       {ESRCH, -52006},      {EINTR, -52025},     {EIO, -52024},
         {ENXIO, -52006},      {ENOMEM, -52000},       {EACCES, -52026},     {EBADF, -52006},     {EBUSY, -52031},
         {EEXIST, -52013},     {ENODEV, -52006},       {EINVAL, -52005},     {ENFILE, -52000},    {EMFILE, -52000},
         {ENOTTY, -52002},     {ENOSPC, -52012},       {EROFS, -52026},      {EPIPE, -52024},     {EDEADLK, -52015},
         {ENOLCK, -52015},     {EIDRM, -52020},        {EBADMSG, -52024},    {EOVERFLOW, -52012}, {ENOTSUP, -52002},
         {EADDRINUSE, -52013}, {ECONNABORTED, -52023}, {ECONNRESET, -52025}, {ENOBUFS, -52019},   {ETIMEDOUT, -52007},
         {EALREADY, -52011},   {EINPROGRESS, -52011},  {EOWNERDEAD, -52014}}};
    const auto found = std::find_if(kMeanings.begin(), kMeanings.end(), [&](auto& row) { return row.first == error; });
    return found == kMeanings.end() ? kOsFault : found->second;
}

}  // namespace testsupport
