// What was expected and what was seen, kept for the verdict.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace halvexdemo {

struct Finding {
    bool asExpected = false;
    std::string expected;
    std::string seen;
};

class Findings {
public:
    void check(bool asExpected, std::string expected, std::string seen) {
        list_.push_back({asExpected, std::move(expected), std::move(seen)});
    }
    const std::vector<Finding>& list() const { return list_; }

private:
    std::vector<Finding> list_;
};

}  // namespace halvexdemo
