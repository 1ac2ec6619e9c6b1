// The application computes flattened entry sizes from SIZEOFPOINTER, which the
// first adapter sets; until then it reads 0.
#include "api/globals.h"
#include "mxlinnet.h"

#include <gtest/gtest.h>

TEST(LinkSize, ZeroUntilTheFirstAdapterThenEight)
{
    EXPECT_EQ(SIZEOFPOINTER, 0u);
    {
        NetworkAdapter adapter;
        EXPECT_EQ(SIZEOFPOINTER, 8u);
    }
    EXPECT_EQ(SIZEOFPOINTER, 8u);
    EXPECT_EQ(flat_address_size(), 54u);
    EXPECT_EQ(flat_device_size(), 721u);
}
