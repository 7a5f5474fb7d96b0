# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later

# lanternfold_add_test(<name> SOURCES <files...> [LIBS <targets...>] [LABELS <labels...>] [TIMEOUT <s>]
#                      [SESSION_BUS] [KEYRING] [OWN_MOUNTS] [ARGS <arguments...>])
#
# Builds one Qt Test executable and registers it with CTest. Every test runs through
# tests/support/run-isolated.sh, which gives it a fresh temporary HOME and XDG folders,
# the offscreen platform and a C.UTF-8 locale, so no test ever touches a real user's files.
# SESSION_BUS runs it on a private D-Bus session bus where no service starts on demand; KEYRING
# also starts a gnome-keyring, unlocked, on that bus. OWN_MOUNTS runs it as root of a mount
# namespace of its own, where it may mount small or read-only file systems. ARGS are passed to the
# program (for example the test functions to run).
#
# lanternfold_add_test_run(<name> PROGRAM <test target> [LABELS ...] [TIMEOUT <s>] [SESSION_BUS]
#                          [KEYRING] [OWN_MOUNTS] [ARGS <arguments...>])
#
# Registers one more run of a test program built by lanternfold_add_test, in another setting.
set(LANTERNFOLD_ISOLATE ${CMAKE_SOURCE_DIR}/tests/support/run-isolated.sh)
set(LANTERNFOLD_SESSION_BUS ${CMAKE_SOURCE_DIR}/tests/support/run-session-bus.sh)
set(LANTERNFOLD_OWN_MOUNTS ${CMAKE_SOURCE_DIR}/tests/support/run-own-mounts.sh)

function(lanternfold_add_test_run name)
  cmake_parse_arguments(ARG "SESSION_BUS;KEYRING;OWN_MOUNTS" "PROGRAM;TIMEOUT" "LABELS;ARGS" ${ARGN})
  set(wrappers ${LANTERNFOLD_ISOLATE})
  if(ARG_OWN_MOUNTS)
    list(APPEND wrappers ${LANTERNFOLD_OWN_MOUNTS})
  endif()
  if(ARG_KEYRING)
    list(APPEND wrappers ${LANTERNFOLD_SESSION_BUS} --keyring)
  elseif(ARG_SESSION_BUS)
    list(APPEND wrappers ${LANTERNFOLD_SESSION_BUS})
  endif()
  add_test(NAME ${name} COMMAND ${wrappers} $<TARGET_FILE:${ARG_PROGRAM}> ${ARG_ARGS})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  endif()
endfunction()

function(lanternfold_add_test name)
  cmake_parse_arguments(ARG "SESSION_BUS;KEYRING;OWN_MOUNTS" "TIMEOUT" "SOURCES;LIBS;LABELS;ARGS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE Qt6::Test QCoro6::Core ${ARG_LIBS})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/support)
  target_compile_definitions(${name} PRIVATE
    LANTERNFOLD_TEST_DATA_DIR="${CMAKE_SOURCE_DIR}/tests/data"
    LANTERNFOLD_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
  lanternfold_set_warnings(${name})
  set(options)
  foreach(option SESSION_BUS KEYRING OWN_MOUNTS)
    if(ARG_${option})
      list(APPEND options ${option})
    endif()
  endforeach()
  set(values)
  if(ARG_TIMEOUT)
    list(APPEND values TIMEOUT ${ARG_TIMEOUT})
  endif()
  if(ARG_LABELS)
    list(APPEND values LABELS ${ARG_LABELS})
  endif()
  if(ARG_ARGS)
    list(APPEND values ARGS ${ARG_ARGS})
  endif()
  lanternfold_add_test_run(${name} PROGRAM ${name} ${options} ${values})
endfunction()
