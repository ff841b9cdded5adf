// Reads the selected time reference from the host's metadata document.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "source/zuHalvexTimekeeper/timeReferenceMetadata.h"

#include <algorithm>
#include <boost/numeric/conversion/converter.hpp>
#include <cstdlib>
#include <limits>

#include "zujsonlh/CppJson.h"
#include "zujsonlh/cJSONUtils.h"
#include "zujsonlh/objectReader.h"

namespace halvexTimekeeper {
namespace {

using zujsonlh::ObjectReader;

constexpr const char* kPtpType = "IEEE 1588-2008";

/// The member's value, or null if it is missing or JSON null.
cJSON* findPresent(ObjectReader& reader, const char* key) {
    reader.find(key);
    cJSON* const item = *reader.current;
    return item == nullptr || zujsonlh::isNull(item) ? nullptr : item;
}

/// Skips leading blanks and ignores what follows the digits; a text without digits is 0.
std::int32_t toClampedOffset(const std::string& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<std::int32_t>(std::clamp<long long>(value, Limits::min(), Limits::max()));
}

/// Truncates toward zero; throws Boost's exception if the result does not fit.
std::int32_t toUtcOffset(double value) { return boost::numeric::converter<std::int32_t, double>::convert(value); }

void readOffset(ObjectReader& document, const std::string& id, SelectedTimeReference& kept) {
    // The offset is a string: a JSON number is the wrong type.
    if (const cJSON* const offset = findPresent(document, "selectedTROffset"); offset != nullptr) {
        kept.selectedTimeReferenceOffset = toClampedOffset(zujsonlh::getString(offset));
    } else if (id != kept.selectedTimeReferenceId) {
        kept.selectedTimeReferenceOffset = 0;
    }
}

void readUtcOffset(ObjectReader& timeReference, TimeReferenceSelection& selection) {
    cJSON* const protocolData = findPresent(timeReference, "protocolData");
    if (protocolData == nullptr) return;
    ObjectReader reader(protocolData);
    const cJSON* const utcOffset = findPresent(reader, "utcOffset");
    if (utcOffset == nullptr) return;
    selection.utcOffset = toUtcOffset(zujsonlh::getNumber(utcOffset));
    selection.utcOffsetPresent = true;
}

void readTimeReference(cJSON* timeReference, TimeReferenceSelection& selection) {
    ObjectReader reader(timeReference);
    if (const cJSON* const name = findPresent(reader, "name"); name != nullptr) {
        selection.name = zujsonlh::getString(name);
    }
    if (const cJSON* const type = findPresent(reader, "type"); type != nullptr) {
        selection.type = zujsonlh::getString(type);
    }
    if (selection.type == kPtpType) readUtcOffset(reader, selection);
}

}  // namespace

void readTimeReferenceSelection(SelectedTimeReference& kept, const std::string& metadataJson,
                                TimeReferenceSelection& selection) {
    selection = {};
    const zujsonlh::CppJson document(metadataJson.c_str());
    ObjectReader reader(document.getRoot());

    const cJSON* const selectedId = findPresent(reader, "selectedTRInstID");
    if (selectedId == nullptr) {
        kept = {};
        return;
    }
    const std::string id = zujsonlh::getString(selectedId);
    readOffset(reader, id, kept);
    kept.selectedTimeReferenceId = id;
    selection.selectedOffset = kept.selectedTimeReferenceOffset;
    selection.selectedOffsetPresent = true;

    cJSON* const timeReferences = findPresent(reader, "TRs");
    if (timeReferences == nullptr) return;
    ObjectReader timeReferencesReader(timeReferences);
    cJSON* const timeReference = findPresent(timeReferencesReader, id.c_str());
    if (timeReference != nullptr) readTimeReference(timeReference, selection);
}

}  // namespace halvexTimekeeper
