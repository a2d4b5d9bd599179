// A high-level selection: an ordered set of accepted values (stream IDs or
// signatures) with an active flag (inactive accepts everything) and an
// open-end flag (values above the largest element are accepted too).
#ifndef ONDEL_SELECTIONSET_H
#define ONDEL_SELECTIONSET_H

#include <set>

namespace Ondel {

template <class T>
class SelectionSet : public std::set<T> {
   public:
    SelectionSet() = default;
    // Active exactly when s holds something.  The open-end argument is
    // accepted and ignored: only the entity sets that flag, from a file mask.
    SelectionSet(const std::set<T>& s, bool openEnd) : std::set<T>(s), mActive(!s.empty()) {
        (void)openEnd;
    }

    bool isSelected(const T& v) const {
        if (!mActive) return true;
        if (this->count(v)) return true;
        if (this->empty() || !mOpenEnd) return false;
        return *this->rbegin() < v;
    }

    bool IsActive() const { return mActive; }
    void SetActive(bool active) { mActive = active; }
    bool IsOpenEnd() const { return mOpenEnd; }
    void SetOpenEnd(bool openEnd) { mOpenEnd = openEnd; }

   private:
    bool mActive = false;   // false: no restriction
    bool mOpenEnd = false;  // true: everything above the largest element is accepted
};

}  // namespace Ondel

#endif
