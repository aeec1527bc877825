# Programs that were built for another processor, CMAKE_CROSSCOMPILING_EMULATOR, are started by tests,
# by scripts and by each other as if they were the machine's own: each has a script of its name in
# QUORIA_RUN_FOLDER. Without an emulator that is the folder with the programs themselves.
if(CMAKE_CROSSCOMPILING_EMULATOR)
  set(QUORIA_RUN_FOLDER ${CMAKE_BINARY_DIR}/emulated)
else()
  set(QUORIA_RUN_FOLDER ${CMAKE_BINARY_DIR})
endif()

# quoria_run_file(<variable> <target>): the file to be executed, or to be loaded if it is a library.
function(quoria_run_file variable target)
  get_target_property(type ${target} TYPE)
  set(file $<TARGET_FILE:${target}>)
  if(type STREQUAL EXECUTABLE)
    set(file "$<PATH:ABSOLUTE_PATH,$<PATH:RELATIVE_PATH,${file},${CMAKE_BINARY_DIR}>,${QUORIA_RUN_FOLDER}>")
  endif()
  set(${variable} ${file} PARENT_SCOPE)
endfunction()

# quoria_write_run_files(<folder>): the scripts for all programs of a folder of the tree and below.
function(quoria_write_run_files folder)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    return()
  endif()
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "\" \"" emulator)
  get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type STREQUAL EXECUTABLE)
      quoria_run_file(file ${target})
      file(GENERATE OUTPUT ${file}
        CONTENT "#!/bin/sh\nexec \"${emulator}\" \"$<TARGET_FILE:${target}>\" \"$@\"\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    endif()
  endforeach()
  get_property(subfolders DIRECTORY ${folder} PROPERTY SUBDIRECTORIES)
  foreach(subfolder IN LISTS subfolders)
    quoria_write_run_files(${subfolder})
  endforeach()
endfunction()
