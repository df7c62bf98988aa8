# The layer rule, checked on every build: a source file may include its own folder and the folders
# of lower layers only; platform/x11 is included by itself and by the executable's main.cpp only.
# Every library depends on the check, so an include that climbs a layer fails the build.
file(GLOB_RECURSE WHARF_LAYERED_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/src/*.cpp)
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/layers.stamp
  COMMAND ${CMAKE_COMMAND} -DSOURCE_DIR=${PROJECT_SOURCE_DIR}/src -P ${PROJECT_SOURCE_DIR}/cmake/check_layers.cmake
  COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/layers.stamp
  DEPENDS ${WHARF_LAYERED_SOURCES} ${PROJECT_SOURCE_DIR}/cmake/check_layers.cmake
  COMMENT "Checking that no include climbs a layer"
  VERBATIM)
add_custom_target(wharf_layers DEPENDS ${PROJECT_BINARY_DIR}/layers.stamp)

# wharf_layer(<folder> <type> [sources...]): the folder's library, named wharf_<folder>.
function(wharf_layer folder type)
  set(target wharf_${folder})
  if(type STREQUAL "INTERFACE")
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE ${PROJECT_SOURCE_DIR}/src)
  else()
    add_library(${target} ${type} ${ARGN})
    target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  endif()
  add_dependencies(${target} wharf_layers)
endfunction()
