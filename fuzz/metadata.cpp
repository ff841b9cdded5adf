// Sequences of metadata documents, through to the record that the FPGA's driver receives: against a model of the
// document's meaning with another JSON parser.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <sys/syscall.h>

#include <boost/numeric/conversion/cast.hpp>
#include <nlohmann/json.hpp>

#include "fuzz/expectation.h"
#include "source/zuHalvexTimekeeper/fpgaEpochDevice.h"
#include "tests/support/libcHooks.h"
#include "zuerr/exception.h"

namespace {

using Record = std::array<std::uint8_t, 19>;
using Json = nlohmann::json;

std::optional<Record> received;

struct Block {
    std::uint64_t in, out;
    std::uint32_t inSize, outSize;
    std::uint64_t returned;
};

/// The driver: reports running, reads 1 ns, and stores the received record.
void answer(unsigned long request, const Block& block) {
    if ((request & 0xFF) == 2) {
        std::uint64_t address;
        std::memcpy(&address, reinterpret_cast<const void*>(block.in), sizeof address);
        received.emplace();
        std::memcpy(received->data(), reinterpret_cast<const void*>(address), received->size());
    }
    std::memset(reinterpret_cast<void*>(block.out), 0, block.outSize);
    if (block.outSize == 16) *reinterpret_cast<std::uint64_t*>(block.out) = 1;
}

// --- The model ------------------------------------------------------------------------------------------------------

enum class End { record, wrongType, numericOverflow, unparsable };

struct Model {
    std::string id;
    std::int32_t offset = 0;

    End apply(const Json& document, Record& record);
};

const Json* member(const Json& object, const std::string& key) {
    if (!object.is_object()) return nullptr;
    const auto found = object.find(key);
    return found == object.end() || found->is_null() ? nullptr : &*found;
}

std::int32_t clampedNumber(std::string_view text) {
    std::size_t at = 0;
    while (at < text.size() && (text[at] == ' ' || (text[at] >= '\t' && text[at] <= '\r'))) ++at;
    bool isNegative = false;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) isNegative = text[at++] == '-';
    __int128 value = 0;
    for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
        if (value < __int128{1} << 80) value = value * 10 + (text[at] - '0');
    }
    if (isNegative) value = -value;
    value =
        std::clamp<__int128>(value, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max());
    return static_cast<std::int32_t>(value);
}

void put(Record& record, std::size_t at, std::int32_t value) { std::memcpy(record.data() + at, &value, sizeof value); }

End readUtcOffset(const Json& reference, Record& record) {
    const Json* const protocolData = member(reference, "protocolData");
    const Json* const utcOffset = protocolData != nullptr ? member(*protocolData, "utcOffset") : nullptr;
    if (utcOffset == nullptr) return End::record;
    if (!utcOffset->is_number()) return End::wrongType;
    const auto value = utcOffset->get<double>();
    if (value <= -2147483649.0 || value >= 2147483648.0) return End::numericOverflow;
    put(record, 14, static_cast<std::int32_t>(value));
    record[18] = 1;
    return End::record;
}

End Model::apply(const Json& document, Record& record) {
    record = {19};
    record[5] = 1;
    const Json* const selected = member(document, "selectedTRInstID");
    if (selected == nullptr) {
        *this = {};
        return End::record;
    }
    if (!selected->is_string()) return End::wrongType;
    const auto newId = selected->get<std::string>();
    if (const Json* const text = member(document, "selectedTROffset")) {
        if (!text->is_string()) return End::wrongType;
        offset = clampedNumber(text->get<std::string>());
    } else if (newId != id) {
        offset = 0;
    }
    id = newId;
    put(record, 9, offset);
    record[13] = 1;
    const Json* const references = member(document, "TRs");
    const Json* const reference = references != nullptr ? member(*references, id) : nullptr;
    if (reference == nullptr) return End::record;
    const Json* const name = member(*reference, "name");
    if (name != nullptr && !name->is_string()) return End::wrongType;
    const Json* const type = member(*reference, "type");
    if (type == nullptr) return End::record;
    if (!type->is_string()) return End::wrongType;
    if (!type->get<std::string>().empty()) record[5] = 2;
    return *type == "IEEE 1588-2008" ? readUtcOffset(*reference, record) : End::record;
}

bool repeatsAKey(std::string_view text) {
    std::vector<std::vector<std::string>> keys;
    bool isRepeated = false;
    const Json::parser_callback_t note = [&](int, Json::parse_event_t event, Json& value) {
        if (event == Json::parse_event_t::object_start) keys.emplace_back();
        if (event == Json::parse_event_t::object_end && !keys.empty()) keys.pop_back();
        if (event == Json::parse_event_t::key && !keys.empty()) {
            const auto key = value.get<std::string>();
            isRepeated = isRepeated || std::find(keys.back().begin(), keys.back().end(), key) != keys.back().end();
            keys.back().push_back(key);
        }
        return true;
    };
    [[maybe_unused]] const Json parsed = Json::parse(text, note, false);
    return isRepeated;
}

/// Whether both parsers must agree: strict JSON without NULs in texts, overlong numbers, deep nesting or repeated keys.
bool isCommonGround(std::string_view text) {
    if (text.find("\\u0000") != std::string_view::npos || !Json::accept(text)) return false;
    std::size_t digits = 0;
    std::size_t depth = 0;
    for (const char c : text) {
        const bool isOfNumber = (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E' || c == '+' || c == '-';
        digits = isOfNumber ? digits + 1 : 0;
        depth += c == '[' || c == '{';
        if (digits > 60 || depth > 900) return false;
    }
    return text.find('{', text.find('{') + 1) == text.npos && text.find(',') == text.npos ? true : !repeatsAKey(text);
}

End applyToDevice(halvexTimekeeper::FpgaEpochDevice& device, const std::string& document) {
    received.reset();
    try {
        device.applyQxmMetadata(document);
        EXPECT(received.has_value());
        return End::record;
    } catch (const zuerr::Exception& error) {
        EXPECT(!received.has_value());
        EXPECT(error.getCode() == -52004 || error.getCode() == -52005);
        return error.getCode() == -52004 ? End::wrongType : End::unparsable;
    } catch (const boost::numeric::bad_numeric_cast&) {
        EXPECT(!received.has_value());
        return End::numericOverflow;
    }
}

int answerIoctl(int fd, unsigned long request, void* argument) {
    if ((request & 0xFF00) != 0x7500) return static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
    answer(request, *static_cast<const Block*>(argument));
    return 0;
}

halvexTimekeeper::FpgaEpochDevice& theDevice() {
    static auto& device = *[] {
        testsupport::libcHooks().ioctl = answerIoctl;
        const testsupport::RedirectedDirectory drivers("/proc/driver/zu");
        drivers.writeFile("fpga/deviceInterfaces/nZUHORLIXFPGA000_HorlixFpga\\0/interfacePath", "/dev/null");
        return new halvexTimekeeper::FpgaEpochDevice(4'000'000'000);
    }();
    return device;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    halvexTimekeeper::FpgaEpochDevice& device = theDevice();
    EXPECT(applyToDevice(device, "{}") == End::record);  // clears the state of the last input
    Model model;
    bool isModelSure = true;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty() && isModelSure) {
        const std::size_t end = std::min(rest.find('\0'), rest.size());
        const std::string document(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const End seen = applyToDevice(device, document);
        isModelSure = isCommonGround(document);
        if (!isModelSure) break;
        Record expected;
        EXPECT(model.apply(Json::parse(document), expected) == seen);
        if (seen == End::record) EXPECT(*received == expected);
    }
    return 0;
}
