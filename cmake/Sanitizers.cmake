# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later

if(LANTERNFOLD_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

# clang 14 cannot emit its indirect-call check (-fsanitize=function) for coroutine frames ("Cannot
# represent a difference across sections"); every other UndefinedBehaviorSanitizer check stays on.
set(LANTERNFOLD_NO_FUNCTION_SANITIZER "")
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set(LANTERNFOLD_NO_FUNCTION_SANITIZER -fno-sanitize=function)
  if(LANTERNFOLD_SANITIZE)
    add_compile_options(${LANTERNFOLD_NO_FUNCTION_SANITIZER})
  endif()
endif()
