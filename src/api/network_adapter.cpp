#include "mxlinnet.h"

#include "globals.h"
#include "ifcfg/distro.h"
#include "ifcfg/services.h"
#include "status/status.h"

#include "host/operation_lock.h"

#include <cstring>

namespace {
constexpr char kLibraryName[] = "libmxlinnet";
constexpr uint32_t kLibraryVersion = (13u << 16) | 2u;
} // namespace

NetworkAdapter::NetworkAdapter()
{
    SIZEOFPOINTER = kListLinkSize;
}

NetworkAdapter::~NetworkAdapter() = default;

char* NetworkAdapter::GetErrStr(int code)
{
    return linnet_status_text(code);
}

int NetworkAdapter::GetLibVersion(_Version* version)
{
    if (version == nullptr)
        return status::kFailure;
    // Only the name and its NUL are written; the rest of the name field stays
    // as the caller had it.
    memcpy(version->name, kLibraryName, sizeof kLibraryName);
    version->version = kLibraryVersion;
    return status::kSuccess;
}

bool NetworkAdapter::isNetworkManagerEnabled()
{
    const host::SerialSection section;
    int distro = kDistroUnknown;
    get_linux_distro(&distro);
    int runLevel = GetCurrentRunLevel(distro);
    return CheckNetworkManagerEnabled(runLevel, distro) == status::kNetworkManagerEnabled;
}
