// Environment variables between the launcher, the preloaded library and the programs that its program starts.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

namespace halvexboard {

inline constexpr const char* kBoardVariable = "HALVEXBOARD";          ///< Path of the board's file.
inline constexpr const char* kPreloadVariable = "LD_PRELOAD";         ///< Ends with the library.
inline constexpr const char* kHiddenVariable = "HALVEXBOARD_HIDDEN";  ///< The program was started without the two.
inline constexpr int kCannotStart = 125;  ///< Exit status if the board or the program cannot be started.

}  // namespace halvexboard
