// Scanning the configuration directory for interface files.
#ifndef LINNET_HOST_CONFIG_DIR_H
#define LINNET_HOST_CONFIG_DIR_H

#include "mxlinnet.h"

#include <dirent.h>
#include <string>
#include <vector>

// Accepts interface configuration files: names holding "ifcfg-", except
// "ifcfg-lo" itself. Names holding ".bak" pass and are skipped by the scanners.
LINNET_EXPORT int filter(dirent const* entry);

namespace host {

// The names that `accept` lets through, in version order (ifcfg-eth0:2 before
// ifcfg-eth0:10). Returns their number, or -1 when the directory cannot be read.
int scan_directory(const char* directory, int (*accept)(dirent const*), std::vector<std::string>& names);

// scan_directory with `filter`.
int scan_config_dir(const char* directory, std::vector<std::string>& names);

} // namespace host

#endif
