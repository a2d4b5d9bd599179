// Inside the partial library: a small open-addressing map from a partial
// ident to an integer payload, sized once per frame so that the lookups done
// for every record of a frame cost O(1) without one heap allocation per
// record.  Not an interface of its own; installed only because the
// PartialVector template (Kv2PartialVector.h) holds one.
#ifndef KV2_ID_INDEX_H
#define KV2_ID_INDEX_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "Kv2Budget.h"

namespace Kv2 {

template <class V>
class IdHash {
   public:
    IdHash() { Reset(0); }

    // Forget every entry and make room for at least maxIds distinct idents.
    // The storage is kept from call to call, so a reused map stops allocating.
    // Forgetting is O(1): a slot counts as used only when it carries the
    // current generation, so the table is cleared only when it must grow
    // or when the generation counter wraps.
    void Reset(std::size_t maxIds) {
        std::size_t cap = 16;
        while (cap < 2 * maxIds + 2) cap <<= 1;
        if (cap > mSlots.size() || ++mGeneration == 0) {
            // Storage kept for good counts against the budget as it grows.
            if (cap > mSlots.size()) Kv2ChargeBudget((cap - mSlots.size()) * sizeof(Slot));
            mSlots.assign(std::max(cap, mSlots.size()), Slot());
            mGeneration = 1;
        }
        mMask = cap - 1;
        mUsed = 0;
    }

    // The payload of id, or null when id was never inserted.
    V* Find(int id) {
        for (std::size_t h = Hash(id);; h = (h + 1) & mMask) {
            Slot& s = mSlots[h];
            if (s.generation != mGeneration) return nullptr;
            if (s.id == id) return &s.value;
        }
    }
    V const* Find(int id) const { return const_cast<IdHash*>(this)->Find(id); }

    // The payload of id, inserted as init when absent.  Inserting more idents
    // than given to Reset doubles the table (never expected in practice).
    V& Get(int id, V const& init) {
        if (2 * (mUsed + 1) > mMask + 1) Grow();
        std::size_t h = Hash(id);
        for (;; h = (h + 1) & mMask) {
            Slot& s = mSlots[h];
            if (s.generation != mGeneration) break;
            if (s.id == id) return s.value;
        }
        Slot& s = mSlots[h];
        s.generation = mGeneration;
        s.id = id;
        s.value = init;
        ++mUsed;
        return s.value;
    }

   private:
    struct Slot {
        uint32_t generation = 0;  // used when equal to mGeneration
        int id = 0;
        V value{};
    };

    std::size_t Hash(int id) const {
        // Fibonacci hashing spreads the consecutive idents the readers hand out.
        uint32_t h = static_cast<uint32_t>(id) * 2654435761u;
        return (h ^ (h >> 15)) & mMask;
    }

    // Sized from the part in use, not from the whole storage kept from
    // larger frames (which would double at every growth); only that part
    // holds entries of this generation.
    void Grow() {
        std::vector<Slot> old;
        old.swap(mSlots);
        const std::size_t inUse = mMask + 1;
        const uint32_t generation = mGeneration;
        Reset(inUse);
        for (std::size_t h = 0; h < inUse; ++h)
            if (old[h].generation == generation) Get(old[h].id, old[h].value);
    }

    std::vector<Slot> mSlots;  // open addressing, linear probing, no removal
    std::size_t mMask = 0;     // size of the part in use - 1 (a power of two)
    std::size_t mUsed = 0;     // slots taken
    uint32_t mGeneration = 0;  // mark of the slots taken since the last Reset
};

}  // namespace Kv2

#endif
