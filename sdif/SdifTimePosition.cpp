#include "SdifTimePosition.h"

#include <cstdlib>

#include "SdifErrMess.h"
#include "SdifList.h"

SdifTimePositionT* SdifCreateTimePosition(SdifFloat8 time, SdiffPosT pos) {
    SdifTimePositionT* tp = static_cast<SdifTimePositionT*>(malloc(sizeof(SdifTimePositionT)));
    if (!tp) {
        SDIF_ERROR(nullptr, eAllocFail, "TimePosition allocation");
        return nullptr;
    }
    tp->Time = time;
    tp->Pos = pos;
    return tp;
}

void SdifKillTimePosition(void* timePosition) { free(timePosition); }

SdifTimePositionLT* SdifCreateTimePositionL(void) {
    SdifTimePositionLT* list = static_cast<SdifTimePositionLT*>(malloc(sizeof(SdifTimePositionLT)));
    if (list) list->TimePosList = SdifCreateList(SdifKillTimePosition);
    if (!list || !list->TimePosList) {
        free(list);
        SDIF_ERROR(nullptr, eAllocFail, "TimePositionL allocation");
        return nullptr;
    }
    return list;
}

void SdifKillTimePositionL(SdifTimePositionLT* list) {
    if (!list) return;
    SdifKillList(list->TimePosList);
    free(list);
}

SdifTimePositionLT* SdifTimePositionLPutTail(SdifTimePositionLT* list, SdifFloat8 time,
                                             SdiffPosT pos) {
    SdifTimePositionT* tp = SdifCreateTimePosition(time, pos);
    if (!tp) return nullptr;
    unsigned int before = SdifListGetNbData(list->TimePosList);
    SdifListPutTail(list->TimePosList, tp);
    if (SdifListGetNbData(list->TimePosList) == before) {
        SdifKillTimePosition(tp);
        return nullptr;
    }
    return list;
}

SdifTimePositionT* SdifTimePositionLGetTail(SdifTimePositionLT* list) {
    if (SdifListIsEmpty(list->TimePosList)) return nullptr;
    return static_cast<SdifTimePositionT*>(SdifListGetTail(list->TimePosList));
}
