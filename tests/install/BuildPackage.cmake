# Builds the Debian package afresh into OUT, for the package tests:
#   cmake -DCPACK=cpack -DCONFIG=BUILD/CPackConfig.cmake -DOUT=DIR -P BuildPackage.cmake
file(REMOVE_RECURSE "${OUT}")
execute_process(COMMAND "${CPACK}" --config "${CONFIG}" -G DEB -B "${OUT}" RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cpack failed (${result})")
endif()
file(GLOB packages "${OUT}/*.deb")
list(LENGTH packages count)
if(NOT count EQUAL 1)
  message(FATAL_ERROR "cpack made ${count} packages in ${OUT}: ${packages}")
endif()
