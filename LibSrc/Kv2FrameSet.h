// The frames of one file in file order: a doubly linked list of PartialSet or
// ChordSet, each frame optionally aligned to the one before it as it is added.
#ifndef KV2_FRAMESET_H
#define KV2_FRAMESET_H

#include <algorithm>
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
        if (!sync || this->empty()) {
            std::list<T>::push_back(frame);
            return;
        }
        // The alignment pads the new frame to the left frame's record count:
        // room for that is made before the records are copied in, so that
        // the copy is the only allocation and leaves no growth slack.
        T const& left = this->back();
        std::list<T>::emplace_back();
        T& last = this->back();
        try {
            last.reserve(std::max(frame.size(), left.size()));
            last = frame;
        } catch (...) {
            std::list<T>::pop_back();  // as if the copy had failed
            throw;
        }
        last.syncToLeft(left);
    }
};

}  // namespace Kv2

#endif
