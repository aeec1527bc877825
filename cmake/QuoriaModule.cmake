# quoria_module(<name> SOURCES ... [USES ...] [USES_PRIVATELY ...])
#
# One module of libquoria: an object library with its own include folders and its own list of what
# it may use, so that an include of anything else does not compile.
#   include/  what other modules and users see        src/  what only the module and its tests see
# USES names what its public headers need, USES_PRIVATELY what only its sources need.
function(quoria_module name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;USES;USES_PRIVATELY")
  set(target quoria_${name})
  if(arg_SOURCES)
    add_library(${target} OBJECT ${arg_SOURCES})
    set(scope PUBLIC)
    target_include_directories(${target} PRIVATE src)
    target_link_libraries(${target} PRIVATE ${arg_USES_PRIVATELY})
    set_property(GLOBAL APPEND PROPERTY QUORIA_MODULE_TARGETS ${target})
    if(QUORIA_COVERAGE)
      # Not optimised, that each branch be one of the source; atomic, that threads lose no count.
      target_compile_options(${target} PRIVATE -O0 --coverage -fprofile-update=atomic)
    endif()
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${target} ${scope} include)
  target_link_libraries(${target} ${scope} ${arg_USES})
  set_property(GLOBAL APPEND PROPERTY QUORIA_PUBLIC_INCLUDE_FOLDERS ${CMAKE_CURRENT_SOURCE_DIR}/include)
endfunction()

# A test is compiled more often than it is run, and rarely looked at by a debugger. What it tests is
# compiled as for users.
set(QUORIA_TEST_OPTIONS -O0 $<$<NOT:$<CONFIG:Debug>>:-g1>)

# quoria_test(<name> SOURCES ... [PRIVATE_FOLDERS ...] [LIBRARIES ...] [PEERS ...] [RESOURCE_LOCK ...])
#
# A GoogleTest program; every test in it becomes a CTest test and thus a process of its own, with an
# ITC_DOMAIN of its own. It links the modules' objects, hidden names included. PRIVATE_FOLDERS are the
# src/ folders whose private headers the test looks into; PEERS are programs that the test starts,
# each known to it as the macro PEER_<NAME IN UPPER CASE>.
function(quoria_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT;RESOURCE_LOCK" "SOURCES;PRIVATE_FOLDERS;LIBRARIES;PEERS")
  if(NOT BUILD_TESTING)
    return()
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE ${arg_PRIVATE_FOLDERS})
  target_link_libraries(${name} PRIVATE ${arg_LIBRARIES} quoria_testSupport)
  target_compile_options(${name} PRIVATE ${QUORIA_TEST_OPTIONS})
  if(QUORIA_PRECOMPILED_TEST_HEADERS)
    target_precompile_headers(${name} REUSE_FROM quoria_precompiledTestHeaders)
  endif()
  foreach(peer IN LISTS arg_PEERS)
    string(TOUPPER ${peer} macro)
    quoria_run_file(file ${peer})
    target_compile_definitions(${name} PRIVATE PEER_${macro}="${file}")
    add_dependencies(${name} ${peer})
  endforeach()
  # Where threads still run at its exit, as the tracer's do, ThreadSanitizer waits a second for their
  # races to show: in each of more than a thousand processes.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT TSAN_OPTIONS=atexit_sleep_ms=0
      RESOURCE_LOCK "${arg_RESOURCE_LOCK}")
endfunction()
