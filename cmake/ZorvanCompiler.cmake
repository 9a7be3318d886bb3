# Warnings, sanitizers and coverage, carried by the interface target zorvan_compiler that every room links.

add_library(zorvan_compiler INTERFACE)

if(MSVC)
  target_compile_options(zorvan_compiler INTERFACE /W4 /WX /utf-8 /EHsc)
else()
  target_compile_options(zorvan_compiler INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # It sees overlapping copies in the joining of strings where there are none.
    target_compile_options(zorvan_compiler INTERFACE -Wno-restrict)
  endif()
  if(ZORVAN_SANITIZE)
    target_compile_options(zorvan_compiler INTERFACE -fsanitize=${ZORVAN_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(zorvan_compiler INTERFACE -fsanitize=${ZORVAN_SANITIZE})
    if(ZORVAN_SANITIZE MATCHES undefined)
      target_compile_options(zorvan_compiler INTERFACE -fno-sanitize-recover=undefined)
    endif()
  endif()
  if(ZORVAN_COVERAGE)
    target_compile_options(zorvan_compiler INTERFACE --coverage)
    target_link_options(zorvan_compiler INTERFACE --coverage)
  endif()
endif()

find_program(ZORVAN_CCACHE ccache)
if(ZORVAN_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${ZORVAN_CCACHE})
endif()
