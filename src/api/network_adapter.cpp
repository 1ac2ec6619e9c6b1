#include "mxlinnet.h"

#include "globals.h"
#include "status/status.h"

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
