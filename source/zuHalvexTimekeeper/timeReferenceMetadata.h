// Reads the selected time reference from the host's metadata document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <cstdint>
#include <string>

namespace halvexTimekeeper {

/// The time reference that one document selects.
struct TimeReferenceSelection {
    std::int32_t selectedOffset = 0;
    bool selectedOffsetPresent = false;
    std::string name;
    std::string type;
    std::int32_t utcOffset = 0;  ///< As in the document: whole seconds for IEEE 1588-2008.
    bool utcOffsetPresent = false;
};

/// State kept from one document to the next.
struct SelectedTimeReference {
    std::string selectedTimeReferenceId;
    std::int32_t selectedTimeReferenceOffset = 0;
};

/// Fills `selection` from the document and updates `kept`. Keys that are missing or null are absent, and so are members
/// of a value of unexpected shape. Threads: one at a time. Failure: throws zuerr::Exception with -52005 if the text is
/// not JSON and -52004 for a value of the wrong type, boost::numeric::bad_numeric_cast for a UTC offset beyond 32 bits;
/// `kept` then holds what was read before.
void readTimeReferenceSelection(SelectedTimeReference& kept, const std::string& metadataJson,
                                TimeReferenceSelection& selection);

}  // namespace halvexTimekeeper
