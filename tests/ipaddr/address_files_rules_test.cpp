// The line rules of the address file edits, on fixture files of both
// families compared byte for byte with their golden results.
#include "ifcfg/address_rules.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace {

std::string fixture(const std::string& name)
{
    std::ifstream in(std::string(LINNET_IPADDR_FIXTURES) + "/" + name, std::ios::binary);
    EXPECT_TRUE(in.good()) << name;
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Modifies to 10.1.1.5/255.255.255.0; `found` stays true for Red Hat files.
std::string modified(bool suse, const std::string& text, int aliasNumber, int position, bool& found)
{
    ipaddr::AddressChange change{"eth0", "10.1.1.5", "255.255.255.0", "52:54:00:00:00:01", aliasNumber, position};
    found = true;
    return suse ? ipaddr::rewrite_suse_modified(text, change, found) : ipaddr::rewrite_redhat_modified(text, change);
}

const std::string kRedHatBlock = "BOOTPROTO=static\nIPADDR=10.1.1.5\nNETMASK=255.255.255.0\n";
const std::string kSuseBlock = "BOOTPROTO='static'\n\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n\n";

} // namespace

TEST(AddressModify, GoldenFiles)
{
    const struct {
        const char* before;
        const char* golden;
        int aliasNumber, position;
        bool found;
    } cases[] = {
        {"redhat/dhcp.ifcfg", "redhat/dhcp-modified-primary.golden", -1, 1, true},
        // Other boot protocols go; only the first character makes a comment;
        // REMOTE_IPADDR holds IPADDR.
        {"redhat/none.ifcfg", "redhat/none-modified-primary.golden", -1, 1, true},
        {"suse/aliases.ifcfg", "suse/aliases-modified-label1.golden", 1, 3, true},
        {"suse/aliases.ifcfg", "suse/aliases-modified-primary.golden", -1, 1, true},
        {"suse/aliases.ifcfg", "suse/aliases.ifcfg", 7, 4, false},
        {"suse/dhcp.ifcfg", "suse/dhcp-modified-primary.golden", -1, 1, true},
        {"suse/dhcp.ifcfg", "suse/dhcp-modified-label0.golden", 0, 2, true},
        {"suse/no-boot.ifcfg", "suse/no-boot-modified-primary.golden", -1, 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden);
        bool found = false;
        const bool suse = std::string(c.before).rfind("suse/", 0) == 0;
        EXPECT_EQ(fixture(c.golden), modified(suse, fixture(c.before), c.aliasNumber, c.position, found));
        EXPECT_EQ(c.found, found);
    }
}

TEST(AddressModify, LineRules)
{
    const struct {
        bool suse;
        const char* before;
        std::string after;
        int aliasNumber, position;
        bool found;
    } cases[] = {
        // A DHCP line that is not the primary's stays, and counts as a boot line.
        {false, "BOOTPROTO=dhcp\nIPADDR=10.0.0.9\n", "BOOTPROTO=dhcp\nIPADDR=10.1.1.5\n", 1, 2, true},
        // A later line of another protocol clears what a static line set.
        {false, "BOOTPROTO=static\nBOOTPROTO=bootp\n", "BOOTPROTO=static\n" + kRedHatBlock, -1, 1, true},
        {false, "BOOTPROTO=bootp\nBOOTPROTO=static", "BOOTPROTO=static\n", -1, 1, true},
        {true, "BOOTPROTO='static'\nBOOTPROTO='x'\nIPADDR='1.2.3.4'\n",
         "BOOTPROTO='static'\nIPADDR='1.2.3.4'\n" + kSuseBlock, 3, 2, true},
        // Boot and LABEL lines are counted: the address met at the position
        // is found whatever its label.
        {true, "BOOTPROTO='static'\nIPADDR0='1.2.3.4'\nLABEL0='5'\nIPADDR1='1.2.3.5'\nLABEL1='6'\n",
         "BOOTPROTO='static'\nIPADDR0='1.2.3.4'\nLABEL0='5'\nIPADDR1='1.2.3.5'\nLABEL1='6'\n", 3, 2, true},
        // Held-back lines come back address first at their LABEL line; those
        // of an entry without one are not written back.
        {true, "BOOTPROTO='static'\nNETMASK0='8'\nIPADDR0='1.2.3.4'\nLABEL0='4'\nIPADDR1='1.2.3.5'\nNETMASK1='8'\n",
         "BOOTPROTO='static'\nIPADDR0='1.2.3.4'\nNETMASK0='8'\nLABEL0='4'\n", 1, 3, false},
        // A key that does not read as "IPADDR%d='%s'" is the primary's.
        {true, "BOOTPROTO='static'\nIPADDR_0='1.2.3.4'\nNETMASK_0=''\n",
         "BOOTPROTO='static'\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n", -1, 1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.before);
        bool found = false;
        EXPECT_EQ(c.after, modified(c.suse, c.before, c.aliasNumber, c.position, found));
        EXPECT_EQ(c.found, found);
    }
}

TEST(AddressModify, NewFiles)
{
    ipaddr::AddressChange change{"eth0", "10.1.1.5", "255.255.255.0", "52:54:00:00:00:01", 2, 3};
    EXPECT_EQ("DEVICE=eth0\nHWADDR=52:54:00:00:00:01\nBOOTPROTO=static\nONBOOT=yes\nIPADDR=10.1.1.5\n"
              "NETMASK=255.255.255.0\n",
              ipaddr::new_redhat_address_file(change));
    EXPECT_EQ("BOOTPROTO='static'\nSTARTMODE='auto'\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n\n",
              ipaddr::new_suse_address_file(change));
    change.ifname = "bond0";
    EXPECT_EQ("DEVICE=bond0\nBOOTPROTO=static\nONBOOT=yes\nIPADDR=10.1.1.5\nNETMASK=255.255.255.0\n",
              ipaddr::new_redhat_address_file(change));
}

TEST(SuseAppend, NextIndexAndLabel)
{
    const struct {
        const char* file;
        const char* appended;
        int label; // -1: the primary keys
    } cases[] = {
        {"", "BOOTPROTO='static'\nSTARTMODE='manual'\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n", -1},
        {"BOOTPROTO='static'\nREMOTE_IPADDR='10.0.0.9'\n",
         "STARTMODE='manual'\nIPADDR='10.1.1.5'\nNETMASK='255.255.255.0'\n", -1},
        {"IPADDR='10.0.0.1'\n", "IPADDR0='10.1.1.5'\nNETMASK0='255.255.255.0'\nLABEL0='0'\n", 0},
        {"IPADDR='192.0.2.10'\nIPADDR0='192.0.2.11'\nLABEL0='1'\n",
         "IPADDR1='10.1.1.5'\nNETMASK1='255.255.255.0'\nLABEL1='2'\n", 2},
        // A commented-out address counts; a commented-out label does not.
        {"#IPADDR='10.0.0.1'\n#LABEL0='4'\n", "IPADDR0='10.1.1.5'\nNETMASK0='255.255.255.0'\nLABEL0='0'\n", 0},
        // DHCP without labels: one index more than otherwise.
        {"BOOTPROTO='dhcp'\n", "IPADDR0='10.1.1.5'\nNETMASK0='255.255.255.0'\nLABEL0='0'\n", 0},
        {"BOOTPROTO='dhcp' IPADDR3='x'\n", "IPADDR5='10.1.1.5'\nNETMASK5='255.255.255.0'\nLABEL5='0'\n", 0},
        {"BOOTPROTO='dhcp'\nIPADDR3='x'\nLABEL3='6'\n", "IPADDR4='10.1.1.5'\nNETMASK4='255.255.255.0'\nLABEL4='7'\n",
         7},
        // The highest index wraps instead of overflowing.
        {"BOOTPROTO='dhcp'\nIPADDR2147483646='x'\n",
         "IPADDR-2147483648='10.1.1.5'\nNETMASK-2147483648='255.255.255.0'\nLABEL-2147483648='0'\n", 0},
        // The last key read decides; negative numbers change nothing.
        {"IPADDR5='a'\nIPADDR='b'\nLABEL0='3'\nLABEL1='-2'\n",
         "IPADDR0='10.1.1.5'\nNETMASK0='255.255.255.0'\nLABEL0='4'\n", 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(c.file, "10.1.1.5", "255.255.255.0");
        EXPECT_EQ(c.appended, entry.text);
        EXPECT_EQ(c.label != -1, entry.indexed);
        EXPECT_EQ(c.label == -1 ? 0 : c.label, entry.label);
    }
}

TEST(SuseDelete, SubstringMatchAndLabelEndEntries)
{
    bool removed = false;
    EXPECT_EQ(fixture("suse/substring-deleted-10.0.0.1.golden"),
              ipaddr::without_suse_entry(fixture("suse/substring.ifcfg"), "10.0.0.1", removed));
    EXPECT_TRUE(removed);
    // Primary and far-end addresses stay; bytes are kept, final line included.
    const std::string primaryOnly = "IPADDR='10.0.0.1'\nREMOTE_IPADDR='10.0.0.1'\nNETMASK='255.0.0.0'";
    EXPECT_EQ(primaryOnly, ipaddr::without_suse_entry(primaryOnly, "10.0.0.1", removed));
    EXPECT_FALSE(removed);
    // Without its LABEL line an entry goes but does not count as removed.
    EXPECT_EQ("NAME='x'\n", ipaddr::without_suse_entry("IPADDR0='10.0.0.5'\nNETMASK0='8'\nNAME='x'\n", "0.5", removed));
    EXPECT_FALSE(removed);
}

TEST(StoredAddress, AddressAndPrefix)
{
    const struct {
        const char* file;
        int isDhcpBefore;
        const char* expected;
        int isDhcp;
    } cases[] = {
        {"IPADDR=192.168.0.9\nPREFIX=24\n", 0, "192.168.0.9/24", 0},
        {"IPADDR=192.168.0.9\nNETMASK=255.255.0.0\n", 0, "192.168.0.9/16", 0},
        {"NETMASK=255.255.0.0\nPREFIX=8\nNETMASK=255.255.255.0\nIPADDR=192.168.0.9\n", 0, "192.168.0.9/8", 0},
        // Comments and the far end of a link are never the address.
        {"#IPADDR=10.9.9.9\nIPADDR=10.0.0.5\nREMOTE_IPADDR=10.0.0.1\n#PREFIX=8\nPREFIX=24\n", 0, "10.0.0.5/24", 0},
        // One blank skipped; double quotes removed, single quotes kept.
        {"IPADDR= \"10.0.0.7\"\nPREFIX=\"16\"\n", 0, "10.0.0.7/16", 0},
        {"IPADDR='192.0.2.10'\nPREFIX='24'\n", 0, "'192.0.2.10'/'24'", 0},
        // The last character of the line goes, line feed or not.
        {"PREFIX=24\nIPADDR=10.0.0.55", 0, "10.0.0.5/24", 0},
        // Nothing readable keeps what the caller's buffer held.
        {"PREFIX=24\nIPADDR=\n", 0, "kept/24", 0},
        // After DHCP is known no address is read and no suffix is added.
        {"BOOTPROTO=dhcp\nIPADDR=1.2.3.4\nPREFIX=24\n", 0, "kept", 1},
        {"IPADDR=1.2.3.4\nBOOTPROTO= 'dhcp'\n", 0, "1.2.3.4", 1},
        {"IPADDR=1.2.3.4\nPREFIX=24\n", 1, "kept", 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        int isDhcp = c.isDhcpBefore;
        EXPECT_EQ(c.expected, ipaddr::stored_address(c.file, isDhcp, "kept"));
        EXPECT_EQ(c.isDhcp, isDhcp);
    }
}
