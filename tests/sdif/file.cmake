# File object, start-up, general header and ASCII chunks; matrix and frame types.
add_unit_test(SdifFile_test SdifFile_test.cpp LIBS sdif)
add_unit_test(SdifTypes_test SdifTypes_test.cpp LIBS sdif)
