#include "sdifexception.h"

namespace Ondel {

SDIFException::SDIFException(SdifErrorLevelET level, const char* message, SdifFileT* file, int tag,
                             const char* sourceFile, int line)
    : mLine(line),
      mSourceFile(sourceFile ? sourceFile : ""),
      mMessage(message ? message : ""),
      mFile(file),
      mTag(tag),
      mLevel(level) {}

SDIFException::SDIFException(const SDIFException& other) = default;
SDIFException& SDIFException::operator=(const SDIFException& other) = default;
SDIFException::~SDIFException() = default;

const char* SDIFException::what() const noexcept { return mMessage.c_str(); }

void ExceptionThrower(SdifErrorTagET tag, SdifErrorLevelET level, char* text, SdifFileT* file,
                      SdifErrorT* /*lastError*/, char* sourceFile, int line) {
    switch (tag) {
        case eEof:
            throw SDIFEof(level, text, file, tag, sourceFile, line);
        case eReDefined:
            throw SDIFReDefined(level, text, file, tag, sourceFile, line);
        case eUnDefined:
            throw SDIFUnDefined(level, text, file, tag, sourceFile, line);
        case eBadHeader:
            throw SDIFBadHeader(level, text, file, tag, sourceFile, line);
        case eBadMode:
            throw SDIFBadMode(level, text, file, tag, sourceFile, line);
        case eBadStdFile:
            throw SDIFBadStdFile(level, text, file, tag, sourceFile, line);
        case eReadWriteOnSameFile:
            throw SDIFReadWriteOnSameFile(level, text, file, tag, sourceFile, line);
        case eBadFormatVersion:
            throw SDIFBadFormatVersion(level, text, file, tag, sourceFile, line);
        case eFreeNull:
            throw SDIFFreeNull(level, text, file, tag, sourceFile, line);
        case eAllocFail:
            throw SDIFAllocFail(level, text, file, tag, sourceFile, line);
        case eArrayPosition:
            throw SDIFArrayPosition(level, text, file, tag, sourceFile, line);
        case eNotInDataTypeUnion:
            throw SDIFNotInDataTypeUnion(level, text, file, tag, sourceFile, line);
        case eTokenLength:
            throw SDIFTokenLength(level, text, file, tag, sourceFile, line);
        default:
            throw SDIFException(level, text, file, tag, sourceFile, line);
    }
}

}  // namespace Ondel
