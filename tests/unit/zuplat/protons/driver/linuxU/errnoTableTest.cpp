// The mapping of errno values to codes of the platform layer.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "zuplat/protons/driver/linuxU/errnoTable.h"

#include <climits>

#include "tests/support/test.h"

namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::errnoTableTest {

// By number: the table under test uses names.
const std::map<int, int> kCodes = {
    {0, 0},        {1, -52026},   {2, -52006},   {3, -52006},   {4, -52025},   {5, -52024},   {6, -52006},
    {9, -52006},   {12, -52000},  {13, -52026},  {16, -52031},  {17, -52013},  {19, -52006},  {22, -52005},
    {23, -52000},  {24, -52000},  {25, -52002},  {28, -52012},  {30, -52026},  {32, -52024},  {35, -52015},
    {37, -52015},  {43, -52020},  {74, -52024},  {75, -52012},  {95, -52002},  {98, -52013},  {103, -52023},
    {104, -52025}, {105, -52019}, {110, -52007}, {114, -52011}, {115, -52011}, {130, -52014},
};

TEST(ErrnoTable, GivesEveryErrnoFrom0To130ItsCode) {
    for (int error = 0; error <= 130; ++error) {
        const auto entry = kCodes.find(error);
        EXPECT_EQ(codeFromErrno(error), entry == kCodes.end() ? -52008 : entry->second) << "errno " << error;
    }
}

TEST(ErrnoTable, GivesAnErrnoOutsideTheTableTheCodeOfASystemFault) {
    for (const int error : {131, 132, 133, 4095, INT_MAX, -1, INT_MIN}) EXPECT_EQ(codeFromErrno(error), -52008);
}

}  // namespace nHALVEXTIMEKEEPER_18_1::nZUPLAT000::errnoTableTest
