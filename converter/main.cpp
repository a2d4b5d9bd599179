// sdif2columns: prints the frames or partial tracks of an SDIF file as
// columns of text.
#include "sdif2columns.h"

int main(int argc, char** argv) { return Sdif2ColumnsRun(argc, argv); }
