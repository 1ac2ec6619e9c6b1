// A set of names read once and asked for many times, such as the devices of
// a sysfs directory during one listing.
#ifndef LINNET_INVENTORY_NAME_SET_H
#define LINNET_INVENTORY_NAME_SET_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace inventory {

// The names share one buffer and are found through an open-addressing table
// of their places in it: a set of any size is a few blocks, not one per name.
class NameSet {
public:
    void add(std::string_view name);
    bool contains(std::string_view name) const;

private:
    void grow();
    size_t slot_of(std::string_view name) const;
    std::string_view name_at(uint32_t start) const;

    std::string text_;
    // Place of a name in text_ plus one; 0 marks a free slot.
    std::vector<uint32_t> slots_;
    size_t count_ = 0;
};

} // namespace inventory

#endif
