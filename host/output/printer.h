// Interface for showing progress and results of the verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"
#include "host/output/table.h"

namespace halvexctl {

/// Shows one run. Threads: thread-bound. Failure: reported by outputError(); a closed pipe also requests a stop.
class Printer {
public:
    virtual ~Printer() = default;
    virtual void begin(const std::string& verb,
                       const std::string& argument) = 0;  ///< A verb is about to be executed.
    virtual void note(const std::string& sentence) = 0;   ///< An announcement, or progress of a slow operation.
    virtual bool showsProgress() const { return false; }  ///< Whether progress() is visible.
    virtual void progress(const std::string&) {}          ///< Progress of a long verb; empty: finished.
    virtual void call(const std::string& line) = 0;       ///< A call of the library, as it happens.
    virtual Screen screen() const { return {}; }          ///< The screen for which text() and sample() are formatted.
    virtual void text(const std::string&) {}              ///< Lines for people only.
    /// A sample of the clocks, for people and for programs; `isOnly`: no other follows.
    virtual void sample(const std::string& text, const nlohmann::ordered_json& line, bool isOnly) = 0;
    virtual void result(const Result& result) = 0;  ///< A verb has finished.
    virtual void finish() = 0;                      ///< Nothing follows.
};

}  // namespace halvexctl
