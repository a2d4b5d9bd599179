/* Singly linked lists whose nodes come from the calling thread's node stock
** (blocks of 1024 nodes, recycled through a trash list).  A list must stay in
** the thread that made it. */
#ifndef SDIF_LIST_H
#define SDIF_LIST_H

#include "SdifGlobals.h"

#ifdef __cplusplus
extern "C" {
#endif

#define _SdifListNodeStockSize 1024

/* ---- node stock ---- */

/* Set up an empty stock of size nodes per block.  A stock that already holds
** blocks keeps them (live lists may use them); only its block size is left. */
void SdifInitListNStock(SdifListNStockT* stock, unsigned int size);
/* Free every block and reset the stock to empty (its block size is kept).
** Every node drawn from it becomes invalid. */
void SdifDrainListNStock(SdifListNStockT* stock);
/* A node from stock: the trash first, else the next free slot, else a new
** block; none, after an eAllocFail report, when memory is out. */
SdifListNT* SdifGetNewNode(SdifListNStockT* stock);
/* Give a node back to stock (none does nothing). */
void SdifPutNodeInTrash(SdifListNStockT* stock, SdifListNT* node);
/* A node of the calling thread's stock holding next and data; none on failure. */
SdifListNT* SdifCreateNode(SdifListNT* next, void* data);
/* Free node's data with killer (when both exist), give the node back to the
** calling thread's stock and answer its successor. */
SdifListNT* SdifKillNode(SdifListNT* node, KillerFT killer);

/* ---- lists ---- */

/* Empty list whose removed elements are freed with killer (or not, when
** none); none, after an eAllocFail report, when memory is out. */
SdifListT* SdifCreateList(KillerFT killer);
/* Remove every element and free the list; answers none. */
SdifListT* SdifKillList(SdifListT* list);
/* Remove every element, keep the list; answers it. */
SdifListT* SdifMakeEmptyList(SdifListT* list);

/* Add data at the tail / head; answer the list (unchanged when no node could
** be had). */
SdifListT* SdifListPutTail(SdifListT* list, void* data);
SdifListT* SdifListPutHead(SdifListT* list, void* data);
/* Move every element of b, in order, to the tail of a; b is left empty (its
** elements are not copied, so nothing is owned twice).  Answers a. */
SdifListT* SdifListConcat(SdifListT* a, SdifListT* b);

/* First / last element, or none for an empty list; the cursor is not moved. */
void* SdifListGetHead(SdifListT* list);
void* SdifListGetTail(SdifListT* list);
unsigned int SdifListGetNbData(SdifListT* list);
int SdifListIsEmpty(SdifListT* list);

/* Iteration: InitLoop puts the cursor before the first element and answers 1
** when there is one; IsNext answers 1 when GetNext has an element to give;
** GetNext moves the cursor on and answers its element (none at the end);
** GetCurr answers the element under the cursor (none before the first). */
int SdifListInitLoop(SdifListT* list);
int SdifListIsNext(SdifListT* list);
void* SdifListGetNext(SdifListT* list);
void* SdifListGetCurr(SdifListT* list);

/* Remove the first element (the cursor, if it was there, goes back before
** the first).  Answers the list. */
SdifListT* SdifKillListHead(SdifListT* list);
/* Remove the element under the cursor; the cursor goes back to the element
** before it, so GetNext continues with the one after.  Answers the list. */
SdifListT* SdifKillListCurr(SdifListT* list);

#ifdef __cplusplus
}
#endif

#endif
