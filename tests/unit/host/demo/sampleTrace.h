// Lines of a trace as a board writes them, for the tests of the demo.
#pragma once

#include <string>
#include <vector>

#include "host/demo/traceFollower.h"

namespace halvexdemo::sample {

inline Happening start() {
    return Happening::parse(R"({"seq":0,"raw_ns":0,"kind":"start","clocks":["ferrox","fpga","system"]})");
}

inline Happening truth(std::uint64_t rawNs, std::int64_t fpgaNs, bool fpgaEnabled = true, std::int64_t systemNs = 0) {
    Happening truth = Happening::parse(
        R"({"seq":0,"kind":"truth","clocks":{"fpga":{"time_ns":0,"enabled":true},
            "system":{"time_ns":0,"enabled":true},"ferrox":{"difference_ns":0,"time_ns":0,"enabled":true}}})");
    truth["raw_ns"] = rawNs;
    truth["clocks"]["fpga"]["difference_ns"] = fpgaNs;
    truth["clocks"]["fpga"]["enabled"] = fpgaEnabled;
    truth["clocks"]["system"]["difference_ns"] = systemNs;
    truth["clocks"]["ferrox"]["time_ns"] = 1'000 + rawNs;
    return truth;
}

inline Happening log(std::uint64_t rawNs, const std::string& text) {
    return Happening{{"seq", 0}, {"raw_ns", rawNs}, {"kind", "syslog"}, {"priority", 6}, {"text", text}};
}

inline Happening step(std::uint64_t rawNs, const std::string& clock, std::int64_t askedNs,
                      const std::string& by = "program") {
    return Happening{{"seq", 0},       {"raw_ns", rawNs},     {"kind", "step"},
                     {"clock", clock}, {"asked_ns", askedNs}, {"by", by}};
}

}  // namespace halvexdemo::sample
