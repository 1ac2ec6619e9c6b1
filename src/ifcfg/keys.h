// The keys of the interface configuration files that the library reads or
// writes, and which family knows each. A rule names a key through this table,
// never through a literal of its own.
//
// A key appears in one or more forms:
//   plain     KEY=value (Red Hat) or KEY='value' (SUSE);
//   numbered  KEY<n>='value', the SUSE family's extra addresses (IPADDR2);
//   prefixed  another key ends with its name (REMOTE_IPADDR ends with
//             IPADDR), so a reader that looks for the name in a line must
//             tell the two apart.
#ifndef LINNET_IFCFG_KEYS_H
#define LINNET_IFCFG_KEYS_H

#include <string>
#include <string_view>

namespace ifcfg::keys {

enum Form : unsigned { kPlain = 1, kNumbered = 2, kPrefixed = 4 };
enum Families : unsigned { kRedHat = 1, kSuse = 2, kBoth = kRedHat | kSuse };

struct Key {
    std::string_view name;
    unsigned forms;    // Form bits
    unsigned families; // Families bits
};

constexpr Key kDevice{"DEVICE", kPlain, kRedHat};
constexpr Key kHwAddr{"HWADDR", kPlain, kRedHat};
constexpr Key kType{"TYPE", kPlain, kRedHat};
constexpr Key kOnBoot{"ONBOOT", kPlain, kRedHat};
constexpr Key kGateway{"GATEWAY", kPlain | kPrefixed, kRedHat}; // GATEWAYDEV too
constexpr Key kBootProto{"BOOTPROTO", kPlain, kBoth};
constexpr Key kIpAddr{"IPADDR", kPlain | kNumbered | kPrefixed, kBoth};
constexpr Key kNetmask{"NETMASK", kPlain | kNumbered, kBoth};
constexpr Key kPrefix{"PREFIX", kPlain, kBoth};
constexpr Key kMtu{"MTU", kPlain, kBoth};
constexpr Key kVlan{"VLAN", kPlain, kBoth};
constexpr Key kStartMode{"STARTMODE", kPlain, kSuse};
constexpr Key kLabel{"LABEL", kNumbered, kSuse};
constexpr Key kRemoteIpAddr{"REMOTE_IPADDR", kPlain, kSuse};
constexpr Key kEtherDevice{"ETHERDEVICE", kPlain, kSuse};
// Kept by the DHCP switch of a SUSE file; every other line goes.
constexpr Key kName{"NAME", kPlain, kSuse};
constexpr Key kUnique{"UNIQUE", kPlain, kSuse};
constexpr Key kNmName{"_nm_name", kPlain, kSuse};
// The networking switches: /etc/sysconfig/network (Red Hat) and
// /etc/sysconfig/network/config (SUSE).
constexpr Key kNetworking{"NETWORKING", kPlain, kRedHat};
constexpr Key kNetworkManager{"NETWORKMANAGER", kPlain, kSuse};

// "KEY=", what a line that sets the key holds.
inline std::string assignment(const Key& key)
{
    return std::string(key.name) + "=";
}

// KEY=value, a Red Hat line.
inline std::string plain(const Key& key, std::string_view value)
{
    return assignment(key).append(value).append("\n");
}

// KEY='value', a SUSE line.
inline std::string quoted(const Key& key, std::string_view value)
{
    return std::string(key.name).append("='").append(value).append("'\n");
}

} // namespace ifcfg::keys

#endif
