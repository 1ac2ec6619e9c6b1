// Which lines the switch to DHCP keeps, drops, replaces and adds, in both
// dialects, and which pid a pid file may name.
#include "ifcfg/dhcp_rules.h"

#include <gtest/gtest.h>

#include <climits>

using dhcp::dhcp_text_redhat;
using dhcp::dhcp_text_suse;

TEST(DhcpSuseText, AddressGoesAndBootProtoTurnsToDhcp)
{
    // The example of an ordinary static file.
    EXPECT_EQ("STARTMODE='auto'\nBOOTPROTO='dhcp'\n\nNAME='x'\n",
              dhcp_text_suse("STARTMODE='auto'\nBOOTPROTO='static'\nIPADDR='10.0.0.5/24'\n\nNAME='x'\n"));
    // Kept keys are tested first, even on lines that also hold BOOTPROTO or an
    // address; comments stay; numbered keys stay, REMOTE_IPADDR= goes; every
    // BOOTPROTO line is replaced; empty lines vanish.
    EXPECT_EQ("#IPADDR='1.2.3.4'\nNAME='BOOTPROTO'\nUNIQUE='IPADDR=x'\nSTARTMODE='auto'\n_nm_name='NETMASK=y'\n"
              "BOOTPROTO='dhcp'\n\nIPADDR_0='10.0.0.6'\nIPADDR0='10.0.0.7'\nMTU='9000'\nBOOTPROTO='dhcp'\n\n",
              dhcp_text_suse("#IPADDR='1.2.3.4'\nNAME='BOOTPROTO'\nUNIQUE='IPADDR=x'\n\n\nSTARTMODE='auto'\n"
                             "_nm_name='NETMASK=y'\nBOOTPROTO='static'\nIPADDR_0='10.0.0.6'\nIPADDR0='10.0.0.7'\n"
                             "NETMASK='255.0.0.0'\nREMOTE_IPADDR='10.9.9.9'\nMTU='9000'\n  BOOTPROTO='none'\n"));
}

TEST(DhcpSuseText, MissingBootProtoIsAppendedWithItsBlankLine)
{
    EXPECT_EQ("STARTMODE='auto'\nBOOTPROTO='dhcp'\n\n", dhcp_text_suse("STARTMODE='auto'\nIPADDR='10.0.0.5'\n\n"));
    EXPECT_EQ("MTU='1500'\nBOOTPROTO='dhcp'\n\n", dhcp_text_suse("MTU='1500'")); // no final line feed
    EXPECT_EQ("BOOTPROTO='dhcp'\n\n", dhcp_text_suse(""));
    // A second switch keeps the one blank line and adds none.
    EXPECT_EQ("BOOTPROTO='dhcp'\n\n", dhcp_text_suse(dhcp_text_suse("BOOTPROTO='static'\n")));
}

TEST(DhcpRedHatText, AddressesGoAndEachRewriteAddsAnEmptyLine)
{
    const std::string once =
        dhcp_text_redhat("DEVICE=eth0\nBOOTPROTO=static\nIPADDR=10.0.0.5\nNETMASK=255.255.255.0\nONBOOT=yes\n");
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=dhcp\nONBOOT=yes\n\n", once);
    EXPECT_EQ(once + "\n", dhcp_text_redhat(once));
    // The key part decides about addresses: numbered keys and a line without
    // '=' go, a value that mentions IPADDR stays. BOOTPROTO counts anywhere,
    // in a comment too. Empty lines, GATEWAY, PREFIX and ONBOOT stay.
    EXPECT_EQ("\nNAME=IPADDR\nBOOTPROTO=dhcp\nGATEWAY=10.0.0.1\nPREFIX=24\nBOOTPROTO=dhcp\n\n",
              dhcp_text_redhat("IPADDR1=10.0.0.6\n\nNAME=IPADDR\nNETMASK2=255.0.0.0\n#BOOTPROTO=none\n"
                               "IPADDR\nGATEWAY=10.0.0.1\nPREFIX=24\nx BOOTPROTO x=static\n"));
}

TEST(DhcpRedHatText, MissingBootProtoIsAppended)
{
    EXPECT_EQ("DEVICE=eth0\n\nBOOTPROTO=dhcp\n", dhcp_text_redhat("DEVICE=eth0\nIPADDR=10.0.0.5\n"));
    EXPECT_EQ("DEVICE=eth0\nBOOTPROTO=dhcp\n", dhcp_text_redhat("DEVICE=eth0")); // no final line feed
    EXPECT_EQ("\nBOOTPROTO=dhcp\n", dhcp_text_redhat(""));
}

TEST(DhcpNewFile, FormsOfBothFamilies)
{
    EXPECT_EQ("STARTMODE='manual'\nBOOTPROTO='dhcp'\n", dhcp::new_file_suse());
    EXPECT_EQ("DEVICE=eth2\nHWADDR=52:54:00:00:00:03\nONBOOT=no\nBOOTPROTO=dhcp\n",
              dhcp::new_file_redhat("eth2", "52:54:00:00:00:03"));
    EXPECT_EQ("DEVICE=bond0\nONBOOT=no\nBOOTPROTO=dhcp\n", dhcp::new_file_redhat("bond0", "52:54:00:00:00:09"));
    EXPECT_EQ("DEVICE=mybond2.7\nONBOOT=no\nBOOTPROTO=dhcp\n", dhcp::new_file_redhat("mybond2.7", "x"));
}

TEST(DhcpConfigName, VlanListingLosesItsParent)
{
    EXPECT_EQ("eth0.100", dhcp::config_name("eth0.100@eth0"));
    EXPECT_EQ("eth0.5", dhcp::config_name("eth0.5"));
    EXPECT_EQ("macvlan0@eth0", dhcp::config_name("macvlan0@eth0")); // no '.': not a VLAN listing
    EXPECT_EQ("eth0", dhcp::config_name("eth0"));
}

TEST(DhcpPidFile, OnlyAnOrdinaryOtherProcessIsNamed)
{
    const pid_t self = 4321;
    EXPECT_EQ(1234, dhcp::pid_to_kill("1234\n", self));
    EXPECT_EQ(2, dhcp::pid_to_kill("  2junk", self));
    EXPECT_EQ(INT_MAX, dhcp::pid_to_kill("2147483647", self));
    for (const char* refused : {"", "junk", "0", "1", "-1", "-1234", "2147483648", "4294967295", "18446744073709551615",
                                "99999999999999999999999", "4321"})
        EXPECT_EQ(0, dhcp::pid_to_kill(refused, self)) << '"' << refused << '"';
}
