#include "status.h"

// The order of the rows is the search order; 53 sits between 118 and 119 and
// 112 and 120 have no row, as the application has always seen them.
LinNetErrRow LinNetErrStr[kStatusTableRows] = {
    {status::kSuccess, const_cast<char*>("Success")},
    {status::kFailure, const_cast<char*>("Failure")},
    {status::kFileOpen, const_cast<char*>("Not able to open file")},
    {status::kNoMemory, const_cast<char*>("Memory Allocation")},
    {status::kNoInterface,
     const_cast<char*>("Interface Index NOT found / NOT a valid interface / interface config file not found.")},
    {status::kNetworkingDisabled, const_cast<char*>("NETWORKING NOT supported in the system")},
    {status::kNetworkManagerEnabled, const_cast<char*>("NETWORK MANAGER is enabled")},
    {status::kNoAddress, const_cast<char*>("Warning indicating that no IP Address is assigned.")},
    {status::kAliasesPresent,
     const_cast<char*>("Alias IP Address(es) present, hence cannot delete the primary IP Address.")},
    {status::kIpv6Unsupported, const_cast<char*>("Operations on IPv6 is NOT supported.")},
    {status::kNoDnsEntries, const_cast<char*>("NO DNS entries in /etc/resolv.conf file.")},
    {status::kNoGateway, const_cast<char*>("Gateway count is zero.")},
    {status::kDistroUnknown, const_cast<char*>("Linux Distribution NOT found.")},
    {status::kAddressNotInFile,
     const_cast<char*>("IP Address to be deleted NOT found / List Index NOT correct (in conf file).")},
    {status::kDnsExists, const_cast<char*>("DNS Address to be added, already exists.")},
    {status::kDhcpRunning, const_cast<char*>("DHCP client is already running on this interface.")},
    {status::kDnsFull, const_cast<char*>("DNS entries exceeded the max count.")},
    {status::kAddressAbsent, const_cast<char*>("List Index is not correct / current IPAddress is not present.")},
    {status::kAddressAssigned, const_cast<char*>("Input IP Address is already assigned for that interface.")},
    {status::kPrimaryProtected, const_cast<char*>("Deletion of Primary IP Address is not allowed.")},
    {status::kDhcpBackgrounded, const_cast<char*>("DHCP failed acquiring IP address, backgrounded.")},
    {status::kVlanIdInUse, const_cast<char*>("VLAN ID already assigned to an interface.")},
    {status::kVlanIdInvalid, const_cast<char*>("Input VLAN ID value is Invalid.")},
    {status::kParentDisabled,
     const_cast<char*>("Parent device is in disabled state, please enable and then set VLAN.")},
    {status::kNoUuidList, const_cast<char*>("Network Manager not configured properly, Not able to get UUID List.")},
    {status::kRouteExists, const_cast<char*>("RTNETLINK answers: File exists.")},
    {status::kTableEnd, nullptr},
};

char* linnet_status_text(int code)
{
    for (const LinNetErrRow* row = LinNetErrStr; row->code != status::kTableEnd; ++row) {
        if (row->code == code)
            return row->message;
    }
    return nullptr;
}
