// The adapter list, built from a snapshot of "ip addr show".
#ifndef LINNET_INVENTORY_SNAPSHOT_H
#define LINNET_INVENTORY_SNAPSHOT_H

#include "ifcfg/family.h"
#include "mxlinnet.h"

#include <cstring>
#include <string>

constexpr const char* kLinkSnapshotPath = "/tmp/printlinkinfo";

// Builds the adapter list (with each adapter's IPv4 addresses when
// `withAddresses` is nonzero). The caller frees *list with free_NetDev_List
// in every case. 0, 99 (no memory for the first record) or 1.
LINNET_EXPORT int GetNetworkAdapterDetails(_NetworkDevice** list, unsigned char* count, int withAddresses);
// Writes the output of "ip addr show" to `path`; returns 0.
extern "C" LINNET_EXPORT int _GetNetworkAdaptors(char const* path);
// Parses the snapshot file into the list that starts at *list, moving *list
// to the last record. Returns the number of adapters (a byte's worth), -1 or 99.
LINNET_EXPORT int populate_struct_from_file(_NetworkDevice** list, int withAddresses);

namespace inventory {

// The one adapter an operation acts on, by its name or else `alternate`
// (matched as find_adapter matches). A listing made for it looks up the
// details and addresses of that adapter only: the other records keep their
// names, flags, MTU and MAC, which is all an operation reads of them, and
// the lookups they skip have no effect and print nothing. No name: every
// adapter in full.
struct Wanted {
    const char* name = nullptr;
    std::string alternate;

    bool matches(const char* ifName) const
    {
        return name == nullptr || strcmp(ifName, name) == 0 || alternate == ifName;
    }
};

// The first adapter of the list named `name`, or else `alternate` when that
// is not empty; null when none is. The empty record of a host without
// adapters matches no name.
_NetworkDevice* find_adapter(_NetworkDevice* list, const char* name, const std::string& alternate = "");

// GetNetworkAdapterDetails's work, for an operation that already holds the
// lock and knows the host's family.
int list_adapters(ifcfg::HostFamily& hostFamily, _NetworkDevice** list, unsigned char* count, int withAddresses,
                  const Wanted& wanted = Wanted());

// The adapter list of one operation: built on construction (with the IPv4
// addresses when asked), freed on every way out.
class AdapterList {
public:
    AdapterList(ifcfg::HostFamily& hostFamily, int withAddresses, const Wanted& wanted = Wanted());
    ~AdapterList();
    AdapterList(const AdapterList&) = delete;
    AdapterList& operator=(const AdapterList&) = delete;

    // GetNetworkAdapterDetails's status.
    int status() const { return status_; }
    _NetworkDevice* head() const { return head_; }
    _NetworkDevice* find(const char* name, const std::string& alternate = "") const
    {
        return find_adapter(head_, name, alternate);
    }
    // True when the host has no adapter (the list is its one empty record).
    bool empty() const { return head_ == nullptr || head_->ifName[0] == '\0'; }

private:
    _NetworkDevice* head_ = nullptr;
    int status_ = 0;
};

// The parser itself, over any snapshot text.
int parse_link_snapshot(const std::string& text, _NetworkDevice** list, int withAddresses,
                        ifcfg::HostFamily& hostFamily, const Wanted& wanted = Wanted());

} // namespace inventory

#endif
