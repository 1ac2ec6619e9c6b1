// The families behind ifcfg::Family, for family_for() alone.
#ifndef LINNET_IFCFG_FAMILIES_H
#define LINNET_IFCFG_FAMILIES_H

#include "family.h"

namespace ifcfg {

const Family& redhat_family();
// A Red Hat family host without the PCI ID database at the Red Hat path.
const Family& xenserver_family();
const Family& suse_family();

} // namespace ifcfg

#endif
