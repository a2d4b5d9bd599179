// Exceptions of the SDIF object layer.  The object layer's own checks throw
// these directly; failures detected inside the SDIF file library reach the
// same classes through ExceptionThrower, installed as the library's error
// callback, so a caller can catch a whole branch (every file error) or one
// precise failure.
#ifndef ONDEL_SDIFEXCEPTION_H
#define ONDEL_SDIFEXCEPTION_H

#include <exception>
#include <string>

#include "SdifGlobals.h"

namespace Ondel {

class SDIFException : public std::exception {
   public:
    // A null message or source file becomes an empty string.
    SDIFException(SdifErrorLevelET level, const char* message, SdifFileT* file, int tag,
                  const char* sourceFile, int line);
    SDIFException(const SDIFException& other);
    SDIFException& operator=(const SDIFException& other);
    ~SDIFException() override;

    // The message: for library errors the whole diagnostic beginning "*Sdif* ".
    const char* what() const noexcept override;

    SdifErrorLevelET GetLevel() const { return mLevel; }
    // The error tag (SdifErrorTagET value).
    int GetTag() const { return mTag; }
    // The file concerned, or null; not owned.
    SdifFileT* GetFile() const { return mFile; }
    const std::string& GetMessage() const { return mMessage; }
    // Base name of the throwing site's source file; empty when none was given.
    const std::string& GetSourceFile() const { return mSourceFile; }
    // Line of the throwing site; 0 when none was given.
    int GetLine() const { return mLine; }

   protected:
    int mLine;                // source line of the throwing site, 0 when none
    std::string mSourceFile;  // base name of the throwing site's file, or empty
    std::string mMessage;     // the message, or empty
    SdifFileT* mFile;         // file concerned, or null (not owned)
    int mTag;                 // SdifErrorTagET
    SdifErrorLevelET mLevel;  // severity
};

// Every subclass only forwards the base's arguments: catching by branch is
// its sole purpose.
#define ONDEL_EXCEPTION_CLASS(Name, Base)                                           \
    class Name : public Base {                                                      \
       public:                                                                      \
        Name(SdifErrorLevelET level, const char* message, SdifFileT* file, int tag, \
             const char* sourceFile, int line)                                      \
            : Base(level, message, file, tag, sourceFile, line) {}                  \
    }

ONDEL_EXCEPTION_CLASS(SDIFFileError, SDIFException);
ONDEL_EXCEPTION_CLASS(SDIFDirError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFSeekError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFReading, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFEof, SDIFReading);
ONDEL_EXCEPTION_CLASS(SDIFOpeningError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFBadMode, SDIFOpeningError);
ONDEL_EXCEPTION_CLASS(SDIFReadWriteOnSameFile, SDIFOpeningError);
ONDEL_EXCEPTION_CLASS(SDIFBadStdFile, SDIFOpeningError);
ONDEL_EXCEPTION_CLASS(SDIFHeaderError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFBadFormatVersion, SDIFHeaderError);
ONDEL_EXCEPTION_CLASS(SDIFBadHeader, SDIFHeaderError);
ONDEL_EXCEPTION_CLASS(SDIFAsciiChunkError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFUnDefined, SDIFAsciiChunkError);
ONDEL_EXCEPTION_CLASS(SDIFReDefined, SDIFAsciiChunkError);
ONDEL_EXCEPTION_CLASS(SDIFFrameHeaderSizeError, SDIFFileError);
ONDEL_EXCEPTION_CLASS(SDIFMatrixDataError, SDIFException);
ONDEL_EXCEPTION_CLASS(SDIFArrayPosition, SDIFMatrixDataError);
ONDEL_EXCEPTION_CLASS(SDIFNotInDataTypeUnion, SDIFMatrixDataError);
ONDEL_EXCEPTION_CLASS(SDIFTextReadingError, SDIFException);
ONDEL_EXCEPTION_CLASS(SDIFTokenLength, SDIFTextReadingError);
ONDEL_EXCEPTION_CLASS(SDIFMemoryError, SDIFException);
ONDEL_EXCEPTION_CLASS(SDIFAllocFail, SDIFMemoryError);
ONDEL_EXCEPTION_CLASS(SDIFFreeNull, SDIFMemoryError);
ONDEL_EXCEPTION_CLASS(SDIFMatrixNotAvailable, SDIFException);

#undef ONDEL_EXCEPTION_CLASS

// The SDIF file library's error callback (SdifExceptionFuncT): throws the
// class its tag maps to, carrying (level, text, file, tag, sourceFile, line);
// a tag without a class of its own throws SDIFException.  Never returns.
[[noreturn]] void ExceptionThrower(SdifErrorTagET tag, SdifErrorLevelET level, char* text,
                                   SdifFileT* file, SdifErrorT* lastError, char* sourceFile,
                                   int line);

}  // namespace Ondel

#endif
