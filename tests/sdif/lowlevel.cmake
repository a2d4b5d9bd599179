# Byte layer, error reporting and containers of the SDIF file library.
add_unit_test(SdifRWLowLevel_test SdifRWLowLevel_test.cpp LIBS sdif)
add_unit_test(SdifErrMess_test SdifErrMess_test.cpp LIBS sdif)
add_unit_test(SdifContainers_test SdifContainers_test.cpp LIBS sdif)
