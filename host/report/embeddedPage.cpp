// The report's page, embedded in the program with the assembler's .incbin.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/report/embeddedPage.h"

asm(".section .rodata\n"
    ".global halvexctlPageBegin\n"
    ".global halvexctlPageEnd\n"
    "halvexctlPageBegin:\n"
    ".incbin \"" HALVEX_REPORT_PAGE
    "\"\n"
    "halvexctlPageEnd:\n"
    ".previous\n");

extern "C" {
extern const char halvexctlPageBegin[];
extern const char halvexctlPageEnd[];
}

namespace halvexctl {

std::string_view embeddedPage() noexcept {
    return {halvexctlPageBegin, static_cast<std::size_t>(halvexctlPageEnd - halvexctlPageBegin)};
}

}  // namespace halvexctl
