// Argument parsers and actions of the verbs, for the table of verbs.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "host/cli/verb.h"

namespace halvexctl::actions {

// Each parses its argument, or throws UsageError.
Argument readClock(WordReader& words, const ReadingRules& rules);
Argument readHelpTopic(WordReader& words, const ReadingRules& rules);
Argument readStep(WordReader& words, const ReadingRules& rules);
Argument readCorrection(WordReader& words, const ReadingRules& rules);
Argument readCode(WordReader& words, const ReadingRules& rules);
Argument readDriftDuration(WordReader& words, const ReadingRules& rules);
Argument readWaitDuration(WordReader& words, const ReadingRules& rules);
Argument readRemark(WordReader& words, const ReadingRules& rules);
Argument readExplanationTopic(WordReader& words, const ReadingRules& rules);
Argument readMonitor(WordReader& words, const ReadingRules& rules);
Argument readRecord(WordReader& words, const ReadingRules& rules);
Argument readReport(WordReader& words, const ReadingRules& rules);
Argument readDocument(WordReader& words, const ReadingRules& rules);

// Each fills in the result; the session handles CallFailure and other exceptions.
void help(Session& session, const Command& command, Result& result);
void version(Session& session, const Command& command, Result& result);
void name(Session& session, const Command& command, Result& result);
void seeded(Session& session, const Command& command, Result& result);
void info(Session& session, const Command& command, Result& result);
void init(Session& session, const Command& command, Result& result);
void finalize(Session& session, const Command& command, Result& result);
void get(Session& session, const Command& command, Result& result);
void step(Session& session, const Command& command, Result& result);
void freq(Session& session, const Command& command, Result& result);
void limits(Session& session, const Command& command, Result& result);
void drift(Session& session, const Command& command, Result& result);
void wait(Session& session, const Command& command, Result& result);
void applyMetadata(Session& session, const Command& command, Result& result);
void expectError(Session& session, const Command& command, Result& result);
void clear(Session& session, const Command& command, Result& result);
void explain(Session& session, const Command& command, Result& result);
void map(Session& session, const Command& command, Result& result);
void doctor(Session& session, const Command& command, Result& result);
void health(Session& session, const Command& command, Result& result);
void monitor(Session& session, const Command& command, Result& result);
void record(Session& session, const Command& command, Result& result);
void report(Session& session, const Command& command, Result& result);
void remark(Session& session, const Command& command, Result& result);
void run(Session& session, const Command& command, Result& result);

}  // namespace halvexctl::actions
