// libmxlinnet: inspection and configuration of a Linux host's wired network
// adapters.
//
// Every operation returns an int status (0 = success; NetworkAdapter::GetErrStr
// gives the text of the others). Lists are copied into a buffer the caller
// supplies, as a flat array of the packed records below without their trailing
// link, and the number of bytes written is stored through the caller's length
// pointer. The library never checks the buffer's size: supply room for every
// entry. Calls may come from several threads and processes at once: each
// operation waits its turn (across processes only for root).
#ifndef MXLINNET_H
#define MXLINNET_H

#include <cstddef>
#include <cstdint>

#define LINNET_EXPORT __attribute__((visibility("default")))

// ---------------------------------------------------------------------------
// Packed records. Multi-byte integers are little-endian, binary addresses are
// in network byte order, text is NUL-terminated within its field.
// ---------------------------------------------------------------------------

#pragma pack(push, 1)

struct _IpAddress {
    uint16_t family;    // 2 = IPv4, 10 = IPv6
    int32_t aliasIndex; // -1 for the primary address, else the label's number
    unsigned char address[16];
    unsigned char netmask[16];
    unsigned char broadcast[16];
    _IpAddress* next; // list link, not part of a flattened entry
};

struct _NetworkDevice {
    char ifName[128];
    char description[256];
    unsigned char macAddr[6];
    char macAddrStr[20];
    char ifNameCopy[144];
    uint32_t vendorId;
    char deviceId[128];
    uint32_t mtu;
    uint32_t vlanId;
    uint8_t isDhcp;
    uint8_t linkUp;
    uint8_t isEnabled;
    _IpAddress* ipList;
    _IpAddress* auxList1;
    _IpAddress* auxList2;
    _NetworkDevice* next; // list link, not part of a flattened entry
};

struct _NetParams {
    unsigned char reserved[192];
    uint8_t operation; // 1 set, 2 add, 3 modify, 4 delete
    uint8_t useDhcp;
    uint8_t oldFamily;
    unsigned char oldAddress[16];
    unsigned char oldNetmask[16];
    uint8_t newFamily;
    unsigned char newAddress[16];
    unsigned char newNetmask[16];
};

struct _Version {
    char name[20];
    uint32_t version; // major in the upper half, minor in the lower half
};

struct SharedMem {
    unsigned char data[4096];
    uint32_t dataLength;
    uint8_t done;
    uint8_t busy;
    uint32_t status;
    uint8_t reserved;
    uint32_t resultKind; // 104 after a ping, 106 after a traceroute
};

struct ThreadParams {
    uint8_t addrType;
    uint8_t count;
    uint64_t timeoutMs;
    char target[64];
    SharedMem* shm; // its two top bytes are always zero in user space
};

struct _PingResponse {
    uint8_t packetsSent;
    uint8_t packetsReceived;
    uint64_t avgRtt;
};

struct _ConnectionEntry {
    uint8_t protocol; // 1 = TCP, 2 = UDP
    uint8_t state;
    unsigned char localAddress[16];
    uint32_t localPort;
    unsigned char remoteAddress[16];
    uint32_t remotePort;
    unsigned char reserved[9];
};

struct _InterfaceStats {
    uint32_t validMask; // bit n set when counter slot n was read
    uint64_t timeSec;
    uint64_t timeUsec;
    uint64_t rxDropped; // slot 0
    uint64_t rxErrors;  // slot 1
    uint64_t rxBytes;   // slot 2
    uint64_t rxPackets; // slot 3
    uint64_t reserved4;
    uint64_t reserved5;
    uint64_t txBytes;   // slot 6
    uint64_t txPackets; // slot 7
    uint64_t reserved8;
    uint64_t reserved9;
    uint64_t txErrors;  // slot 10
    uint64_t txDropped; // slot 11
    uint64_t reserved12;
    uint64_t multicast; // slot 13
    unsigned char reservedTail[24];
    _InterfaceStats* next; // list link, not part of a flattened entry
};

// One hop of a traceroute: a finished TraceRoute leaves dataLength / 25 of
// them end to end from the start of SharedMem::data (at most 163).
struct _TraceRouteHop {
    enum Kind : uint8_t { kLast = 1, kIntermediate = 3 };
    uint8_t hopKind;             // kIntermediate, or kLast for the trace's last record
    unsigned char hopAddress[4]; // IPv4 address, network byte order
    unsigned char reserved[12];  // zero
    uint64_t hopRtt;             // average of the hop's times, in microseconds
};

#pragma pack(pop)

// The counters of _InterfaceStats, in the order they are shown. Each is read
// from the file of its name in /sys/class/net/IF/statistics into its slot n:
// the 8 bytes at offset 20 + 8n, and bit n of validMask.
struct InterfaceCounter {
    const char* name;
    unsigned slot;
};
constexpr InterfaceCounter kInterfaceCounters[] = {
    {"rx_bytes", 2}, {"rx_packets", 3}, {"rx_errors", 1},  {"rx_dropped", 0},  {"multicast", 13},
    {"tx_bytes", 6}, {"tx_packets", 7}, {"tx_errors", 10}, {"tx_dropped", 11},
};

// The byte layouts are a contract with the application.
static_assert(sizeof(void*) == 8, "the record layouts assume 64-bit pointers");

static_assert(sizeof(_IpAddress) == 62, "_IpAddress size");
static_assert(offsetof(_IpAddress, family) == 0, "_IpAddress.family");
static_assert(offsetof(_IpAddress, aliasIndex) == 2, "_IpAddress.aliasIndex");
static_assert(offsetof(_IpAddress, address) == 6, "_IpAddress.address");
static_assert(offsetof(_IpAddress, netmask) == 22, "_IpAddress.netmask");
static_assert(offsetof(_IpAddress, broadcast) == 38, "_IpAddress.broadcast");
static_assert(offsetof(_IpAddress, next) == 54, "_IpAddress.next");

static_assert(sizeof(_NetworkDevice) == 729, "_NetworkDevice size");
static_assert(offsetof(_NetworkDevice, ifName) == 0, "_NetworkDevice.ifName");
static_assert(offsetof(_NetworkDevice, description) == 128, "_NetworkDevice.description");
static_assert(offsetof(_NetworkDevice, macAddr) == 384, "_NetworkDevice.macAddr");
static_assert(offsetof(_NetworkDevice, macAddrStr) == 390, "_NetworkDevice.macAddrStr");
static_assert(offsetof(_NetworkDevice, ifNameCopy) == 410, "_NetworkDevice.ifNameCopy");
static_assert(offsetof(_NetworkDevice, vendorId) == 554, "_NetworkDevice.vendorId");
static_assert(offsetof(_NetworkDevice, deviceId) == 558, "_NetworkDevice.deviceId");
static_assert(offsetof(_NetworkDevice, mtu) == 686, "_NetworkDevice.mtu");
static_assert(offsetof(_NetworkDevice, vlanId) == 690, "_NetworkDevice.vlanId");
static_assert(offsetof(_NetworkDevice, isDhcp) == 694, "_NetworkDevice.isDhcp");
static_assert(offsetof(_NetworkDevice, linkUp) == 695, "_NetworkDevice.linkUp");
static_assert(offsetof(_NetworkDevice, isEnabled) == 696, "_NetworkDevice.isEnabled");
static_assert(offsetof(_NetworkDevice, ipList) == 697, "_NetworkDevice.ipList");
static_assert(offsetof(_NetworkDevice, auxList1) == 705, "_NetworkDevice.auxList1");
static_assert(offsetof(_NetworkDevice, auxList2) == 713, "_NetworkDevice.auxList2");
static_assert(offsetof(_NetworkDevice, next) == 721, "_NetworkDevice.next");

static_assert(sizeof(_NetParams) == 260, "_NetParams size");
static_assert(offsetof(_NetParams, operation) == 192, "_NetParams.operation");
static_assert(offsetof(_NetParams, useDhcp) == 193, "_NetParams.useDhcp");
static_assert(offsetof(_NetParams, oldFamily) == 194, "_NetParams.oldFamily");
static_assert(offsetof(_NetParams, oldAddress) == 195, "_NetParams.oldAddress");
static_assert(offsetof(_NetParams, oldNetmask) == 211, "_NetParams.oldNetmask");
static_assert(offsetof(_NetParams, newFamily) == 227, "_NetParams.newFamily");
static_assert(offsetof(_NetParams, newAddress) == 228, "_NetParams.newAddress");
static_assert(offsetof(_NetParams, newNetmask) == 244, "_NetParams.newNetmask");

static_assert(sizeof(_Version) == 24, "_Version size");
static_assert(offsetof(_Version, name) == 0, "_Version.name");
static_assert(offsetof(_Version, version) == 20, "_Version.version");

static_assert(sizeof(SharedMem) == 4111, "SharedMem size");
static_assert(offsetof(SharedMem, data) == 0, "SharedMem.data");
static_assert(offsetof(SharedMem, dataLength) == 4096, "SharedMem.dataLength");
static_assert(offsetof(SharedMem, done) == 4100, "SharedMem.done");
static_assert(offsetof(SharedMem, busy) == 4101, "SharedMem.busy");
static_assert(offsetof(SharedMem, status) == 4102, "SharedMem.status");
static_assert(offsetof(SharedMem, reserved) == 4106, "SharedMem.reserved");
static_assert(offsetof(SharedMem, resultKind) == 4107, "SharedMem.resultKind");

static_assert(sizeof(ThreadParams) == 82, "ThreadParams size");
static_assert(offsetof(ThreadParams, addrType) == 0, "ThreadParams.addrType");
static_assert(offsetof(ThreadParams, count) == 1, "ThreadParams.count");
static_assert(offsetof(ThreadParams, timeoutMs) == 2, "ThreadParams.timeoutMs");
static_assert(offsetof(ThreadParams, target) == 10, "ThreadParams.target");
static_assert(offsetof(ThreadParams, shm) == 74, "ThreadParams.shm");

static_assert(sizeof(_PingResponse) == 10, "_PingResponse size");
static_assert(offsetof(_PingResponse, packetsSent) == 0, "_PingResponse.packetsSent");
static_assert(offsetof(_PingResponse, packetsReceived) == 1, "_PingResponse.packetsReceived");
static_assert(offsetof(_PingResponse, avgRtt) == 2, "_PingResponse.avgRtt");

static_assert(sizeof(_ConnectionEntry) == 51, "_ConnectionEntry size");
static_assert(offsetof(_ConnectionEntry, protocol) == 0, "_ConnectionEntry.protocol");
static_assert(offsetof(_ConnectionEntry, state) == 1, "_ConnectionEntry.state");
static_assert(offsetof(_ConnectionEntry, localAddress) == 2, "_ConnectionEntry.localAddress");
static_assert(offsetof(_ConnectionEntry, localPort) == 18, "_ConnectionEntry.localPort");
static_assert(offsetof(_ConnectionEntry, remoteAddress) == 22, "_ConnectionEntry.remoteAddress");
static_assert(offsetof(_ConnectionEntry, remotePort) == 38, "_ConnectionEntry.remotePort");
static_assert(offsetof(_ConnectionEntry, reserved) == 42, "_ConnectionEntry.reserved");

static_assert(sizeof(_InterfaceStats) == 164, "_InterfaceStats size");
static_assert(offsetof(_InterfaceStats, validMask) == 0, "_InterfaceStats.validMask");
static_assert(offsetof(_InterfaceStats, timeSec) == 4, "_InterfaceStats.timeSec");
static_assert(offsetof(_InterfaceStats, timeUsec) == 12, "_InterfaceStats.timeUsec");
static_assert(offsetof(_InterfaceStats, rxDropped) == 20, "_InterfaceStats.rxDropped");
static_assert(offsetof(_InterfaceStats, rxErrors) == 28, "_InterfaceStats.rxErrors");
static_assert(offsetof(_InterfaceStats, rxBytes) == 36, "_InterfaceStats.rxBytes");
static_assert(offsetof(_InterfaceStats, rxPackets) == 44, "_InterfaceStats.rxPackets");
static_assert(offsetof(_InterfaceStats, txBytes) == 68, "_InterfaceStats.txBytes");
static_assert(offsetof(_InterfaceStats, txPackets) == 76, "_InterfaceStats.txPackets");
static_assert(offsetof(_InterfaceStats, txErrors) == 100, "_InterfaceStats.txErrors");
static_assert(offsetof(_InterfaceStats, txDropped) == 108, "_InterfaceStats.txDropped");
static_assert(offsetof(_InterfaceStats, multicast) == 124, "_InterfaceStats.multicast");
static_assert(offsetof(_InterfaceStats, reservedTail) == 132, "_InterfaceStats.reservedTail");
static_assert(offsetof(_InterfaceStats, next) == 156, "_InterfaceStats.next");

static_assert(sizeof(_TraceRouteHop) == 25, "_TraceRouteHop size");
static_assert(offsetof(_TraceRouteHop, hopKind) == 0, "_TraceRouteHop.hopKind");
static_assert(offsetof(_TraceRouteHop, hopAddress) == 1, "_TraceRouteHop.hopAddress");
static_assert(offsetof(_TraceRouteHop, reserved) == 5, "_TraceRouteHop.reserved");
static_assert(offsetof(_TraceRouteHop, hopRtt) == 17, "_TraceRouteHop.hopRtt");

// Where counter slot n lies in _InterfaceStats; each counter's slot holds the
// field of its name.
constexpr size_t counter_slot_offset(unsigned slot)
{
    return offsetof(_InterfaceStats, rxDropped) + sizeof(uint64_t) * slot;
}
static_assert(counter_slot_offset(kInterfaceCounters[0].slot) == offsetof(_InterfaceStats, rxBytes), "rx_bytes");
static_assert(counter_slot_offset(kInterfaceCounters[1].slot) == offsetof(_InterfaceStats, rxPackets), "rx_packets");
static_assert(counter_slot_offset(kInterfaceCounters[2].slot) == offsetof(_InterfaceStats, rxErrors), "rx_errors");
static_assert(counter_slot_offset(kInterfaceCounters[3].slot) == offsetof(_InterfaceStats, rxDropped), "rx_dropped");
static_assert(counter_slot_offset(kInterfaceCounters[4].slot) == offsetof(_InterfaceStats, multicast), "multicast");
static_assert(counter_slot_offset(kInterfaceCounters[5].slot) == offsetof(_InterfaceStats, txBytes), "tx_bytes");
static_assert(counter_slot_offset(kInterfaceCounters[6].slot) == offsetof(_InterfaceStats, txPackets), "tx_packets");
static_assert(counter_slot_offset(kInterfaceCounters[7].slot) == offsetof(_InterfaceStats, txErrors), "tx_errors");
static_assert(counter_slot_offset(kInterfaceCounters[8].slot) == offsetof(_InterfaceStats, txDropped), "tx_dropped");
static_assert(sizeof kInterfaceCounters / sizeof kInterfaceCounters[0] == 9, "nine counters");

// ---------------------------------------------------------------------------
// The adapter object. The application allocates it; its only data is the
// message buffer that a failing operation fills with the text of its status.
// ---------------------------------------------------------------------------

class LINNET_EXPORT NetworkAdapter {
public:
    NetworkAdapter();
    ~NetworkAdapter();

    // Text of a status code, or null for a code without a text.
    char* GetErrStr(int code);
    // Fills the library name and version (13.2); returns 0.
    int GetLibVersion(_Version* version);
    // True when NetworkManager is running and would override file edits.
    bool isNetworkManagerEnabled();

    // The host's adapters as 721-byte entries; *len receives the byte count.
    int GetNetworkAdapters(void* buf, unsigned int* len);
    // action 2 enables the adapter (start on boot, link up), 1 disables it.
    int DisableEnable(char const* name, unsigned char action);
    // The named adapter's IPv4 addresses as 54-byte entries; 103 when it has
    // none (reported only when both buf and len are given). The two unsigned
    // arguments are not used.
    int GetAdapterIpAddress(char const* name, unsigned int family, unsigned int reserved, void* buf, unsigned int* len);
    // params->operation: 1 sets the primary address (or DHCP with useDhcp),
    // 2 adds an alias, 3 modifies an alias, 4 deletes an alias.
    int SetAdapterIpAddress(char const* name, _NetParams* params);

    // The default gateway the adapter uses, as one 54-byte entry (0.0.0.0
    // when the default route goes through another adapter); 105 for family 10.
    int GetAdapterGateway(char const* name, unsigned int family, unsigned int reserved, void* buf, unsigned int* len);
    // params->operation 1 replaces the default route and records the gateway
    // in the configuration of the interface the route uses.
    int SetAdapterGateway(char const* name, _NetParams* params);
    // The name servers of /etc/resolv.conf as 54-byte entries; 106 when none.
    int GetAdapterDnsServer(char const* name, unsigned int family, unsigned int reserved, void* buf, unsigned int* len);
    // params->operation: 2 adds, 3 replaces, 4 deletes a name server.
    int SetAdapterDns(char const* name, _NetParams* params);
    // The MTU through the kernel and in the configuration file (22..10222).
    int SetMtu(char const* name, unsigned int mtu);
    // The MTU in the configuration file only.
    int SetMTUInConfigFile(char* name, char* hwaddr, unsigned int mtu);
    // Creates the VLAN PARENT.VID (1..4094) on the parent adapter and its
    // configuration file; the flag is not used.
    int SetVlanId(char const* parent, unsigned short vlanId, unsigned char flag);
    // Removes the VLAN and its configuration files.
    int RemoveVlan(char const* parent, unsigned short vlanId);

    // Diagnostics. Ping and TraceRoute start a worker thread and return at
    // once; the worker fills `shm` and sets shm->done when the result is
    // complete (zero the area before a traceroute).
    int Ping(const void* address, unsigned char addrType, unsigned char count, unsigned long timeoutMs, SharedMem* shm);
    int TraceRoute(const void* address, unsigned char addrType, SharedMem* shm);
    // The IPv4 TCP and UDP sockets as 51-byte entries; *len grows by 51 per
    // entry (set it to 0 first).
    int GetConnections(void* buf, unsigned int* len);
    // The adapter's traffic counters as one 156-byte entry.
    int GetAdapterStats(const char* name, void* buf, unsigned int* len);

    // The bodies of the operations above.
    int GetNetworkAdaptersWrapper(void* buf, unsigned int* len);
    int GetAdapterIpAddressWrapper(char const* name, unsigned int family, unsigned int reserved, void* buf,
                                   unsigned int* len);
    int DisableEnableWrapper(char const* name, unsigned char action);
    int SetAdapterIpAddressWrapper(char const* name, _NetParams* params);
    int GetAdapterGatewayWrapper(char const* name, unsigned int family, unsigned int reserved, void* buf,
                                 unsigned int* len);
    int SetAdapterGatewayWrapper(char const* name, _NetParams* params);
    int GetAdapterDnsServerWrapper(char const* name, unsigned int family, unsigned int reserved, void* buf,
                                   unsigned int* len);
    int SetAdapterDnsWrapper(char const* name, _NetParams* params);
    int SetMtuWrapper(char const* name, unsigned int mtu);
    int SetMTUInConfigFileWrapper(char* name, char* hwaddr, unsigned int mtu);
    int SetVlanIdWrapper(char const* parent, unsigned short vlanId, unsigned char flag, int networkManagerEnabled);
    int RemoveVlanWrapper(char const* parent, unsigned short vlanId);
    // Removes the VLAN's configuration file (and its alias files).
    int RemVlanIdConffile(char const* parent, unsigned short vlanId, _NetworkDevice* record);

    // Adds the address stored in the adapter's configuration file to the
    // running interface; *isDhcp is set when the file says DHCP.
    int GetAndSetIpAddrFromConfFile(char* name, int* isDhcp, char* address, _NetworkDevice* device, _IpAddress* record);

private:
    friend int linnet_report_failure(NetworkAdapter& adapter, int code);

    // Holds the longest status text (84 characters) and its NUL.
    char errMsg[256];
};

#endif
