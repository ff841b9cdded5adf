// A board's trace, read while it is written.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace halvexdemo {

using Happening = nlohmann::json;

/// Keeps all happenings read so far, in order. Threads: thread-bound. Failure: std::runtime_error on a line that is no
/// JSON.
class TraceFollower {
public:
    explicit TraceFollower(std::string path) : path_(std::move(path)) {}

    /// Reads on until the syslog line `text` is there; waits for the writer, but no longer than a few seconds. Its
    /// position.
    std::size_t readThroughLogLine(const std::string& text);
    void readToEnd();  ///< Whatever is there now; for when the writer has ended.
    const std::vector<Happening>& happenings() const { return happenings_; }

private:
    void readWhatIsThere();

    std::string path_;
    std::streamoff offset_ = 0;
    std::size_t searched_ = 0;
    std::vector<Happening> happenings_;
};

}  // namespace halvexdemo
