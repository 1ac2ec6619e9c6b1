#include "name_set.h"

#include <cstdint>

namespace inventory {

namespace {

// Room for the devices of most hosts without growing.
constexpr size_t kFirstSlots = 1024;

// FNV-1a: names differ in their last characters (eth0, eth1, ...), which it
// spreads over the whole value.
uint64_t name_hash(std::string_view name)
{
    uint64_t hash = 14695981039346656037ULL;
    for (unsigned char c : name) {
        hash ^= c;
        hash *= 1099511628211ULL;
    }
    return hash;
}

} // namespace

std::string_view NameSet::name_at(uint32_t start) const
{
    return std::string_view(text_.c_str() + start);
}

// The slot that holds the name, or else the free slot where it would go.
size_t NameSet::slot_of(std::string_view name) const
{
    const size_t mask = slots_.size() - 1;
    size_t slot = name_hash(name) & mask;
    while (slots_[slot] != 0 && name_at(slots_[slot] - 1) != name)
        slot = (slot + 1) & mask;
    return slot;
}

// Kept at most half full, so that a search ends soon at a free slot.
void NameSet::grow()
{
    std::vector<uint32_t> old;
    old.swap(slots_);
    slots_.assign(old.empty() ? kFirstSlots : old.size() * 2, 0);
    for (uint32_t entry : old) {
        if (entry != 0)
            slots_[slot_of(name_at(entry - 1))] = entry;
    }
}

void NameSet::add(std::string_view name)
{
    if (name.find('\0') != std::string_view::npos || text_.size() + name.size() >= UINT32_MAX)
        return;
    if ((count_ + 1) * 2 > slots_.size())
        grow();
    const size_t slot = slot_of(name);
    if (slots_[slot] != 0)
        return;
    slots_[slot] = static_cast<uint32_t>(text_.size()) + 1;
    text_.append(name).push_back('\0');
    ++count_;
}

bool NameSet::contains(std::string_view name) const
{
    return !slots_.empty() && slots_[slot_of(name)] != 0;
}

} // namespace inventory
