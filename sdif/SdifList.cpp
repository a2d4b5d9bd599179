#include "SdifList.h"

#include <cstdlib>

#include "SdifErrMess.h"
#include "SdifRWLowLevel.h"

/* ---- node stock ---- */

void SdifInitListNStock(SdifListNStockT* stock, unsigned int size) {
    if (stock->StockList) return;
    stock->SizeOfOneStock = size;
    stock->NbStock = 0;
    stock->NbNodesUsedInCurrStock = 0;
    stock->Trash = nullptr;
}

void SdifDrainListNStock(SdifListNStockT* stock) {
    SdifListNT* block = stock->StockList;
    while (block) {
        /* Slot 0 of a block links to the block made before it. */
        SdifListNT* previous = block[0].Next;
        std::free(block);
        block = previous;
    }
    stock->StockList = nullptr;
    stock->NbStock = 0;
    stock->NbNodesUsedInCurrStock = 0;
    stock->Trash = nullptr;
}

static SdifListNT* SdifNewBlock(SdifListNStockT* stock) {
    /* Slot 0 is the block link, so a block must hold at least one more. */
    if (stock->SizeOfOneStock < 2) stock->SizeOfOneStock = _SdifListNodeStockSize;
    SdifListNT* block =
        static_cast<SdifListNT*>(std::calloc(stock->SizeOfOneStock, sizeof(SdifListNT)));
    if (!block) {
        SDIF_ERROR(nullptr, eAllocFail, "NodeStock allocation");
        return nullptr;
    }
    block[0].Next = stock->StockList;
    stock->StockList = block;
    stock->NbStock++;
    stock->NbNodesUsedInCurrStock = 2;
    return &block[1];
}

SdifListNT* SdifGetNewNode(SdifListNStockT* stock) {
    if (stock->Trash) {
        SdifListNT* node = stock->Trash;
        stock->Trash = node->Next;
        return node;
    }
    if (stock->StockList && stock->NbNodesUsedInCurrStock < stock->SizeOfOneStock)
        return &stock->StockList[stock->NbNodesUsedInCurrStock++];
    return SdifNewBlock(stock);
}

void SdifPutNodeInTrash(SdifListNStockT* stock, SdifListNT* node) {
    if (!node) return;
    node->Next = stock->Trash;
    node->Data = nullptr;
    stock->Trash = node;
}

static SdifListNStockT* SdifThreadStock(void) {
    SdifGlobalsT* globals = GetSdifGlobals();
    return globals ? &globals->nodestock : nullptr;
}

static SdifListNT* SdifStockNode(SdifListNStockT* stock, SdifListNT* next, void* data) {
    SdifListNT* node = stock ? SdifGetNewNode(stock) : nullptr;
    if (node) {
        node->Next = next;
        node->Data = data;
    }
    return node;
}

static SdifListNT* SdifStockKillNode(SdifListNStockT* stock, SdifListNT* node, KillerFT killer) {
    SdifListNT* next = node->Next;
    if (killer && node->Data) killer(node->Data);
    SdifPutNodeInTrash(stock, node);
    return next;
}

SdifListNT* SdifCreateNode(SdifListNT* next, void* data) {
    return SdifStockNode(SdifThreadStock(), next, data);
}

SdifListNT* SdifKillNode(SdifListNT* node, KillerFT killer) {
    if (!node) return nullptr;
    SdifListNStockT* stock = SdifThreadStock();
    if (!stock) {
        /* No record to give the node back to: keep the data's fate only. */
        SdifListNT* next = node->Next;
        if (killer && node->Data) killer(node->Data);
        return next;
    }
    return SdifStockKillNode(stock, node, killer);
}

/* ---- lists ---- */

SdifListT* SdifCreateList(KillerFT killer) {
    SdifListNStockT* stock = SdifThreadStock();
    SdifListT* list = stock ? static_cast<SdifListT*>(std::malloc(sizeof(SdifListT))) : nullptr;
    if (!list) {
        SDIF_ERROR(nullptr, eAllocFail, "List allocation");
        return nullptr;
    }
    list->Head = nullptr;
    list->Tail = nullptr;
    list->Curr = nullptr;
    list->Killer = killer;
    list->NbData = 0;
    list->Stock = stock;
    return list;
}

SdifListT* SdifMakeEmptyList(SdifListT* list) {
    SdifListNT* node = list->Head;
    while (node) node = SdifStockKillNode(list->Stock, node, list->Killer);
    list->Head = nullptr;
    list->Tail = nullptr;
    list->Curr = nullptr;
    list->NbData = 0;
    return list;
}

SdifListT* SdifKillList(SdifListT* list) {
    if (!list) {
        SDIF_ERROR(nullptr, eFreeNull, "List free");
        return nullptr;
    }
    SdifMakeEmptyList(list);
    std::free(list);
    return nullptr;
}

SdifListT* SdifListPutTail(SdifListT* list, void* data) {
    SdifListNT* node = SdifStockNode(list->Stock, nullptr, data);
    if (!node) return list;
    if (list->Tail)
        list->Tail->Next = node;
    else
        list->Head = node;
    list->Tail = node;
    list->NbData++;
    return list;
}

SdifListT* SdifListPutHead(SdifListT* list, void* data) {
    SdifListNT* node = SdifStockNode(list->Stock, list->Head, data);
    if (!node) return list;
    list->Head = node;
    if (!list->Tail) list->Tail = node;
    list->NbData++;
    return list;
}

SdifListT* SdifListConcat(SdifListT* a, SdifListT* b) {
    if (a == b || !b->Head) return a;
    if (a->Tail)
        a->Tail->Next = b->Head;
    else
        a->Head = b->Head;
    a->Tail = b->Tail;
    a->NbData += b->NbData;
    b->Head = nullptr;
    b->Tail = nullptr;
    b->Curr = nullptr;
    b->NbData = 0;
    return a;
}

void* SdifListGetHead(SdifListT* list) { return list->Head ? list->Head->Data : nullptr; }

void* SdifListGetTail(SdifListT* list) { return list->Tail ? list->Tail->Data : nullptr; }

unsigned int SdifListGetNbData(SdifListT* list) { return list->NbData; }

int SdifListIsEmpty(SdifListT* list) { return list->Head == nullptr; }

int SdifListInitLoop(SdifListT* list) {
    list->Curr = nullptr;
    return list->Head != nullptr;
}

int SdifListIsNext(SdifListT* list) {
    return list->Curr ? list->Curr->Next != nullptr : list->Head != nullptr;
}

void* SdifListGetNext(SdifListT* list) {
    SdifListNT* next = list->Curr ? list->Curr->Next : list->Head;
    if (!next) return nullptr;
    list->Curr = next;
    return next->Data;
}

void* SdifListGetCurr(SdifListT* list) { return list->Curr ? list->Curr->Data : nullptr; }

SdifListT* SdifKillListHead(SdifListT* list) {
    SdifListNT* head = list->Head;
    if (!head) return list;
    if (list->Curr == head) list->Curr = nullptr;
    list->Head = head->Next;
    if (list->Tail == head) list->Tail = nullptr;
    list->NbData--;
    SdifStockKillNode(list->Stock, head, list->Killer);
    return list;
}

SdifListT* SdifKillListCurr(SdifListT* list) {
    SdifListNT* curr = list->Curr;
    if (!curr) return list;
    if (curr == list->Head) return SdifKillListHead(list);
    SdifListNT* previous = list->Head;
    while (previous->Next != curr) previous = previous->Next;
    previous->Next = curr->Next;
    if (list->Tail == curr) list->Tail = previous;
    list->Curr = previous;
    list->NbData--;
    SdifStockKillNode(list->Stock, curr, list->Killer);
    return list;
}
