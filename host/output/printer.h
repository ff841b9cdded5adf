// What is shown while the verbs are carried out, and how.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <string>

#include "host/output/result.h"
#include "host/output/table.h"

namespace halvexctl {

/// Shows one run. Threads: thread-bound. Failure: outputError() has it; a closed pipe is a request to
/// stop as well.
class Printer {
public:
    virtual ~Printer() = default;
    virtual void begin(const std::string& verb,
                       const std::string& argument) = 0;  ///< A verb is about to be carried out.
    virtual void note(const std::string& sentence) = 0;  ///< Said before something happens, or while it takes its time.
    virtual bool showsProgress() const { return false; }  ///< Whether anybody sees progress().
    virtual void progress(const std::string&) {}          ///< How far a long verb is; empty: it is over.
    virtual void call(const std::string& line) = 0;       ///< A call of the library, as it happens.
    virtual Screen screen() const { return {}; }          ///< For which text() and sample() are to be made.
    virtual void text(const std::string&) {}              ///< Lines for people alone.
    /// A look at the clocks, for people and for programs; `isOnly`: no other follows.
    virtual void sample(const std::string& text, const nlohmann::ordered_json& line, bool isOnly) = 0;
    virtual void result(const Result& result) = 0;            ///< A verb is over.
    virtual void complaint(const std::string& sentence) = 0;  ///< Something typed cannot be carried out.
    virtual void finish() = 0;                                ///< Nothing follows.
};

}  // namespace halvexctl
