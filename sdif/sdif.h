/* Every public header of the SDIF file library. */
#ifndef SDIF_H
#define SDIF_H

#include "SdifErrMess.h"
#include "SdifFile.h"
#include "SdifGlobals.h"
#include "SdifHard_OS.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifRWLowLevel.h"
#include "SdifSignatureTab.h"
#include "SdifString.h"

/* Headers of modules still being written join as they appear. */
#if __has_include("SdifSelect.h")
#include "SdifSelect.h"
#endif
#if __has_include("SdifNameValue.h")
#include "SdifNameValue.h"
#endif
#if __has_include("SdifStreamID.h")
#include "SdifStreamID.h"
#endif
#if __has_include("SdifMatrixType.h")
#include "SdifMatrixType.h"
#endif
#if __has_include("SdifFrameType.h")
#include "SdifFrameType.h"
#endif
#if __has_include("SdifFGet.h")
#include "SdifFGet.h"
#endif
#if __has_include("SdifFrame.h")
#include "SdifFrame.h"
#endif
#if __has_include("SdifMatrix.h")
#include "SdifMatrix.h"
#endif
#if __has_include("SdifFRead.h")
#include "SdifFRead.h"
#endif
#if __has_include("SdifFWrite.h")
#include "SdifFWrite.h"
#endif
#if __has_include("SdifFScan.h")
#include "SdifFScan.h"
#endif
#if __has_include("SdifTimePosition.h")
#include "SdifTimePosition.h"
#endif

#endif
