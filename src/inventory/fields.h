// Filling the fixed-size text fields of an adapter record.
#ifndef LINNET_INVENTORY_FIELDS_H
#define LINNET_INVENTORY_FIELDS_H

#include <cstddef>
#include <string>

namespace inventory {

// The part of a name before '@' (the whole name when it has none).
std::string before_at(const std::string& name);
// Appends text to a NUL-terminated field without passing its end.
void append_field(char* field, size_t size, const char* text);
// Copies text into a field, cutting it so the NUL still fits.
void copy_field(char* field, size_t size, const char* text);

} // namespace inventory

#endif
