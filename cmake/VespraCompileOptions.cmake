# Compile options shared by every target of the project.

add_compile_options(-Wall -Wextra -Wpedantic -Wno-missing-field-initializers -msse4.2 -ffp-contract=off)
# Makes __FILE__ relative to the repository, so that internal stop messages name
# source files the same way on every machine. (ccache may still hand the compiler paths
# relative to the build folder; the stop message drops their leading "../".)
add_compile_options(-fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)

set(VESPRA_SANITIZER "" CACHE STRING "Sanitizer build: address or thread")
if(VESPRA_SANITIZER STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(VESPRA_SANITIZER STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
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
