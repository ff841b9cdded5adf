// The simulated controller with the host on it, as a child whose lines are read as they come.
#include "host/demo/boardRun.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace halvexdemo {
namespace {

constexpr int kSignalBase = 128;

[[noreturn]] void refuse(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

}  // namespace

BoardRun::BoardRun(std::vector<std::string> command) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        refuse(errno, "pipe2");
    }
    std::vector<char*> argv;
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    const int error = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    fd_ = ends[0];
    if (error != 0) {
        ::close(fd_);
        refuse(error, command.front());
    }
}

BoardRun::~BoardRun() {
    ::close(fd_);
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        wait();
    }
}

bool BoardRun::readMore() {
    std::array<char, 4096> chunk;
    while (true) {
        const ssize_t length = ::read(fd_, chunk.data(), chunk.size());
        const int error = errno;
        if (length >= 0) {
            buffered_.append(chunk.data(), static_cast<std::size_t>(length));
            return length > 0;
        }
        if (error != EINTR) {
            refuse(error, "reading the board's output");
        }
    }
}

std::optional<std::string> BoardRun::nextLine() {
    std::size_t end = buffered_.find('\n');
    while (end == std::string::npos) {
        if (!readMore()) {
            return buffered_.empty() ? std::nullopt : std::optional(std::exchange(buffered_, {}));
        }
        end = buffered_.find('\n');
    }
    std::string line = buffered_.substr(0, end);
    buffered_.erase(0, end + 1);
    return line;
}

int BoardRun::wait() {
    int status = 0;
    while (::waitpid(pid_, &status, 0) < 0) {
        const int error = errno;
        if (error != EINTR) {
            refuse(error, "waitpid");
        }
    }
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : kSignalBase + WTERMSIG(status);
}

}  // namespace halvexdemo
