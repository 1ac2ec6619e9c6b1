// Filling the fixed-size text fields of an adapter record.
#include "fields.h"

#include <cstring>

namespace inventory {

std::string before_at(const std::string& name)
{
    return name.substr(0, name.find('@'));
}

void append_field(char* field, size_t size, const char* text)
{
    size_t used = strnlen(field, size - 1);
    copy_field(field + used, size - used, text);
}

void copy_field(char* field, size_t size, const char* text)
{
    if (size == 0)
        return;
    size_t length = strnlen(text, size - 1);
    memcpy(field, text, length);
    field[length] = '\0';
}

} // namespace inventory
