// Errors of the library in comparable form: code and exact error information.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include "tests/support/test.h"
#include "zuerr/exception.h"

namespace testsupport {

struct RaisedError {
    std::int32_t code = 0;
    std::string information;
    bool operator==(const RaisedError&) const = default;
};

/// The site of an error and its name of the code, restated by the tests.
struct ExpectedSite {
    std::int32_t code;
    const char* constant;
    const char* file;
    std::int32_t line;
};

inline std::ostream& operator<<(std::ostream& stream, const RaisedError& error) {
    return stream << error.code << ' ' << error.information;
}

/// The status after a raise. The message must not need JSON escapes.
inline RaisedError makeError(const ExpectedSite& site, const std::string& message) {
    return {site.code, "{\"error_constant\":\"" + std::string(site.constant) + "\",\"file\":\"" + site.file +
                           "\",\"line\":" + std::to_string(site.line) +
                           ",\"component\":\"halvexTimekeeper\",\"zuhalvexTimekeeper_debug\":{\"errorInfo\":\"" +
                           message + "\"}}"};
}

/// The error that `action` throws; code 0 if none. Other exceptions pass through.
template <typename Action>
RaisedError raisedBy(Action&& action) {
    try {
        action();
    } catch (const zuerr::Exception& error) {
        return {error.getCode(), error.getJson()};
    }
    return {};
}

}  // namespace testsupport
