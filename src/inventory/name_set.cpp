#include "name_set.h"

#include <cstdint>

namespace inventory {

namespace {

constexpr size_t kFirstSlots = 64;

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

void NameSet::place(uint32_t start)
{
    const size_t mask = slots_.size() - 1;
    size_t slot = name_hash(name_at(start)) & mask;
    while (slots_[slot] != 0)
        slot = (slot + 1) & mask;
    slots_[slot] = start + 1;
}

// Kept at most half full, so that a search ends soon at a free slot.
void NameSet::grow()
{
    std::vector<uint32_t> old;
    old.swap(slots_);
    slots_.assign(old.empty() ? kFirstSlots : old.size() * 2, 0);
    for (uint32_t entry : old) {
        if (entry != 0)
            place(entry - 1);
    }
}

void NameSet::add(std::string_view name)
{
    if (name.find('\0') != std::string_view::npos || text_.size() + name.size() >= UINT32_MAX || contains(name))
        return;
    if ((count_ + 1) * 2 > slots_.size())
        grow();
    const auto start = static_cast<uint32_t>(text_.size());
    text_.append(name).push_back('\0');
    place(start);
    ++count_;
}

bool NameSet::contains(std::string_view name) const
{
    if (slots_.empty())
        return false;
    const size_t mask = slots_.size() - 1;
    for (size_t slot = name_hash(name) & mask; slots_[slot] != 0; slot = (slot + 1) & mask) {
        if (name_at(slots_[slot] - 1) == name)
            return true;
    }
    return false;
}

} // namespace inventory
