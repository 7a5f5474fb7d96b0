# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later

# Warnings are kept at zero; CI turns them into errors with LANTERNFOLD_WERROR.
function(lanternfold_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 reports std::optional moved out of std::variant as maybe-uninitialized (GCC bug
    # 80635); clang builds keep the equivalent checks.
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(LANTERNFOLD_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  # Keep Qt's implicit string conversions explicit so byte/text mistakes show up at compile time.
  target_compile_definitions(${target} PRIVATE QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII
                                               QT_NO_URL_CAST_FROM_STRING QT_NO_KEYWORDS)
endfunction()
