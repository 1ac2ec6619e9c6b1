// Whatever sits at one of the library's fixed names (a link to a protected
// file, a dangling link, a file, a directory) is never written through: the
// protected file keeps its bytes and mode, the dangling link's target is never
// made, and the operation that uses the name returns a status.
#include "testbed.h"

#include "host_watch.h"

#include "diag/diagnostics.h"
#include "diag/hop_record.h"
#include "dns/dns.h"
#include "gateway/gateway.h"
#include "inventory/snapshot.h"
#include "ipaddr/address_files.h"
#include "mxlinnet.h"

#include <cstring>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr const char* kProtected = "/etc/hostile-protected";
constexpr const char* kProtectedText = "protected: never written\n";
constexpr mode_t kProtectedMode = 0640;
constexpr const char* kDanglingTarget = "/etc/hostile-dangling";
// A result that is wrong although a status came back.
constexpr int kWrongResult = 10000;

enum class Plant { LinkToProtected, DanglingLink, File, Directory };

const char* plant_name(Plant plant)
{
    switch (plant) {
    case Plant::LinkToProtected:
        return "link to a protected file";
    case Plant::DanglingLink:
        return "dangling link";
    case Plant::File:
        return "file";
    case Plant::Directory:
        return "directory";
    }
    return "";
}

void plant_at(const std::string& path, Plant plant)
{
    switch (plant) {
    case Plant::LinkToProtected:
        ASSERT_EQ(0, symlink(kProtected, path.c_str())) << path;
        break;
    case Plant::DanglingLink:
        ASSERT_EQ(0, symlink(kDanglingTarget, path.c_str())) << path;
        break;
    case Plant::File:
        testbed::write(path, "planted\n");
        break;
    case Plant::Directory:
        ASSERT_EQ(0, mkdir(path.c_str(), 0755)) << path;
        break;
    }
}

void clear(const std::string& path)
{
    if (unlink(path.c_str()) != 0)
        rmdir(path.c_str());
}

// The call's status, or kWrongResult added to it when the result is wrong.
int checked(int status, bool right)
{
    return right ? status : kWrongResult + status;
}

int wait_for_worker(int started, SharedMem& area)
{
    for (int i = 0; started == 0 && i < 60 * 50 && static_cast<volatile SharedMem&>(area).done == 0; ++i)
        usleep(20000);
    return started;
}

int list_adapters()
{
    std::vector<char> buffer(64 * 1024);
    unsigned int length = 0;
    int status = NetworkAdapter().GetNetworkAdapters(buffer.data(), &length);
    // eth0 to eth2, and whatever adapters earlier tests added.
    return checked(status, length >= 3 * 721 && length % 721 == 0 && strcmp(buffer.data(), "eth0") == 0);
}

int default_route_device()
{
    char device[80] = {};
    int status = get_ifname_gw_set(device, nullptr);
    return checked(status, strcmp(device, "eth0") == 0);
}

int delete_suse_entry()
{
    std::string path = hostile::config_dir() + "ifcfg-eth0";
    int status = delete_file_entry(&path[0], 2, const_cast<char*>("192.0.2.11"), const_cast<char*>("255.255.255.0"));
    bool suse = testbed::family() == "suse";
    return checked(status, testbed::read(path).find("192.0.2.11") == std::string::npos || !suse);
}

int replace_name_server()
{
    int status = mod_entry_to_dns_config_file(const_cast<char*>("198.51.100.53"), const_cast<char*>("192.0.2.99"), 3);
    return checked(status, testbed::read("/etc/resolv.conf").find("nameserver 192.0.2.99\n") != std::string::npos);
}

int ping_router()
{
    const unsigned char router[4] = {192, 0, 2, 1};
    SharedMem area{};
    int status = wait_for_worker(NetworkAdapter().Ping(router, 1, 1, 5000, &area), area);
    _PingResponse response;
    memcpy(&response, area.data, sizeof response);
    return checked(status, area.done == 1 && response.packetsSent == 1 && response.packetsReceived == 1);
}

int trace_router()
{
    const unsigned char router[4] = {192, 0, 2, 1};
    SharedMem area{};
    int status = wait_for_worker(NetworkAdapter().TraceRoute(router, 1, &area), area);
    return checked(status, area.done == 1 && area.dataLength == sizeof(_TraceRouteHop));
}

struct FixedName {
    std::string path;
    const char* operation;
    std::function<int()> call;
};

const std::vector<FixedName>& fixed_names()
{
    static const std::vector<FixedName> names = {
        {kLinkSnapshotPath, "GetNetworkAdapters", list_adapters},
        {kRouteSnapshotPath, "get_ifname_gw_set", default_route_device},
        {kAddressScratchPath, "delete_file_entry", delete_suse_entry},
        {kResolvScratchPath, "mod_entry_to_dns_config_file", replace_name_server},
        {kPingOutputPath, "Ping", ping_router},
        {kTracerouteOutputPath, "TraceRoute", trace_router},
        {"/run/lock/libmxlinnet.lock", "GetNetworkAdapters", list_adapters},
        {"/run/lock/libmxlinnet-pinginfo.lock", "Ping", ping_router},
        {"/run/lock/libmxlinnet-tracerouteinfo.lock", "TraceRoute", trace_router},
    };
    return names;
}

} // namespace

TEST(HostileFixedFiles, PlantedEntriesAreNeverWrittenThrough)
{
    REQUIRE_TESTBED();
    testbed::write(kProtected, kProtectedText);
    chmod(kProtected, kProtectedMode);
    hostile::ConfigRestore config;
    for (const FixedName& name : fixed_names()) {
        for (Plant plant : {Plant::LinkToProtected, Plant::DanglingLink, Plant::File, Plant::Directory}) {
            const std::string call = std::string(name.operation) + " with a " + plant_name(plant) + " at " + name.path;
            clear(name.path);
            plant_at(name.path, plant);
            hostile::Outcome outcome = hostile::run_in_child(name.call);
            ASSERT_TRUE(outcome.returned) << call << ": " << outcome.how;
            std::cout << "[ status   ] " << call << ": " << outcome.status << "\n";
            // A directory cannot be replaced: the call fails, but it answers.
            if (plant != Plant::Directory) {
                EXPECT_LT(outcome.status, kWrongResult) << call << ": wrong result, status " << outcome.status;
            }

            EXPECT_EQ(kProtectedText, testbed::read(kProtected)) << call;
            struct stat info;
            ASSERT_EQ(0, stat(kProtected, &info));
            EXPECT_EQ(kProtectedMode, info.st_mode & 07777) << call;
            EXPECT_FALSE(testbed::exists(kDanglingTarget)) << call;
            clear(name.path);
            config.restore();
        }
    }
}
