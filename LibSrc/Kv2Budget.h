// The run's memory budget (SdifSetBudget) as the partial library meets it:
// what reading builds is counted once per frame or per track pass, never per
// record, and a count past the budget throws std::bad_alloc, as memory that
// ran out would.
#ifndef KV2_BUDGET_H
#define KV2_BUDGET_H

#include <cstddef>
#include <new>

#include "SdifHard_OS.h"

namespace Kv2 {

// Bytes of one heap block beside the bytes asked for: its header and its
// rounding up to a multiple of 16.
constexpr std::size_t kHeapBlockOverhead = 32;

// Count bytes against the budget; throws once past it.
inline void Kv2ChargeBudget(unsigned long long bytes) {
    if (!SdifBudgetCharge(bytes)) throw std::bad_alloc();
}

}  // namespace Kv2

#endif
