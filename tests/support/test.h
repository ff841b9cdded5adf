// What every test file includes, itself or by a header of the test support; the precompiled header is made from it.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/standard.h"
