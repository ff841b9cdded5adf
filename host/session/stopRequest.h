// Stop requests by SIGINT, SIGTERM or a closed output, so that the library is always finalised.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexctl {

/// While it exists, SIGINT, SIGTERM, SIGHUP and SIGPIPE are recorded instead of ending the process. An interrupt or
/// hang-up that is ignored stays ignored. One at a time. Owns
/// a pipe that becomes readable with the first of them. Threads: used on the main thread only. Failure:
/// std::system_error.
class StopRequest {
public:
    StopRequest();
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    static bool isMade() noexcept;
    int descriptor() const noexcept;  ///< Readable once a stop is requested.
};

}  // namespace halvexctl
