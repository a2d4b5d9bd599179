// The frames of one file in file order: a doubly linked list of PartialSet or
// ChordSet, each frame optionally aligned to the one before it as it is added.
#ifndef KV2_FRAMESET_H
#define KV2_FRAMESET_H

#include <iterator>
#include <list>

namespace Kv2 {

template <class T>
class Kv2FrameSet : public std::list<T> {
   public:
    using std::list<T>::push_back;

    // Append a copy of frame; with sync, align it to the frame before it
    // (T::syncToLeft) so that each partial keeps its index from frame to frame.
    void push_back(T const& frame, bool sync) {
        std::list<T>::push_back(frame);
        if (sync && this->size() > 1) {
            auto last = std::prev(this->end());
            last->syncToLeft(*std::prev(last));
        }
    }
};

}  // namespace Kv2

#endif
