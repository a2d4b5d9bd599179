# Frames and matrices: headers, data, skips, writes, size patches, text form.
add_unit_test(SdifFRead_test SdifFRead_test.cpp LIBS sdif)
add_unit_test(SdifFWrite_test SdifFWrite_test.cpp LIBS sdif)
add_unit_test(SdifFScan_test SdifFScan_test.cpp LIBS sdif)
