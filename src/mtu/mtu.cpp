// The MTU of an adapter, through the kernel and in its configuration file.
#include "mtu.h"

#include "host/config_file.h"
#include "ifcfg/family.h"
#include "api/guard.h"
#include "api/lists.h"
#include "api/report.h"
#include "status/status.h"
#include "inventory/snapshot.h"

#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

// The bounds are the product's own, whatever the device would take.
constexpr unsigned int kMtuLowest = 22;
constexpr unsigned int kMtuHighest = 10222;

int write_mtu_setting(ifcfg::HostFamily& hostFamily, char* ifname, unsigned int mtu)
{
    if (hostFamily.status() != status::kSuccess)
        return hostFamily.status();
    const ifcfg::Family* family = hostFamily.family();
    if (family == nullptr || !ifcfg::is_file_name_safe(ifname))
        return status::kFileOpen;
    const std::string path = family->interface_file(ifname);
    std::string existing;
    if (!host::read_file(path, existing))
        return status::kFileOpen;
    char value[80];
    snprintf(value, sizeof value, "%d", static_cast<int>(mtu));
    host::KeyUpdate update;
    update.key = ifcfg::keys::kMtu.name;
    update.line = family->setting(ifcfg::keys::kMtu, value);
    return host::update_key_in_file(path, update, &update.line);
}

int set_mtu_ioctl(const char* ifname, unsigned int mtu)
{
    int socketFd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socketFd < 0)
        return status::kFailure;
    if (mtu - kMtuLowest > kMtuHighest - kMtuLowest) {
        close(socketFd);
        return status::kMtuOutOfRange;
    }
    // Cut to the request's field, a longer name could be another interface's.
    if (ifname != nullptr && strnlen(ifname, IFNAMSIZ) >= IFNAMSIZ) {
        close(socketFd);
        return status::kFailure;
    }
    ifreq request;
    memset(&request, 0, sizeof request);
    if (ifname != nullptr)
        strncpy(request.ifr_name, ifname, IFNAMSIZ - 1);
    request.ifr_mtu = static_cast<int>(mtu);
    int result = ioctl(socketFd, SIOCSIFMTU, &request) == -1 ? status::kFailure : status::kSuccess;
    close(socketFd);
    return result;
}

int set_mtu(NetworkAdapter& adapter, char const* ifname, unsigned int mtu)
{
    ifcfg::HostFamily hostFamily;
    std::string name = ifname != nullptr ? std::string(ifname).substr(0, std::string(ifname).find('@')) : "";
    inventory::AdapterList list(hostFamily, 0, {ifname, name});
    if (list.status() != status::kSuccess)
        return list.status();
    const _NetworkDevice* device = list.find(ifname, name);
    if (device == nullptr)
        return linnet_report_failure(adapter, status::kNoInterface);
    if (ifcfg::refuses_file_name(hostFamily, name.c_str()))
        return status::kFileOpen;
    int set = set_mtu_ioctl(name.c_str(), mtu);
    if (set != status::kSuccess)
        return set;
    return write_mtu_setting(hostFamily, &name[0], mtu);
}

int set_mtu_in_file(char* ifname, unsigned int mtu)
{
    ifcfg::HostFamily hostFamily;
    return write_mtu_setting(hostFamily, ifname, mtu);
}

} // namespace

int SetMTUIoctl(const char* ifname, unsigned int mtu)
{
    return guarded([&] { return set_mtu_ioctl(ifname, mtu); });
}

int NetworkAdapter::SetMtu(char const* name, unsigned int mtu)
{
    return guarded([&] { return set_mtu(*this, name, mtu); });
}

int NetworkAdapter::SetMtuWrapper(char const* name, unsigned int mtu)
{
    return guarded([&] { return set_mtu(*this, name, mtu); });
}

// The hardware address is not needed: the file is found by the name.
int NetworkAdapter::SetMTUInConfigFile(char* name, char*, unsigned int mtu)
{
    return guarded([&] { return set_mtu_in_file(name, mtu); });
}

int NetworkAdapter::SetMTUInConfigFileWrapper(char* name, char*, unsigned int mtu)
{
    return guarded([&] { return set_mtu_in_file(name, mtu); });
}
