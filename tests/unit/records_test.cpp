// The bytes the application reads: flattened lists, the status table, the
// version record, and the model table as the application may change it.
#include "api/globals.h"
#include "api/lists.h"
#include "inventory/card_table.h"
#include "status/status.h"
#include "mxlinnet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

uint32_t le32(const unsigned char* p)
{
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}

_IpAddress* address_node(uint16_t family, int32_t alias, unsigned char seed)
{
    _IpAddress* node = new_address_node();
    node->family = family;
    node->aliasIndex = alias;
    for (int i = 0; i < 16; ++i) {
        node->address[i] = static_cast<unsigned char>(seed + i);
        node->netmask[i] = static_cast<unsigned char>(seed + 0x20 + i);
        node->broadcast[i] = static_cast<unsigned char>(seed + 0x40 + i);
    }
    return node;
}

_IpAddress* address_list(unsigned char seed)
{
    _IpAddress* head = address_node(2, -1, seed);
    head->next = address_node(10, 3, static_cast<unsigned char>(seed + 1));
    return head;
}

} // namespace

TEST(Lists, AddressListFlattensToEntriesOf54Bytes)
{
    NetworkAdapter adapter;
    ASSERT_EQ(SIZEOFPOINTER, 8u);
    _IpAddress* head = address_node(2, -1, 0x10);
    head->next = address_node(10, 0x01020304, 0x80);

    std::vector<unsigned char> buf(200, 0xEE);
    EXPECT_EQ(ConstructBuffer_lib(reinterpret_cast<char*>(buf.data()), sizeof(_IpAddress) - SIZEOFPOINTER, head), 108);
    const unsigned char* first = buf.data();
    const unsigned char* second = buf.data() + 54;
    EXPECT_EQ((std::vector<unsigned>{first[0], first[1], le32(first + 2), first[6], first[21], first[22], first[38],
                                     first[53]}),
              (std::vector<unsigned>{2, 0, 0xFFFFFFFF, 0x10, 0x1F, 0x30, 0x50, 0x5F}));
    EXPECT_EQ((std::vector<unsigned>{second[0], second[1], le32(second + 2), second[6], second[22], second[53]}),
              (std::vector<unsigned>{10, 0, 0x01020304, 0x80, 0xA0, 0xCF}));
    EXPECT_EQ(std::vector<unsigned char>(buf.begin() + 108, buf.end()), std::vector<unsigned char>(92, 0xEE))
        << "bytes past the entries were written";

    std::vector<unsigned char> untouched(16, 0xEE);
    EXPECT_EQ(ConstructBuffer_lib(reinterpret_cast<char*>(untouched.data()), 54, nullptr), 0);
    EXPECT_EQ(untouched, std::vector<unsigned char>(16, 0xEE));

    FreePtrList(head, sizeof(_IpAddress) - SIZEOFPOINTER);
    FreePtrList(nullptr, 54);
}

TEST(Lists, DeviceListFlattensToEntriesOf721Bytes)
{
    NetworkAdapter adapter;
    _NetworkDevice* devices[2];
    for (int n = 0; n < 2; ++n) {
        _NetworkDevice* device = devices[n] = new_device_node();
        ASSERT_NE(device, nullptr);
        snprintf(device->ifName, sizeof device->ifName, "eth%d", n);
        device->macAddr[0] = static_cast<unsigned char>(0xA0 + n);
        device->macAddr[5] = 0xA5;
        snprintf(device->macAddrStr, sizeof device->macAddrStr, "a%d:00:00:00:00:a5", n);
        device->vendorId = 0x8086 + n;
        device->mtu = 1500 + n;
        device->vlanId = 0x0A0B0C0D;
        device->isDhcp = 1;
        device->linkUp = 2;
        device->isEnabled = static_cast<uint8_t>(3 + n);
        device->ipList = address_list(static_cast<unsigned char>(0x10 * n));
        device->auxList1 = address_list(0x40);
        device->auxList2 = n == 0 ? nullptr : address_list(0x70);
    }
    devices[0]->next = devices[1];

    std::vector<unsigned char> buf(1600, 0xEE);
    EXPECT_EQ(
        ConstructBuffer_lib(reinterpret_cast<char*>(buf.data()), sizeof(_NetworkDevice) - SIZEOFPOINTER, devices[0]),
        1442);
    for (int n = 0; n < 2; ++n) {
        SCOPED_TRACE(n);
        const unsigned char* entry = buf.data() + 721 * n;
        const char* text = reinterpret_cast<const char*>(entry);
        std::string digit = std::to_string(n);
        EXPECT_EQ(text + 0, "eth" + digit);
        EXPECT_EQ(text + 390, "a" + digit + ":00:00:00:00:a5");
        EXPECT_EQ((std::vector<unsigned>{entry[384], entry[389], le32(entry + 554), le32(entry + 686),
                                         le32(entry + 690), entry[694], entry[695], entry[696]}),
                  (std::vector<unsigned>{0xA0u + n, 0xA5, 0x8086u + n, 1500u + n, 0x0A0B0C0D, 1, 2, 3u + n}));
        _IpAddress* pointers[3] = {devices[n]->ipList, devices[n]->auxList1, devices[n]->auxList2};
        EXPECT_EQ(memcmp(entry + 697, pointers, 24), 0) << "list pointers not copied as they are";
    }
    EXPECT_EQ(std::vector<unsigned char>(buf.begin() + 1442, buf.end()), std::vector<unsigned char>(158, 0xEE))
        << "bytes past the entries were written";

    free_NetDev_List(devices[0]);
    free_NetDev_List(nullptr);
}

TEST(StatusTable, RowsCodesAndTexts)
{
    const int codes[kStatusTableRows] = {0,   1,   98,  99,  100, 101, 102, 103, 104, 105, 106, 107, 108, 109,
                                         110, 111, 113, 114, 115, 116, 117, 118, 53,  119, 121, 512, -1};
    ASSERT_EQ(sizeof LinNetErrStr, 27u * 12u);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(LinNetErrStr);
    for (int row = 0; row < kStatusTableRows; ++row) {
        SCOPED_TRACE(row);
        int32_t code;
        char* message;
        memcpy(&code, bytes + 12 * row, 4);
        memcpy(&message, bytes + 12 * row + 4, 8);
        EXPECT_EQ(code, codes[row]);
        EXPECT_EQ(message == nullptr, code == -1);
        EXPECT_LE(message ? strlen(message) : 0, 84u);
    }
}

TEST(Version, NameAndNumberBytes)
{
    NetworkAdapter adapter;
    _Version version;
    memset(&version, 0xAA, sizeof version);
    EXPECT_EQ(adapter.GetLibVersion(&version), 0);
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(&version);
    EXPECT_EQ(memcmp(bytes, "libmxlinnet\0", 12), 0);
    EXPECT_EQ(std::string(version.name + 12, 8), std::string(8, '\xAA')) << "name bytes past the NUL were written";
    EXPECT_EQ(le32(bytes + 20), 0x000D0002u);
    EXPECT_NE(adapter.GetLibVersion(nullptr), 0);
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
    EXPECT_EQ(card_description(LinNetCardDescStr[11].deviceId), +LinNetCardDescStr[11].description);
}
