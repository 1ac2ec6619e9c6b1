// How a failing operation tells the application and the administrator.
#ifndef LINNET_API_REPORT_H
#define LINNET_API_REPORT_H

#include "mxlinnet.h"

// Copies the text of `code` into the adapter's message buffer (an empty text
// for a code without one), logs it and returns `code`.
int linnet_report_failure(NetworkAdapter& adapter, int code);

#endif
