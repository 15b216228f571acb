# What every target of the tree is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
set(CMAKE_INSTALL_RPATH $ORIGIN/../${CMAKE_INSTALL_LIBDIR})

# Log lines and error states name a source by its path in the tree. Not -Wpedantic: it refuses %m,
# which log texts use.
add_compile_options(
  -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion -Wformat=2
  -Wimplicit-fallthrough -Wnon-virtual-dtor -Woverloaded-virtual
  $<$<BOOL:${TONVALE_WERROR}>:-Werror>
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>  # false alarms of g++ 12 in optimised builds
  -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

if(TONVALE_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(TONVALE_FUZZ)
  # The libraries and the programs' sources count their edges; the main function comes with a target.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_compile_options(-fstack-protector-strong)
endif()
add_link_options(-Wl,--as-needed -Wl,-z,relro,-z,now)
if(NOT TONVALE_SANITIZE AND NOT TONVALE_FUZZ)
  add_link_options(-Wl,--no-undefined)
endif()
