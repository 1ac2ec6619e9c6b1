#include "scenarios.h"

#include "../system/testbed.h"

#include "dhcp/dhcp.h"
#include "gateway/gateway.h"
#include "ifcfg/distro.h"
#include "link/link_control.h"
#include "mxlinnet.h"

#include <arpa/inet.h>
#include <cstring>

namespace faults {

namespace {

constexpr const char* kRedHatDir = "/etc/sysconfig/network-scripts";
constexpr const char* kSuseDir = "/etc/sysconfig/network";
constexpr const char* kEth0Mac = "52:54:00:00:00:01";
constexpr const char* kEth1Mac = "52:54:00:00:00:02";

// The testbed's address plan, put back before each run.
constexpr const char* kEth0Addresses =
    "ip link set eth0 up && ip addr flush dev eth0 && ip addr add 192.0.2.10/24 brd + dev eth0 && "
    "ip addr add 192.0.2.11/24 brd + dev eth0 label eth0:1 && ip route replace default via 192.0.2.1 dev eth0";
constexpr const char* kNoVlan = "vconfig rem eth0.5 >/dev/null 2>&1; ip link del dev eth0.5 2>/dev/null; true";

_NetParams request(uint8_t operation, const char* oldAddress, const char* newAddress)
{
    _NetParams params;
    memset(&params, 0, sizeof params);
    params.operation = operation;
    params.oldFamily = params.newFamily = 2;
    const unsigned char mask[4] = {255, 255, 255, 0};
    if (oldAddress != nullptr) {
        inet_pton(AF_INET, oldAddress, params.oldAddress);
        memcpy(params.oldNetmask, mask, sizeof mask);
    }
    if (newAddress != nullptr) {
        inet_pton(AF_INET, newAddress, params.newAddress);
        memcpy(params.newNetmask, mask, sizeof mask);
    }
    return params;
}

int set_address(const char* ifname, _NetParams params)
{
    NetworkAdapter adapter;
    return adapter.SetAdapterIpAddress(ifname, &params);
}

int set_dns(_NetParams params)
{
    NetworkAdapter adapter;
    return adapter.SetAdapterDns("eth0", &params);
}

std::function<int()> start_on_boot(const char* ifname, const char* mac, bool enable)
{
    return [=] {
        std::string name = ifname, hw = mac;
        auto* hwaddr = reinterpret_cast<unsigned char*>(&hw[0]);
        return enable ? EnableDeviceConfFile(&name[0], hwaddr) : DisableDeviceConfFile(&name[0], hwaddr);
    };
}

struct Family {
    bool suse;
    std::string dir;
    int distro;
};

Scenario in_config_dir(const Family& family, const std::string& name)
{
    Scenario scenario;
    scenario.name = name;
    scenario.scope.directory = family.dir;
    return scenario;
}

std::vector<Scenario> all_scenarios(const Family& family)
{
    std::vector<Scenario> list;
    Scenario s = in_config_dir(family, "StartOnBootEnable");
    s.run = start_on_boot("eth1", kEth1Mac, true);
    list.push_back(s);

    s = in_config_dir(family, "StartOnBootEnableMissingFile");
    s.prepareFiles = [dir = family.dir] { testbed::remove(dir + "/ifcfg-eth2"); };
    s.run = start_on_boot("eth2", "52:54:00:00:00:03", true);
    list.push_back(s);

    s = in_config_dir(family, "StartOnBootDisable");
    s.prepare = "ip link set eth1 up";
    s.run = start_on_boot("eth1", kEth1Mac, false);
    list.push_back(s);

    s = in_config_dir(family, "AddressModifyPrimary");
    s.prepare = kEth0Addresses;
    s.run = [] { return set_address("eth0", request(1, nullptr, "192.0.2.30")); };
    list.push_back(s);

    s = in_config_dir(family, "AddressAddAlias");
    s.prepare = kEth0Addresses;
    s.run = [] { return set_address("eth0", request(2, nullptr, "192.0.2.20")); };
    list.push_back(s);

    s = in_config_dir(family, "AddressModifyAlias");
    s.prepare = kEth0Addresses;
    s.run = [] { return set_address("eth0", request(3, "192.0.2.11", "192.0.2.21")); };
    list.push_back(s);

    s = in_config_dir(family, "AddressDeleteAlias");
    s.prepare = kEth0Addresses;
    s.run = [] { return set_address("eth0", request(4, "192.0.2.11", nullptr)); };
    if (family.suse) {
        s.scratch = {"/tmp/tmpip"};
    } else {
        // The alias file is unlinked and a failure to do so is not reported.
        s.reportsFailure = false;
        s.onlyRemoves = true;
    }
    list.push_back(s);

    s = in_config_dir(family, "DhcpSwitchInFile");
    s.run = [distro = family.distro] {
        _NetworkDevice device{};
        strcpy(device.ifName, "eth0");
        strcpy(device.macAddrStr, kEth0Mac);
        return change_to_dhcp_in_configfile(distro, &device);
    };
    list.push_back(s);

    s = in_config_dir(family, "GatewayInFile");
    s.run = [] {
        char device[] = "eth0", gateway[] = "192.0.2.254";
        return add_mod_gw_entry_conf_file(device, gateway);
    };
    list.push_back(s);

    s = in_config_dir(family, "MtuInFile");
    s.run = [] {
        NetworkAdapter adapter;
        char name[] = "eth1", hwaddr[] = "52:54:00:00:00:02";
        return adapter.SetMTUInConfigFile(name, hwaddr, 9000);
    };
    list.push_back(s);

    // The file has a second name outside the directory, so it is rewritten
    // in place rather than replaced.
    s.name = "MtuInHardLinkedFile";
    s.prepareFiles = [dir = family.dir] {
        testbed::sh("ln -f " + dir + "/ifcfg-eth1 /etc/sysconfig/faults-ifcfg-eth1-link");
    };
    s.prepare = "rm -f /etc/sysconfig/faults-ifcfg-eth1-link";
    s.inPlace = true;
    list.push_back(s);
    s.prepare.clear();
    s.prepareFiles = nullptr;
    s.inPlace = false;

    // The file is a mount of its own, as a single file bound into a
    // container is: a rename over it fails, so it is rewritten in place.
    s.name = "MtuInBindMountedFile";
    s.prepareFiles = [dir = family.dir] {
        testbed::sh("cp -p " + dir + "/ifcfg-eth1 /run/faults-ifcfg-eth1 && mount --bind /run/faults-ifcfg-eth1 " + dir
                    + "/ifcfg-eth1");
    };
    s.prepare = "while umount " + family.dir + "/ifcfg-eth1 2>/dev/null; do :; done";
    s.inPlace = true;
    list.push_back(s);
    s.prepare.clear();
    s.prepareFiles = nullptr;
    s.inPlace = false;

    s = in_config_dir(family, "VlanAdd");
    s.prepare = kNoVlan;
    s.run = [] {
        NetworkAdapter adapter;
        return adapter.SetVlanId("eth0", 5, 0);
    };
    list.push_back(s);

    s = in_config_dir(family, "VlanRemove");
    s.prepare = std::string(kNoVlan) + "; vconfig add eth0 5 >/dev/null 2>&1";
    s.prepareFiles = [family] {
        if (family.suse) {
            testbed::write(family.dir + "/ifcfg-vlan5", "ETHERDEVICE='eth0'\nBOOTPROTO='static'\nSTARTMODE='auto'\n"
                                                        "VLAN=YES\nIPADDR=''\nNETMASK=''\n");
        } else {
            testbed::write(family.dir + "/ifcfg-eth0.5", "DEVICE=eth0.5\nBOOTPROTO=static\nHWADDR=52:54:00:00:00:01\n"
                                                         "ONBOOT=yes\nVLAN=yes\nIPADDR=\nNETMASK=\n");
            testbed::write(family.dir + "/ifcfg-eth0.5:1", "DEVICE=eth0.5:1\nIPADDR=192.0.2.50\n");
        }
    };
    s.run = [] {
        NetworkAdapter adapter;
        return adapter.RemoveVlan("eth0", 5);
    };
    // The files are unlinked and the outcome is not reported.
    s.reportsFailure = false;
    s.onlyRemoves = true;
    list.push_back(s);

    const FileScope resolv{"/etc", {"resolv.conf", ".resolv.conf."}};
    s = Scenario{};
    s.name = "NameServerAdd";
    s.scope = resolv;
    s.keepWritable = {"/etc/issue"};
    s.run = [] { return set_dns(request(2, nullptr, "203.0.113.53")); };
    list.push_back(s);

    s.name = "NameServerReplace";
    s.scratch = {"/tmp/tmpresolv.conf"};
    s.run = [] { return set_dns(request(3, "192.0.2.53", "203.0.113.53")); };
    list.push_back(s);

    s.name = "NameServerDelete";
    s.scratchKeptAfter = {"open /etc/resolv.conf", "read /etc/resolv.conf"};
    s.run = [] { return set_dns(request(4, "198.51.100.53", nullptr)); };
    list.push_back(s);
    return list;
}

} // namespace

std::vector<std::string> Scenario::patterns() const
{
    std::vector<std::string> list;
    if (scope.namePrefixes.empty()) {
        list.push_back(scope.directory + "/");
    } else {
        list.push_back("=" + scope.directory);
        for (const std::string& prefix : scope.namePrefixes)
            list.push_back(scope.directory + "/" + prefix);
    }
    for (const std::string& path : scratch)
        list.push_back("=" + path);
    return list;
}

std::vector<std::string> scenario_names()
{
    std::vector<std::string> names;
    for (const Scenario& scenario : all_scenarios(Family{false, kRedHatDir, kDistroRedHat}))
        names.push_back(scenario.name);
    return names;
}

bool find_scenario(const std::string& name, const std::string& family, Scenario& scenario)
{
    if (family != "redhat" && family != "suse")
        return false;
    const Family which =
        family == "suse" ? Family{true, kSuseDir, kDistroSuse} : Family{false, kRedHatDir, kDistroRedHat};
    for (const Scenario& candidate : all_scenarios(which)) {
        if (candidate.name == name) {
            scenario = candidate;
            return true;
        }
    }
    return false;
}

} // namespace faults
