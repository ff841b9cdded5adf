// The simulated controller with the host on it, as a child whose lines are read as they come.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace halvexdemo {

/// Owns the child and the pipe that both its output streams write to. Threads: thread-bound. Failure:
/// std::system_error.
class BoardRun {
public:
    explicit BoardRun(std::vector<std::string> command);
    ~BoardRun();
    BoardRun(const BoardRun&) = delete;
    BoardRun& operator=(const BoardRun&) = delete;

    std::optional<std::string> nextLine();  ///< Nothing when the child has closed its output.
    int wait();                             ///< Exit code; 128 and the signal when one ended it.

private:
    bool readMore();

    pid_t pid_ = -1;
    int fd_ = -1;
    std::string buffered_;
};

}  // namespace halvexdemo
