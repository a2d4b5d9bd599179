/* Every public header of the SDIF file library. */
#ifndef SDIF_H
#define SDIF_H

#include "SdifGlobals.h"
#include "SdifRWLowLevel.h"
#include "SdifHard_OS.h"
#include "SdifErrMess.h"
#include "SdifString.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifSignatureTab.h"
#include "SdifSelect.h"
#include "SdifNameValue.h"
#include "SdifStreamID.h"
#include "SdifFile.h"
#include "SdifMatrixType.h"
#include "SdifFrameType.h"
#include "SdifFGet.h"
#include "SdifFrame.h"
#include "SdifMatrix.h"
#include "SdifFRead.h"
#include "SdifFWrite.h"
#include "SdifFScan.h"
#include "SdifTimePosition.h"

#endif
