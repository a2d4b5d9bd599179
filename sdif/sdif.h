/* Every public header of the SDIF file library. */
#ifndef SDIF_H
#define SDIF_H

#include "SdifErrMess.h"
#include "SdifFGet.h"
#include "SdifFRead.h"
#include "SdifFScan.h"
#include "SdifFWrite.h"
#include "SdifFile.h"
#include "SdifFrame.h"
#include "SdifFrameType.h"
#include "SdifGlobals.h"
#include "SdifHard_OS.h"
#include "SdifHash.h"
#include "SdifList.h"
#include "SdifMatrix.h"
#include "SdifMatrixType.h"
#include "SdifNameValue.h"
#include "SdifRWLowLevel.h"
#include "SdifSelect.h"
#include "SdifSignatureTab.h"
#include "SdifStreamID.h"
#include "SdifString.h"
#include "SdifTimePosition.h"

#endif
