// Status codes and their texts.
#ifndef LINNET_STATUS_STATUS_H
#define LINNET_STATUS_STATUS_H

#include "mxlinnet.h"

#include <cstdint>

namespace status {
constexpr int kSuccess = 0;
constexpr int kFailure = 1;
constexpr int kVlanIdInvalid = 53;
constexpr int kVlanExists = 54;    // no text in the table
constexpr int kMtuOutOfRange = 61; // no text in the table
constexpr int kFileOpen = 98;
constexpr int kNoMemory = 99;
constexpr int kNoInterface = 100;
constexpr int kNetworkingDisabled = 101;
constexpr int kNetworkManagerEnabled = 102;
constexpr int kNoAddress = 103;
constexpr int kAliasesPresent = 104;
constexpr int kIpv6Unsupported = 105;
constexpr int kNoDnsEntries = 106;
constexpr int kNoGateway = 107;
constexpr int kDistroUnknown = 108;
constexpr int kAddressNotInFile = 109;
constexpr int kDnsExists = 110;
constexpr int kDhcpRunning = 111;
constexpr int kDnsFull = 113;
constexpr int kAddressAbsent = 114;
constexpr int kAddressAssigned = 115;
constexpr int kPrimaryProtected = 116;
constexpr int kDhcpBackgrounded = 117;
constexpr int kVlanIdInUse = 118;
constexpr int kParentDisabled = 119;
constexpr int kNoUuidList = 121;
constexpr int kRouteExists = 512;
constexpr int kTableEnd = -1;
} // namespace status

#pragma pack(push, 1)
// One row of the status table: the code and its text.
struct LinNetErrRow {
    int32_t code;
    char* message;
};
#pragma pack(pop)
static_assert(sizeof(LinNetErrRow) == 12, "status table rows are 12 bytes");

constexpr int kStatusTableRows = 27; // the terminator row included
constexpr int kLongestStatusText = 84;

extern LINNET_EXPORT LinNetErrRow LinNetErrStr[kStatusTableRows];

// Text of `code` from the table, or null when the table has no row for it.
char* linnet_status_text(int code);

#endif
