#include "inventory/card_table.h"

const char* card_description(int deviceId)
{
    for (int i = 0; i < kCardTableRows; ++i) {
        const LinNetCardDescRow& row = LinNetCardDescStr[i];
        if (row.deviceId == kCardTableEnd)
            break;
        if (row.deviceId == deviceId)
            return row.description;
    }
    return nullptr;
}
