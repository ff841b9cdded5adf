// An hour on the virtual controller: the true difference of every clock to the master, second by second, as numbers and
// as a picture. Writes the picture (SVG) to the file named by its argument; exits with 1 if a clock leaves its range.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "include/zuqxmtk.h"
#include "tests/support/statusHolder.h"
#include "tests/system/machine.h"

namespace {

using systemtest::control;
using systemtest::waitS;

constexpr int kSeconds = 3600;
constexpr int kStepEveryS = 60;
constexpr double kPi = 3.14159265358979;

struct Series {
    const char* name;
    std::int64_t limitNs;  ///< Bound of every sample.
    std::int64_t rangeNs;  ///< Half the width of the picture.
    std::vector<std::int64_t> samples;
};

[[noreturn]] void fail(const std::string& what) {
    std::printf("accuracy: %s\n", what.c_str());
    std::exit(1);
}

void require(bool isTrue, const std::string& what) {
    if (!isTrue) fail(what);
}

template <typename Function>
void call(Function&& function) {
    testsupport::StatusHolder status;
    function(status.get());
    require(status->code == 0, status.getText());
}

/// Two I210s with a step loss as measured on such hardware, and an oscillator in a room that warms and cools.
void switchOn() {
    for (const char* const command :
         {"off", "defaults", "interface enp2s0", "interface enp1s0", "set crystal_error_ppt 3000000",
          "set ferrox_offset_ns 10000000000", "set fpga_offset_ns -730000000", "set fpga_step_loss_ns 300",
          "set fpga_step_jitter_ns 20", "set enp1s0 step_loss_ns 1500", "set enp1s0 step_jitter_ns 50",
          "set enp2s0 offset_ns 3000000000", "set enp2s0 step_loss_ns 1500", "set enp2s0 step_jitter_ns 50",
          "set enp1s0 lost_edges_per_million 1000", "set enp2s0 lost_edges_per_million 1000", "on"})
        require(control(command) || std::string(command) == "off", command);
}

std::int64_t percentile(const std::vector<std::int64_t>& sorted, double part) {
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

void print(const Series& series) {
    std::vector<std::int64_t> sorted = series.samples;
    std::sort(sorted.begin(), sorted.end());
    double squares = 0;
    for (const std::int64_t sample : sorted) squares += static_cast<double>(sample) * static_cast<double>(sample);
    std::printf("%-14s %8zd %8ld %8ld %8ld %8ld %8ld %9.1f\n", series.name, sorted.size(), sorted.front(),
                percentile(sorted, 0.01), percentile(sorted, 0.5), percentile(sorted, 0.99), sorted.back(),
                std::sqrt(squares / static_cast<double>(sorted.size())));
}

/// One row of the picture: a histogram of 61 bars around 0.
void draw(std::FILE* file, const Series& series, int row) {
    constexpr int kBars = 61, kWidth = 10, kHeight = 120, kLeft = 60;
    const int top = 50 + row * 180;
    std::vector<int> counts(kBars, 0);
    for (const std::int64_t sample : series.samples) {
        const double place = (static_cast<double>(sample) / static_cast<double>(series.rangeNs) + 1) / 2 * kBars;
        ++counts[static_cast<std::size_t>(std::clamp(static_cast<int>(place), 0, kBars - 1))];
    }
    const int most = *std::max_element(counts.begin(), counts.end());
    std::fprintf(file, "<text x=\"%d\" y=\"%d\" class=\"t\">%s</text>\n", kLeft, top - 8, series.name);
    for (int bar = 0; bar < kBars; ++bar) {
        const int height = counts[static_cast<std::size_t>(bar)] * kHeight / std::max(most, 1);
        if (counts[static_cast<std::size_t>(bar)] == 0) continue;
        std::fprintf(file, "<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\"/>\n", kLeft + bar * kWidth,
                     top + kHeight - std::max(height, 1), kWidth - 1, std::max(height, 1));
    }
    std::fprintf(file, "<path d=\"M%d %dv%dh%d\"/>\n", kLeft, top, kHeight, kBars * kWidth);
    for (const int part : {0, 1})
        std::fprintf(file, "<text x=\"%d\" y=\"%d\" class=\"e\">%d</text>\n", kLeft - 6,
                     top + kHeight - part * kHeight + 4, part * most);
    for (const int part : {-1, 0, 1})
        std::fprintf(file, "<text x=\"%d\" y=\"%d\" class=\"a\">%+ld ns</text>\n",
                     kLeft + (part + 1) * kBars * kWidth / 2, top + kHeight + 16, part * series.rangeNs);
}

void drawAll(const char* path, const std::vector<Series>& all) {
    std::FILE* const file = std::fopen(path, "w");
    require(file != nullptr, path);
    std::fprintf(
        file,
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"700\" height=\"%zu\">\n"
        "<style>rect{fill:#36c}path{stroke:#333;fill:none}text{font:13px sans-serif;fill:#222}.a{text-anchor:middle}"
        ".e{text-anchor:end}@media (prefers-color-scheme: dark){svg{filter:invert(0.92) hue-rotate(180deg)}}"
        "</style>\n<rect width=\"100%%\" height=\"100%%\" style=\"fill:#fff\"/>\n"
        "<text x=\"60\" y=\"20\">Samples by true difference to the master: an hour, one a second</text>\n",
        50 + all.size() * 180);
    for (std::size_t row = 0; row < all.size(); ++row) draw(file, all[row], static_cast<int>(row));
    std::fprintf(file, "</svg>\n");
    std::fclose(file);
}

}  // namespace

int main(int, char** arguments) {
    // The system clock is disciplined in software with a loop of one second, while the oscillator changes.
    std::vector<Series> all = {
        {"fpga", 100, 120, {}}, {"enp1s0", 100, 120, {}}, {"enp2s0", 100, 120, {}}, {"realtime", 100'000, 3'000, {}}};
    switchOn();
    call([](zuerr_Status* status) { zuqxmtk_initialize(status); });
    waitS(30.5);
    for (int second = 0; second < kSeconds; ++second) {
        // +-1 ppm over twenty minutes; the host corrects the known part, to 100 ppb.
        const double driftPpb = 3000 + 1000 * std::sin(2 * kPi * second / 1200.0);
        if (second % 10 == 0)
            require(control("event crystal board " + std::to_string(std::lround(driftPpb * 1000))), "crystal");
        if (second % 30 == 0)
            call([&](zuerr_Status* status) {
                zuqxmtk_setCorrectionPerSecond(static_cast<std::int32_t>(-std::lround(driftPpb / 100) * 100), status);
            });
        if (second % kStepEveryS == 0)
            call([&](zuerr_Status* status) { zuqxmtk_snapTime((second / kStepEveryS % 5 - 2) * 1000, status); });
        waitS(1);
        const systemtest::Truth truth = systemtest::readTruth();
        // A lost pulse delays the alignment by a second; such a sample shows it.
        for (Series& series : all) series.samples.push_back(truth[series.name].differenceNs);
        systemtest::takeJournal();
    }
    zuqxmtk_finalize();
    std::printf("%-14s %8s %8s %8s %8s %8s %8s %9s   (ns)\n", "clock", "samples", "least", "1 %", "median", "99 %",
                "most", "rms");
    bool isInside = true;
    for (const Series& series : all) {
        print(series);
        const auto outside = std::count_if(series.samples.begin(), series.samples.end(),
                                           [&](std::int64_t sample) { return std::abs(sample) > series.limitNs; });
        // At most one sample in a thousand, for lost pulses.
        isInside = isInside && outside <= kSeconds / 1000;
    }
    drawAll(arguments[1], all);
    control("off");
    std::printf("accuracy: %s\n", isInside ? "all clocks within their ranges" : "a clock has left its range");
    return isInside ? 0 : 1;
}
