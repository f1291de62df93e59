# Fails when a source of the module includes anything from engine/.
file(GLOB_RECURSE sources ${MODULE_DIR}/*.h ${MODULE_DIR}/*.cpp)
foreach(source IN LISTS sources)
  file(STRINGS ${source} includes REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]engine/")
  if(includes)
    message(FATAL_ERROR "${source} includes the stand-in engine: ${includes}")
  endif()
endforeach()
