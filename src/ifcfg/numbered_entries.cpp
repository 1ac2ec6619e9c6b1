#include "numbered_entries.h"

#include "address_rules.h"
#include "family.h"
#include "host/config_file.h"
#include "host/fixed_file.h"
#include "status/status.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

std::string text_of(const char* text)
{
    return text != nullptr ? text : "";
}

bool is_absent(const char* path)
{
    return faccessat(AT_FDCWD, path, F_OK, AT_EACCESS) != 0 && errno == ENOENT;
}

} // namespace

namespace ifcfg {

int add_numbered_entry(const char* path, int* label, const char* address, const char* netmask)
{
    if (path == nullptr || *path == '\0' || !is_value_safe(address) || !is_value_safe(netmask))
        return status::kFileOpen;
    // Opened for appending and reading: a missing file is created.
    std::string old;
    if (!host::read_file(path, old, host::Access::ReadWrite) && !is_absent(path))
        return status::kFileOpen;
    ipaddr::SuseAppend entry = ipaddr::suse_entry_to_append(old, text_of(address), text_of(netmask));
    int result = host::append_to_file(path, entry.text);
    if (result == status::kSuccess && entry.indexed && label != nullptr)
        *label = entry.label;
    return result;
}

int delete_numbered_entry(const char* path, const char* address)
{
    std::string old;
    if (path == nullptr || !host::read_file(path, old, host::Access::ReadWrite))
        return status::kFileOpen;
    bool removed = false;
    const std::string kept = ipaddr::without_suse_entry(old, text_of(address), removed);
    if (host::write_scratch(kAddressScratchPath, kept) != status::kSuccess) {
        host::remove_fixed_file(kAddressScratchPath);
        return status::kFileOpen;
    }
    int result = host::copy_scratch_back(kAddressScratchPath, path);
    if (result != status::kSuccess)
        return result;
    return removed ? status::kSuccess : status::kAddressNotInFile;
}

} // namespace ifcfg
