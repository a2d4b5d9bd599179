# Selections, name-value tables and stream IDs of the SDIF file library.
add_unit_test(SdifSelect_test SdifSelect_test.cpp LIBS sdif)
add_unit_test(SdifNameValue_test SdifNameValue_test.cpp LIBS sdif)
add_unit_test(SdifStreamID_test SdifStreamID_test.cpp LIBS sdif)
