# Frames and matrices: headers, data, skips, writes, size patches, text form.
add_unit_test(SdifFRead_test SdifFRead_test.cpp LIBS sdif)
