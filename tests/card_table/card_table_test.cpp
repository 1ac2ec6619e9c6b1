// The adapter model table as the application reads it, and its lookup.
#include "inventory/card_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

TEST(CardTable, ModelRowsThenTheEndRow)
{
    std::set<int32_t> ids;
    for (int i = 0; i < kCardTableModels; ++i) {
        const LinNetCardDescRow& row = LinNetCardDescStr[i];
        // The rows are packed: a leading + hands gtest an aligned copy of the field.
        EXPECT_GT(+row.deviceId, kCardTableMaxUnlisted) << "row " << i;
        EXPECT_LE(+row.deviceId, 0xffff) << "row " << i;
        EXPECT_TRUE(ids.insert(+row.deviceId).second) << "row " << i << " repeats its ID";
        ASSERT_NE(+row.description, nullptr) << "row " << i;
        EXPECT_LT(std::strlen(row.description), 200u) << row.description;
        EXPECT_NE(std::strstr(row.description + 1, " family)"), nullptr) << row.description;
    }
    EXPECT_EQ(kCardTableModels, 126);
    EXPECT_EQ(+LinNetCardDescStr[126].deviceId, -1);
    EXPECT_EQ(+LinNetCardDescStr[126].description, nullptr);
}

TEST(CardTable, RowsAre12BytesWithTheTextPointerAtOffset4)
{
    EXPECT_EQ(sizeof(LinNetCardDescStr), 127 * 12u);
    const auto* second = reinterpret_cast<const unsigned char*>(LinNetCardDescStr) + 12;
    int32_t id;
    const char* text;
    std::memcpy(&id, second, 4);
    std::memcpy(&text, second + 4, 8);
    EXPECT_EQ(id, +LinNetCardDescStr[1].deviceId);
    EXPECT_EQ(text, +LinNetCardDescStr[1].description);
}

TEST(CardTable, LookupFindsEveryRowAndNothingElse)
{
    std::set<int32_t> ids;
    for (int i = 0; i < kCardTableModels; ++i) {
        ids.insert(+LinNetCardDescStr[i].deviceId);
        EXPECT_EQ(card_description(LinNetCardDescStr[i].deviceId), +LinNetCardDescStr[i].description);
    }
    if (kAdapterVendorId == 0x8086) {
        EXPECT_STREQ(card_description(0x100e), "Intel 82540EM Gigabit Ethernet Controller (82540 family)");
    }
    int absent = kCardTableMaxUnlisted + 1;
    while (ids.count(absent))
        ++absent;
    EXPECT_EQ(card_description(absent), nullptr);
    EXPECT_EQ(card_description(-1), nullptr);
}

// The application can change the rows; the lookup takes the first match and
// reads nothing after the end row.
TEST(CardTable, LookupTakesTheFirstMatchAndStopsAtTheEndRow)
{
    const LinNetCardDescRow saved[2] = {LinNetCardDescStr[10], LinNetCardDescStr[20]};
    LinNetCardDescStr[20] = {LinNetCardDescStr[30].deviceId, "first"};
    const char* first = card_description(LinNetCardDescStr[30].deviceId);
    LinNetCardDescStr[10].deviceId = -1;
    const char* beyond = card_description(LinNetCardDescStr[11].deviceId);
    LinNetCardDescStr[10] = saved[0];
    LinNetCardDescStr[20] = saved[1];
    EXPECT_STREQ(first, "first");
    EXPECT_EQ(beyond, nullptr);
}
