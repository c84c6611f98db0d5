# Run by CTest before the tests (see lumo_discover_tests with WHOLE_SUITES):
# lists a GoogleTest program's tests and adds each case as its own CTest
# test, except the suites named in LUMO_WHOLE_SUITES, which run as one CTest
# test each, so that what their fixture sets up once per suite (a service)
# is set up once, not once per case.
# Input variables: LUMO_EXECUTABLE, LUMO_WHOLE_SUITES, LUMO_CASE_TIMEOUT,
# LUMO_SUITE_TIMEOUT, LUMO_LABELS, LUMO_ENVIRONMENT.
if(NOT EXISTS "${LUMO_EXECUTABLE}")
  message(FATAL_ERROR "test program not built: ${LUMO_EXECUTABLE}")
endif()
execute_process(
  COMMAND "${LUMO_EXECUTABLE}" --gtest_list_tests
  OUTPUT_VARIABLE listing
  ERROR_VARIABLE errors
  RESULT_VARIABLE result
  TIMEOUT 60)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${LUMO_EXECUTABLE} --gtest_list_tests failed (${result}):\n${listing}${errors}")
endif()

function(lumo_add_discovered name filter timeout)
  add_test("${name}" "${LUMO_EXECUTABLE}" "--gtest_filter=${filter}")
  set_tests_properties("${name}" PROPERTIES
    TIMEOUT ${timeout} LABELS "${LUMO_LABELS}" ENVIRONMENT "${LUMO_ENVIRONMENT}")
endfunction()

string(REPLACE "\n" ";" lines "${listing}")
set(suite "")
set(added "")
foreach(line IN LISTS lines)
  if(line MATCHES "^([^ #][^ ]*)\\.$")
    set(suite "${CMAKE_MATCH_1}")
  elseif(suite AND line MATCHES "^  ([^ ]+)")
    set(case "${CMAKE_MATCH_1}")
    if(case MATCHES "^DISABLED_" OR suite MATCHES "^DISABLED_")
      continue()
    endif()
    list(FIND LUMO_WHOLE_SUITES "${suite}" whole)
    list(FIND added "${suite}" done)
    if(whole GREATER -1)
      if(done EQUAL -1)
        list(APPEND added "${suite}")
        lumo_add_discovered("${suite}" "${suite}.*" ${LUMO_SUITE_TIMEOUT})
      endif()
    else()
      lumo_add_discovered("${suite}.${case}" "${suite}.${case}" ${LUMO_CASE_TIMEOUT})
    endif()
  endif()
endforeach()
foreach(wanted IN LISTS LUMO_WHOLE_SUITES)
  list(FIND added "${wanted}" done)
  if(done EQUAL -1)
    message(FATAL_ERROR "${LUMO_EXECUTABLE} has no suite ${wanted}")
  endif()
endforeach()
