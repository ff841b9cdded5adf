// Error information written, merged and grown with well- and ill-behaved growth functions: the text is always one valid
// JSON object, and the buffer is laid out as the contract says unless the host modifies it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include <nlohmann/json.hpp>

#include "fuzz/expectation.h"
#include "zuerr/errorInformation.h"
#include "zuerr/status.h"

namespace {

/// Consumes the input piece by piece; zeros once it is used up.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    bool isEmpty() const { return size_ == 0; }
    unsigned byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    std::string_view text() {
        const std::size_t length = std::min<std::size_t>(byte() * (byte() % 8 == 0 ? 16U : 1U), size_);
        const std::string_view piece(reinterpret_cast<const char*>(data_), length);
        data_ += length;
        size_ -= length;
        return piece;
    }

private:
    const std::uint8_t* data_;
    std::size_t size_;
};

enum class Temper { exact, generous, refusing, lying, shrinking, forgetful, scribbling, untidy, count };
Temper temper = Temper::exact;
Input* source = nullptr;

bool isPeaceful() { return temper == Temper::exact || temper == Temper::generous; }

/// Grows the real buffer to `size`, with or without its contents.
bool grow(zuerr_Status* status, std::uint32_t size, bool keepsText) {
    auto* const buffer = static_cast<char*>(std::calloc(1, size));
    const std::string text = status->json != nullptr && keepsText ? status->json : "{}";
    if (text.size() + 2 > size) return std::free(buffer), false;
    std::memcpy(buffer, text.data(), text.size());
    buffer[size - 1] = 'J';
    std::free(status->json);
    status->json = buffer;
    status->capacity = size;
    return true;
}

bool temperamental(zuerr_Status* status, std::uint32_t size) {
    if (size == 0) {
        std::free(status->json);
        status->json = nullptr;
        status->capacity = 0;
        return true;
    }
    if (size <= status->capacity) return true;
    if (size > 1U << 14) return false;
    switch (temper) {
        case Temper::exact:
            return grow(status, size, true);
        case Temper::generous:
            return grow(status, size + source->byte(), true);
        case Temper::refusing:
            return false;
        case Temper::lying:
            return true;
        case Temper::shrinking:
            return grow(status, 4 + size / 2, true);
        case Temper::forgetful:
            return grow(status, size, false);
        case Temper::scribbling:
            if (!grow(status, size, true)) return false;
            for (int i = 0; i < 4; ++i)
                status->json[source->byte() % status->capacity] = static_cast<char>(source->byte());
            return true;
        default:
            if (!grow(status, size, true)) return false;
            std::memset(status->json + std::strlen(status->json) + 1, 'x', size - std::strlen(status->json) - 1);
            return source->byte() % 2 == 0;
    }
}

bool isUtf8(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; })) return true;
    return nlohmann::json::accept("\"" + [&] {
        std::string safe;
        for (const char c : text) safe += c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        return safe;
    }() + "\"");
}

/// The text ends inside its buffer, followed by what the contract says unless the host meddled.
void checkBuffer(const zuerr_Status& status) {
    if (status.json == nullptr) return;
    const std::size_t length = strnlen(status.json, status.capacity);
    EXPECT(length < status.capacity);
    if (!isPeaceful()) return;
    EXPECT(status.json[status.capacity - 1] == 'J');
    const char* const tail = status.json + length;
    const std::size_t zeros = status.capacity - 1 - length;
    EXPECT(zeros > 0 && tail[0] == '\0' && std::memcmp(tail, tail + 1, zeros - 1) == 0);
}

/// `knowsText` is false once the text may contain bytes of the host's own that are not UTF-8.
void check(const zuerr_Status& status, bool knowsText) {
    if (status.json == nullptr) return;
    checkBuffer(status);
    if (!knowsText || temper == Temper::scribbling) return;
    EXPECT(*status.json == '{' && nlohmann::json::accept(status.json));
}

/// The added member reads as another JSON writer formats it, unless the host meddles or the text is too long.
void expectMember(const zuerr_Status& status, const std::string& key, const nlohmann::json& value) {
    if (!isPeaceful() || status.json == nullptr || status.capacity > 1U << 13) return;
    EXPECT(std::string_view(status.json).find('"' + key + "\":" + value.dump()) != std::string_view::npos);
}

/// Adds members of every kind; `knowsText` stays true while all of them are texts in UTF-8.
void build(Input& input, zuerr_Status& status, bool& knowsText) {
    zuerr::ErrorInformation information(status);
    for (unsigned members = input.byte() % 12; members > 0 && !input.isEmpty(); --members) {
        const std::string key = "k" + std::to_string(members);
        const unsigned kind = input.byte() % 5;
        if (kind == 1) {
            const auto value = static_cast<std::int32_t>(input.byte() << 24 | input.byte());
            information.addSigned(key, value);
            expectMember(status, key, value);
        } else if (kind == 2) {
            const unsigned value = input.byte() << 24 | input.byte();
            information.addUnsigned(key, value);
            expectMember(status, key, value);
        } else if (kind == 3) {
            information.openObject(key);
        } else {
            const std::string_view first = input.text();
            const std::string_view second = kind == 4 ? input.text() : std::string_view();
            information.addString(key, {first, second});
            const std::string value = std::string(first) + std::string(second);
            if (!isUtf8(value)) knowsText = false;
            if (knowsText) expectMember(status, key, value);
        }
        checkBuffer(status);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    source = &input;
    temper = static_cast<Temper>(input.byte() % static_cast<unsigned>(Temper::count));
    zuerr_Status statuses[3] = {{0, 0, temperamental, nullptr}, zuerr::makeStatus(), zuerr::makeStatus()};
    bool knowsText = true;
    while (!input.isEmpty()) {
        zuerr_Status& status = statuses[input.byte() % 3];
        switch (input.byte() % 4) {
            case 0: {
                const std::int32_t before = status.code;
                const auto code = static_cast<std::int32_t>(input.byte()) - 128;
                const bool isTaken = zuerr_setCode(&status, code);
                EXPECT(isTaken == (code != 0 && (before == 0 || (before > 0 && code < 0))));
                EXPECT(status.code == (isTaken ? code : before));
                break;
            }
            case 1:
                build(input, status, knowsText);
                break;
            case 2:
                zuerr_setJson(&status, input.byte() % 2 == 0 ? nullptr : R"({"a":1})");
                break;
            default: {
                zuerr_Status& from = statuses[input.byte() % 3];
                bool isCopied = false;
                if (&from != &status) zuerr_merge(&status, &from, &isCopied);
                break;
            }
        }
        check(status, knowsText);
    }
    for (zuerr_Status& status : statuses) zuerr::freeJson(status);
    return 0;
}
