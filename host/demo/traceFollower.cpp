// A board's trace, read while it is written.
#include "host/demo/traceFollower.h"

#include <chrono>
#include <stdexcept>
#include <thread>

namespace halvexdemo {
namespace {

constexpr auto kPatience = std::chrono::seconds(5);
constexpr auto kPause = std::chrono::milliseconds(1);

}  // namespace

void TraceFollower::readWhatIsThere() {
    std::ifstream file(path_, std::ios::binary);
    file.seekg(offset_);
    for (std::string line; std::getline(file, line) && !file.eof();) {  // a line without its end is not all there yet
        offset_ += static_cast<std::streamoff>(line.size()) + 1;
        Happening happening = Happening::parse(line, nullptr, false);
        if (!happening.is_object()) {
            throw std::runtime_error("the trace holds a line that is no JSON object: " + line);
        }
        happenings_.push_back(std::move(happening));
    }
}

std::size_t TraceFollower::readThroughLogLine(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (true) {
        readWhatIsThere();
        for (; searched_ < happenings_.size(); ++searched_) {
            const Happening& happening = happenings_[searched_];
            if (happening.value("kind", "") == "syslog" && happening.value("text", "") == text) {
                return searched_++;
            }
        }
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("the trace does not show the log line: " + text);
        }
        std::this_thread::sleep_for(kPause);
    }
}

void TraceFollower::readToEnd() { readWhatIsThere(); }

}  // namespace halvexdemo
