// The wish to stop, by SIGINT, SIGTERM or a closed output, so that the library is always finalised.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexctl {

/// While it lives, SIGINT, SIGTERM, SIGHUP and SIGPIPE are remembered instead of ending the process. One at a time.
/// Owns a pipe that becomes readable with the first of them. Threads: made and asked on the main thread;
/// std::system_error when the operating system refuses.
class StopRequest {
public:
    StopRequest();
    ~StopRequest();
    StopRequest(const StopRequest&) = delete;
    StopRequest& operator=(const StopRequest&) = delete;

    static bool isMade() noexcept;
    int descriptor() const noexcept;  ///< Readable once a request was made.
};

}  // namespace halvexctl
