#include "globals.h"

unsigned int SIZEOFPOINTER = 0;
char system_buf[kSystemBufSize];
