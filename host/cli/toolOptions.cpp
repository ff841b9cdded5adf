// Options of the tool itself, before and between the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/toolOptions.h"

#include <array>

namespace halvexctl {
namespace {

constexpr auto kToolOptions = std::to_array<OptionRow>({
    {"--library", 'l', "FILE",
     "The library to load (default: ../lib/libzuHalvexTimekeeper.so beside this program, then the loader's path)"},
    {"--json", 'j', "", "Print one JSON document instead of text: an array of results"},
    {"--echo", 'e', "", "Show each call of the library as it happens (with --json on standard error)"},
    {"--yes", 'y', "",
     "Carry out what is refused otherwise: backward steps, steps over 1 s, corrections beyond the limits, initialising "
     "while another process owns the clocks"},
    {"--describe", 0, "FORM",
     "Print verbs and options as completion for a shell (bash, zsh, fish) or as the manual's lists (mdoc)"},
    {"--help", 'h', "", "Print this help, or behind a verb the verb's"},
    {"--version", 'V', "", "Print the version"},
});

}  // namespace

std::span<const OptionRow> toolOptions() { return kToolOptions; }

}  // namespace halvexctl
