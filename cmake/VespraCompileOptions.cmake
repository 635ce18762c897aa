# Compile options shared by every target of the project.

add_compile_options(-Wall -Wextra -Wpedantic -Wno-missing-field-initializers -msse4.2 -ffp-contract=off)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # libstdc++ 12 offers std::expected only where __cpp_concepts announces conditionally trivial
  # special members (P0848). Clang implements them from version 16 but still announces 201907.
  if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 16)
    message(FATAL_ERROR "clang ${CMAKE_CXX_COMPILER_VERSION} lacks what std::expected of libstdc++ needs; use clang 16 or later.")
  endif()
  add_compile_options(-Wno-builtin-macro-redefined -U__cpp_concepts -D__cpp_concepts=202002L)
endif()
# Makes __FILE__ relative to the repository, so that internal stop messages name
# source files the same way on every machine. (ccache may still hand the compiler paths
# relative to the build folder; the stop message drops their leading "../".)
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

set(VESPRA_SANITIZER "" CACHE STRING "Sanitizer build: address, thread or fuzzer")
if(VESPRA_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(VESPRA_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
  # The resolvers of the vector clones run while the loader relocates the program, before the
  # sanitizer's runtime is up; instrumented, they crash every program before main.
  add_compile_definitions(VESPRA_NO_VECTOR_CLONES)
elseif(VESPRA_SANITIZER STREQUAL "fuzzer")
  # libFuzzer's coverage and its address and undefined behaviour checks in every library; only
  # the fuzz targets link libFuzzer's main (see fuzz/).
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "VESPRA_SANITIZER=fuzzer needs clang (the preset `fuzz` picks it).")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
  add_compile_definitions(VESPRA_NO_VECTOR_CLONES)
endif()

# Adds a static library named vespra_<name> from the sources of the calling folder; a
# folder without sources yet gives an interface library that only forwards its dependencies.
function(vespra_add_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  if(ARG_SOURCES)
    add_library(vespra_${name} STATIC ${ARG_SOURCES})
    target_include_directories(vespra_${name} PUBLIC ${PROJECT_SOURCE_DIR})
    target_link_libraries(vespra_${name} PUBLIC ${ARG_DEPENDS})
  else()
    add_library(vespra_${name} INTERFACE)
    target_include_directories(vespra_${name} INTERFACE ${PROJECT_SOURCE_DIR})
    target_link_libraries(vespra_${name} INTERFACE ${ARG_DEPENDS})
  endif()
endfunction()
