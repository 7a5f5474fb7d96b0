# lanternfold_add_test(<name> SOURCES <files...> [LIBS <targets...>] [LABELS <labels...>] [TIMEOUT <s>])
#
# Builds one Qt Test executable and registers it with CTest. Every test runs through
# tests/support/run-isolated.sh, which gives it a fresh temporary HOME and XDG folders,
# the offscreen platform and a C.UTF-8 locale, so no test ever touches a real user's files.
set(LANTERNFOLD_ISOLATE ${CMAKE_SOURCE_DIR}/tests/support/run-isolated.sh)

function(lanternfold_add_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE Qt6::Test QCoro6::Core ${ARG_LIBS})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/support)
  target_compile_definitions(${name} PRIVATE
    LANTERNFOLD_TEST_DATA_DIR="${CMAKE_SOURCE_DIR}/tests/data"
    LANTERNFOLD_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  lanternfold_set_warnings(${name})
  add_test(NAME ${name} COMMAND ${LANTERNFOLD_ISOLATE} $<TARGET_FILE:${name}>)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  endif()
endfunction()
