// A locale with a decimal separator other than a point.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#pragma once

#include <clocale>

#include "tests/support/files.h"

namespace testsupport {

/// Sets LC_NUMERIC of the process for a scope, to a locale that localedef builds in a scratch directory. If that fails
/// it does nothing, and isSet is false.
class NumericLocale {
public:
    static constexpr const char* kComma = "<U002C>";
    static constexpr const char* kArabicSign = "<U066B>";  ///< Two bytes in UTF-8, as some locales have it.
    static constexpr const char* kWhyNotSet = "localedef cannot make a locale here (Debian package locales)";

    explicit NumericLocale(const std::string& decimalSign) {
        std::ofstream(directory_ / "source") << "comment_char %\nescape_char /\nLC_NUMERIC\ndecimal_point \""
                                             << decimalSign << "\"\nthousands_sep \"\"\ngrouping -1\nEND LC_NUMERIC\n";
        const std::string name = "halvex" + decimalSign.substr(2, 4);  // a loaded name is not looked up again
        const std::string command = "localedef -c --no-archive -i '" + directory_ / "source" + "' -f UTF-8 '" +
                                    directory_ / name + "' >/dev/null 2>&1";
        [[maybe_unused]] const int warned = std::system(command.c_str());  // 1: the other categories are not defined
        setenv("LOCPATH", directory_.path().c_str(), 1);
        isSet_ = std::setlocale(LC_NUMERIC, name.c_str()) != nullptr && std::localeconv()->decimal_point[0] != '.';
    }
    ~NumericLocale() {
        std::setlocale(LC_NUMERIC, "C");
        unsetenv("LOCPATH");
    }
    NumericLocale(const NumericLocale&) = delete;
    NumericLocale& operator=(const NumericLocale&) = delete;

    bool isSet() const { return isSet_; }

private:
    ScratchDirectory directory_;
    bool isSet_ = false;
};

}  // namespace testsupport
