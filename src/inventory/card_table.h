// The adapter model table: one row per adapter model of one PCI vendor, by
// device ID. The application reads it by name; the library appends a row's
// text to the description of an adapter of that vendor. The rows are made from
// pci.ids by scripts/gen-card-table (cmake/CardTable.cmake picks the vendor).
#ifndef LINNET_INVENTORY_CARD_TABLE_H
#define LINNET_INVENTORY_CARD_TABLE_H

#include "mxlinnet.h"

#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)
// One row: the PCI device ID and the text naming the model and its family.
struct LinNetCardDescRow {
    int32_t deviceId;        // kCardTableEnd in the row that ends the table
    const char* description; // null in the row that ends the table
};
#pragma pack(pop)
static_assert(sizeof(LinNetCardDescRow) == 12, "card table rows are 12 bytes");
static_assert(offsetof(LinNetCardDescRow, description) == 4, "the text pointer follows the ID");

constexpr int kCardTableRows = 127; // the end row included
constexpr int kCardTableModels = kCardTableRows - 1;
constexpr int32_t kCardTableEnd = -1;
// Device IDs at or below this are never looked up, so the table holds none.
constexpr int kCardTableMaxUnlisted = 999;

extern LINNET_EXPORT LinNetCardDescRow LinNetCardDescStr[kCardTableRows];

// PCI vendor ID of the adapters the table describes; only adapters of this
// vendor are looked up in it.
extern const unsigned int kAdapterVendorId;

// Text of the first row with `deviceId`, searching from the first row up to
// the end row; null when no row has it.
const char* card_description(int deviceId);

#endif
