// Invalid user input; the text is a sentence for the user.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <stdexcept>

namespace halvexctl {

class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace halvexctl
