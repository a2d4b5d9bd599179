// sdif2columns: prints the frames or partial tracks of an SDIF file as text.
// The reading path lands in stages; until then the program only refuses.
#include <cstdio>

int main(int, char**) {
    std::fputs("No input file specified\n", stderr);
    return 1;
}
