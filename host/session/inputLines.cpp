// Executes lines of standard input as they arrive, until end of file or a stop request.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/session/inputLines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <string>
#include <system_error>

#include "host/cli/lineWords.h"
#include "host/cli/usageError.h"
#include "host/session/lineEditor.h"
#include "host/session/session.h"
#include "host/session/stopRequest.h"

namespace halvexctl {
namespace {

/// Splits the data of a descriptor into lines; the last one needs no newline.
class LineSource {
public:
    explicit LineSource(Session& session)
        : session_(session), fd_(session.settings().inputFd), stopFd_(session.settings().stopFd) {
        if (::isatty(fd_) == 1 && ::isatty(STDERR_FILENO) == 1) {
            editor_.emplace(fd_, [this] { return nextByte(); });
        }
    }

    std::optional<std::string> next() {
        if (editor_) {
            return editor_->line();
        }
        while (true) {
            const std::size_t end = buffered_.find('\n');
            if (end != std::string::npos) {
                std::string line = buffered_.substr(0, end);
                buffered_.erase(0, end + 1);
                return line;
            }
            if (!waitForInput()) {
                return std::nullopt;
            }
            if (!readMore()) {
                return takeRest();
            }
        }
    }

private:
    /// Returns false if a stop was requested.
    bool waitForInput() {
        std::array<pollfd, 2> awaited{{{fd_, POLLIN, 0}, {stopFd_, POLLIN, 0}}};
        while (!StopRequest::isMade()) {
            const int ready = ::poll(awaited.data(), awaited.size(), patienceMs());
            const int error = errno;
            if (ready > 0) {
                return !StopRequest::isMade();
            }
            if (ready == 0) {
                session_.recorder()->sample(session_.initializedCalls());
            } else if (error != EINTR) {
                throw std::system_error(error, std::generic_category(), "poll");
            }
        }
        return false;
    }

    /// Time until the next sample is due; forever without a recording.
    int patienceMs() {
        constexpr std::int64_t kNsPerMs = 1'000'000;
        constexpr std::int64_t kLongestMs = 3'600'000;
        SessionRecorder* recorder = session_.recorder();
        return recorder == nullptr ? -1 : static_cast<int>(std::min(recorder->untilDueNs() / kNsPerMs + 1, kLongestMs));
    }

    /// Returns false at end of file.
    bool readMore() {
        std::array<char, 4096> chunk;
        const ssize_t length = ::read(fd_, chunk.data(), chunk.size());
        const int error = errno;
        if (length < 0 && error != EINTR && error != EAGAIN) {
            throw std::system_error(error, std::generic_category(), "cannot read standard input");
        }
        if (length > 0) {
            buffered_.append(chunk.data(), static_cast<std::size_t>(length));
        }
        return length != 0;
    }

    std::optional<char> nextByte() {
        while (buffered_.empty()) {
            if (!waitForInput() || !readMore()) {
                return std::nullopt;
            }
        }
        const char byte = buffered_.front();
        buffered_.erase(0, 1);
        return byte;
    }

    std::optional<std::string> takeRest() {
        if (buffered_.empty()) {
            return std::nullopt;
        }
        return std::exchange(buffered_, {});
    }

    Session& session_;
    int fd_;
    int stopFd_;
    std::string buffered_;
    std::optional<LineEditor> editor_;
};

}  // namespace

void runLines(Session& session) {
    LineSource lines(session);
    ReadingRules rules = session.settings().rules;
    rules.inputReader = "run";
    while (const std::optional<std::string> line = lines.next()) {
        std::vector<Command> commands;
        try {
            const std::vector<std::string> words = cutWords(*line);
            if (words == std::vector<std::string>{"quit"}) {
                return;
            }
            commands = readCommands(words, rules);
        } catch (const UsageError& error) {
            session.show({"run", *line, Outcome::failed, {}, error.what(), {}});
            continue;
        }
        session.carryOut(commands);
    }
}

}  // namespace halvexctl
