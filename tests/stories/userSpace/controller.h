// The linked board as only its own stories use it: every call, and the whole trace.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <nlohmann/json.hpp>

#include "board/preload/linkedBoard.h"
#include "tests/stories/controller.h"

namespace stories {

class UserSpaceController : public Controller {
protected:
    halvexboard::LinkedBoard& linkedBoard();

    /// The happenings of one kind so far.
    std::vector<nlohmann::json> happenings(const std::string& kind);
    /// The library's calls so far as words: call, target, file or request.
    std::vector<std::string> calls();
};

}  // namespace stories
