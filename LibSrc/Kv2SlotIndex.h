// Inside the partial library (not installed): where each ident stands in a
// frame's records while the alignment of two frames moves them, on the
// ident hash of Kv2IdIndex.h.
#ifndef KV2_SLOT_INDEX_H
#define KV2_SLOT_INDEX_H

#include <cstddef>
#include <cstring>
#include <type_traits>
#include <vector>

#include "Kv2IdIndex.h"

namespace Kv2 {

// Swaps two records as whole blocks of bytes.  std::swap copies them member
// by member, which compilers do with overlapping loads that wait for the
// stores just made (the padding after the state is skipped).
template <class Param>
void SwapBytes(Param& a, Param& b) {
    static_assert(std::is_trivially_copyable<Param>::value, "records are plain data");
    unsigned char tmp[sizeof(Param)];
    std::memcpy(tmp, &a, sizeof(Param));
    std::memcpy(&a, &b, sizeof(Param));
    std::memcpy(&b, tmp, sizeof(Param));
}

// First slot and number of slots per ident, kept right while syncToLeft
// swaps, moves and overwrites records, so that each lookup answers what a
// scan from slot 0 would without costing one.  When the first slot of an
// ident held by several slots (the zero id of free slots) goes, the next one
// is searched only if that ident is looked up again.
struct SlotEntry {
    int first = -1;  // lowest slot holding the ident; kUnknown: to be searched
    int count = 0;   // slots holding it
};
constexpr int kUnknown = -2;

template <class Param>
class SlotIndex {
   public:
    SlotIndex(std::vector<Param>& recs, std::size_t extraIds) : mRecs(recs), mHash(Scratch()) {
        mHash.Reset(recs.size() + extraIds);
        for (std::size_t i = 0; i < recs.size(); ++i) Add(recs[i].id, static_cast<int>(i));
    }

    int First(int id) const {
        SlotEntry* e = mHash.Find(id);
        if (!e || e->count == 0) return -1;
        if (e->first == kUnknown) {
            for (std::size_t k = 0; k < mRecs.size(); ++k) {
                if (mRecs[k].id == id) {
                    e->first = static_cast<int>(k);
                    break;
                }
            }
        }
        return e->first;
    }

    // slot now holds id.
    void Add(int id, int slot) {
        SlotEntry& e = mHash.Get(id, SlotEntry());
        if (e.count == 0 || (e.first != kUnknown && slot < e.first)) e.first = slot;
        ++e.count;
    }

    // slot no longer holds id; the records must already show it.
    void Remove(int id, int slot) {
        SlotEntry* e = mHash.Find(id);
        if (!e || e->count == 0) return;
        if (--e->count == 0)
            e->first = -1;
        else if (e->first == slot)
            e->first = kUnknown;
    }

    void Swap(int i, int j) {
        const int a = mRecs[i].id;
        const int b = mRecs[j].id;
        SwapBytes(mRecs[i], mRecs[j]);
        if (a == b) return;
        // Idents held once each (the usual case) just trade their slots.
        SlotEntry* ea = mHash.Find(a);
        SlotEntry* eb = mHash.Find(b);
        if (ea && eb && ea->count == 1 && eb->count == 1) {
            ea->first = j;
            eb->first = i;
            return;
        }
        Remove(a, i);
        Add(a, j);
        Remove(b, j);
        Add(b, i);
    }

    // Store p at k, k at most one past the end.
    void Put(Param const& p, int k) {
        if (static_cast<std::size_t>(k) >= mRecs.size()) {
            while (mRecs.size() < static_cast<std::size_t>(k)) {
                mRecs.push_back(Param());
                Add(0, static_cast<int>(mRecs.size()) - 1);
            }
            mRecs.push_back(p);
        } else {
            const int old = mRecs[k].id;
            mRecs[k] = p;
            Remove(old, k);
        }
        Add(p.id, k);
    }

    // Slot i's ident changed from old (the record is already rewritten).
    void Rename(int old, int i) {
        if (old == mRecs[i].id) return;
        Remove(old, i);
        Add(mRecs[i].id, i);
    }

   private:
    static IdHash<SlotEntry>& Scratch() {
        // One table reused by every alignment of the thread: no allocation per frame
        // once it has grown to the largest frame.
        static thread_local IdHash<SlotEntry> hash;
        return hash;
    }

    std::vector<Param>& mRecs;
    IdHash<SlotEntry>& mHash;  // mutable through First's lazy search
};

}  // namespace Kv2

#endif
