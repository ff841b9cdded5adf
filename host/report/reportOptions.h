// What a report is made of.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

namespace halvexctl {

struct ReportOptions {
    std::string pagePath;
    std::string recordPath;  ///< Empty: none.
    std::string tracePath;   ///< A simulated board's; empty: none.
    std::string title;       ///< Empty: made of the sources' names.
};

}  // namespace halvexctl
