// The name servers of /etc/resolv.conf on the simulated host: the records
// handed out, the file's bytes after each change, the scratch file left or
// removed, and which failures reach the system log.
#include "testbed.h"

#include "dns/dns.h"
#include "mxlinnet.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstring>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

constexpr const char* kTestbedResolvConf =
    "# Name servers of the simulated host\nnameserver 192.0.2.53\nnameserver 198.51.100.53\n";
constexpr unsigned kEntrySize = 54;
constexpr unsigned kUntouched = 0xdeadbeef;
constexpr const char* kMarker = "linnet: Operations on IPv6 is NOT supported.";

_NetParams change(uint8_t operation, const char* oldAddress, const char* newAddress, uint8_t newFamily = 2)
{
    _NetParams params;
    memset(&params, 0, sizeof params);
    params.operation = operation;
    params.oldFamily = 2;
    params.newFamily = newFamily;
    if (oldAddress != nullptr)
        inet_pton(AF_INET, oldAddress, params.oldAddress);
    if (newAddress != nullptr)
        inet_pton(AF_INET, newAddress, params.newAddress);
    return params;
}

// What a symbolic link points at; "" when the path is no link.
std::string link_target(const char* path)
{
    char target[256] = {};
    return readlink(path, target, sizeof target - 1) > 0 ? target : "";
}

class NameServers : public testing::Test {
protected:
    void SetUp() override
    {
        if (testbed::family().empty())
            GTEST_SKIP() << "runs only inside the simulated host (scripts/testbed)";
        ASSERT_EQ(kTestbedResolvConf, testbed::read(kResolvConfPath));
        logOffset_ = testbed::system_log().size();
    }
    void TearDown() override
    {
        if (testbed::family().empty())
            return;
        testbed::remove(kResolvConfPath);
        testbed::write(kResolvConfPath, kTestbedResolvConf);
        testbed::remove(kResolvScratchPath);
        testbed::sh("rm -rf /run/systemd /run/victim");
    }

    int set(uint8_t operation, const char* oldAddress, const char* newAddress, const char* name = "eth0")
    {
        _NetParams params = change(operation, oldAddress, newAddress);
        return adapter_.SetAdapterDns(name, &params);
    }

    // Each record handed out as "FAMILY A.B.C.D", with "+" appended when any
    // byte besides the family and the first four address bytes is set.
    Texts listed(int& status, unsigned& length, const char* name = "eth0")
    {
        std::vector<unsigned char> buffer(64 * kEntrySize, 0xff);
        length = kUntouched;
        status = adapter_.GetAdapterDnsServer(name, 2, 0, buffer.data(), &length);
        Texts records;
        for (unsigned offset = 0; length != kUntouched && offset + kEntrySize <= length; offset += kEntrySize) {
            const unsigned char* entry = buffer.data() + offset;
            char address[INET_ADDRSTRLEN] = {};
            inet_ntop(AF_INET, entry + 6, address, sizeof address);
            bool extra = false;
            for (unsigned at = 2; at < kEntrySize; ++at)
                extra = extra || ((at < 6 || at >= 10) && entry[at] != 0);
            records.push_back(std::to_string(entry[0] | entry[1] << 8) + " " + address + (extra ? " +" : ""));
        }
        return records;
    }

    // The messages logged since the test began, one per line: a failure logged
    // last marks the point up to which the log is complete.
    std::string logged()
    {
        _NetParams ipv6 = change(2, nullptr, nullptr, 10);
        adapter_.SetAdapterDns("eth0", &ipv6);
        const std::string marker = std::string(kMarker) + "\n";
        std::string log;
        auto complete = [&] {
            return log.size() >= marker.size() && log.compare(log.size() - marker.size(), marker.size(), marker) == 0;
        };
        for (int attempt = 0; attempt < 250 && !complete(); ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            log = testbed::system_log().substr(logOffset_);
        }
        std::string messages;
        for (size_t start = 0, end; (end = log.find('\n', start)) != std::string::npos; start = end + 1) {
            const std::string line = log.substr(start, end - start);
            messages += line.substr(std::min(line.size(), line.find("linnet: ") + 8)) + "\n";
        }
        return messages.substr(0, messages.rfind("Operations on IPv6 is NOT supported.\n"));
    }

    NetworkAdapter adapter_;
    size_t logOffset_ = 0;
};

} // namespace

TEST_F(NameServers, ListedAsFlatRecordsOfFamilyTwo)
{
    int status = 0;
    unsigned length = 0;
    EXPECT_EQ((Texts{"2 192.0.2.53", "2 198.51.100.53"}), listed(status, length));
    EXPECT_EQ(0, status);
    EXPECT_EQ(2 * kEntrySize, length);

    unsigned untouched = kUntouched;
    EXPECT_EQ(0, adapter_.GetAdapterDnsServer("eth0", 10, 0, nullptr, &untouched));
    EXPECT_EQ(kUntouched, untouched);
    EXPECT_TRUE(listed(status, length, "eth9").empty());
    EXPECT_EQ(100, status);
    EXPECT_EQ(kUntouched, length);

    // Comments are not listed; the text after a second blank starts with a
    // blank; IPv6 and short texts give what the dotted conversion makes of them.
    testbed::write(kResolvConfPath,
                   "#nameserver 10.0.0.5\nnameserver  10.0.0.9\nnameserver fe80::1\nnameserver 10.1\n");
    EXPECT_EQ((Texts{"2 10.0.0.9", "2 0.0.0.0", "2 10.1.0.0"}), listed(status, length));
    EXPECT_EQ(3 * kEntrySize, length);
    EXPECT_EQ(0, set(2, nullptr, "10.0.0.9")) << "\" 10.0.0.9\" never equals 10.0.0.9";

    testbed::remove(kResolvConfPath);
    EXPECT_TRUE(listed(status, length).empty());
    EXPECT_EQ(106, status);
    EXPECT_EQ(0u, length);
    EXPECT_EQ("Interface Index NOT found / NOT a valid interface / interface config file not found.\n"
              "NO DNS entries in /etc/resolv.conf file.\n",
              logged());
}

TEST_F(NameServers, AddAppendsOnceAndRefusesASixthEntryWhileReplaceStillWorks)
{
    const std::string before = kTestbedResolvConf;
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.1"));
    EXPECT_EQ(before + "nameserver 10.0.0.1\n", testbed::read(kResolvConfPath));
    EXPECT_EQ(110, set(2, nullptr, "10.0.0.1"));
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.2"));
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.3"));
    const std::string five = before + "nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n";
    EXPECT_EQ(113, set(2, nullptr, "10.0.0.4"));
    EXPECT_EQ(five, testbed::read(kResolvConfPath));

    EXPECT_EQ(0, set(3, "10.0.0.2", "10.0.0.4"));
    EXPECT_EQ(110, set(3, "10.0.0.4", "10.0.0.4"));
    EXPECT_EQ(105, [&] {
        _NetParams ipv6 = change(2, nullptr, "10.0.0.5", 10);
        return adapter_.SetAdapterDns("eth0", &ipv6);
    }());
    EXPECT_EQ(100, set(2, nullptr, "10.0.0.5", "eth9"));
    EXPECT_EQ(0, set(1, "10.0.0.1", "10.0.0.5")) << "other operations do nothing";
    EXPECT_EQ(before + "nameserver 10.0.0.1\nnameserver 10.0.0.4\nnameserver 10.0.0.3\n",
              testbed::read(kResolvConfPath));
    EXPECT_FALSE(testbed::exists(kResolvScratchPath));
    EXPECT_EQ("DNS Address to be added, already exists.\nDNS entries exceeded the max count.\n"
              "DNS Address to be added, already exists.\nOperations on IPv6 is NOT supported.\n"
              "Interface Index NOT found / NOT a valid interface / interface config file not found.\n",
              logged());
}

TEST_F(NameServers, AddCreatesAMissingFileAndAppendsAfterALastLineWithoutLineFeed)
{
    testbed::remove(kResolvConfPath);
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.1"));
    EXPECT_EQ("nameserver 10.0.0.1\n", testbed::read(kResolvConfPath));

    testbed::write(kResolvConfPath, "nameserver 192.0.2.53");
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.1"));
    EXPECT_EQ("nameserver 192.0.2.53nameserver 10.0.0.1\n", testbed::read(kResolvConfPath));
}

TEST_F(NameServers, ReplaceAndDeleteLeaveTheScratchFileOnlyWhenNothingMatched)
{
    testbed::write(kResolvConfPath, "# local\nnameserver 10.0.0.1\n#nameserver 10.0.0.1\nnameserver 10.0.0.12\n"
                                    "nameserver 192.0.2.53\n");
    ASSERT_EQ(0, set(3, "192.0.2.53", "10.0.0.7"));
    EXPECT_EQ("# local\nnameserver 10.0.0.1\n#nameserver 10.0.0.1\nnameserver 10.0.0.12\nnameserver 10.0.0.7\n",
              testbed::read(kResolvConfPath));
    EXPECT_FALSE(testbed::exists(kResolvScratchPath));

    ASSERT_EQ(0, set(4, "10.0.0.1", nullptr));
    const std::string kept = "# local\n#nameserver 10.0.0.1\nnameserver 10.0.0.7\n";
    EXPECT_EQ(kept, testbed::read(kResolvConfPath)) << "10.0.0.12 holds 10.0.0.1";
    EXPECT_FALSE(testbed::exists(kResolvScratchPath));

    EXPECT_EQ(106, set(4, "10.0.0.1", nullptr));
    EXPECT_EQ(kept, testbed::read(kResolvScratchPath));
    testbed::remove(kResolvScratchPath);
    EXPECT_EQ(106, set(3, "10.0.0.1", "10.0.0.8"));
    EXPECT_EQ(kept, testbed::read(kResolvScratchPath));
    EXPECT_EQ(kept, testbed::read(kResolvConfPath));

    testbed::remove(kResolvConfPath);
    testbed::remove(kResolvScratchPath);
    EXPECT_EQ(98, set(4, "10.0.0.7", nullptr));
    EXPECT_TRUE(testbed::exists(kResolvScratchPath));
    EXPECT_EQ("", testbed::read(kResolvScratchPath));
    EXPECT_EQ(98, set(3, "10.0.0.7", "10.0.0.8"));
    EXPECT_FALSE(testbed::exists(kResolvScratchPath));
    EXPECT_FALSE(testbed::exists(kResolvConfPath));
    EXPECT_EQ("NO DNS entries in /etc/resolv.conf file.\nNO DNS entries in /etc/resolv.conf file.\n"
              "Not able to open file\nNot able to open file\n",
              logged());
}

TEST_F(NameServers, EditsReachTheFileALinkPointsAtAndTheLinkStays)
{
    const char* target = "/run/systemd/resolve/stub-resolv.conf";
    const char* link = "../run/systemd/resolve/stub-resolv.conf";
    testbed::sh("mkdir -p /run/systemd/resolve");
    testbed::write(target, "nameserver 127.0.0.53\n");
    testbed::remove(kResolvConfPath);
    ASSERT_EQ(0, symlink(link, kResolvConfPath));

    int status = 0;
    unsigned length = 0;
    EXPECT_EQ((Texts{"2 127.0.0.53"}), listed(status, length));
    ASSERT_EQ(0, set(2, nullptr, "10.0.0.1"));
    ASSERT_EQ(0, set(3, "127.0.0.53", "10.0.0.2"));
    ASSERT_EQ(0, set(4, "10.0.0.1", nullptr));
    EXPECT_EQ("nameserver 10.0.0.2\n", testbed::read(target));
    EXPECT_EQ(link, link_target(kResolvConfPath));
    EXPECT_EQ("", testbed::sh("ls -A /run/systemd/resolve | grep -v '^stub-resolv.conf$'")) << "no temporary left";
}

TEST_F(NameServers, AnEntryLongerThanTheAddressFieldIsCutToIt)
{
    const std::string entry = "192.168.100.200.1.2.3.4.5.6.7.8.9.10.111";
    ASSERT_EQ(40u, entry.size());
    testbed::write(kResolvConfPath, "nameserver " + entry + "\n");

    _IpAddress head;
    memset(&head, 0, sizeof head);
    int count = -1;
    ASSERT_EQ(0, get_dns_entries(&head, &count));
    EXPECT_EQ(1, count);
    EXPECT_EQ(0, memcmp(head.address, entry.data(), 16));
    const unsigned char zero[16] = {};
    EXPECT_EQ(0, memcmp(head.netmask, zero, 16));
    EXPECT_EQ(0, memcmp(head.broadcast, zero, 16));
    // The record is packed: a leading + hands gtest an aligned copy of the field.
    EXPECT_EQ(nullptr, +head.next);

    std::string cut = entry.substr(0, 16), whole = entry;
    EXPECT_EQ(110, check_dns_entry(&cut[0], 2));
    EXPECT_EQ(0, check_dns_entry(&whole[0], 2));
}

TEST_F(NameServers, APlantedScratchLinkIsNeverFollowed)
{
    const char* victim = "/run/victim";
    testbed::write(victim, "precious\n");
    ASSERT_EQ(0, symlink(victim, kResolvScratchPath));
    ASSERT_EQ(0, set(4, "198.51.100.53", nullptr));
    EXPECT_EQ("# Name servers of the simulated host\nnameserver 192.0.2.53\n", testbed::read(kResolvConfPath));
    EXPECT_FALSE(testbed::exists(kResolvScratchPath));

    ASSERT_EQ(0, symlink(victim, kResolvScratchPath));
    EXPECT_EQ(106, set(3, "10.9.9.9", "10.0.0.1"));
    EXPECT_EQ("", link_target(kResolvScratchPath));
    EXPECT_EQ(testbed::read(kResolvConfPath), testbed::read(kResolvScratchPath));
    EXPECT_EQ("precious\n", testbed::read(victim));
}
