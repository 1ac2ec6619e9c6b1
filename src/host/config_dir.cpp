#include "config_dir.h"

#include <cstdlib>
#include <cstring>

int filter(dirent const* entry)
{
    const char* name = entry->d_name;
    return strcmp(name, ".") != 0 && strcmp(name, "..") != 0 && strstr(name, "ifcfg-") != nullptr
           && strcmp(name, "ifcfg-lo") != 0;
}

namespace host {

int scan_directory(const char* directory, int (*accept)(dirent const*), std::vector<std::string>& names)
{
    names.clear();
    dirent** entries = nullptr;
    int count = scandir(directory, &entries, accept, versionsort);
    if (count < 0)
        return -1;
    for (int i = 0; i < count; ++i) {
        names.emplace_back(entries[i]->d_name);
        free(entries[i]);
    }
    free(entries);
    return count;
}

int scan_config_dir(const char* directory, std::vector<std::string>& names)
{
    return scan_directory(directory, filter, names);
}

} // namespace host
