// What the golden cases cannot dump: flattened lists holding the list
// pointers, the model table as the application may change it, and a command
// left running in the background. Work files stay in the working directory.
#include "api/globals.h"
#include "api/lists.h"
#include "host/command_runner.h"
#include "inventory/card_table.h"
#include "mxlinnet.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Bytes = std::vector<unsigned>;

uint32_t le32(const unsigned char* p)
{
    return p[0] | p[1] << 8 | p[2] << 16 | static_cast<uint32_t>(p[3]) << 24;
}

_IpAddress* address_node(uint16_t family, int32_t alias, unsigned char seed, _IpAddress* next = nullptr)
{
    _IpAddress* node = new_address_node();
    node->family = family;
    node->aliasIndex = alias;
    for (int i = 0; i < 16; ++i) {
        node->address[i] = static_cast<unsigned char>(seed + i);
        node->netmask[i] = static_cast<unsigned char>(seed + 0x20 + i);
        node->broadcast[i] = static_cast<unsigned char>(seed + 0x40 + i);
    }
    node->next = next;
    return node;
}

// Flattens the list into a buffer of 0xEE bytes; the bytes past `used` must stay.
std::vector<unsigned char> flattened(void* list, size_t entry, size_t used, size_t size)
{
    std::vector<unsigned char> buf(size, 0xEE);
    EXPECT_EQ(ConstructBuffer_lib(reinterpret_cast<char*>(buf.data()), entry, list), static_cast<int>(used));
    EXPECT_EQ(std::vector<unsigned char>(buf.begin() + used, buf.end()), std::vector<unsigned char>(size - used, 0xEE))
        << "bytes past the entries were written";
    return buf;
}

} // namespace

TEST(Lists, AddressAndDeviceListsFlattenToEntriesOf54And721Bytes)
{
    NetworkAdapter adapter;
    _IpAddress* head = address_node(2, -1, 0x10, address_node(10, 0x01020304, 0x80));
    std::vector<unsigned char> buf = flattened(head, sizeof(_IpAddress) - SIZEOFPOINTER, 108, 200);
    const unsigned char* first = buf.data();
    const unsigned char* second = buf.data() + 54;
    EXPECT_EQ((Bytes{first[0], first[1], le32(first + 2), first[6], first[21], first[22], first[38], first[53]}),
              (Bytes{2, 0, 0xFFFFFFFF, 0x10, 0x1F, 0x30, 0x50, 0x5F}));
    EXPECT_EQ((Bytes{second[0], second[1], le32(second + 2), second[6], second[22], second[53]}),
              (Bytes{10, 0, 0x01020304, 0x80, 0xA0, 0xCF}));
    flattened(nullptr, 54, 0, 16);
    FreePtrList(head, sizeof(_IpAddress) - SIZEOFPOINTER);
    FreePtrList(nullptr, 54);

    _NetworkDevice* devices[2];
    for (int n = 0; n < 2; ++n) {
        _NetworkDevice* device = devices[n] = new_device_node();
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
        device->ipList = address_node(2, -1, static_cast<unsigned char>(0x10 * n), address_node(10, 3, 1));
        device->auxList1 = address_node(2, -1, 0x40, address_node(10, 3, 0x41));
        device->auxList2 = n == 0 ? nullptr : address_node(2, -1, 0x70);
    }
    devices[0]->next = devices[1];
    buf = flattened(devices[0], sizeof(_NetworkDevice) - SIZEOFPOINTER, 1442, 1600);
    for (int n = 0; n < 2; ++n) {
        const unsigned char* entry = buf.data() + 721 * n;
        const char* text = reinterpret_cast<const char*>(entry);
        EXPECT_EQ(text + 0, "eth" + std::to_string(n));
        EXPECT_EQ(text + 390, "a" + std::to_string(n) + ":00:00:00:00:a5");
        EXPECT_EQ((Bytes{entry[384], entry[389], le32(entry + 554), le32(entry + 686), le32(entry + 690), entry[694],
                         entry[695], entry[696]}),
                  (Bytes{0xA0u + n, 0xA5, 0x8086u + n, 1500u + n, 0x0A0B0C0D, 1, 2, 3u + n}));
        _IpAddress* pointers[3] = {devices[n]->ipList, devices[n]->auxList1, devices[n]->auxList2};
        EXPECT_EQ(memcmp(entry + 697, pointers, 24), 0) << "list pointers not copied as they are";
    }
    free_NetDev_List(devices[0]);
    free_NetDev_List(nullptr);
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

// The program waits until the test creates "go", which the test only does
// once run() has returned, then leaves a marker; no child is left to collect.
TEST(Command, BackgroundCommandIsDetached)
{
    unlink("background-go");
    unlink("background-marker");
    const char* script = "i=0; while [ ! -e background-go ] && [ $i -lt 200 ]; do sleep 0.025; i=$((i+1)); done; "
                         "[ -e background-go ] && touch background-marker";
    ASSERT_EQ(host::run(host::Command::format("sh -c %s &", script)), 0);
    fclose(fopen("background-go", "w"));
    for (int i = 0; i < 200 && access("background-marker", F_OK) != 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    EXPECT_EQ(access("background-marker", F_OK), 0);
    errno = 0;
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child of the test is left";
    EXPECT_EQ(errno, ECHILD);
}
