# Compiler settings that hold for every target of the tree.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

# A library that names what it does not link fails here, not in the process that loads it.
# The sanitizer runtimes are the exception: the executable brings them.
if(NOT QUORIA_SANITIZER)
  add_link_options($<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,SHARED_LIBRARY>:LINKER:--no-undefined>)
endif()

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)
if(QUORIA_WERROR)
  add_compile_options(-Werror)
endif()

if(QUORIA_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(QUORIA_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QUORIA_SANITIZER)
  message(FATAL_ERROR "QUORIA_SANITIZER is '${QUORIA_SANITIZER}'; it takes thread, address or nothing")
endif()

if(QUORIA_COVERAGE)
  add_link_options(--coverage)
endif()

find_program(QUORIA_CCACHE ccache)
if(QUORIA_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without this, ccache keeps nothing that was compiled with precompiled headers.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${QUORIA_CCACHE})
endif()
