# Which folder's headers a source may include, beside those of its own folder. The build runs this
# with SOURCE_DIR, and with STAMP, a file that tells that all is well.
cmake_minimum_required(VERSION 3.25)

# Modules of the library that use another module's private headers. The others are private.
set(uses_pin musiclib)
set(uses_webapi_utils misc musiclib)
set(uses_webapi_library webapi_utils)
set(uses_playlist misc musiclib)

# Programs may use the parts that programs share, but for these.
set(programs_confine varn)
set(programs_mediaserver varn)
set(programs_entry confine mediaserver service subsonic tonvale varn)
set(programs_service mediaserver tonvale varn)
set(programs_subsonic entry service tonvale varn)

# Of these programs, others may use a few headers alone.
set(headers_entry login parameters picture refusal request rights song_file song_sound turn worker)
set(headers_subsonic subsonic)

function(check folder)
  get_filename_component(own ${folder} NAME)
  set(allowed ${own} ${ARGN})
  file(GLOB_RECURSE files RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/${folder}/*.cpp
    ${SOURCE_DIR}/${folder}/*.h)
  foreach(file IN LISTS files)
    file(STRINGS ${SOURCE_DIR}/${file} includes REGEX "^#include \"[a-z_]+/")
    foreach(include IN LISTS includes)
      string(REGEX REPLACE "^#include \"([a-z_]+)/.*" "\\1" used "${include}")
      if(NOT used IN_LIST allowed)
        message(FATAL_ERROR "${file}: ${include}: only ${used}/ and the folders that "
          "cmake/CheckIncludes.cmake names may include it")
      endif()
      string(REGEX REPLACE ".*/([a-z_]+)\\.h\"$" "\\1" header "${include}")
      if(DEFINED headers_${used} AND NOT used STREQUAL own AND NOT header IN_LIST headers_${used})
        message(FATAL_ERROR "${file}: ${include}: cmake/CheckIncludes.cmake names the headers of "
          "${used}/ that others may include")
      endif()
    endforeach()
  endforeach()
endfunction()

check(platform/include varn)
check(platform/linux varn)
check(include tonvale varn)
check(ctrl support tonvale varn)
check(dlna support tonvale varn)
file(GLOB modules RELATIVE ${SOURCE_DIR}/audiolib ${SOURCE_DIR}/audiolib/*/*.cpp)
file(GLOB programs RELATIVE ${SOURCE_DIR}/programs ${SOURCE_DIR}/programs/*/*.cpp)
list(TRANSFORM modules REPLACE "/.*" "")
list(TRANSFORM programs REPLACE "/.*" "")
list(REMOVE_DUPLICATES modules)
list(REMOVE_DUPLICATES programs)
foreach(module IN LISTS modules)
  check(audiolib/${module} support tonvale varn ${uses_${module}})
endforeach()
foreach(program IN LISTS programs)
  if(DEFINED programs_${program})
    check(programs/${program} ${programs_${program}})
  else()
    check(programs/${program} confine mediaserver service tonvale varn)
  endif()
endforeach()
file(TOUCH ${STAMP})
